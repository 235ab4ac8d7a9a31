/** @file BmcRestart.cpp  A restart of the BMC that was asked for. */
#include "BmcRestart.h"

#include <utility>

namespace torvosim {

using Lock = std::unique_lock<std::mutex>;

void BmcRestart::ask(Pause pause)
{
    const Lock lock(mutex_);
    asked_ = pause;
    changed_.notify_all();
}

void BmcRestart::askAfterUpdate(Pause pause)
{
    const Lock lock(mutex_);
    afterUpdate_ = pause;
}

void BmcRestart::updateIsOver()
{
    const Lock lock(mutex_);
    if (!afterUpdate_) return;
    asked_ = std::exchange(afterUpdate_, std::nullopt);
    changed_.notify_all();
}

std::optional<BmcRestart::Pause> BmcRestart::wait()
{
    Lock lock(mutex_);
    changed_.wait(lock, [this] { return asked_ || ended_; });
    return ended_ ? std::nullopt : std::exchange(asked_, std::nullopt);
}

bool BmcRestart::passes(Pause pause)
{
    Lock lock(mutex_);
    return !changed_.wait_for(lock, pause, [this] { return ended_; });
}

void BmcRestart::isBack()
{
    const Lock lock(mutex_);
    ++count_;
}

void BmcRestart::end() noexcept
{
    const Lock lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

unsigned BmcRestart::count()
{
    const Lock lock(mutex_);
    return count_;
}

}  // namespace torvosim
