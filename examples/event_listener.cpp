/**
 * @file event_listener.cpp
 * Follows the BMC's events and survives everything: the BMC's restart, an ended session, a broken or silent stream.
 * Where events may be missing it says so; that is the place to look into the BMC's log.
 *
 *     event_listener [PATH [EVENTS]]
 *
 * Ends on Ctrl-C, or after as many events.
 */
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "qvrfutil_stream.hpp"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
}

/** @return whether there is more to come */
bool look(qvrfutil::EventStream& stream, long& events)
{
    const auto item = stream.next(qvrfutil::Clock::now() + qvrfutil::Duration(200));
    if (!item) return !stream.error();
    if (item->isEvent()) {
        ++events;
        std::printf("%s\n", item->data.c_str());
        std::fflush(stdout);
    } else {
        std::fprintf(stderr, "events may be missing after '%s'\n", item->lastId.c_str());
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
try {
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    qvrfutil::StreamOptions options;
    if (argc > 1) options.path = argv[1];  // else the one that the event service announces
    options.silence = std::chrono::minutes(10);
    const long most = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 0;

    qvrfutil::Client      client;
    qvrfutil::Session     session(client);
    qvrfutil::EventStream stream(session, options);
    long                  events = 0;
    while (g_interrupted == 0 && (most == 0 || events < most) && look(stream, events)) {
    }
    const auto error = stream.error();
    if (error) std::fprintf(stderr, "%s\n%s\n", error->text().c_str(), error->remedy.c_str());
    return error ? 1 : 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
