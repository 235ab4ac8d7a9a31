/** @file process.cpp  The environment and standard output of a tool's process. */
#include "process.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

namespace qvtools {

namespace {

void forget(std::initializer_list<const char*> names) noexcept
{
    for (const char* name : names) ::unsetenv(name);
}

}  // namespace

void beginProcess() noexcept
{
    for (int opened = ::open("/dev/null", O_RDWR); opened >= 0; opened = ::open("/dev/null", O_RDWR)) {
        if (opened <= STDERR_FILENO) continue;
        ::close(opened);
        break;
    }
    ::umask(S_IWGRP | S_IWOTH);
    forget({"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY",
            "SSLKEYLOGFILE"});
}

void settleCommands() noexcept
{
    ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    forget({"IFS", "ENV", "BASH_ENV", "SHELLOPTS", "BASHOPTS", "PS4", "CDPATH", "GLOBIGNORE", "TAR_OPTIONS", "GZIP",
            "GNUPGHOME", "RPM_CONFIGDIR"});
}

StdoutToStderr::StdoutToStderr()
{
    std::fflush(stdout);
    saved_ = ::dup(STDOUT_FILENO);
    if (saved_ >= 0) ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

StdoutToStderr::~StdoutToStderr()
{
    if (saved_ < 0) return;
    std::fflush(stdout);
    ::dup2(saved_, STDOUT_FILENO);
    ::close(saved_);
}

}  // namespace qvtools
