/**
 * @file qvrfutil_core.hpp
 * The process's one session behind Client, Session and EventStream: who may touch its record when. Included by
 * qvrfutil.hpp; programs have no use for it alone.
 *
 * The library keeps one session record, which its operations read without a lock. With many threads this ends in
 * half-written endpoints and sessions that nobody closes. So the layer hands each request a copy of the record of its
 * own (QVRFUTILSendRequestEx takes one), and replaces the record in one place, one thread at a time. No lock is held
 * meanwhile: what is under way goes on with its copy, and nobody waits for a request of somebody else's.
 */
#ifndef QVRFUTIL_CORE_HPP
#define QVRFUTIL_CORE_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "qvrfutil.h"
#include "qvrfutil_listener.hpp"
#include "qvrfutil_opened.hpp"
#include "qvrfutil_status.hpp"
#include "qvrfutil_threads.hpp"

namespace qvrfutil {

namespace detail {

/** The frame of the library and its session. Shared by who works with it, background threads among them. */
class Core : public std::enable_shared_from_this<Core> {
public:
    /** The last one to let go of a parent's core in a forked child leaves it as it is: it may be locked for good. */
    static std::shared_ptr<Core> make()
    {
        return std::shared_ptr<Core>(new Core, [](Core* core) {
            if (!core->isParents()) delete core;
        });
    }
    Core(Core&&) = delete;

    /** Whether this process is a child that was forked from the one whose session it is. */
    bool isParents() const noexcept { return process_ != processNumber(); }

    // ---- Before a session ----

    void begin()
    {
        if (!std::exchange(hasFrame_, true)) QVRFUTILInit(FALSE);
        QVRFUTILKeepConnections(TRUE);
        generationIs(generation_);
    }
    void generationIs(Generation generation) noexcept
    {
        generation_             = generation;
        giSServerNewGenAndAbove = isNewer() ? TRUE : FALSE;
    }
    s32 endpointIs(Endpoint endpoint)
    {
        endpoint_        = std::move(endpoint);
        const s32 status = useEndpoint();
        publish(false);
        return status;
    }
    bool isNewer() const noexcept { return generation_ != Generation::older; }

    // ---- The session ----

    /** Where the BMC is, whoever is logged in. */
    OpenedCopy place() const
    {
        if (isParents()) return nullptr;
        const Lock lock(mutex_);
        return session_ ? session_ : place_;
    }
    /** The session, or nothing when there is none. */
    OpenedCopy session() const
    {
        if (isParents()) return nullptr;
        const Lock lock(mutex_);
        return isClosed_ ? nullptr : session_;
    }
    /** Where the BMC keeps its sessions. */
    std::string sessionPath(const Opened& of) const
    {
        return std::string(isNewer() ? "/redfish/v1/SessionService/Sessions/" : "/redfish/v1/Sessions/") +
               of.record().SessionID;
    }

    /** Opens it. */
    Done open(Login login)
    {
        if (isParents()) return childsError("open a session");
        const Late                  late(new LateResult<Done>);
        const std::function<void()> work = [this, late] {
            if (!late->set(contained([&] { return openNow(); }, outOfMemory)))
                static_cast<void>(closeNow());  // who wanted it has gone
        };
        {
            const Lock lock(mutex_);
            if (isOver_) return Error("open a session", QVRFUTIL_FAILURE, "this process is ending", "");
            if (!isClosed_) return Error("open a session", QVRFUTIL_FAILURE, "this process has one already", kCaller);
            isClosed_ = false;
        }
        const Duration limit = login.limit;
        login_               = std::move(login);
        inBackground(work);
        std::optional<Done> done = limit.count() == 0 ? late->wait() : late->wait(after(limit));
        if (done) return *std::move(done);
        return Error("open a session", OXA_BMC_SESSION_CREATION_FAILED,
                     "the BMC did not open one within " + inWords(limit), kCheckLink);
    }

    /** Closes it on the BMC, within @p limit: after that it is left to its idle time, and the result says so. */
    Done close(Duration limit, bool forGood = false)
    {
        if (isParents()) return Nothing{};
        const Late                  late(new LateResult<Done>);
        const std::function<void()> work = [this, late] {
            late->set(contained([&] { return closeNow(); }, outOfMemory));
        };
        {
            const Lock lock(mutex_);
            isOver_ = isOver_ || forGood;
            // Nothing begins any more, and nothing is renewed. Who comes second does not wait for the first once more.
            if (std::exchange(isClosed_, true)) return Nothing{};
        }
        inBackground(work);
        if (std::optional<Done> done = late->wait(after(limit))) return *std::move(done);
        return Error("close the session", OXA_BMC_SESSION_DELETION_FAILED, "the BMC did not answer in time",
                     statusText(OXA_BMC_SESSION_DELETION_FAILED).remedy);
    }

