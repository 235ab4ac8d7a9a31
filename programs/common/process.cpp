/** @file process.cpp  The environment and standard output of a tool's process. */
#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace qvtools {

namespace {

/** What leads elsewhere: the traffic, the keys of TLS, OpenSSL, the shell, tar, GnuPG and rpm. */
constexpr const char* kAstray[] = {
    "http_proxy", "https_proxy", "all_proxy",     "no_proxy",     "HTTP_PROXY",      "HTTPS_PROXY",
    "ALL_PROXY",  "NO_PROXY",    "SSLKEYLOGFILE", "OPENSSL_CONF", "OPENSSL_MODULES", "OPENSSL_ENGINES",
    "IFS",        "ENV",         "BASH_ENV",      "SHELLOPTS",    "BASHOPTS",        "PS4",
    "CDPATH",     "GLOBIGNORE",  "TAR_OPTIONS",   "GZIP",         "GNUPGHOME",       "RPM_CONFIGDIR"};

bool g_hasNoOutput = false;

/** A descriptor that is closed gets /dev/null. @return whether it was */
bool fill(int standard) noexcept
{
    if (::fcntl(standard, F_GETFD) >= 0) return false;
    Descriptor opened(::open("/dev/null", O_RDWR));
    if (opened.get() == standard)
        opened.release();
    else if (opened)
        ::dup2(opened.get(), standard);
    return true;
}

/** A shell takes a variable of such a name for a function: any command could be one. */
void forgetShellFunctions() noexcept
try {
    std::vector<std::string> names;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
        if (std::strncmp(*variable, "BASH_FUNC_", 10) == 0) names.emplace_back(*variable, std::strcspn(*variable, "="));
    for (const std::string& name : names) ::unsetenv(name.c_str());
} catch (const std::bad_alloc&) {
    ::clearenv();  // rather none than these
}

}  // namespace

void settleProcess() noexcept
{
    fill(STDIN_FILENO);
    g_hasNoOutput = fill(STDOUT_FILENO);
    fill(STDERR_FILENO);
    const mode_t before = ::umask(S_IWGRP | S_IWOTH);
    ::umask(before | S_IWGRP | S_IWOTH);
    ::signal(SIGCHLD, SIG_DFL);
    for (const char* name : kAstray) ::unsetenv(name);
    forgetShellFunctions();
    ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

bool hasNoOutput() noexcept
{
    return g_hasNoOutput;
}

std::string whyUnwritable()
{
    const int flags = ::fcntl(STDOUT_FILENO, F_GETFL);
    if (g_hasNoOutput || flags < 0 || (flags & O_ACCMODE) == O_RDONLY) return std::strerror(EBADF);
    pollfd     out{STDOUT_FILENO, 0, 0};
    const bool isReaderGone = ::poll(&out, 1, 0) == 1 && (out.revents & (POLLERR | POLLNVAL)) != 0;
    return isReaderGone ? std::strerror(EPIPE) : "";
}

StdoutToStderr::StdoutToStderr()
{
    std::fflush(stdout);
    saved_ = Descriptor(::dup(STDOUT_FILENO));
    if (saved_) ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

StdoutToStderr::~StdoutToStderr()
{
    if (!saved_) return;
    std::fflush(stdout);
    ::dup2(saved_.get(), STDOUT_FILENO);
}

}  // namespace qvtools
