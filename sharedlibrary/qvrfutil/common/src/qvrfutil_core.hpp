/**
 * @file qvrfutil_core.hpp
 * The process's one session behind Client, Session and EventStream: who may touch its record when. Included by
 * qvrfutil.hpp; programs have no use for it alone.
 *
 * The library reads the session record without a lock, and on the older generation each request that meets an ended
 * session renews it itself. With many threads this ends in half-written endpoints and sessions that nobody closes. So
 * the layer opens sessions itself, on both generations, while no request is at its beginning: requests go through a
 * gate that is shut meanwhile, and giSServerNewGenAndAbove is TRUE behind it, which keeps the library from renewing. It
 * has the generation's own value only while a session is opened or closed, and when there is none.
 */
#ifndef QVRFUTIL_CORE_HPP
#define QVRFUTIL_CORE_HPP

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "qvrfutil.h"
#include "qvrfutil_status.hpp"
#include "smsupport.h"

namespace qvrfutil {

using Clock    = std::chrono::steady_clock;
using Duration = std::chrono::milliseconds;

/** The BMC's generations differ in how they are found and where their sessions are opened. */
enum class Generation { automatic, newer, older };

/** Where the BMC serves Redfish. */
struct Endpoint {
    std::string address;  ///< IPv4, or IPv6 without brackets
    std::string port = "443";

    bool isIpv6() const noexcept { return address.find(':') != address.npos; }
};

/** For whom a session is opened. */
struct Login {
    std::string user      = "root";
    std::string privilege = "root";
};

namespace detail {

/** Lets many in, or one alone; who waits to be alone goes first. */
class Gate {
public:
    void enter()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return !shut_; });
        ++inside_;
    }
    void leave()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (--inside_ == 0) changed_.notify_all();
    }
    /**
     * Waits until nobody else has it shut, @return whether that came true by @p until; then until all who are inside
     * left, by @p empty at the latest.
     */
    bool shut(std::optional<Clock::time_point> until, std::optional<Clock::time_point> empty)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!wait(lock, until, [&] { return !shut_; })) return false;
        shut_    = true;
        isEmpty_ = wait(lock, empty, [&] { return inside_ == 0; });
        return true;
    }
    /** Of who shut it: whether really nobody is inside. */
    bool isEmpty() const noexcept { return isEmpty_; }
    void open()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        shut_ = false;
        changed_.notify_all();
    }

private:
    template <class Condition>
    bool wait(std::unique_lock<std::mutex>& lock, std::optional<Clock::time_point> until, Condition condition)
    {
        if (until) return changed_.wait_until(lock, *until, condition);
        changed_.wait(lock, condition);
        return true;
    }

    std::mutex              mutex_;
    std::condition_variable changed_;
    unsigned                inside_  = 0;
    bool                    shut_    = false;
    bool                    isEmpty_ = true;
};

/** Inside the gate for a scope. */
class Inside {
public:
    explicit Inside(Gate& gate) : gate_(gate) { gate_.enter(); }
    ~Inside() { gate_.leave(); }
    Inside(Inside&&) = delete;

private:
    Gate& gate_;
};

/** Alone for a scope, if that can be had in time. */
class Alone {
public:
    explicit Alone(Gate& gate) : gate_(gate), held_(gate.shut({}, {})) {}
    Alone(Gate& gate, Clock::time_point until, Clock::time_point empty) : gate_(gate), held_(gate.shut(until, empty)) {}
    ~Alone()
    {
        if (held_) gate_.open();
    }
    Alone(Alone&&) = delete;
    explicit operator bool() const noexcept { return held_; }

private:
    Gate& gate_;
    bool  held_;
};

/**
 * The generation's own value in giSServerNewGenAndAbove for a scope, while a session is opened or closed. A request
 * that is still under way (a signal closes the session under it) and is answered with 401 just then must not open
 * another: the right to renew is taken as well.
 */
