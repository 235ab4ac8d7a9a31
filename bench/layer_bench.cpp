/**
 * @file layer_bench.cpp  What the C++ layer costs on top of the C call, and an inventory by it.
 *
 *   layer_bench [--pairs N] [--resources N]         the comparison, and an inventory of as many resources
 *   layer_bench --variant c|layer --count N         one side alone, for a profiler
 */
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "bmc.h"
#include "figures.h"
#include "qvrfutil.hpp"

namespace {

using namespace bench;
using qvrfutil::Client;
using qvrfutil::Session;

constexpr char kPath[] = "/test/bytes/1400";
constexpr char kRoot[] = "/redfish/v1";

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

template <class Call>
double microseconds(Call call)
{
    const Stopwatch watch;
    call();
    return watch.seconds() * 1e6;
}

void compare(Session& session, unsigned long pairs)
{
    Samples          call, layer;
    std::minstd_rand random(1);
    for (unsigned long i = 0; i < pairs + 20; ++i) {
        const bool   callFirst = random() % 2 == 0;
        const double before    = callFirst ? microseconds(byCall) : 0;
        const double between   = microseconds([&] { byLayer(session); });
        const double after     = callFirst ? before : microseconds(byCall);
        if (i < 20) continue;
        call.add(after);
        layer.add(between);
    }
    report({"layer: GET 1.4 KB, median", call.median(), layer.median(), "us", 1, Row::Limit::ratio, 1.02});
}

/** A tree with a collection of as many members, of 1.4 KB each. */
void makeMockup(const std::string& directory, unsigned long resources)
{
    const auto write = [&](const std::string& path, const std::string& text) {
        std::filesystem::create_directories(directory + path);
        std::ofstream(directory + path + "/index.json") << text;
    };
    std::string members;
    for (unsigned long i = 0; i < resources; ++i) {
        const std::string path = kRoot + ("/Parts/" + std::to_string(i));
        members += (i == 0 ? "" : ",") + (R"({"@odata.id":")" + path + "\"}");
        write("/Parts/" + std::to_string(i),
              R"({"@odata.id":")" + path + R"(","Text":")" + std::string(1350, 'x') + "\"}");
    }
    write("/Parts", R"({"@odata.id":"/redfish/v1/Parts","Members":[)" + members + "]}");
    write("", R"({"@odata.id":"/redfish/v1","Parts":{"@odata.id":"/redfish/v1/Parts"}})");
}

void inventory(Session& session, unsigned long resources)
{
    QVRFUTILKeepConnections(FALSE);
    const double plain = microseconds([&] {
        for (unsigned long i = 0; i < resources; ++i) byCall();
    });
    QVRFUTILKeepConnections(TRUE);
    std::size_t  read  = 0;
    const double whole = microseconds([&] {
        for (const std::string& path : session.members("/redfish/v1/Parts").orThrow())
            read += session.json(path).orThrow().size();
    });
    if (read != resources * 2) throw std::runtime_error("the inventory is not complete");
    report({"layer: inventory beside plain calls", plain / 1000, whole / 1000, "ms", 1, Row::Limit::ratio, 0.1});
}

int run(int argc, char** argv)
{
    unsigned long pairs = 2000, count = 1, resources = 500;
    const char*   variant = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        const char* const value = argv[i + 1];
        if (std::strcmp(argv[i], "--pairs") == 0)
            pairs = numberFrom(value);
        else if (std::strcmp(argv[i], "--resources") == 0)
            resources = numberFrom(value);
        else if (std::strcmp(argv[i], "--count") == 0)
            count = numberFrom(value);
        else if (std::strcmp(argv[i], "--variant") == 0)
            variant = value;
        else
            throw std::invalid_argument(std::string("unknown argument ") + argv[i]);
    }
    const ScratchDirectory mockup;
    makeMockup(mockup.path(), resources);
    const Bmc               bmc({"--mockup", mockup.path()});
    qvrfutil::ClientOptions options;
    options.generation = qvrfutil::Generation::newer;
    Client  client(options);
    Session session(client);
    if (variant == nullptr) {
        QVRFUTILKeepConnections(FALSE);
        compare(session, pairs);
        inventory(session, resources);
        return 0;
    }
    QVRFUTILKeepConnections(FALSE);
    for (unsigned long i = 0; i < count; ++i) std::strcmp(variant, "c") == 0 ? byCall() : byLayer(session);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "layer_bench: %s\n", error.what());
        return 1;
    }
}
