/**
 * @file qvrfutil_listener.hpp
 * Who is told of renewals. Included by qvrfutil_core.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_LISTENER_HPP
#define QVRFUTIL_LISTENER_HPP

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "qvrfutil_threads.hpp"

namespace qvrfutil {
namespace detail {

/** The caller's function, which any thread calls, and which may go while others call it. */
class RenewalListener {
public:
    using Function = std::function<void(const std::string& what)>;

    /** Returns when nobody is told by the old one any more, unless that one itself asks. */
    void become(Function function)
    {
        Lock lock(mutex_);
        function_.reset(function ? new Function(std::move(function)) : nullptr);
        if (isTelling()) return;
        changed_.wait(lock, [&] { return tellers_ == 0; });
    }
    /** Without a lock: the function may send requests itself, of whose renewals it is not told. */
    void tell(const std::string& what)
    {
        const std::shared_ptr<Function> function = begun();
        if (!function) return;
        isTelling() = true;
        contained([&] { (*function)(what); }, [] {});
        isTelling() = false;
        const Lock lock(mutex_);
        --tellers_;
        changed_.notify_all();
    }

private:
    /** Whether this thread is inside the function. */
    static bool& isTelling() noexcept
    {
        thread_local bool telling = false;
        return telling;
    }

    std::shared_ptr<Function> begun()
    {
        const Lock lock(mutex_);
        if (!function_ || isTelling()) return nullptr;
        ++tellers_;
        return function_;
    }

    Mutex                     mutex_;
    Condition                 changed_;
    std::shared_ptr<Function> function_;
    unsigned                  tellers_ = 0;
};

}  // namespace detail
}  // namespace qvrfutil

#endif
