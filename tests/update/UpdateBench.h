/** @file UpdateBench.h  qvoxa-sync and the library's update engine on a private host, with a simulated BMC that serves
 * packages made for the test. Host, BMC and keys last as long as the process; each test finds them as new. */
#ifndef UPDATE_UPDATEBENCH_H
#define UPDATE_UPDATEBENCH_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Child.h"
#include "PrivateHost.h"

namespace fs = std::filesystem;

inline mode_t modeOf(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/** Runs a command line for the test's set-up; a failure fails the test. */
void shell(const std::string& command);

class UpdateBench : public testing::Test {
protected:
    void SetUp() override;

    /** An agent is installed. */
    void        install(const std::string& version);
    std::string installedVersion() const;
    /** Nothing temporary is left. */
    void expectClean() const;

    /** The BMC offers a package that was made for it, with @p setup as its installer where there is one. Before each
     * test: 2.1.0. */
    void offer(const std::string& version, const std::string& setup = {});
    void control(const Words& words) const;
    /** Both logs tell of exactly one installation since the last call, "VERB VERSION"; empty: of none. */
    void expectLogged(const std::string& installation);

    Words commandLine(Words arguments) const
    {
        arguments.insert(arguments.begin(), program);
        return arguments;
    }
    Outcome tool(const Words& arguments) const;

    const std::string bench    = privatehost::kBench;
    const std::string home     = privatehost::kHome;
    const std::string served   = bench + "/served";
    const std::string keys     = bench + "/keys";
    std::string       program  = bench + "/tool/qvoxa-sync";
    std::size_t       entries_ = 0;  ///< of the BMC's log when it was last looked at
};

#endif
