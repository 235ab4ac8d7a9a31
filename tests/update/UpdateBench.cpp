/** @file UpdateBench.cpp  Sets host, BMC and package up, and looks at what a run left. */
#include "UpdateBench.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace fs = std::filesystem;

namespace line {

std::string installed(const std::string& version)
{
    return "Torvo Service Module updated/installed Successfully to version " + version + ".\n";
}

std::string failed(int status)
{
    return "Torvo Service Module update/install is failed with the return code " + std::to_string(status) +
           ". For troubleshooting,refer the Oxa installation guide.\n";
}

}  // namespace line

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

bool eventually(const std::function<bool()>& condition)
{
    for (int tries = 0; tries < 6000; ++tries) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

void shell(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void UpdateBench::SetUp()
{
    if (!privatehost::enter().empty()) GTEST_SKIP() << privatehost::enter();
    privatehost::placeProgram(QVOXA_SYNC_PROGRAM, program);
    for (const std::string& directory : {served, agent, std::string(privatehost::kBench) + "/cwd"})
        fs::create_directories(directory);
    fs::current_path(std::string(privatehost::kBench) + "/cwd");
    shell("cp " SOURCE_DIRECTORY "/examples/update-package/setup.sh " + agent);
}

void UpdateBench::TearDown()
{
    for (const std::string& directory : keyDirectories) shell("gpgconf --homedir " + directory + " --kill all");
    bmc.reset();
    privatehost::awaitProcesses();
}

void UpdateBench::makeKey(const std::string& directory, const std::string& name)
{
    keyDirectories.push_back(directory);
    shell("mkdir -p -m 700 " + directory + " && gpg --homedir " + directory +
          " --batch --quiet --pinentry-mode loopback --passphrase '' --quick-gen-key " + name +
          " ed25519 sign never 2>/dev/null");
}

void UpdateBench::install(const std::string& versionText)
{
    fs::create_directories(std::string(privatehost::kHome) + "/etc");
    writeFile(std::string(privatehost::kHome) + "/etc/qvoxareg.cfg", "OXA.qdilcore.version=" + versionText + "\n");
}

std::string UpdateBench::installedVersion() const
{
    const std::string text  = readFile(std::string(privatehost::kHome) + "/etc/qvoxareg.cfg");
    const std::string key   = "OXA.qdilcore.version=";
    const auto        begin = text.find(key);
    return begin == text.npos ? "" : text.substr(begin + key.size(), text.find('\n', begin) - begin - key.size());
}

void UpdateBench::expectClean() const
{
    for (const std::string& path :
         {std::string("/tmp/.AutoUpdate"), std::string("/tmp/.signature"),
          std::string(privatehost::kHome) + "/.OXAAutoUpdate", fs::path(program).parent_path().string() + "/ipc",
          fs::current_path().string() + "/.qvoxareg.cfg"})
        EXPECT_EQ(fs::symlink_status(path).type(), fs::file_type::not_found) << path;
}

void UpdateBench::startBmc(const Words& arguments)
{
    Words all{"--https-address", "127.0.0.1", "--package-dir", served};
    all.insert(all.end(), arguments.begin(), arguments.end());
    bmc = std::make_unique<Torvosim>("old", all);
    if (!version.empty()) bmc->control({"set", "package", version});
}

void UpdateBench::offer(const std::string& versionText)
{
    version = versionText;
    writeFile(agent + "/VERSION", version + "\n");
    if (keyDirectories.empty()) makeKey(keys, "package");
    fs::remove_all(served);
    shell(SOURCE_DIRECTORY "/scripts/make-update-package " + agent + " --version " + version + " --out " + served +
          " --key " + keys + " >/dev/null");
    if (!bmc)
        startBmc();
    else
        bmc->control({"set", "package", version});
}

std::string UpdateBench::package() const
{
    return served + "/QD-Oxa-Zelmar-Web-LX-" + version + ".tar.gz";
}

void UpdateBench::sign()
{
    shell("gpg --homedir " + keys + " --batch --quiet --yes --output " + package() + ".sign --detach-sign " +
          package());
}

std::optional<std::vector<Json>> UpdateBench::ksLog() const
{
    const Json answer = Json::parse(bmc->control({"kslog"}), nullptr, false);
    if (answer.is_discarded() || !answer.contains("entries")) return std::nullopt;
    return answer["entries"].get<std::vector<Json>>();
}

void UpdateBench::expectLogged(const std::optional<std::string>& verb, const std::string& versionText)
{
    const auto entries = ksLog();
    ASSERT_TRUE(entries);
    const std::vector<std::string> lines = privatehost::systemLog();
    if (!verb) {
        EXPECT_TRUE(entries->empty()) << Json(*entries);
        EXPECT_TRUE(lines.empty()) << lines.front();
        return;
    }
    ASSERT_EQ(entries->size(), 1u);
    EXPECT_EQ(entries->front()["id"], "OXA0034");
    EXPECT_EQ(entries->front()["arguments"], (Json{*verb, versionText, "root"}));
    ASSERT_EQ(lines.size(), 1u);
    const std::string message = "The Auto Update feature successfully " + *verb +
                                " the Torvo Service Module to version " + versionText +
                                ", where the server operating system (OS) user is root.";
    EXPECT_TRUE(has(lines.front(), message)) << lines.front();
    EXPECT_TRUE(has(lines.front(), "OXA0034")) << lines.front();
}

std::vector<std::string> UpdateBench::commandLine(const Words& arguments) const
{
    Words command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

ChildOptions UpdateBench::onThisHost(ChildOptions options) const
{
    if (bmc) options.environment.emplace("QVPLATFORM_CONFIG", bmc->configuration());
    return options;
}

Outcome UpdateBench::tool(const Words& arguments, const ChildOptions& options) const
{
    return run(commandLine(arguments), onThisHost(options));
}
