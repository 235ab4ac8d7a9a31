/** @file UpdateBench.h  The bench for updates: a scripted BMC, directories of the test's own, what the console showed.
 */
#ifndef UPDATEBENCH_H
#define UPDATEBENCH_H

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "BmcOnTheBench.h"
#include "OxaAutoUpdateUtils.h"

namespace update {

namespace fs = std::filesystem;

/** A directory that goes with the object. */
class TempDir {
public:
    TempDir()
    {
        std::string name = (fs::temp_directory_path() / "update-XXXXXX").string();
        if (::mkdtemp(name.data()) != nullptr) path = name;
    }
    ~TempDir()
    {
        std::error_code ignored;
        if (!path.empty()) fs::remove_all(path, ignored);
    }
    TempDir(TempDir&&) = delete;

    std::string operator/(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

inline void writeFile(const fs::path& path, const std::string& content)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

inline void writeScript(const fs::path& path, const std::string& body)
{
    writeFile(path, "#!/bin/sh\n" + body);
    ::chmod(path.c_str(), 0755);
}

inline std::string contentOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/** Gives this process a /tmp and an /opt of its own, once. @return why that is impossible; empty when it was done */
inline const std::string& privateHost()
{
    static const std::string reason = []() -> std::string {
        if (::geteuid() != 0) return "needs root";
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", "/tmp", "tmpfs", 0, "mode=1777") != 0 || ::mount("none", "/opt", "tmpfs", 0, nullptr) != 0)
            return std::string("no private mounts: ") + std::strerror(errno);
        ::unsetenv("TMPDIR");
        return {};
    }();
    return reason;
}

class Bench : public BmcOnTheBench {
protected:
    Bench() { privateHost(); }  // where it is possible, and before any member makes a directory
    void SetUp() override
    {
        BmcOnTheBench::SetUp();
        installationType = -1;
        std::memset(OxaUpdatedVersion, 0, sizeof OxaUpdatedVersion);
    }
    void TearDown() override
    {
        for (const fs::path& left : openFiles()) ADD_FAILURE() << "still open: " << left;
        forget(pOXAInstallPath);
        forget(pExecutionDirectory);
        BmcOnTheBench::TearDown();
    }

    static void forget(astring*& global) { SMFreeMem(std::exchange(global, nullptr)); }
    static void assign(astring*& global, const std::string& text)
    {
        forget(global);
        global = static_cast<astring*>(SMAllocMem(4096));
        std::strcpy(global, text.c_str());
    }

    /** The files and directories below those of the test that this process has open; the lock is meant to be. */
    static std::vector<fs::path> openFiles()
    {
        std::vector<fs::path> open;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code   gone;
            const std::string target = fs::read_symlink(entry.path(), gone).string();
            const bool        lock   = target.find(".autoupdate") != target.npos;
            for (const char* ours : {"/opt/", "/update-", "/.AutoUpdate", "/.signature"})
                if (!lock && target.find(ours) != target.npos) open.push_back(target);
        }
        return open;
    }

    void expectPackageVersion(const std::string& text)
    {
        bmc.expect("C0 D6 01 05 02 00 00 00 00").answersLe16(8, 0x10);
        bmc.expect("C0 D6 01 05 10 00 00 00 10").answersText(text);
    }
    void expectAddress(const std::string& port)
    {
        bmc.expect("C0 D6 01 00 01 00 00 00").answersBe16(7, 16);
        bmc.expect("C0 D6 01 00 10 00 00 00").answersText("127.0.0.1#443");
        bmc.expect("18 59 00 DE 00 00");
        bmc.expectCommandLine("vorsk get torvo.webserver.httpsport").replies("[Key=x]\nHttpsPort=" + port + "\n");
    }

    /** What an operation printed on standard output. */
    template <class Operation>
    std::string consoleOf(Operation operation)
    {
        testing::internal::CaptureStdout();
        operation();
        return testing::internal::GetCapturedStdout();
    }
};

/** Tests that use fixed paths in /tmp and /opt. */
class HostBench : public Bench {
protected:
    void SetUp() override
    {
        Bench::SetUp();
        if (!privateHost().empty()) GTEST_SKIP() << privateHost();
    }
};

}  // namespace update

#endif
