/** @file session.h  The layer's client and session, with the options of the command line and the words of the tool. */
#ifndef QVRFCTL_SESSION_H
#define QVRFCTL_SESSION_H

#include <atomic>
#include <memory>

#include "interrupts.h"
#include "leftsessions.h"
#include "options.h"
#include "qvrfutil.hpp"

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

/** The BMC's endpoint, and nobody logged in: for what the BMC serves to everybody. */
class OpenAccess {
public:
    /** Finds the BMC. @throws Failure */
    explicit OpenAccess(const Context& context);

    const qvrfutil::Client& client() const noexcept { return *client_; }

private:
    std::unique_ptr<qvrfutil::Client> client_;
};

/** The BMC refused the login because it has no session left to give, and none is there that a killed command left. */
class NoSessionLeft : public Failure {
public:
    explicit NoSessionLeft(const Failure& failure) : Failure(failure) {}
};

/** The session: open while this object lives. */
class Session {
public:
    /** Finds the BMC and logs in. @throws Failure, of which NoSessionLeft is one */
    explicit Session(const Context& context);
    /**
     * Closes the session on the BMC, in 3 s at most; a failure is only a warning, for the work is done. Then those that
     * killed commands left there.
     */
    ~Session();
    Session(Session&&) = delete;

    const Context&          context() const noexcept { return context_; }
    const QVRFUTILSession&  record() const noexcept { return g_RedfishSession; }
    bool                    isNewer() const noexcept { return client_->generation() == Generation::newer; }
    qvrfutil::Session&      layer() noexcept { return *session_; }
    const qvrfutil::Client& client() const noexcept { return *client_; }

    /** After a renewal: the note for the case that this process is killed is of the new session. */
    void renewNote();

private:
    std::optional<Failure> logIn();
    bool                   makeRoom();
    void                   closeOnInterrupt();
    void                   close();

    const Context&                     context_;
    std::unique_ptr<qvrfutil::Client>  client_;
    std::unique_ptr<qvrfutil::Session> session_;
    SessionNote                        note_;
    std::atomic<bool>                  isOpening_{false};
};

/** What the layer tells, in the tool's words and with its exit status. @p what: "GET /redfish/v1" */
Failure failureOf(const std::string& what, const qvrfutil::Error& error);

}  // namespace qvrfctl

#endif