class OwnGeneration {
public:
    explicit OwnGeneration(bool isNewer)
    {
        claim(TRUE);
        giSServerNewGenAndAbove = isNewer ? TRUE : FALSE;
    }
    ~OwnGeneration()
    {
        giSServerNewGenAndAbove = TRUE;
        claim(FALSE);
    }
    OwnGeneration(OwnGeneration&&) = delete;

private:
    static void claim(booln value)
    {
        constexpr s32 kWaitMs = 500;
        const bool    held    = g_SessionCreationLock != nullptr && SMMutexLock(g_SessionCreationLock, kWaitMs) == 0;
        g_isRedfishSessionRequested = value;
        if (held) SMMutexUnLock(g_SessionCreationLock);
    }
};

/** The frame of the library and its session. Shared by who works with it, background threads among them. */
class Core : public std::enable_shared_from_this<Core> {
public:
    Gate gate;

    ~Core()
    {
        if (!hasFrame_) return;
        QVRFUTILKeepConnections(FALSE);
        QVRFUTILCleanUp();
    }

    // ---- Before a session: alone ----

    void begin()
    {
        if (!std::exchange(hasFrame_, true)) QVRFUTILInit(FALSE);
        QVRFUTILKeepConnections(TRUE);
        giSServerNewGenAndAbove = isNewer() ? TRUE : FALSE;
    }
    void generationIs(Generation generation) noexcept
    {
        generation_             = generation;
        giSServerNewGenAndAbove = isNewer() ? TRUE : FALSE;
    }
    s32 endpointIs(Endpoint endpoint)
    {
        endpoint_ = std::move(endpoint);
        return useEndpoint();
    }
    bool                           isNewer() const noexcept { return generation_ != Generation::older; }
    const std::optional<Endpoint>& endpoint() const noexcept { return endpoint_; }

    // ---- The session ----

    /** Opens it. One at a time. */
    Done open(Login login)
    {
        const Alone alone(gate);
        if (isOver_) return Error("open a session", QVRFUTIL_FAILURE, "this process is ending", "");
        if (isOpen_) return Error("open a session", QVRFUTIL_FAILURE, "this process has one already", kCaller);
        begin();
        login_ = std::move(login);
        if (s32 status = create(); status != OXA_SUCCESS) {
            giSServerNewGenAndAbove = isNewer() ? TRUE : FALSE;
            return Error("open a session", status);
        }
        isOpen_ = true;
        return Nothing{};
    }

    /** Closes it on the BMC, within @p limit: after that it is left to its idle time, and the result says so. */
    Done close(Duration limit, bool forGood = false)
    {
        const auto until = Clock::now() + limit;
        const auto told  = std::make_shared<Told>();
        try {
            std::thread([self = shared_from_this(), told, until, forGood] {
                told->set(self->closeNow(until, forGood));
            }).detach();
        } catch (const std::system_error&) {  // no thread to be had: then without a limit
            return closeNow(until, forGood);
        }
        if (std::optional<Done> done = told->wait(until)) return *std::move(done);
        return leftAlone();
    }

    /** Opens a session in place of the one of @p epoch, unless another thread did so meanwhile. */
    Done renew(std::uint64_t epoch)
    {
        const Alone alone(gate);
        if (epoch_ != epoch) return Nothing{};
        if (!isOpen_) return Error("renew the session", QVRFUTIL_NO_SESSION_DETAILS);
        QVRFUTILDeleteSessionNewGenAndAbove();  // the BMC ended it: there is nothing to close
        if (s32 status = create(); status != OXA_SUCCESS) return Error("renew the session", status);
        return Nothing{};
    }

    /** Counts the sessions. Read inside the gate. */
    std::uint64_t epoch() const noexcept { return epoch_; }

    // ---- Who is told of renewals ----

