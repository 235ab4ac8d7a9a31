/**
 * @file update_bench.cpp  Package download; what a silent update adds to its steps.
 *
 *   update_bench --packages DIRECTORY       with a package of version 9.9.0 and a file "large" in it
 */
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "bmc.h"
#include "outside.h"
#include "owners.h"
#include "rawcurl.h"
#include "sides.h"
#include "smsecure.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kDownloads   = 9;
constexpr unsigned kUpdates     = 5;
constexpr char     kLargeFile[] = "large";

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

void command(const std::string& text)
{
    expect(std::system(text.c_str()) == 0, text);
}

void download(std::string url, std::string name, std::string directory)
{
    expect(DownloadHTTPSFile(directory.data(), url.data(), name.data()) == 0, "DownloadHTTPSFile");
}

/** A transfer into a file that is not there yet. */
template <class Transfer>
Figures timedAnew(const std::string& path, Transfer transfer)
{
    fs::remove(path);
    return timed(transfer);
}

void compareDownloads(const std::string& url, const std::string& directory, const char* what, double most,
                      unsigned long rounds)
{
    const std::string file = url + '/' + kLargeFile, own = directory + '/' + kLargeFile, path = directory + "/other";
    const auto        library = [&] { return timedAnew(own, [&] { download(url, kLargeFile, directory); }); };
    const auto        raw     = [&] { return timedAnew(path, [&] { rawDownload(file, path); }); };
    Sides             sides{{kLibrary, library}, {kRaw, raw}};
    if (haveCurl()) sides.push_back({kCurl, [&] { return timedProcess(curlCommand({"-o", path, file})); }});
    report({what, "ms", 1, takeTurns(sides, rounds).medians("ms"), Limit::ratio, most});
    fs::remove(own);
    fs::remove(path);
}

/** The steps that every update has, done one by one without the library's engine. */
void steps(const std::string& url, const std::string& package, const std::string& scratch)
{
    const std::string files = scratch + "/files", staging = scratch + "/staging", keys = scratch + "/keys";
    for (const std::string& directory : {files, staging, keys}) fs::create_directories(directory);
    for (const std::string& name : {std::string("package.xml"), std::string("sha256sum"),
                                    std::string("RPM-GPG-KEY-zelmar"), package, package + ".sign"})
        download(url, name, files);
    std::string key = files + "/RPM-GPG-KEY-zelmar", file = files + "/" + package, sign = file + ".sign", db = keys;
    OxaSignatureObject object{nullptr, key.data(), file.data(), sign.data(), db.data(), {}};
    expect(OSVerifyDigitalSignature(&object) == 0, "OSVerifyDigitalSignature");
    command("tar -zxf " + file + " -C " + staging);
    command(staging + "/setup.sh -i -a > /dev/null 2>&1");
    command("rm -rf " + staging);
    fs::remove_all(scratch);
}

void update()
{
    const QuietOutput quiet;
    expect(OXAAutoUpdateNow(nullptr, 0, 1) == 0, "OXAAutoUpdateNow");
}

void compareUpdates(const std::string& url, const std::string& package, const std::string& scratch,
                    unsigned long rounds)
{
    std::string install = scratch + "/installed";
    pOXAInstallPath     = install.data();
    const auto  raw     = [&] { return timed([&] { steps(url, package, scratch + "/steps"); }); };
    const Sides sides{{kLibrary, [] { return timed(update); }}, {kRaw, raw}};
    report({"silent update of 20 MB, beside its steps", "ms", 1, takeTurns(sides, rounds).medians("ms"),
            Limit::difference, 100});
    pOXAInstallPath = nullptr;
}

std::string packageIn(const std::string& directory)
{
    for (const auto& entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".gz") return entry.path().filename();
    throw std::runtime_error("no package in " + directory);
}

}  // namespace

void measure(const Arguments& arguments)
{
    const std::string      packages = arguments.word("--packages");
    const Bmc              bmc({"--package-dir", packages});
    const ScratchDirectory scratch;
    bmc.control("set package 9.9.0");
    const std::string url = "https://127.0.0.1:" + bmc.port() + "/software/oxa";
    compareDownloads(url, ScratchDirectory("/dev/shm").path(), "download of 64 MB", 1.05, arguments.effort(kDownloads));
    compareDownloads(url, scratch.path(), "download of 64 MB to a disk", 1.03, arguments.effort(kDownloads));
    compareUpdates(url, packageIn(packages), scratch.path(), arguments.effort(kUpdates));
}

}  // namespace bench
