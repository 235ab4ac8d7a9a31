/** @file logfollow.cpp  qvrfctl log follow: events say when to look, the entries say what there is. */
#include <algorithm>
#include <set>
#include <thread>

#include "../session.h"
#include "log.h"
#include "logclear.h"
#include "qvrfutil_stream.hpp"
#include "times.h"

namespace qvrfctl {
namespace {

using qvrfutil::Clock;
using qvrfutil::EventStream;

constexpr std::chrono::seconds kWithoutEvents{10};
constexpr std::chrono::seconds kBesideEvents{60};
constexpr std::size_t          kFirstLook = 50;

/** One log, and what of it has been seen. */
class Followed {
public:
    Followed(Service& service, Value log, const std::string& severity)
        : service_(service), log_(std::move(log)), severity_(severity)
    {
        for (const Value& row : newest()) seen_.insert(row["id"].text());
    }

    struct News {
        std::vector<Value> rows;
        bool               isCleared = false;
    };
    News look()
    {
        News       news;
        const auto before = count_;
        const auto rows   = newest();
        news.isCleared    = count_ < before;
        if (news.isCleared) seen_.clear();
        for (const Value& row : rows)
            if (seen_.insert(row["id"].text()).second && isWanted(row)) news.rows.push_back(row);
        std::reverse(news.rows.begin(), news.rows.end());
        return news;
    }
    std::string name() const { return idOf(log_); }

private:
    bool isWanted(const Value& row) const { return severity_.empty() || isSameWord(row["severity"].text(), severity_); }

    /** The newest entries, back to one that was seen. */
    std::vector<Value> newest()
    {
        LogFilter filter;
        for (filter.most = kFirstLook;; filter.most *= 4) {
            const std::vector<Value> rows = readLog(service_, log_, filter).rows;
            count_                        = service_.page(log_["Entries"].link())["Members@odata.count"].count();
            const auto wasSeen            = [&](const Value& row) { return seen_.count(row["id"].text()) != 0; };
            if (rows.size() < filter.most || seen_.empty() || std::any_of(rows.begin(), rows.end(), wasSeen))
                return rows;
        }
    }

    Service&              service_;
    const Value           log_;
    const std::string     severity_;
    std::set<std::string> seen_;
    long long             count_ = 0;
};

/** Events where the BMC has them; else, and when they are over for good, time alone. */
class NextLook {
public:
    explicit NextLook(Service& service, unsigned seconds) : interrupts_(service.context().interrupts), seconds_(seconds)
    {
        const Value events = service.readOr(service.root()["EventService"], "event service");
        if (Value(events["ServerSentEventUri"]).link().empty()) return;
        qvrfutil::StreamOptions options;
        options.path    = events["ServerSentEventUri"].link();
        stream_         = std::make_unique<EventStream>(service.session().layer(), options);
        const auto turn = interrupts_.hold();
        interrupts_.onInterruptStop([this] { stream_->stop(); });
    }
    ~NextLook()
    {
        const auto turn = interrupts_.hold();
        interrupts_.onInterruptStop({});
    }
    NextLook(NextLook&&) = delete;

    void wait()
    {
        const bool hasEvents = stream_ && !stream_->error();
        const auto pause = seconds_ != 0 ? std::chrono::seconds(seconds_) : hasEvents ? kBesideEvents : kWithoutEvents;
        if (hasEvents)
            stream_->next(Clock::now() + pause);
        else
            std::this_thread::sleep_for(pause);
    }

private:
    Interrupts&                  interrupts_;
    const unsigned               seconds_;
    std::unique_ptr<EventStream> stream_;
};

void showNews(Screen& screen, const Followed& log, const Followed::News& news)
{
    if (news.isCleared) screen.warning("the log " + log.name() + " was cleared");
    if (news.isCleared && screen.isJson()) screen.record({{"log", log.name()}, {"cleared", true}});
    for (const Value& row : news.rows) {
        if (screen.isJson())
            screen.record(row);
        else
            screen.write(timeText(row["time"].text()) + "  " + orDash(row["severity"].text()) + "  " +
                         row["log"].text() + "  " + row["message"].text() + '\n');
    }
    screen.flush();
}

/** A round that fails is made up for by the next: nothing is lost, for what was not seen is still unseen. */
void lookAt(Service& service, Screen& screen, std::vector<Followed>& logs)
try {
    service.forget();
    for (Followed& log : logs) showNews(screen, log, log.look());
} catch (const Failure& failure) {
    service.context().interrupts.stayIfEnding();
    if (failure.exit() == kExitOutput) throw;
    screen.warning(std::string("not read, the next round makes up for it: ") + failure.what());
}

}  // namespace

void followLog(const Context& context, const LogWords& words)
{
    limitShowing(context, words.rounds.timeout);
    Service               service(context, words.rounds.system);
    Screen                screen(context);
    std::vector<Followed> logs;
    for (const Value& log : logServices(service, words.log)) logs.emplace_back(service, log, words.severity);
    NextLook nextLook(service, words.rounds.every);
    screen.note("following " + std::to_string(logs.size()) + " logs");
    for (;;) {
        lookAt(service, screen, logs);  // at once: what came while the stream was opened is told by no event
        nextLook.wait();
    }
}

}  // namespace qvrfctl
