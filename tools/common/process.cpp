/** @file process.cpp  The environment and standard output of a tool's process. */
#include "process.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <initializer_list>

namespace qvtools {

void forgetProxies() noexcept
{
    for (const char* name :
         {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"})
        ::unsetenv(name);
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