    /**
     * Opens a session in place of the one of @p epoch, unless another thread did so meanwhile, by @p until. Who was
     * under way when a renewal failed, since @p begun, shares that failure: a BMC that refuses is not asked by each.
     */
    Done renew(std::uint64_t epoch, Clock::time_point begun, std::optional<Clock::time_point> until,
               const Cancellation* cancellation = nullptr)
    {
        if (isParents()) return childsError("renew the session");
        const std::function<void()> work = [this, epoch] {
            contained([&] { renewNow(); }, [&] { renewed(outOfMemory().error(), epoch); });
        };
        Lock       lock(mutex_);
        const auto isDecided = [&] { return isClosed_ || !session_ || session_->epoch() != epoch || !isRenewing_; };
        const auto hasFailed = [&] { return failure_ && failedEpoch_ == epoch && begun <= failedAt_; };
        if (isClosed_ || !session_) return noSession("renew the session");
        if (session_->epoch() == epoch && !hasFailed() && !std::exchange(isRenewing_, true)) {
            lock.unlock();
            inBackground(work);
            lock.lock();
        }
        if (!wait(lock, until, cancellation, isDecided)) return notRenewed(cancellation);
        if (isClosed_ || !session_) return noSession("renew the session");
        if (session_->epoch() == epoch && hasFailed()) return *failure_;
        return Nothing{};
    }

    /** Who is told of renewals. */
    RenewalListener& listener() noexcept { return listener_; }

    static Error noSession(const std::string& what)
    {
        return Error(what, QVRFUTIL_NO_SESSION_DETAILS, "the session is closed", "open a session");
    }
    static Error childsError(const std::string& what)
    {
        return Error(what, QVRFUTIL_NO_SESSION_DETAILS,
                     "the session belongs to the process that this one was forked from",
                     "open a Client of this process's own");
    }

private:
    using Late = std::shared_ptr<LateResult<Done>>;  // std::make_shared takes a compiler far longer

    static constexpr Duration kLook{200};  // how often a thread that waits for a renewal looks at its cancellation
    static constexpr s32      kFirstIpVersion = 4;
    static constexpr s32      kAddressAsItIs  = 4;  // IPv6 has its brackets in the record; 6 would add a second pair

    Core() : process_(processNumber()) {}
    ~Core()
    {
        if (!hasFrame_) return;
        QVRFUTILKeepConnections(FALSE);
        QVRFUTILCleanUp();
    }

    /** @return false: the time is over, or it was cancelled */
    template <class Condition>
    bool wait(Lock& lock, std::optional<Clock::time_point> until, const Cancellation* cancellation, Condition condition)
    {
        while (!condition()) {
            if (until && Clock::now() >= *until) return false;
            if (cancellation != nullptr && cancellation->isPulled()) return false;
            const auto look = after(Duration(kLook));
            changed_.wait_until(lock, until ? std::min(*until, look) : look);
        }
        return true;
    }
    static Error notRenewed(const Cancellation* cancellation)
    {
        Error error("renew the session", OXA_BMC_SESSION_CREATION_FAILED,
                    "the BMC did not open one within the time limit", kCheckLink);
        if (cancellation == nullptr || !cancellation->isPulled()) return error;
        error.reason  = Reason::cancelled;
        error.meaning = "it was cancelled";
        return error;
    }

    /** On a thread of its own, or here when none is to be had; nothing is thrown, and it is run in any case. */
    void inBackground(const std::function<void()>& work)
    {
        const auto start = [&] { return startThread([self = shared_from_this(), work] { work(); }); };
        if (!contained(start, [] { return false; })) work();
    }

    /** The right to call operations that write the library's record, for a scope. */
    class Turn {
    public:
        explicit Turn(Core& core) : core_(core)
        {
            Lock lock(core_.mutex_);
            core_.changed_.wait(lock, [&] { return !core_.isBusy_; });
            core_.isBusy_ = true;
        }
        ~Turn()
        {
            const Lock lock(core_.mutex_);
            core_.isBusy_ = false;
            core_.changed_.notify_all();
        }
        Turn(Turn&&) = delete;

    private:
        Core& core_;
    };

    s32 useEndpoint()
    {
        std::string address = endpoint_->address;
        std::string port    = endpoint_->port;
        // The operation turns the record to IPv6, never back.
        g_RedfishSession.IPVersion = kFirstIpVersion;
        return QVRFUTILSetIPAddress(address.data(), port.data(), endpoint_->isIpv6() ? TRUE : FALSE);
    }

