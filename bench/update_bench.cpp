/** @file update_bench.cpp  Package download beside the curl command; what a silent update adds to its steps. */
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "bmc.h"
#include "figures.h"
#include "owners.h"
#include "smsecure.h"

namespace {

using namespace bench;
namespace fs = std::filesystem;

constexpr unsigned kDownloads    = 9;
constexpr unsigned kUpdates      = 5;
constexpr char     kLargeFile[]  = "large";
constexpr char     kMemoryDisk[] = "/dev/shm";

/** The library's own lines belong to its user; a benchmark's output is its table. */
class QuietOutput {
public:
    QuietOutput() : kept_(::dup(STDOUT_FILENO))
    {
        const qvrf::Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        ::dup2(nowhere.get(), STDOUT_FILENO);
    }
    ~QuietOutput()
    {
        std::fflush(stdout);
        ::dup2(kept_.get(), STDOUT_FILENO);
    }
    QuietOutput(const QuietOutput&) = delete;

private:
    qvrf::Descriptor kept_;
};

void expect(bool good, const std::string& what)
{
    if (!good) throw std::runtime_error(what + " failed");
}

double timed(const std::string& command)
{
    const Stopwatch watch;
    expect(std::system(command.c_str()) == 0, command);
    return watch.seconds();
}

double timedCurl(const std::string& url, const std::string& name, const std::string& directory)
{
    return timed("curl -skf --noproxy '*' -o " + directory + "/" + name + " " + url + "/" + name);
}

double timedDownload(std::string url, std::string name, std::string directory)
{
    const Stopwatch watch;
    expect(DownloadHTTPSFile(directory.data(), url.data(), name.data()) == 0, "DownloadHTTPSFile");
    return watch.seconds();
}

void compareDownloads(const std::string& url)
{
    Samples library, curl;
    char    directory[] = "/dev/shm/qvrfbench.XXXXXX";
    expect(::mkdtemp(directory) != nullptr, kMemoryDisk);
    for (unsigned i = 0; i < 2 * kDownloads; ++i) {
        const bool first = i % 4 == 0 || i % 4 == 3;
        (first ? library : curl)
            .add(1000 * (first ? timedDownload(url, kLargeFile, directory) : timedCurl(url, kLargeFile, directory)));
    }
    fs::remove_all(directory);
    report({"download of 64 MB beside the curl command, median", curl.median(), library.median(), "ms", 1,
            Row::Limit::ratio, 1.0});
}

/** The steps that every update has, done one by one without the library's engine. */
double timedSteps(const std::string& url, const std::string& package, const std::string& scratch)
{
    const std::string files = scratch + "/files", staging = scratch + "/staging", keys = scratch + "/keys";
    for (const std::string& directory : {files, staging, keys}) fs::create_directories(directory);
    double seconds = 0;
    for (const std::string& name : {std::string("package.xml"), std::string("sha256sum"),
                                    std::string("RPM-GPG-KEY-zelmar"), package, package + ".sign"})
        seconds += timedDownload(url, name, files);
    std::string key = files + "/RPM-GPG-KEY-zelmar", file = files + "/" + package, sign = file + ".sign", db = keys;
    OxaSignatureObject object{nullptr, key.data(), file.data(), sign.data(), db.data(), {}};
    const Stopwatch    watch;
    expect(OSVerifyDigitalSignature(&object) == 0, "OSVerifyDigitalSignature");
    seconds += watch.seconds();
    seconds += timed("tar -zxf " + file + " -C " + staging) + timed(staging + "/setup.sh -i -a > /dev/null 2>&1") +
               timed("rm -rf " + staging);
    fs::remove_all(scratch);
    return seconds;
}

double timedUpdate()
{
    const QuietOutput quiet;
    const Stopwatch   watch;
    expect(OXAAutoUpdateNow(nullptr, 0, 1) == 0, "OXAAutoUpdateNow");
    return watch.seconds();
}

void compareUpdates(const std::string& url, const std::string& package, const std::string& scratch)
{
    std::string install = scratch + "/installed";
    pOXAInstallPath     = install.data();
    Samples engine, steps;
    for (unsigned i = 0; i < kUpdates; ++i) {
        engine.add(1000 * timedUpdate());
        steps.add(1000 * timedSteps(url, package, scratch + "/steps"));
    }
    pOXAInstallPath = nullptr;
    report({"silent update of 20 MB, beyond its steps", steps.median(), engine.median(), "ms", 1,
            Row::Limit::difference, 100});
}

std::string packageIn(const std::string& directory)
{
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".gz") return entry.path().filename();
    throw std::runtime_error("no package in " + directory);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: update_bench DIRECTORY   (a package of version 9.9.0 and a file 'large')\n");
        return 2;
    }
    try {
        const Bmc              bmc({"--package-dir", argv[1]});
        const ScratchDirectory scratch;
        bmc.control("set package 9.9.0");
        const std::string url = "https://127.0.0.1:" + bmc.port() + "/software/oxa";
        compareDownloads(url);
        compareUpdates(url, packageIn(argv[1]), scratch.path());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "update_bench: %s\n", error.what());
        return 1;
    }
}
