/** @file session.h  The library's frame and the process-wide Redfish session, opened and closed in pairs. */
#ifndef QVRFCTL_SESSION_H
#define QVRFCTL_SESSION_H

#include "interrupts.h"
#include "options.h"
#include "qvrfutil.h"

namespace qvrfctl {

/** What a command works with. */
struct Context {
    const Options& options;
    const Target&  target;
    Output&        output;
    Interrupts&    interrupts;
};

/** QVRFUTILInit and QVRFUTILCleanUp, with the generation set in between. What talks IPMI alone needs no more. */
class Library {
public:
    explicit Library(Generation generation);
    ~Library();
    Library(Library&&) = delete;
};

/** The library with the BMC's endpoint set and nobody logged in: for what the BMC serves to everybody. */
class OpenAccess {
public:
    /** Finds the BMC. @throws Failure */
    explicit OpenAccess(const Context& context);

private:
    Library library_;
};

/** The session: open while this object lives. */
class Session {
public:
    /** Finds the BMC and logs in. @throws Failure */
    explicit Session(const Context& context);
    /** Closes the session on the BMC; a failure is only a warning, for the work is done. */
    ~Session();
    Session(Session&&) = delete;

    const Context&         context() const noexcept { return context_; }
    const QVRFUTILSession& record() const noexcept { return g_RedfishSession; }
    bool                   isNewer() const noexcept { return context_.target.generation == Generation::newer; }
    /** Newer generation: logs in again after the BMC ended the session. The older one does so by itself. */
    void renew();

private:
    void open();

    const Context& context_;
    Library        library_;
    Endpoint       endpoint_;  ///< newer generation
};

}  // namespace qvrfctl

#endif
