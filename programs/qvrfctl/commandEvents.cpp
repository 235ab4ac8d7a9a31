/** @file commandEvents.cpp  qvrfctl events: follows an event stream, one event a line. */
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <future>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "jsontext.h"
#include "process.h"
#include "qvrfutil_stream.hpp"
#include "request.h"

namespace qvrfctl {
namespace {

using qvrfutil::Clock;
using qvrfutil::EventStream;
using qvrfutil::Loss;
using qvrfutil::StreamItem;
using Deadline = std::optional<Clock::time_point>;

constexpr char        kEventService[] = "/redfish/v1/EventService";
constexpr auto        kLook           = std::chrono::milliseconds(100);
constexpr auto        kTidying        = std::chrono::milliseconds(2500);
constexpr std::size_t kMostQuoted     = 200;

struct Words {
    std::string   path;
    std::uint64_t count     = 0;  ///< 0: no end
    unsigned      seconds   = 0;  ///< 0: no end
    bool          reconnect = false;
};

/** The stream that the event service announces. */
std::string announcedStream(Session& session)
{
    Request request;
    request.path        = kEventService;
    const Answer answer = send(session, request);
    if (answer.http >= 400) throw httpFailure(request, answer);
    const auto service = fromBmc(answer.body);
    if (!service.is_object() || !service.contains("ServerSentEventUri") || !service["ServerSentEventUri"].is_string())
        throw Failure(kExitLibrary, std::string(kEventService) + " announces no event stream",
                      "give the PATH of the stream");
    std::string path = service["ServerSentEventUri"];
    checkPath(path);
    return path;
}

/** What came instead of a stream, in a few words. */
std::string inShort(const std::string& page)
{
    const std::string message = redfishMessage(page);
    return harmlessLine(message.empty() ? page.substr(0, kMostQuoted) : message);
}

std::string counted(std::uint64_t events)
{
    return std::to_string(events) + (events == 1 ? " event" : " events");
}

const char* nameOf(Loss loss) noexcept
{
    switch (loss) {
        case Loss::reconnected: return "reconnected";
        case Loss::tooLong: return "too long";
        case Loss::silence: return "silence";
        case Loss::outOfMemory: return "out of memory";
        case Loss::none: break;
    }
    return "";
}

class Follower {
public:
    Follower(Output& output, const Words& words, Deadline deadline)
        : output_(output), words_(words), deadline_(deadline)
    {
    }

    /** Until what was asked for has come, or an interrupt stopped the stream. @throws Failure when it ends otherwise */
    void run(EventStream& stream)
    {
        while (words_.count == 0 || shown_ < words_.count) {
            const auto item = stream.next(nextLook());
            // Who reads has gone: not only the next event's write finds that out.
            if (!qvtools::whyUnwritable().empty()) throw Failure(kExitOutput, "nobody reads the result any more");
            if (item)
                show(*item);
            else if (const auto error = stream.error())
                throw streamOver(stream.path(), *error);
            else if (stream.isStopped())
                return;  // the interrupt ends the process
            if (!item && deadline_ && Clock::now() >= *deadline_) return checkEnough(stream);
            tellTrouble(stream);
        }
    }

private:
    Clock::time_point nextLook() const
    {
        const auto look = Clock::now() + kLook;
        return deadline_ ? std::min(*deadline_, look) : look;
    }

    void show(const StreamItem& item)
    {
        if (!item.isEvent()) return showGap(item);
        ++shown_;
        if (output_.json()) {
            output_.record(
                {{"event", item.name ? Json(*item.name) : Json()}, {"id", item.id ? Json(*item.id) : Json()}}, "data",
                asJsonText(item.data));
            return;
        }
        std::string line = item.data;
        std::replace(line.begin(), line.end(), '\n', ' ');
        output_.write(line + '\n');
        output_.flush();
    }

    /** Told on both: a program that reads the events must know, and so must its operator. */
    void showGap(const StreamItem& gap)
    {
        if (output_.json()) output_.record({{"gap", nameOf(gap.loss)}, {"lastId", gap.lastId}});
        if (gap.loss == Loss::tooLong)
            output_.warning("warning: an event of more than " + std::to_string(qvrfutil::EventParser::kMostBytes) +
                            " bytes was left out");
        else
            output_.warning(std::string("warning: events may be missing here (") + nameOf(gap.loss) +
                            (gap.lastId.empty() ? ")" : "), after the one with id " + gap.lastId) +
                            "; the BMC's log has them");
    }

    /** Once for each kind: the stream is begun anew for as long as it takes. */
    void tellTrouble(const EventStream& stream)
    {
        const auto trouble = stream.trouble();
        if (!trouble || trouble->http == told_) return;
        told_ = trouble->http;
        output_.warning("warning: " + stream.path() + " is not open yet: " + inWords(*trouble));
    }

