/** @file process.h  What every tool does with the process that it runs in. */
#ifndef QVTOOLS_PROCESS_H
#define QVTOOLS_PROCESS_H

namespace qvtools {

/** Traffic to the BMC never leaves the host: a proxy that is meant for the rest of the world has no part in it. */
void forgetProxies() noexcept;

/** While it lives, what the library and its commands print goes to standard error: standard output is the results'. */
class StdoutToStderr {
public:
    StdoutToStderr();
    ~StdoutToStderr();
    StdoutToStderr(StdoutToStderr&&) = delete;

private:
    int saved_;
};

}  // namespace qvtools

#endif
