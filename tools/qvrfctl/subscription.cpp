/** @file subscription.cpp  Carries the stream's pieces from the subscription's thread to the tool's. */
#include "subscription.h"

#include <condition_variable>
#include <deque>
#include <mutex>

#include "smsupport.h"

namespace qvrfctl {

class Inbox {
public:
    using News = Subscription::News;

    /** Blocks while the reader is far behind: the stream's own flow control then holds the BMC back. */
    void put(std::string piece)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return bytes_ < kMostBytes || closed_; });
        if (closed_) return;
        bytes_ += piece.size();
        pieces_.push_back(std::move(piece));
        changed_.notify_all();
    }
    /** No more pieces come, and why. What was told first counts. */
    void finish(News how)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!over_) over_ = how;
        changed_.notify_all();
    }
    /** Nobody reads any more. */
    void close()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closed_ = true;
        changed_.notify_all();
    }
    News take(std::string& piece, std::optional<Subscription::Clock::time_point> until)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto                   isNews = [&] { return !pieces_.empty() || over_; };
        if (!until)
            changed_.wait(lock, isNews);
        else if (!changed_.wait_until(lock, *until, isNews))
            return News::silence;
        if (pieces_.empty()) return *over_;
        piece = std::move(pieces_.front());
        pieces_.pop_front();
        bytes_ -= piece.size();
        changed_.notify_all();
        return News::piece;
    }

private:
    static constexpr std::size_t kMostBytes = 4u * 1024 * 1024;

    std::mutex              mutex_;
    std::condition_variable changed_;
    std::deque<std::string> pieces_;
    std::size_t             bytes_ = 0;
    std::optional<News>     over_;
    bool                    closed_ = false;
};

namespace {

/** Goes when its thread does. Shares the inbox: how long a platform keeps a thread is the platform's affair. */
struct ThreadsEnd {
    std::shared_ptr<Inbox> inbox;
    ~ThreadsEnd()
    {
        if (inbox) inbox->finish(Subscription::News::ended);
    }
};

struct GiveBack {
    void operator()(void* memory) const noexcept { SMFreeMem(memory); }
};

/** On the subscription's thread. */
extern "C" void qvrfctlStreamNews(SSEEventData* data)
try {
    const std::unique_ptr<SSEEventData, GiveBack> event(data);
    const std::unique_ptr<astring, GiveBack>      bytes(event->pEvent);
    const auto& inbox = *static_cast<const std::shared_ptr<Inbox>*>(event->pCallerContext);
    if (event->StatusCode != 0) {
        inbox->finish(Subscription::News::broken);
        return;
    }
    thread_local ThreadsEnd end;
    end.inbox = inbox;
    inbox->put(std::string(bytes.get(), static_cast<std::size_t>(event->EventPayloadSize)));
} catch (...) {
    std::fputs("qvrfctl: out of memory: a piece of the stream is lost\n", stderr);
}

}  // namespace

Subscription::Subscription(Session& session, const std::string& path)
    : interrupts_(session.context().interrupts), inbox_(std::make_shared<Inbox>())
{
    callback_.pCallerContext          = &inbox_;
    callback_.pCallerCallBackFunction = qvrfctlStreamNews;
    const auto turn                   = interrupts_.hold();
    if (const s32 st = QVRFUTILRegisterSSE(path.c_str(), &callback_, &handle_); st != 0)
        throw libraryFailure("follow " + path, st);
    interrupts_.onInterruptStop([this] { unregister(); });
}

Subscription::~Subscription()
{
    const auto turn = interrupts_.hold();
    interrupts_.onInterruptStop({});
    unregister();
}

void Subscription::unregister() noexcept
{
    inbox_->close();
    QVRFUTILUnregisterSSE(&handle_);
}

Subscription::News Subscription::next(std::string& piece, std::optional<Clock::time_point> until)
{
    return inbox_->take(piece, until);
}

}  // namespace qvrfctl
