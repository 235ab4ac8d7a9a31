/**
 * @file qvrfutil_threads.hpp
 * Time, locks and threads of the layer, and what becomes of them in a forked child. Included by qvrfutil_core.hpp;
 * programs have no use for it alone.
 */
#ifndef QVRFUTIL_THREADS_HPP
#define QVRFUTIL_THREADS_HPP

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace qvrfutil {

using Clock    = std::chrono::steady_clock;
using Duration = std::chrono::milliseconds;

/** Pulled by any thread, it ends the requests that look at it: within a second, wherever they are. */
class Cancellation {
public:
    void pull() noexcept { pulled_ = true; }
    bool isPulled() const noexcept { return pulled_; }

private:
    std::atomic<bool> pulled_{false};
};

namespace detail {

using Mutex     = std::mutex;
using Lock      = std::unique_lock<std::mutex>;
using Condition = std::condition_variable;

/** Lets no exception of @p work out: @p otherwise takes its place. */
template <class Work, class Otherwise>
auto contained(Work work, Otherwise otherwise) -> decltype(work())
{
#ifdef __cpp_exceptions
    try {
        return work();
    } catch (...) {
        return otherwise();
    }
#else
    static_cast<void>(otherwise);
    return work();
#endif
}

/** The time @p length from now on. Callers say "for ever" by more than a clock can count. */
inline Clock::time_point after(Duration length)
{
    constexpr std::chrono::hours kForEver{24 * 365 * 10};
    return Clock::now() + std::min<Duration>(length, kForEver);
}

inline void pause(Duration length) noexcept
{
    const auto     count = length.count();
    const timespec time{static_cast<time_t>(count / 1000), static_cast<long>(count % 1000 * 1000000)};
    ::nanosleep(&time, nullptr);
}

/** "1.5 s" */
inline std::string inWords(Duration length)
{
    const auto  count = length.count();
    std::string text  = std::to_string(count / 1000);
    if (count % 1000 != 0) text += '.' + std::to_string(1000 + count % 1000).substr(1);
    return text + " s";
}

/** How many forks lie between this process and the one that the program began as. */
inline unsigned processNumber() noexcept
{
    static std::atomic<unsigned> forks{0};
    static const int             asked = ::pthread_atfork(nullptr, nullptr, [] { ++forks; });
    static_cast<void>(asked);
    return forks;
}

/** A value that a forked child has anew, whatever the parent's threads did with theirs. Never destroyed. */
template <class Value>
class ForkedAnew {
public:
    Value& get() noexcept
    {
        for (Place* place = newest_;; place = newest_) {
            if (place != nullptr && place->process == processNumber()) return place->value;
            auto* const mine = new Place{processNumber(), {}};
            if (newest_.compare_exchange_strong(place, mine)) return mine->value;
            delete mine;
        }
    }

private:
    struct Place {
        unsigned process;
        Value    value;
    };
    std::atomic<Place*> newest_{nullptr};
};

/** Runs @p work on a thread that nobody waits for. @return false: none is to be had, and it was not run */
inline bool startThread(std::function<void()> work) noexcept
{
    const auto run = [](void* given) -> void* {
        const std::unique_ptr<std::function<void()>> mine(static_cast<std::function<void()>*>(given));
        contained([&] { (*mine)(); }, [] {});
        return nullptr;
    };
    std::unique_ptr<std::function<void()>> given(new (std::nothrow) std::function<void()>(std::move(work)));
    pthread_t                              thread;
    if (!given || ::pthread_create(&thread, nullptr, run, given.get()) != 0) return false;
    static_cast<void>(given.release());
    ::pthread_detach(thread);
    return true;
}

/** The result of a thread of its own, for somebody who does not wait for it forever. */
template <class Value>
class LateResult {
public:
    /** @return whether somebody still waits for it */
    bool set(Value value)
    {
        const Lock lock(mutex_);
        if (!isGone_) value_ = std::move(value);
        changed_.notify_all();
        return !isGone_;
    }
    std::optional<Value> wait()
    {
        Lock lock(mutex_);
        changed_.wait(lock, [&] { return value_.has_value(); });
        return std::move(value_);
    }
    std::optional<Value> wait(Clock::time_point until)
    {
        Lock lock(mutex_);
        isGone_ = !changed_.wait_until(lock, until, [&] { return value_.has_value(); });
        return std::move(value_);
    }

private:
    Mutex                mutex_;
    Condition            changed_;
    std::optional<Value> value_;
    bool                 isGone_ = false;
};

}  // namespace detail
}  // namespace qvrfutil

#endif
