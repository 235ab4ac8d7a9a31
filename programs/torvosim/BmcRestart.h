/** @file BmcRestart.h  A restart of the BMC that was asked for, now or for the end of an update. */
#ifndef TORVOSIM_BMCRESTART_H
#define TORVOSIM_BMCRESTART_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace torvosim {

class BmcRestart {
public:
    using Pause = std::chrono::seconds;

    /** From now on, for so long. */
    void ask(Pause pause);
    /** As soon as an update is over. */
    void askAfterUpdate(Pause pause);
    void updateIsOver();

    // For the one thread that carries it out.
    /** Waits for the next restart. @return nothing: the end */
    std::optional<Pause> wait();
    /** @return false: the end came first */
    bool passes(Pause pause);
    void isBack();
    /** Nobody has to wait any more. */
    void end() noexcept;
    /** How often the BMC came back. */
    unsigned count();

private:
    std::mutex              mutex_;
    std::condition_variable changed_;
    std::optional<Pause>    asked_;
    std::optional<Pause>    afterUpdate_;
    unsigned                count_ = 0;
    bool                    ended_ = false;
};

}  // namespace torvosim

#endif
