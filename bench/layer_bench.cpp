/**
 * @file layer_bench.cpp  What the C++ layer costs on top of the C call, and an inventory by it.
 *
 *   layer_bench [--effort PERCENT]                      the comparison, and an inventory
 *   layer_bench --variant library|raw --count N         the layer or the C call alone, for a profiler
 */
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bmc.h"
#include "qvrfutil_json.hpp"
#include "sides.h"

namespace bench {

namespace {

using qvrfutil::Client;
using qvrfutil::Session;

constexpr char          kPath[]    = "/test/bytes/1400";
constexpr char          kRoot[]    = "/redfish/v1";
constexpr unsigned long kResources = 500;

/** The C call as most callers write it, with room for whatever comes. */
void byCall()
{
    static astring buffer[64 * 1024];
    astring*       body   = buffer;
    u32            length = 0;
    u16            http   = 0;
    const s32 status = QVRFUTILSendRequest(kPath, nullptr, &body, sizeof buffer, &length, QVRFUTIL_REQUEST_GET, &http,
                                           FALSE, nullptr, nullptr);
    if (status != 0 || http != 200) throw std::runtime_error("the C call failed");
}

void byLayer(Session& session)
{
    const auto answer = session.get(kPath);
    if (!answer || answer->body.size() != 1400) throw std::runtime_error("the layer's request failed");
}

/** A tree with a collection of as many members, of 1.4 KB each. */
void makeMockup(const std::string& directory)
{
    const auto write = [&](const std::string& path, const std::string& text) {
        std::filesystem::create_directories(directory + path);
        std::ofstream(directory + path + "/index.json") << text;
    };
    std::string members;
    for (unsigned long i = 0; i < kResources; ++i) {
        const std::string path = kRoot + ("/Parts/" + std::to_string(i));
        members += (i == 0 ? "" : ",") + (R"({"@odata.id":")" + path + "\"}");
        write("/Parts/" + std::to_string(i),
              R"({"@odata.id":")" + path + R"(","Text":")" + std::string(1350, 'x') + "\"}");
    }
    write("/Parts", R"({"@odata.id":"/redfish/v1/Parts","Members":[)" + members + "]}");
    write("", R"({"@odata.id":"/redfish/v1","Parts":{"@odata.id":"/redfish/v1/Parts"}})");
}

void plainCalls()
{
    QVRFUTILKeepConnections(FALSE);
    for (unsigned long i = 0; i < kResources; ++i) byCall();
}

void inventory(Session& session)
{
    QVRFUTILKeepConnections(TRUE);
    std::size_t read = 0;
    for (const std::string& path : session.members("/redfish/v1/Parts").orThrow())
        read += session.json(path).orThrow().size();
    QVRFUTILKeepConnections(FALSE);
    if (read != kResources * 2) throw std::runtime_error("the inventory is not complete");
}

}  // namespace

void measure(const Arguments& arguments)
{
    const ScratchDirectory mockup;
    makeMockup(mockup.path());
    const Bmc               bmc({"--mockup", mockup.path()});
    qvrfutil::ClientOptions options;
    options.generation = qvrfutil::Generation::newer;
    Client  client(options);
    Session session(client);
    QVRFUTILKeepConnections(FALSE);
    const Sides calls{{kLibrary, [&] { return timed([&] { byLayer(session); }); }},
                      {kRaw, [] { return timed(byCall); }}};
    if (alone(arguments, calls)) return;
    report({"C++ layer beside the C call, GET 1.4 KB", "us", 1,
            takeTurns(calls, arguments.effort(2000), 20).medians("us"), Limit::ratio, 1.02});
    QVRFUTILKeepConnections(TRUE);
    report({"C++ layer beside the C call, GET 1.4 KB, kept connection", "us", 1,
            takeTurns(calls, arguments.effort(10000), 100).medians("us"), Limit::ratio, 1.05});
    QVRFUTILKeepConnections(FALSE);
    const Sides whole{{kLibrary, [&] { return timed([&] { inventory(session); }); }},
                      {kRaw, [] { return timed(plainCalls); }}};
    report({"C++ layer, inventory of 500 beside plain C calls", "us", 0,
            takeTurns(whole, arguments.effort(3)).medians("us"), Limit::ratio, 0.08});
}

}  // namespace bench