    using Listener = std::function<void(const std::string& what)>;
    void listen(Listener listener)
    {
        const std::lock_guard<std::mutex> lock(listening_);
        listener_ = std::move(listener);
    }
    void tellRenewal(const std::string& what)
    {
        const std::lock_guard<std::mutex> lock(listening_);
        if (listener_) listener_(what);
    }

private:
    /** What a thread of its own has to tell, to somebody who does not wait for it forever. */
    class Told {
    public:
        void set(Done done)
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            done_ = std::move(done);
            changed_.notify_all();
        }
        std::optional<Done> wait(Clock::time_point until)
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait_until(lock, until, [&] { return done_.has_value(); });
            return done_;
        }

    private:
        std::mutex              mutex_;
        std::condition_variable changed_;
        std::optional<Done>     done_;
    };

    static constexpr Duration kBeginning{250};
    static constexpr s32      kFirstIpVersion = 4;
    static constexpr s32      kAddressAsItIs  = 4;  // IPv6 has its brackets in the record; 6 would add a second pair

    s32 useEndpoint()
    {
        std::string address = endpoint_->address;
        std::string port    = endpoint_->port;
        return QVRFUTILSetIPAddress(address.data(), port.data(), endpoint_->isIpv6() ? TRUE : FALSE);
    }

    s32 create()
    {
        if (isNewer() && endpoint_)  // a renewal lost the port
            if (s32 status = useEndpoint(); status != OXA_SUCCESS) return status;
        const OwnGeneration own(isNewer());
        std::string         user      = login_.user;
        std::string         privilege = login_.privilege;
        const s32           status    = QVRFUTILCreateSession(user.data(), privilege.data(), kFirstIpVersion);
        if (status == OXA_SUCCESS) ++epoch_;
        return status;
    }

    Done closeNow(Clock::time_point until, bool forGood)
    {
        // A request that is under way has its copy of the session and needs no waiting for; one at its beginning does.
        const Alone alone(gate, until, std::min(until, Clock::now() + kBeginning));
        if (!alone) return leftAlone();
        isOver_ = isOver_ || forGood;
        if (!std::exchange(isOpen_, false)) return Nothing{};
        s32 status = OXA_SUCCESS;
        {
            const OwnGeneration own(isNewer());
            std::string         user = login_.user;
            if (hasSession()) status = QVRFUTILDeleteSession(user.data(), kAddressAsItIs);
            hasFrame_ = g_SessionCreationLock != nullptr;  // a successful deletion ends with QVRFUTILCleanUp
        }
        // Who is still under way must not find a flag that lets it renew what was just closed.
        if (gate.isEmpty()) giSServerNewGenAndAbove = isNewer() ? TRUE : FALSE;
        if (status == OXA_SUCCESS) return Nothing{};
        return Error("close the session", status, statusText(status).meaning,
                     statusText(OXA_BMC_SESSION_DELETION_FAILED).remedy);
    }

    static bool hasSession() noexcept
    {
        const astring first = g_RedfishSession.SessionID[0];
        return first != '\0' && first != '-';
    }

    static Error leftAlone()
    {
        return Error("close the session", OXA_BMC_SESSION_DELETION_FAILED, "the BMC did not answer in time",
                     statusText(OXA_BMC_SESSION_DELETION_FAILED).remedy);
    }

    std::mutex              listening_;
    Listener                listener_;
    Generation              generation_ = Generation::newer;
    std::optional<Endpoint> endpoint_;
    Login                   login_;
    bool                    hasFrame_ = false;
    bool                    isOpen_   = false;
    bool                    isOver_   = false;
    std::uint64_t           epoch_    = 0;
};

/** The core that was made last, for as long as somebody works with it. */
inline std::weak_ptr<Core>& lastCore()
{
    static std::weak_ptr<Core> last;
    return last;
}

/** The one core of the process; a second Client at a time is refused. */
inline std::shared_ptr<Core> newCore(Duration wait)
{
    std::weak_ptr<Core>&              last = lastCore();
    static std::mutex                 mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto until = Clock::now() + wait; !last.expired();) {  // what an earlier one left to the background
        if (Clock::now() >= until)
            throw Failure(Error("begin", QVRFUTIL_FAILURE, "this process has a Client already", kCaller));
        std::this_thread::sleep_for(Duration(10));
    }
    const auto core = std::make_shared<Core>();
    last            = core;
    return core;
}

}  // namespace detail
}  // namespace qvrfutil

#endif
