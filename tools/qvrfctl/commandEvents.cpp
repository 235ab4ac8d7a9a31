/** @file commandEvents.cpp  qvrfctl events: follows an event stream, one event a line. */
#include <algorithm>

#include "commands.h"
#include "eventsplitter.h"
#include "jsontext.h"
#include "request.h"
#include "subscription.h"

namespace qvrfctl {
namespace {

using Clock = Subscription::Clock;
using News  = Subscription::News;

constexpr char        kEventService[] = "/redfish/v1/EventService";
constexpr auto        kSilence        = std::chrono::seconds(1);  // then an event without an end has lost it
constexpr std::size_t kMostOpening    = 4096;
constexpr std::size_t kMostQuoted     = 200;

struct Words {
    std::string   path;
    std::uint64_t count   = 0;  ///< 0: no end
    unsigned      seconds = 0;  ///< 0: no end
};

/** The stream that the event service announces. */
std::string announcedStream(Session& session)
{
    Request request;
    request.path        = kEventService;
    const Answer answer = send(session, request);
    if (answer.http >= 400) throw httpFailure(request, answer);
    const Json service = Json::parse(answer.body, nullptr, false);
    if (!service.is_object() || !service.contains("ServerSentEventUri") || !service["ServerSentEventUri"].is_string())
        throw Failure(kExitLibrary, std::string(kEventService) + " announces no event stream",
                      "give the PATH of the stream");
    std::string path = service["ServerSentEventUri"];
    checkPath(path);
    return path;
}

/** What came instead of a stream, in a few words. */
std::string inShort(const std::string& opening)
{
    if (std::string message = redfishMessage(opening); !message.empty()) return message;
    std::string text = opening.substr(0, kMostQuoted);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = ' ';
    return text;
}

std::string counted(std::uint64_t events)
{
    return std::to_string(events) + (events == 1 ? " event" : " events");
}

class Follower {
public:
    Follower(const Context& context, const Words& words, std::string path)
        : output_(context.output), words_(words), path_(std::move(path))
    {
    }

    /** Until what was asked for has come. @throws Failure when it ends otherwise */
    void run(Subscription& subscription)
    {
        if (words_.seconds != 0) deadline_ = Clock::now() + std::chrono::seconds(words_.seconds);
        std::string piece;
        for (;;) {
            const News news = subscription.next(piece, nextLook());
            if (news == News::piece) {
                opening_ += piece.substr(0, kMostOpening - std::min(kMostOpening, opening_.size()));
                show(splitter_.take(piece));
                tellDropped();
            } else {
                show(splitter_.settle());
            }
            if (words_.count != 0 && shown_ == words_.count) return;
            if (news == News::broken || news == News::ended) throw streamOver(news);
            if (deadline_ && Clock::now() >= *deadline_) break;
        }
        checkIsStream();
        if (words_.count != 0)
            throw Failure(kExitStreamOver, "only " + counted(shown_) + " of " + std::to_string(words_.count) +
                                               " came within " + std::to_string(words_.seconds) + " s");
    }

private:
    std::optional<Clock::time_point> nextLook() const
    {
        if (!splitter_.isWithinEvent()) return deadline_;
        const auto settled = Clock::now() + kSilence;
        return deadline_ ? std::min(*deadline_, settled) : settled;
    }

    void show(const std::vector<StreamEvent>& events)
    {
        for (const StreamEvent& event : events) {
            if (words_.count != 0 && shown_ == words_.count) return;
            ++shown_;
            if (output_.json()) {
                output_.record({{"event", event.name ? Json(*event.name) : Json()},
                                {"id", event.id ? Json(*event.id) : Json()},
                                {"data", isJson(event.data) ? Json::parse(event.data) : Json(event.data)}});
            } else {
                std::string line = event.data;
                std::replace(line.begin(), line.end(), '\n', ' ');
                output_.write(line + '\n');
                output_.flush();
            }
        }
    }

    void tellDropped()
    {
        if (splitter_.dropped() == dropped_) return;
        dropped_ = splitter_.dropped();
        output_.warning("warning: an event of more than " + std::to_string(EventSplitter::kMostBytes) +
                        " bytes was left out");
    }

    /** An error page comes as a stream of its own kind. */
    void checkIsStream() const
    {
        if (splitter_.isStream() || opening_.empty()) return;
        throw Failure(
            kExitHttpError, path_ + " answered with something else than an event stream: " + inShort(opening_),
            "check the path; 'qvrfctl get " + std::string(kEventService) + "' names the stream as ServerSentEventUri");
    }

    Failure streamOver(News news) const
    {
        checkIsStream();
        if (news == News::broken) return libraryFailure("follow " + path_, QVRFUTIL_EVENT_STREAM_BROKEN);
        return Failure(kExitStreamOver, "the BMC ended the event stream " + path_ + " after " + counted(shown_),
                       statusRow(QVRFUTIL_EVENT_STREAM_BROKEN).advice);
    }

    Output&                          output_;
    const Words&                     words_;
    std::string                      path_;
    std::optional<Clock::time_point> deadline_;
    EventSplitter                    splitter_;
    std::string                      opening_;
    std::uint64_t                    shown_   = 0;
    std::size_t                      dropped_ = 0;
};

void follow(const Context& context, const Words& words)
{
    if (!words.path.empty()) checkPath(words.path);
    Session           session(context);
    const std::string path = words.path.empty() ? announcedStream(session) : words.path;
    Subscription      subscription(session, path);
    context.output.note("following " + path);
    Follower(context, words, path).run(subscription);
}

}  // namespace

Action declareEvents(CLI::App& command)
{
    auto words = std::make_shared<Words>();
    command.add_option("PATH", words->path, "event stream; the one that the event service announces, unless given");
    command.add_option("--count", words->count, "end after this many events")->check(CLI::PositiveNumber);
    command.add_option("--timeout", words->seconds, "end after this many seconds")->check(CLI::PositiveNumber);
    return [words](const Context& context) { follow(context, *words); };
}

}  // namespace qvrfctl