    static std::string inWords(const qvrfutil::Error& trouble)
    {
        return (trouble.http == 0 ? "" : "HTTP " + std::to_string(trouble.http) + ": ") + harmlessLine(trouble.meaning);
    }

    static Failure notOpened(const std::string& what, const qvrfutil::Error& trouble)
    {
        const bool isSilent = trouble.http == 0;
        return Failure(isSilent ? kExitStreamOver : kExitHttpError, what + inWords(trouble),
                       isSilent ? statusRow(QVRFUTIL_EVENT_STREAM_BROKEN).advice : httpRow(trouble.http).advice);
    }

    void checkEnough(const EventStream& stream) const
    {
        if (const auto trouble = stream.trouble(); trouble && shown_ == 0)
            throw notOpened(stream.path() + " was not opened within " + std::to_string(words_.seconds) + " s: ",
                            *trouble);
        if (words_.count != 0)
            throw Failure(kExitStreamOver, "only " + counted(shown_) + " of " + std::to_string(words_.count) +
                                               " came within " + std::to_string(words_.seconds) + " s");
    }

    Failure streamOver(const std::string& path, const qvrfutil::Error& error) const
    {
        if (error.status != 0) return libraryFailure("follow " + path, error.status);
        if (error.http >= 500) return notOpened(path + " was not opened: ", error);
        if (error.http >= 400 || !error.page.empty())
            return Failure(kExitHttpError,
                           path + " answered with something else than an event stream: HTTP " +
                               std::to_string(error.http) + ' ' + inShort(error.page),
                           "check the path; 'qvrfctl get " + std::string(kEventService) +
                               "' names the stream as ServerSentEventUri");
        return Failure(kExitStreamOver, "the BMC ended the event stream " + path + " after " + counted(shown_),
                       statusRow(QVRFUTIL_EVENT_STREAM_BROKEN).advice);
    }

    Output&       output_;
    const Words&  words_;
    Deadline      deadline_;
    std::uint64_t shown_ = 0;
    u16           told_  = 0;  ///< the HTTP status of the last warning
};

/** A login and the look for the stream, which a silent BMC holds for minutes. */
struct Opened {
    std::unique_ptr<Session> session;
    std::string              path;
};

Opened open(const Context& context, const Words& words)
{
    Opened opened{std::make_unique<Session>(context), words.path};
    if (opened.path.empty()) opened.path = announcedStream(*opened.session);
    return opened;
}

/** The same by @p deadline: after it the process ends, whatever the BMC still does. */
Opened openInTime(const Context& context, const Words& words, Deadline deadline)
{
    if (!deadline) return open(context, words);
    std::packaged_task<Opened()> task([&] { return open(context, words); });
    auto                         opened = task.get_future();
    std::thread                  opener(std::move(task));
    if (opened.wait_until(*deadline) == std::future_status::ready) {
        opener.join();
        return opened.get();
    }
    report(Failure(kExitStreamOver, "the BMC did not answer within " + std::to_string(words.seconds) + " s",
                   "wait, or restart it; 'qvrfctl doctor' finds the step that hangs"),
           context.output.json());
    context.interrupts.tidyUp(kTidying);
    std::fflush(nullptr);
    ::_exit(kExitStreamOver);  // the thread is in the library, and cannot be asked to leave it
}

/** Interrupts end the stream first. */
class Interruptible {
public:
    Interruptible(Interrupts& interrupts, EventStream& stream) : interrupts_(interrupts)
    {
        const auto turn = interrupts_.hold();
        interrupts_.onInterruptStop([&stream] { stream.stop(); });
    }
    ~Interruptible()
    {
        const auto turn = interrupts_.hold();
        interrupts_.onInterruptStop({});
    }
    Interruptible(Interruptible&&) = delete;

private:
    Interrupts& interrupts_;
};

void follow(const Context& context, const Words& words)
{
    if (!words.path.empty()) checkPath(words.path);
    Deadline deadline;
    if (words.seconds != 0) deadline = Clock::now() + std::chrono::seconds(words.seconds);
    const Opened            opened = openInTime(context, words, deadline);
    qvrfutil::StreamOptions options;
    options.path      = opened.path;
    options.reconnect = words.reconnect;
    EventStream         stream(opened.session->layer(), options);
    const Interruptible interruptible(context.interrupts, stream);
    context.output.note("following " + opened.path);
    Follower(context.output, words, deadline).run(stream);
}

}  // namespace

Action declareEvents(Arguments arguments)
{
    auto words = std::make_shared<Words>();
    arguments.text("PATH", words->path, "event stream; the one that the event service announces, unless given");
    arguments.count("--count", words->count, "end after this many events");
    arguments.count("--timeout", words->seconds, "end after this many seconds");
    arguments.flag("--reconnect", words->reconnect,
                   "begin the stream anew when it ends or breaks, and say that events may be missing");
    return [words](const Context& context) { follow(context, *words); };
}

}  // namespace qvrfctl
