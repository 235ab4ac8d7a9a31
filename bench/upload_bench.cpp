/** @file upload_bench.cpp  Upload of a file of 1 GB: memory must not grow with the file. */
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

#include "bmc.h"
#include "figures.h"
#include "qvrfutil.h"
#include "rawcurl.h"

namespace {

using namespace bench;
namespace fs = std::filesystem;

constexpr char      kTarget[]   = "/redfish/v1/UpdateService/MultipartUpload";
constexpr char      kMetadata[] = R"({"Targets":[]})";
constexpr char      kLibrary[] = "library", kRaw[] = "raw";
constexpr long long kSmall = 1LL << 20, kLarge = 1LL << 30;
constexpr unsigned  kRounds = 3;

void byLibrary(const char* file)
{
    static astring answer[4096];
    astring*       body   = answer;
    u32            length = 0;
    u16            http   = 0;
    const s32 status = QVRFUTILSendFileUploadRequest(kTarget, file, kMetadata, &body, sizeof answer, &length, &http);
    if (status != 0 || http != 202)
        throw std::runtime_error("the library's upload failed: " + std::to_string(status) + ' ' + std::to_string(http));
}

void byCurl(const std::string& port, const std::string& token, const char* file)
{
    RawAnswer answer;
    rawUpload({port, kTarget, token}, kMetadata, file, answer);
    if (answer.http != 202) throw std::runtime_error("libcurl's upload failed: " + std::to_string(answer.http));
}

int child(const std::string& side, const std::string& port, const char* file)
{
    const Agent       agent(port);
    const std::string token = agent.token();
    const Stopwatch   watch;
    if (side == kLibrary)
        byLibrary(file);
    else
        byCurl(port, token, file);
    tell("seconds", watch.seconds());
    tell("peak", memoryKib("VmHWM"));
    return 0;
}

struct Side {
    Samples mibPerSecond, smallPeakMib, largePeakMib;
};

/** Whoever reads a file first has the kernel fill its pages, which takes longer than the upload's other work. */
void readThrough(const std::string& file)
{
    std::ifstream     in(file, std::ios::binary);
    std::vector<char> piece(1 << 20);
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
    }
}

/** The BMC keeps what it was sent; a benchmark has no use for it. */
void discardUploads(const Bmc& bmc)
{
    fs::remove_all(bmc.stateDir() + "/uploads");
}

void compare()
{
    const Bmc              bmc;
    const ScratchDirectory scratch;
    const std::string      small = scratch.path() + "/small.zip", large = scratch.path() + "/large.zip";
    std::ofstream(small).close();
    std::ofstream(large).close();
    fs::resize_file(small, kSmall);  // holes: the files cost no room
    fs::resize_file(large, kLarge);
    readThrough(large);

    std::map<std::string, Side> sides;
    for (unsigned i = 0; i < 2 * kRounds; ++i) {
        const char* const name  = i % 4 == 0 || i % 4 == 3 ? kLibrary : kRaw;
        Side&             side  = sides[name];
        const Findings    brief = measureInChild({"--child", name, bmc.port(), small});
        const Findings    whole = measureInChild({"--child", name, bmc.port(), large});
        discardUploads(bmc);
        side.smallPeakMib.add(brief.at("peak") / 1024);
        side.largePeakMib.add(whole.at("peak") / 1024);
        side.mibPerSecond.add(kLarge / 1048576.0 / whole.at("seconds"));
    }
    const Side &library = sides[kLibrary], &raw = sides[kRaw];
    report({"upload of 1 GB, throughput", raw.mibPerSecond.median(), library.mibPerSecond.median(), "MiB/s", 1});
    report({"upload of 1 GB, peak memory above that of 1 MB", raw.largePeakMib.median() - raw.smallPeakMib.median(),
            library.largePeakMib.median() - library.smallPeakMib.median(), "MiB", 1, Row::Limit::value, 1});
    remark("upload: peak of the whole process with 1 GB: raw %.1f MiB, library %.1f MiB", raw.largePeakMib.median(),
           library.largePeakMib.median());
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 5 && std::strcmp(argv[1], "--child") == 0) return child(argv[2], argv[3], argv[4]);
        compare();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "upload_bench: %s\n", error.what());
        return 1;
    }
}
