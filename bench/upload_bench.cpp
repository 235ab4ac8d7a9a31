/** @file upload_bench.cpp  Upload of a file of 1 GB: memory must not grow with the file. */
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "bmc.h"
#include "outside.h"
#include "qvrfutil.h"
#include "rawcurl.h"
#include "sides.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr char      kTarget[]   = "/redfish/v1/UpdateService/MultipartUpload";
constexpr char      kMetadata[] = R"({"Targets":[]})";
constexpr long long kSmall = 1LL << 20, kLarge = 1LL << 30;
constexpr unsigned  kRounds = 6;

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

void child(const std::string& side, const std::string& port, const std::string& file)
{
    const Agent       agent(port);
    const std::string token = agent.token();
    const Stopwatch   watch;
    if (side == kLibrary)
        byLibrary(file.c_str());
    else
        byCurl(port, token, file.c_str());
    tell("ms", watch.seconds() * 1e3);
    tell("peakMib", memoryKib("VmHWM") / 1024);
}

/** Whoever reads a file first has the kernel fill its pages, which takes longer than the upload's other work. */
void readThrough(const std::string& file)
{
    std::ifstream     in(file, std::ios::binary);
    std::vector<char> piece(1 << 20);
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
    }
}

/** A file of @p size bytes, all of them a hole: it costs no room. */
std::string fileOf(const ScratchDirectory& scratch, long long size)
{
    const std::string path = scratch.path() + '/' + std::to_string(size) + ".zip";
    std::ofstream(path).close();
    fs::resize_file(path, static_cast<std::uintmax_t>(size));
    readThrough(path);
    return path;
}

Words commandOf(const std::string& side, const Bmc& bmc, const Agent& agent, const std::string& file)
{
    if (side != kCurl) return {self(), "--child", side, "--port", bmc.port(), "--file", file};
    const Resource target(bmc.port(), kTarget, agent.token());
    return curlCommand({"-H", target.tokenLine, "-F", std::string("metadata=") + kMetadata + ";type=application/json",
                        "-F", "LogZip=@" + file, target.url});
}

/** A small one and a large one; the BMC keeps what it was sent, and a benchmark has no use for it. */
Figures uploads(const Bmc& bmc, const std::function<Figures(const std::string&)>& upload,
                const ScratchDirectory& scratch)
{
    static const std::string small = fileOf(scratch, kSmall), large = fileOf(scratch, kLarge);
    const Figures            brief = upload(small), whole = upload(large);
    fs::remove_all(bmc.stateDir() + "/uploads");
    return {{"mibPerSecond", kLarge / 1048.576 / whole.at("ms")},
            {"peakMib", whole.at("peakMib")},
            {"growthMib", whole.at("peakMib") - brief.at("peakMib")}};
}

}  // namespace

void measure(const Arguments& arguments)
{
    if (const std::string side = arguments.word("--child"); !side.empty())
        return child(side, arguments.word("--port"), arguments.word("--file"));
    const Bmc              bmc;
    const Agent            agent(bmc.port());
    const ScratchDirectory scratch;
    Sides                  sides;
    for (const char* const name : {kLibrary, kRaw, kCurl}) {
        if (name == kCurl && !haveCurl()) continue;
        const auto upload = [&bmc, &agent, name](const std::string& file) {
            const Words command = commandOf(name, bmc, agent, file);
            return name == kCurl ? timedProcess(command) : findingsOf(command);
        };
        sides.push_back({name, [&, upload] { return uploads(bmc, upload, scratch); }});
    }
    const Outcome outcome = takeTurns(sides, arguments.effort(kRounds));
    report({"upload of 1 GB", "MiB/s", 1, outcome.medians("mibPerSecond")});
    report({"upload of 1 GB, peak memory of the process", "MiB", 1, outcome.medians("peakMib")});
    report({"upload of 1 GB, peak memory above that of 1 MB", "MiB", 1, outcome.medians("growthMib"), Limit::value, 1});
}

}  // namespace bench
