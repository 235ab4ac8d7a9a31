/** @file UpdateBench.h  qvoxa-sync on a private host, with a simulated BMC that serves packages made for the test. */
#ifndef UPDATE_UPDATEBENCH_H
#define UPDATE_UPDATEBENCH_H

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Child.h"
#include "PrivateHost.h"

using Json  = nlohmann::json;
using Words = std::vector<std::string>;

/** The library's lines. */
namespace line {
inline const std::string kDownloading = "Downloading of Torvo Service Module packages is in progress.\n";
inline const std::string kDownloaded  = "Downloading of Torvo Service Module packages is completed.\n";
inline const std::string kNotLoaded   = "Downloading of Torvo Service Module update packages failed.\n";
inline const std::string kVerifying   = "Signature verification is in progress.\n";
inline const std::string kVerified    = "Signature verification was successful.\n";
inline const std::string kNotVerified = "Signature verification failed with status 1.\n";
inline const std::string kUpdating    = "Torvo Service Module update/install is in progress.\n";
inline const std::string kInstalling  = "Torvo Service Module install is in progress.\n";
inline const std::string kLatest =
    "Latest version of Torvo Service Module is running on the server.\n"
    "Please check Torvo Service Module KS package is up-to-date.\n";
inline const std::string kNoPackage = "Torvo Service Module KS package is not installed on this server.\n";
inline const std::string kAnother   = "Another instance of Oxa qvoxa-sync is already running.\n";

inline const std::string kFetched = kDownloading + kDownloaded + kVerifying + kVerified;
inline const std::string kRefused = kDownloading + kDownloaded + kVerifying + kNotVerified;
inline const std::string kBroken  = kDownloading + kNotLoaded;

std::string installed(const std::string& version);
/** @param status  as system() tells it */
std::string failed(int status);
}  // namespace line

std::string readFile(const std::string& path);
void        writeFile(const std::string& path, const std::string& text);
bool        has(const std::string& text, const std::string& part);
/** Waits until @p condition holds. @return false: it did not within a time that is too long for any machine */
bool eventually(const std::function<bool()>& condition);

class UpdateBench : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // ---- the host ----
    /** An agent is installed; without a version: none. */
    void        install(const std::string& version);
    std::string installedVersion() const;
    /** Nothing temporary may be left, beside what @p but names. */
    void expectClean() const;

    // ---- the BMC ----
    void startBmc(const Words& arguments = {});
    /** The BMC offers a package that was made for it. */
    void                             offer(const std::string& version);
    std::string                      package() const;  ///< path of the Linux package served
    void                             sign();           ///< the package as it is now
    void                             makeKey(const std::string& directory, const std::string& name);
    std::optional<std::vector<Json>> ksLog() const;
    /** Both logs tell of exactly one installation; nothing: of none. */
    void expectLogged(const std::optional<std::string>& verb, const std::string& version);

    // ---- the tool ----
    std::vector<std::string> commandLine(const Words& arguments) const;
    ChildOptions             onThisHost(ChildOptions options = {}) const;
    Outcome                  tool(const Words& arguments, const ChildOptions& options = {}) const;

    std::string               served  = std::string(privatehost::kBench) + "/served";
    std::string               keys    = std::string(privatehost::kBench) + "/keys";
    std::string               agent   = std::string(privatehost::kBench) + "/agent";
    std::string               program = std::string(privatehost::kBench) + "/tool/qvoxa-sync";
    std::string               version;         ///< of the package offered
    Words                     keyDirectories;  ///< in which GnuPG has left an agent running
    std::unique_ptr<Torvosim> bmc;
};

/** Runs a command line for the test's set-up; a failure fails the test. */
void shell(const std::string& command);

/** A row of a table, known by its name. */
struct Row {
    const char*          name;
    friend std::ostream& operator<<(std::ostream& to, const Row& row) { return to << row.name; }
};
struct NameOfRow {
    template <class Of>
    std::string operator()(const testing::TestParamInfo<Of>& row) const
    {
        return row.param.name;
    }
};

#endif
