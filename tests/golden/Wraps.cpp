/**
 * @file Wraps.cpp
 * Where the library's calls into the C library and libcurl end up (linker option --wrap): each may be made to fail,
 * what runs processes or waits is noted and does not happen, what hands out is held against what takes back.
 */
#include <curl/curl.h>
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <sstream>

#include "BenchPlatform.h"
#include "Words.h"
#include "Wraps.h"

#undef curl_easy_setopt
#undef curl_easy_getinfo

using rig::counting;

namespace {

bool refused(const char* call)
{
    return counting() && rig::fails(call);
}

template <class T>
T* held(T* what, const char* kind)
{
    if (counting()) rig::acquired(what, kind);
    return what;
}

/** A transcript line of these parts, put together where nothing counts. */
template <class... Parts>
void note(const Parts&... parts)
{
    if (rig::t_standing.place == rig::Place::outside) return;
    const rig::Paused  paused;
    std::ostringstream line;
    (line << ... << parts);
    rig::note(line.str());
}

golden::World g_world;
char          g_inits[64];  // an address for each reference to libcurl's global state
std::size_t   g_initCount = 0;

}  // namespace

golden::World& golden::world()
{
    return g_world;
}

extern "C" {

// A call that may fail, and nothing else.
#define FAILING(result, name, parameters, arguments, failure) \
    result __real_##name parameters;                          \
    result __wrap_##name parameters                           \
    {                                                         \
        if (refused(#name)) return failure;                   \
        return __real_##name arguments;                       \
    }
// A call that gives something back: it does so even when it reports a failure.
#define RETURNING(result, name, type, failure)   \
    result __real_##name(type what);             \
    result __wrap_##name(type what)              \
    {                                            \
        const bool fails = refused(#name);       \
        rig::released(what);                     \
        const result done = __real_##name(what); \
        if (fails) errno = EIO;                  \
        return fails ? failure : done;           \
    }
#define HOLDING(type, name, parameters, arguments)                              \
    type __real_##name parameters;                                              \
    type __wrap_##name parameters                                               \
    {                                                                           \
        return refused(#name) ? nullptr : held(__real_##name arguments, #name); \
    }
// One with a last argument that not every call has.
#define VARIADIC(result, name, parameters, arguments_, before, value) \
    result __real_##name parameters;                                  \
    result __wrap_##name parameters                                   \
    {                                                                 \
        va_list arguments;                                            \
        va_start(arguments, before);                                  \
        const auto last = value;                                      \
        va_end(arguments);                                            \
        return refused(#name) ? -1 : __real_##name arguments_;        \
    }
#define FREEING(name, type)        \
    void __real_##name(type what); \
    void __wrap_##name(type what)  \
    {                              \
        rig::released(what);       \
        __real_##name(what);       \
    }

// --- Memory.
HOLDING(void*, malloc, (size_t size), (size))
HOLDING(void*, calloc, (size_t count, size_t size), (count, size))
HOLDING(char*, strdup, (const char* text), (text))
FREEING(free, void*)

void* __real_realloc(void* block, size_t size);
void* __wrap_realloc(void* block, size_t size)
{
    if (!counting()) return __real_realloc(block, size);
    if (refused("realloc")) return nullptr;
    rig::released(block, false);
    return held(__real_realloc(block, size), "malloc");
}

// --- Files.
FAILING(ssize_t, read, (int fd, void* to, size_t size), (fd, to, size), -1)
FAILING(ssize_t, write, (int fd, const void* from, size_t size), (fd, from, size), -1)
FAILING(int, stat, (const char* path, struct stat* to), (path, to), -1)
FAILING(int, lstat, (const char* path, struct stat* to), (path, to), -1)
FAILING(int, fstat, (int fd, struct stat* to), (fd, to), -1)
FAILING(int, access, (const char* path, int mode), (path, mode), -1)
FAILING(int, mkdir, (const char* path, mode_t mode), (path, mode), -1)
FAILING(int, rename, (const char* from, const char* to), (from, to), -1)
FAILING(int, unlink, (const char* path), (path), -1)
FAILING(int, rmdir, (const char* path), (path), -1)
FAILING(int, remove, (const char* path), (path), -1)
FAILING(ssize_t, readlink, (const char* path, char* to, size_t size), (path, to, size), -1)
FAILING(char*, realpath, (const char* path, char* to), (path, to), nullptr)
FAILING(char*, getcwd, (char* to, size_t size), (to, size), nullptr)
FAILING(int, unlinkat, (int fd, const char* path, int flags), (fd, path, flags), -1)
FAILING(int, mkstemp, (char* name), (name), -1)
FAILING(size_t, fwrite, (const void* from, size_t size, size_t count, FILE* to), (from, size, count, to), 0)
FAILING(char*, fgets, (char* to, int size, FILE* from), (to, size, from), nullptr)
FAILING(int, fflush, (FILE * stream), (stream), EOF)
HOLDING(FILE*, fopen, (const char* path, const char* mode), (path, mode))
HOLDING(FILE*, popen, (const char* command, const char* mode), (command, mode))
HOLDING(DIR*, opendir, (const char* path), (path))
HOLDING(DIR*, fdopendir, (int fd), (fd))
RETURNING(int, fclose, FILE*, EOF)
RETURNING(int, pclose, FILE*, -1)
RETURNING(int, closedir, DIR*, -1)
FAILING(dirent*, readdir, (DIR * directory), (directory), nullptr)

VARIADIC(int, open, (const char* path, int flags, ...), (path, flags, last), flags,
         (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0)
VARIADIC(int, openat, (int at, const char* path, int flags, ...), (at, path, flags, last), flags,
         (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0)

int __real_close(int fd);
int __wrap_close(int fd)
{
    const bool fails = refused("close");
    const int  done  = __real_close(fd);
    return fails ? -1 : done;
}

// --- The network.
VARIADIC(int, ioctl, (int fd, unsigned long command, ...), (fd, command, last), command, va_arg(arguments, void*))
FAILING(int, bind, (int fd, const sockaddr* address, socklen_t size), (fd, address, size), -1)
FAILING(int, getsockname, (int fd, sockaddr* address, socklen_t* size), (fd, address, size), -1)
int __real_socket(int family, int type, int protocol);
int __wrap_socket(int family, int type, int protocol)
{
    if (refused("socket")) return -1;
    const bool isKnown = family == AF_NETLINK || type == SOCK_DGRAM || type == (SOCK_STREAM | SOCK_CLOEXEC);
    if (counting() && !isKnown) rig::platform().complain("a socket of another type");
    return __real_socket(family, type, protocol);
}

/** All that goes out is an ARP request to everybody, from the interface's own addresses. */
ssize_t __real_sendto(int fd, const void* from, size_t size, int flags, const sockaddr* to, socklen_t room);
ssize_t __wrap_sendto(int fd, const void* from, size_t size, int flags, const sockaddr* to, socklen_t room)
{
    if (refused("sendto")) return -1;
    const rig::Paused paused;
    ifreq             own{};
    std::snprintf(own.ifr_name, sizeof own.ifr_name, "usbnic0");
    __real_ioctl(fd, SIOCGIFADDR, &own);
    const std::string station = "02 00 00 00 00 02 ", all = "FF FF FF FF FF FF",
                      address = rig::hexOf(reinterpret_cast<const u8*>(own.ifr_addr.sa_data) + 2, 4) + ' ';
    const std::string sent = rig::hexOf(static_cast<const u8*>(from), size), head = "00 01 08 00 06 04 00 01 ";
    if (size != 28 || sent.find(head + station + address + station) != 0 ||
        rig::hexOf(reinterpret_cast<const sockaddr_ll*>(to)->sll_addr, 6) != all)
        rig::platform().complain("no ARP request: " + sent);
    return __real_sendto(fd, from, size, flags, to, room);
}

ssize_t __real_recvfrom(int fd, void* to, size_t size, int flags, sockaddr* from, socklen_t* room);
ssize_t __wrap_recvfrom(int fd, void* to, size_t size, int flags, sockaddr* from, socklen_t* room)
{
    if (refused("recvfrom")) return -1;
    const ssize_t received = __real_recvfrom(fd, to, size, flags, from, room);
    g_world.station.copy(reinterpret_cast<char*>(reinterpret_cast<sockaddr_ll*>(from)->sll_addr), 6);
    return received;
}
FREEING(freeifaddrs, ifaddrs*)
int __real_getifaddrs(ifaddrs** list);
int __wrap_getifaddrs(ifaddrs** list)
{
    const int failed = refused("getifaddrs") ? -1 : __real_getifaddrs(list);
    if (failed == 0) held(*list, "getifaddrs");
    return failed;
}

/** Nobody waits for long. */
int __real_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeOut);
int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeOut)
{
    if (refused("select")) return -1;
    if (counting() && timeOut != nullptr) note("select ", timeOut->tv_sec, " s");
    timeval soon{g_world.deaf ? 0 : 1, 0};
    return __real_select(count, read, write, except, counting() && timeOut != nullptr ? &soon : timeOut);
}

// --- Processes and their environment.
int __real_system(const char* command);
int __wrap_system(const char* command)
{
    if (!counting()) return __real_system(command);
    note("system ", command);
    if (refused("system")) return -1;
    const rig::Paused paused;
    const auto        found = g_world.commands.find(command);
    return found == g_world.commands.end() ? 0 : found->second;
}

pid_t __real_fork();
pid_t __wrap_fork()
{
    if (!counting()) return __real_fork();
    note("fork");
    return refused("fork") ? -1 : 4242;
}

pid_t __real_waitpid(pid_t child, int* status, int options);
pid_t __wrap_waitpid(pid_t child, int* status, int options)
{
    if (!counting()) return __real_waitpid(child, status, options);
    if (refused("waitpid")) return -1;
    *status = g_world.childStatus;
    return child;
}

pid_t __real_getpid();
pid_t __wrap_getpid()
{
    return counting() ? 4711 : __real_getpid();
}

int __real_kill(pid_t process, int signal);
int __wrap_kill(pid_t process, int signal)
{
    if (!counting()) return __real_kill(process, signal);
    note("kill ", signal);
    return refused("kill") ? -1 : 0;
}

/** Of a variable that changes the library sees the first value once. */
char* __real_getenv(const char* name);
char* __wrap_getenv(const char* name)
{
    char* const value = __real_getenv(name);
    if (counting() && g_world.changing.first == name) {
        const rig::Paused paused;
        ::setenv(name, g_world.changing.second.c_str(), 1);
    }
    return value;
}

// --- Time stands still.
time_t __real_time(time_t* to);
time_t __wrap_time(time_t* to)
{
    if (!counting()) return __real_time(to);
    if (to != nullptr) *to = g_world.now;
    return g_world.now;
}

int __real_nanosleep(const timespec* time, timespec* left);
int __wrap_nanosleep(const timespec* time, timespec* left)
{
    if (!counting() || time->tv_sec == 0) return __real_nanosleep(time, left);
    note("nanosleep ", time->tv_sec, ".", time->tv_nsec);
    if (left == nullptr || g_world.signals == 0) return 0;
    --g_world.signals;
    *left = {time->tv_sec - 1, time->tv_nsec};
    errno = EINTR;
    return -1;
}

unsigned __real_sleep(unsigned seconds);
unsigned __wrap_sleep(unsigned seconds)
{
    if (!counting()) return __real_sleep(seconds);
    note("sleep ", seconds);
    return 0;
}

// --- The console.
int __real_puts(const char* text);
int __wrap_puts(const char* text)
{
    if (!counting()) return __real_puts(text);
    note("prints ", text, "\n");
    return 1;
}

static int printed(const char* format, va_list arguments)
{
    char      text[4096];
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    if (counting())
        note("prints ", text);
    else
        std::fputs(text, stdout);
    return length;
}
int __wrap_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int __wrap_printf(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = printed(format, arguments);
    va_end(arguments);
    return length;
}
// What printf is called in a fortified build.
int __wrap___printf_chk(int, const char* format, ...) __attribute__((format(printf, 2, 3)));
int __wrap___printf_chk(int, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = printed(format, arguments);
    va_end(arguments);
    return length;
}

int __real_putchar(int c);
int __wrap_putchar(int c)
{
    if (!counting()) return __real_putchar(c);
    note("prints ", static_cast<char>(c));
    return c;
}

// --- libcurl.
CURLcode __real_curl_easy_setopt(CURL* easy, CURLoption option, ...);

/** Without the host's certificates: nobody checks the scripted service's, and parsing them takes most of a request. */
CURL* __real_curl_easy_init();
CURL* __wrap_curl_easy_init()
{
    if (refused("curl_easy_init")) return nullptr;
    CURL* const easy = held(__real_curl_easy_init(), "curl_easy_init");
    if (easy == nullptr) return nullptr;
    __real_curl_easy_setopt(easy, CURLOPT_CAINFO, nullptr);
    __real_curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
    return easy;
}
FREEING(curl_easy_cleanup, CURL*)
HOLDING(CURLM*, curl_multi_init, (), ())
RETURNING(CURLMcode, curl_multi_cleanup, CURLM*, CURLM_OK)
HOLDING(curl_mime*, curl_mime_init, (CURL * easy), (easy))
FREEING(curl_mime_free, curl_mime*)
FAILING(curl_mimepart*, curl_mime_addpart, (curl_mime * form), (form), nullptr)
FAILING(CURLcode, curl_mime_name, (curl_mimepart * part, const char* name), (part, name), CURLE_OUT_OF_MEMORY)
FAILING(CURLcode, curl_mime_type, (curl_mimepart * part, const char* type), (part, type), CURLE_OUT_OF_MEMORY)
FAILING(CURLcode, curl_mime_data, (curl_mimepart * part, const char* data, size_t size), (part, data, size),
        CURLE_OUT_OF_MEMORY)
FAILING(CURLcode, curl_mime_filedata, (curl_mimepart * part, const char* file), (part, file), CURLE_READ_ERROR)
FAILING(CURLMcode, curl_multi_add_handle, (CURLM * multi, CURL* easy), (multi, easy), CURLM_OUT_OF_MEMORY)
FAILING(CURLMcode, curl_multi_perform, (CURLM * multi, int* running), (multi, running), CURLM_OUT_OF_MEMORY)

CURLcode __real_curl_global_init(long flags);
CURLcode __wrap_curl_global_init(long flags)
{
    if (refused("curl_global_init")) return CURLE_FAILED_INIT;
    held(&g_inits[g_initCount++ % sizeof g_inits], "curl_global_init");
    return __real_curl_global_init(flags);
}
/** Its texts differ between its versions. */
const char* __wrap_curl_easy_strerror(CURLcode)
{
    return "(libcurl's text)";
}

void __real_curl_global_cleanup();
void __wrap_curl_global_cleanup()
{
    rig::released(&g_inits[--g_initCount % sizeof g_inits]);
    __real_curl_global_cleanup();
}

curl_slist* __real_curl_slist_append(curl_slist* list, const char* line);
curl_slist* __wrap_curl_slist_append(curl_slist* list, const char* line)
{
    if (refused("curl_slist_append")) return nullptr;
    rig::released(list, false);
    return held(__real_curl_slist_append(list, line), "curl_slist_append");
}
FREEING(curl_slist_free_all, curl_slist*)

/** A stream that says nothing is looked at often: the test does not wait for the next look. */
CURLMcode __real_curl_multi_wait(CURLM* multi, curl_waitfd* more, unsigned count, int ms, int* ready);
CURLMcode __wrap_curl_multi_wait(CURLM* multi, curl_waitfd* more, unsigned count, int ms, int* ready)
{
    if (refused("curl_multi_wait")) return CURLM_OUT_OF_MEMORY;
    return __real_curl_multi_wait(multi, more, count, counting() ? 10 : ms, ready);
}

// Every option that the library sets takes a pointer or a long: one machine word each.
// The enumerations arrive as they are promoted: va_start wants that type.
CURLcode __wrap_curl_easy_setopt(CURL* easy, unsigned number, ...)
{
    const auto option = static_cast<CURLoption>(number);
    va_list    arguments;
    va_start(arguments, number);
    void* const word = va_arg(arguments, void*);
    va_end(arguments);
    if (refused("curl_easy_setopt")) return CURLE_OUT_OF_MEMORY;
    if (counting()) {
        const rig::Paused      paused;
        const curl_easyoption* about = curl_easy_option_by_id(option);
        const std::string      name  = about == nullptr ? std::to_string(option) : about->name;
        if (option == CURLOPT_TIMEOUT_MS)  // what is left of a time
            note("  TIMEOUT_MS ", reinterpret_cast<long>(word) < 5000 ? "below 5000" : "5000 or more");
        else if (about != nullptr && (about->type == CURLOT_LONG || about->type == CURLOT_VALUES))
            note("  ", name, " ", reinterpret_cast<long>(word));
        else if (about != nullptr && about->type == CURLOT_STRING && word != nullptr)
            note("  ", name, " ", golden::inQuotes(static_cast<const char*>(word)));
        else
            note("  ", name, word == nullptr ? " NULL" : "");
    }
    if (g_world.plain && option == CURLOPT_URL && word != nullptr) {
        const rig::Paused paused;
        std::string       url = static_cast<const char*>(word);
        if (url.rfind("https:", 0) == 0) return __real_curl_easy_setopt(easy, option, url.erase(4, 1).c_str());
    }
    return __real_curl_easy_setopt(easy, option, word);
}

CURLcode __real_curl_easy_getinfo(CURL* easy, CURLINFO info, ...);

/** A connection that stays, of a stream or a kept handle, must not reach a program that the process starts. */
static void lookAtSocket(CURL* easy)
{
    const rig::Paused paused;
    curl_socket_t     socket = CURL_SOCKET_BAD;
    if (__real_curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD) return;
    if ((fcntl(socket, F_GETFD) & FD_CLOEXEC) == 0) rig::platform().complain("a program would inherit a connection");
}

CURLcode __real_curl_easy_perform(CURL* easy);
CURLcode __wrap_curl_easy_perform(CURL* easy)
{
    const CURLcode done = refused("curl_easy_perform") ? CURLE_COULDNT_CONNECT : __real_curl_easy_perform(easy);
    note("curl code ", done);
    const rig::Paused paused;
    if (g_world.noteTraffic) g_world.noteTraffic();
    return done;
}

CURLMsg* __real_curl_multi_info_read(CURLM* multi, int* left);
CURLMsg* __wrap_curl_multi_info_read(CURLM* multi, int* left)
{
    CURLMsg* const message = __real_curl_multi_info_read(multi, left);
    if (message != nullptr) note("curl code ", message->data.result);
    return message;
}

CURLMcode __real_curl_multi_remove_handle(CURLM* multi, CURL* easy);
CURLMcode __wrap_curl_multi_remove_handle(CURLM* multi, CURL* easy)
{
    lookAtSocket(easy);
    return __real_curl_multi_remove_handle(multi, easy);
}

void __real_curl_easy_reset(CURL* easy);
void __wrap_curl_easy_reset(CURL* easy)
{
    lookAtSocket(easy);
    __real_curl_easy_reset(easy);
}

CURLcode __wrap_curl_easy_getinfo(CURL* easy, unsigned number, ...)
{
    const auto info = static_cast<CURLINFO>(number);
    va_list    arguments;
    va_start(arguments, number);
    void* const out = va_arg(arguments, void*);
    va_end(arguments);
    if (refused("curl_easy_getinfo")) return CURLE_BAD_FUNCTION_ARGUMENT;
    const CURLcode done = __real_curl_easy_getinfo(easy, info, out);
    if (info == CURLINFO_RESPONSE_CODE && g_world.httpStatus != 0) *static_cast<long*>(out) = g_world.httpStatus;
    return done;
}

curl_version_info_data* __real_curl_version_info(CURLversion now);
curl_version_info_data* __wrap_curl_version_info(CURLversion now)
{
    static curl_version_info_data info = *__real_curl_version_info(now);
    info.version_num                   = g_world.curlVersion;
    return &info;
}

// --- The library's own operation that answers a fixed link-local address, which no test host has.
int32_t __real_APMDiscoveryUSBNICIPv6Address(char* address);
int32_t __wrap_APMDiscoveryUSBNICIPv6Address(char* address)
{
    if (g_world.ipv6Address.empty()) return __real_APMDiscoveryUSBNICIPv6Address(address);
    std::strcpy(address, g_world.ipv6Address.c_str());
    return 0;
}

}  // extern "C"

// --- The C++ library's memory, for the whole program; only what the library asks for may fail.
void* operator new(std::size_t size)
{
    if (refused("operator new")) throw std::bad_alloc();
    void* const block = held(__real_malloc(size), "operator new");
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return refused("operator new") ? nullptr : held(__real_malloc(size), "operator new");
}
void operator delete(void* block) noexcept
{
    if (counting()) rig::released(block);
    __real_free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept
{
    operator delete(block);
}
