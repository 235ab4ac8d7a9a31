/** @file UpdateBench.cpp  Sets host, BMC and package up, and looks at what a run left. */
#include "UpdateBench.h"

namespace {

const std::string kBench = privatehost::kBench;

/** What lasts as long as the process. */
struct Stage {
    Stage()
    {
        fs::create_directories(kBench + "/served");
        shell("command -v rpm >/dev/null || { printf '#!/bin/sh\\n' >/opt/bench/rpm && chmod 755 /opt/bench/rpm; }");
        ::setenv("PATH", (::getenv("PATH") + (':' + kBench)).c_str(), 1);
        shell("mkdir tool && touch tool/qvoxa-sync && mount --bind " QVOXA_SYNC_PROGRAM " tool/qvoxa-sync");
        bmc.reset(new Torvosim("old", {"--https-address", "127.0.0.1", "--package-dir", kBench + "/served"}));
        for (const auto& [name, value] :
             {std::pair<const char*, std::string>("QVPLATFORM_CONFIG", bmc->configuration()),
              {"PROGRAM", QVOXA_SYNC_PROGRAM},
              {"make", SOURCE_DIRECTORY "/scripts/make-update-package"},
              {"served", kBench + "/served"},
              {"package", kBench + "/served/QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz"}})
            ::setenv(name, value.c_str(), 1);
        for (const char* key : {"keys", "other"})
            shell("mkdir -m 700 " + kBench + '/' + key + " && gpg --homedir " + kBench + '/' + key +
                  " --batch --quiet --pinentry-mode loopback --passphrase '' --quick-gen-key " + key +
                  " ed25519 sign never 2>/dev/null");
    }
    ~Stage()
    {
        for (const char* key : {"keys", "other"}) shell("gpgconf --homedir " + kBench + '/' + key + " --kill all");
    }
    std::unique_ptr<Torvosim> bmc;
};

Stage& stage()
{
    static Stage only;
    return only;
}

std::vector<Json> ksLog()
{
    return stage().bmc->control({"kslog"})["entries"].get<std::vector<Json>>();
}

}  // namespace

void shell(const std::string& command)
{
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void UpdateBench::SetUp()
{
    if (!privatehost::enter().empty()) GTEST_SKIP() << privatehost::enter();
    fs::current_path(kBench);
    stage();
    shell(
        "rm -rf /tmp/.AutoUpdate /tmp/.signature /opt/zelmar cwd precious tool/ipc installing enough && "
        "mkdir -p /opt/zelmar/kappel cwd precious && echo mine > precious/file");
    fs::current_path(kBench + "/cwd");
    control({"clear"});
    offer("2.1.0");
    privatehost::systemLog();
    entries_ = ksLog().size();
}

void UpdateBench::install(const std::string& versionText)
{
    shell("mkdir -p " + home + "/etc && echo OXA.qdilcore.version=" + versionText + " > " + home + "/etc/qvoxareg.cfg");
}

std::string UpdateBench::installedVersion() const
{
    const std::string text = readFile(home + "/etc/qvoxareg.cfg"), value = text.substr(text.rfind('=') + 1);
    return value.substr(0, value.find('\n'));
}

void UpdateBench::expectClean() const
{
    for (const std::string& path :
         {std::string("/tmp/.AutoUpdate"), std::string("/tmp/.signature"), home + "/.OXAAutoUpdate",
          fs::path(program).parent_path().string() + "/ipc", fs::current_path().string() + "/.qvoxareg.cfg"})
        EXPECT_EQ(fs::symlink_status(path).type(), fs::file_type::not_found) << path;
}

void UpdateBench::offer(const std::string& version, const std::string& setup)
{
    const std::string ready = kBench + "/made-" + version + (setup.empty() ? "" : "-own"), agent = kBench + "/agent";
    if (!setup.empty() || !fs::exists(ready)) {
        shell("rm -rf " + agent + " && mkdir " + agent +
              " && cp " SOURCE_DIRECTORY "/examples/update-package/setup.sh " + agent + " && echo " + version + " > " +
              agent + "/VERSION");
        if (!setup.empty()) writeFile(agent + "/setup.sh", setup);
        shell(SOURCE_DIRECTORY "/scripts/make-update-package " + agent + " --version " + version + " --out " + ready +
              " --key " + keys + " >/dev/null");
    }
    shell("rm -rf " + served + "/* && cp " + ready + "/* " + served);
    control({"set", "package", version});
}

void UpdateBench::control(const Words& words) const
{
    stage().bmc->control(words);
}

void UpdateBench::expectLogged(const std::string& installation)
{
    const auto        entries = ksLog();
    const auto        lines   = privatehost::systemLog();
    const std::size_t added   = installation.empty() ? 0 : 1;
    EXPECT_EQ(entries.size(), std::exchange(entries_, entries.size()) + added);
    EXPECT_EQ(lines.size(), added);
    if (HasFailure() || added == 0) return;
    const std::string verb = installation.substr(0, installation.find(' ')), of = installation.substr(verb.size() + 1);
    EXPECT_EQ(entries.back()["id"], "OXA0034");
    EXPECT_EQ(entries.back()["arguments"], (Json{verb, of, "root"}));
    EXPECT_TRUE(has(lines.front(), ": The Auto Update feature successfully " + verb +
                                       " the Torvo Service Module to version " + of +
                                       ", where the server operating system (OS) user is root. [OXA0034"))
        << lines.front();
}

Outcome UpdateBench::tool(const Words& arguments) const
{
    privatehost::systemLog();  // whoever logs waits when nobody reads
    return run(commandLine(arguments));
}
