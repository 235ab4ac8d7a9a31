/** @file Link.cpp  Makes the namespace with unshare, the pair of interfaces with the command `ip`. */
#include "Link.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

extern char** environ;

namespace torvosim {

namespace {

constexpr char kFarEnd[]        = "bmc0";
constexpr char kHostHardware[]  = "02:00:7a:3e:c0:51";
constexpr char kBmcHardware[]   = "02:00:7a:3e:c0:52";
constexpr char kNameDirectory[] = "/run/netns";

constexpr std::size_t kLongestInterfaceName = 15;
constexpr std::size_t kLongestNamespaceName = 64;

std::string because(const std::string& what)
{
    return what + ": " + std::strerror(errno);
}

[[noreturn]] void linkFailed(const std::string& what)
{
    if (errno == EPERM || errno == EACCES) throw std::runtime_error(because(what) + " (the link needs root)");
    throw std::runtime_error(because(what));
}

void checkName(const char* kind, const std::string& name, std::size_t longest)
{
    const auto good = [](unsigned char c) { return std::isalnum(c) != 0 || std::strchr("._-", c) != nullptr; };
    if (name.empty() || name.size() > longest || name[0] == '.' || name[0] == '-' ||
        !std::all_of(name.begin(), name.end(), good))
        throw std::runtime_error(std::string(kind) + " '" + name + "': 1 to " + std::to_string(longest) +
                                 " letters, digits, '.', '_' and '-', the first a letter, a digit or '_'");
}

/** Runs @p body on a thread of its own, whose namespaces nobody else shares and which need not be put back. */
void onItsOwnThread(const std::function<void()>& body)
{
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            body();
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    if (thrown) std::rethrow_exception(thrown);
}

/** The output of a child, to its end. */
std::string readAll(int fd)
{
    std::string           text;
    std::array<char, 512> piece{};
    for (ssize_t got = 0; (got = ::read(fd, piece.data(), piece.size())) != 0;) {
        if (got > 0) text.append(piece.data(), static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    return std::string(trimmed(text));
}

/** Runs `ip` in the calling thread's network namespace. @throws std::runtime_error with what it said */
void ip(std::vector<std::string> words)
{
    words.insert(words.begin(), "ip");
    std::string        commandLine;
    std::vector<char*> arguments;
    for (std::string& word : words) {
        commandLine += (commandLine.empty() ? "" : " ") + word;
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) linkFailed("pipe");
    const Descriptor out(ends[0]);
    Descriptor       in(ends[1]);

    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, in.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, in.get(), STDERR_FILENO);
    pid_t     child = -1;
    const int rc    = ::posix_spawnp(&child, words[0].c_str(), &files, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    in = Descriptor();
    if (rc != 0) throw std::runtime_error(std::string("the command ip: ") + std::strerror(rc));

    const std::string said   = readAll(out.get());
    int               status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(commandLine + ": " + said);
}

}  // namespace

Link::Link(const std::string& hostsEnd, const std::string& namespaceName)
    : hostsEnd_(hostsEnd), hasV6_(::access("/proc/sys/net/ipv6", F_OK) == 0)
{
    checkName("link name", hostsEnd, kLongestInterfaceName);
    if (!namespaceName.empty()) checkName("namespace name", namespaceName, kLongestNamespaceName);
    makeNamespace();
    try {
        if (!namespaceName.empty()) giveName(namespaceName);
        makePair();
    } catch (...) {
        remove();
        throw;
    }
}

Link::~Link()
{
    remove();
}

void Link::makeNamespace()
{
    onItsOwnThread([this] {
        if (::unshare(CLONE_NEWNET) != 0) linkFailed("network namespace");
        namespace_ = Descriptor(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
        if (!namespace_) linkFailed("network namespace");
    });
}

/** Where `ip netns` looks for names: a file each, with the namespace mounted on it. */
void Link::giveName(const std::string& name)
{
    if (::mkdir(kNameDirectory, 0755) != 0 && errno != EEXIST) linkFailed(kNameDirectory);
    const std::string path = std::string(kNameDirectory) + '/' + name;
    const Descriptor  file(::open(path.c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0444));
    if (!file && errno == EEXIST)
        throw std::runtime_error("network namespace " + name + " exists already; if nobody uses it: ip netns delete " +
                                 name);
    if (!file) linkFailed(path);
    namePath_               = path;
    const std::string inode = "/proc/self/fd/" + std::to_string(namespace_.get());
    if (::mount(inode.c_str(), path.c_str(), "none", MS_BIND, nullptr) != 0) linkFailed(path);
}

void Link::makePair()
{
    const std::string farSide = "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(namespace_.get());
    ip({"link", "add", hostsEnd_, "address", kHostHardware, "type", "veth", "peer", "name", kFarEnd, "address",
        kBmcHardware, "netns", farSide});
    hasPair_ = true;
    atFarEnd([this] {
        ip({"link", "set", "lo", "up"});
        if (hasV6_) ip({"link", "set", kFarEnd, "addrgenmode", "none"});  // the address it reports, and no other
        ip({"address", "add", std::string(kLinkV4) + "/16", "dev", kFarEnd});
    });
    setUp(true);
}

void Link::setUp(bool up)
{
    const std::lock_guard<std::mutex> lock(changing_);
    if (!hasPair_) throw std::runtime_error("the link is gone");
    atFarEnd([&] {
        ip({"link", "set", kFarEnd, up ? "up" : "down"});
        // An interface that goes down loses its IPv6 addresses. Nobody else on this link could hold this one.
        if (up && hasV6_) ip({"address", "replace", std::string(kLinkV6) + "/64", "dev", kFarEnd, "nodad"});
    });
}

std::vector<std::string> Link::addresses() const
{
    std::vector<std::string> all{kLinkV4};
    if (hasV6_) all.push_back(std::string(kLinkV6) + '%' + kFarEnd);
    return all;
}

void Link::atFarEnd(const std::function<void()>& body) const
{
    onItsOwnThread([&] {
        if (::setns(namespace_.get(), CLONE_NEWNET) != 0) linkFailed("network namespace");
        body();
    });
}

void Link::remove() noexcept
{
    const std::lock_guard<std::mutex> lock(changing_);
    // The kernel takes the pair away with its namespace, but in its own time.
    try {
        if (std::exchange(hasPair_, false)) ip({"link", "delete", hostsEnd_});
    } catch (const std::exception&) {
        // Somebody else deleted it.
    }
    if (namePath_.empty()) return;
    ::umount2(namePath_.c_str(), MNT_DETACH);
    ::unlink(namePath_.c_str());
    namePath_.clear();
}

}  // namespace torvosim
