/**
 * @file storm_bench.cpp  What becomes of the C++ layer's promises when the BMC ends sessions and streams all the time.
 *
 *   storm_bench [--count N]     N ends of the session [1000] under 8 and under 16 threads, and N/5 cuts of a stream, on
 *                               both generations; a line each, and failure when a promise was broken
 */
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bmc.h"
#include "program.h"
#include "qvrfutil_stream.hpp"

namespace bench {

namespace {

using qvrfutil::Client;
using qvrfutil::Session;

constexpr char kReset[] = "/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset";

nlohmann::json told(const Bmc& bmc, const std::string& line)
{
    return nlohmann::json::parse(bmc.control(line));
}

void hold(bool promise, const char* what)
{
    if (!promise) throw std::runtime_error(what);
}

template <class Condition>
void await(Condition condition)
{
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

/** Calls of all threads by what became of them. */
struct Calls {
    std::atomic<unsigned long> accepted{0};
    std::atomic<unsigned long> renewed{0};  ///< of those accepted
    std::atomic<unsigned long> refused{0};  ///< two ends of the session in a row, told as that
    std::atomic<unsigned long> others{0};

    void count(const qvrfutil::Result<qvrfutil::Response>& answer)
    {
        if (answer && answer->ok()) {
            ++accepted;
            if (answer->renewed) ++renewed;
        } else if (!answer && answer.error().http == 401) {
            ++refused;
        } else {
            ++others;
        }
    }
};

/** Ends the session again as soon as another one stands. */
void endSessions(const Bmc& bmc, unsigned long times, unsigned threads)
{
    Calls             calls;
    std::atomic<bool> over{false};
    {
        Client                   client;
        Session                  session(client);
        std::vector<std::thread> all;
        for (unsigned i = 0; i < threads; ++i)
            all.emplace_back([&] {
                while (!over) calls.count(session.post(kReset));
            });
        for (unsigned long i = 0; i < times; ++i) {
            const unsigned long before = calls.renewed;
            bmc.control("expire");
            await([&] { return calls.renewed > before; });
        }
        over = true;
        for (std::thread& thread : all) thread.join();
    }
    const std::string   kind  = std::string("POST ") + kReset + " 204";
    const unsigned long sent  = told(bmc, "stats")["requests"].value(kind, 0ul);
    const unsigned long total = calls.accepted + calls.refused + calls.others;
    const std::size_t   left  = told(bmc, "sessions")["sessions"].size();
    std::printf("%lu ends, %2u threads: %lu calls, %lu sent again, %lu refused twice (%.1f %%), %lu others; %zu left\n",
                times, threads, total, calls.renewed.load(), calls.refused.load(),
                100.0 * static_cast<double>(calls.refused) / static_cast<double>(std::max(total, 1ul)),
                calls.others.load(), left);
    hold(calls.others == 0, "a call failed for another reason");
    hold(sent == calls.accepted, "a call was carried out more than once, or not at all");
    hold(left == 0, "a session was left");
}

/** Between two events that do not follow each other a gap must stand. */
void cutStreams(const Bmc& bmc, unsigned long times)
{
    Client                  client;
    Session                 session(client);
    qvrfutil::StreamOptions options;
    options.firstPause = qvrfutil::Duration(1);
    qvrfutil::EventStream stream(session, options);
    unsigned long         number = 0, gaps = 0, seen = 0, last = 0;
    bool                  isAfterGap = false;
    for (unsigned long cut = 0; cut < times; ++cut) {
        bmc.awaitStreams(1);
        for (int i = 0; i < 5; ++i) bmc.control("event-raw \"data: " + std::to_string(++number) + "\\\\n\\\\n\"");
        bmc.control(cut % 2 == 0 ? "stream-break" : "stream-end");
        for (bool isCut = false; !isCut;) {
            const auto item = stream.next();
            hold(item.has_value(), "the stream was over");
            isCut = !item->isEvent();
            gaps += isCut ? 1 : 0;
            const unsigned long now = isCut ? last : std::stoul(item->data);
            hold(isCut || now == last + 1 || isAfterGap, "an event is missing, and no gap tells of it");
            seen += isCut ? 0 : 1;
            last       = now;
            isAfterGap = isCut;
        }
    }
    std::printf("%lu cuts of a stream: %lu of %lu events seen, %lu gaps told, none lost in silence\n", times, seen,
                number, gaps);
}

}  // namespace

void measure(const Arguments& arguments)
{
    const unsigned long times = arguments.number("--count", 1000);
    const Bmc           bmc;
    for (const std::string generation : {"new", "old"}) {
        bmc.control("generation " + generation);
        std::printf("%s generation\n", generation.c_str());
        for (const unsigned threads : {8u, 16u}) {
            bmc.control("stats reset");
            endSessions(bmc, times, threads);
        }
        cutStreams(bmc, std::max(times / 5, 1ul));
    }
}

}  // namespace bench