    /** Lets requests that begin from now on have what the record says. */
    void publish(bool isSession)
    {
        auto       copy = OpenedCopy(new Opened(g_RedfishSession, ++epochs_));
        const Lock lock(mutex_);
        (isSession ? session_ : place_) = std::move(copy);
    }

    /** With the turn. */
    s32 create()
    {
        if (isNewer() && endpoint_)  // a renewal lost the port
            if (s32 status = useEndpoint(); status != OXA_SUCCESS) return status;
        std::string user      = login_.user;
        std::string privilege = login_.privilege;
        return QVRFUTILCreateSession(user.data(), privilege.data(), kFirstIpVersion);
    }

    Done openNow()
    {
        const Turn turn(*this);
        begin();
        if (const s32 status = create(); status != OXA_SUCCESS) {
            const Lock lock(mutex_);
            isClosed_ = true;
            return Error("open a session", status);
        }
        publish(true);
        return Nothing{};
    }

    void renewNow()
    {
        OpenedCopy old;
        {
            const Turn turn(*this);
            old = session();
            if (!old) return renewed({}, 0);        // closed meanwhile
            QVRFUTILDeleteSessionNewGenAndAbove();  // the library opens none where it has one
            if (const s32 status = create(); status != OXA_SUCCESS)
                return renewed(Error("renew the session", status), old->epoch());
            publish(true);
            renewed({}, 0);
        }
        remove(*old);
    }
    void renewed(std::optional<Error> failure, std::uint64_t epoch)
    {
        const Lock lock(mutex_);
        isRenewing_  = false;
        failure_     = std::move(failure);
        failedEpoch_ = epoch;
        failedAt_    = Clock::now();
        changed_.notify_all();
    }

    /**
     * A session that one resource refused may be as alive as ever: it goes when another one has taken its place. By its
     * own token, which is good for nothing once the BMC ended it, and then says nothing about a later session that got
     * the same number.
     */
    void remove(const Opened& old) const;

    Done closeNow()
    {
        const Turn turn(*this);
        OpenedCopy last;
        {
            const Lock lock(mutex_);
            isClosed_ = true;
            last      = std::exchange(session_, nullptr);
        }
        if (!last) return Nothing{};
        if (!Opened(g_RedfishSession, 0).isSession()) {  // a renewal failed: the library has forgotten the last one
            remove(*last);
            return Nothing{};
        }
        std::string user   = login_.user;
        const s32   status = QVRFUTILDeleteSession(user.data(), kAddressAsItIs);
        hasFrame_          = g_SessionCreationLock != nullptr;  // a deletion ends with QVRFUTILCleanUp
        if (status == OXA_SUCCESS) return Nothing{};
        return Error("close the session", status, statusText(status).meaning,
                     statusText(OXA_BMC_SESSION_DELETION_FAILED).remedy);
    }

    static Done outOfMemory()
    {
        Error error;
        error.status = QVRFUTIL_OUT_OF_MEMORY;
        return error;
    }

    const unsigned       process_;
    mutable Mutex        mutex_;  // held for moments only
    Condition            changed_;
    RenewalListener      listener_;
    OpenedCopy           place_, session_;
    bool                 isClosed_   = true;
    bool                 isOver_     = false;
    bool                 isBusy_     = false;
    bool                 isRenewing_ = false;
    std::optional<Error> failure_;  // of the last renewal
    std::uint64_t        failedEpoch_ = 0;
    Clock::time_point    failedAt_;
    // Of who has the turn, and of the Client's beginning.
    Generation              generation_ = Generation::newer;
    std::optional<Endpoint> endpoint_;
    Login                   login_;
    bool                    hasFrame_ = false;
    std::uint64_t           epochs_   = 0;
};

/** The core that was made last, for as long as somebody works with it. */
struct LastCore {
    Mutex               mutex;
    std::weak_ptr<Core> core;
};
inline LastCore& lastCore()
{
    // Never destroyed; a forked child begins with a new one: another thread may have had the lock.
    static ForkedAnew<LastCore> last;
    return last.get();
}

/** The one core of the process; a second Client at a time is refused. */
inline Result<std::shared_ptr<Core>> newCore(Duration wait)
{
    LastCore&  last  = lastCore();
    const auto until = after(wait);
    for (;;) {
        {
            const Lock lock(last.mutex);
            if (last.core.expired()) {
                std::shared_ptr<Core> core = Core::make();
                last.core                  = core;
                return core;
            }
        }
        if (Clock::now() >= until)
            return Error("begin", QVRFUTIL_FAILURE, "this process has a Client already", kCaller);
        pause(Duration(10));  // what an earlier one left to the background
    }
}

}  // namespace detail
}  // namespace qvrfutil

#endif
