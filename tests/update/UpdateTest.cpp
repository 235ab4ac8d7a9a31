/** @file UpdateTest.cpp  qvoxa-sync through its command line, as scenarios.txt tells it. */
#include <cstdlib>
#include <fstream>
#include <map>

#include "UpdateBench.h"
#include "progresstext.h"

namespace {

class Update : public UpdateBench {
protected:
    void begin()
    {
        SetUp();
        program  = bench + "/tool/qvoxa-sync";
        dirty_   = false;
        options_ = {};
    }

    /** A line of a scenario: a word, and what belongs to it. */
    void take(const std::string& word, const std::string& rest)
    {
        if (word == "exit")
            ended(split(rest));
        else if (word == "says")
            says(split(rest));
        else if (word == ">")
            expected_.out += rest + '\n';
        else if (word == "err")
            expected_.err = rest;
        else
            prepare(word, rest);
    }

    /** "0 agent 2.1.0 logged updated 2.1.0" */
    void ended(const Words& words)
    {
        expected_.exit = std::stoi(words.at(0));
        for (std::size_t i = 1; i + 1 < words.size(); ++i) {
            if (words[i] == "agent") agent_ = words[i + 1];
            if (words[i] == "logged") logged_ = words.at(i + 1) + ' ' + words.at(i + 2);
        }
    }

    /** What the library prints, step by step. */
    void says(const Words& steps)
    {
        static const std::string downloading                  = "Downloading of Torvo Service Module ",
                                 verification                 = "Signature verification ";
        static const std::map<std::string, std::string> texts = {
            {"downloaded", downloading + "packages is in progress.\n" + downloading + "packages is completed.\n"},
            {"not-downloaded", downloading + "packages is in progress.\n" + downloading + "update packages failed.\n"},
            {"verified", verification + "is in progress.\n" + verification + "was successful.\n"},
            {"refused", verification + "is in progress.\n" + verification + "failed with status 1.\n"},
            {"updating", "Torvo Service Module update/install is in progress.\n"},
            {"installed", "Torvo Service Module updated/installed Successfully to version "},
            {"latest",
             "Latest version of Torvo Service Module is running on the server.\n"
             "Please check Torvo Service Module KS package is up-to-date.\n"},
            {"no-package", "Torvo Service Module KS package is not installed on this server.\n"}};
        for (const std::string& step : steps) {
            const auto found = texts.find(step);
            expected_.out += found == texts.end() ? step + ".\n" : found->second;
        }
    }

    /** What prepares a run: the one before has to be over. */
    void prepare(const std::string& word, const std::string& rest)
    {
        check();
        if (word == "==") begin();
        if (word == "run") command_ = rest, expected_ = {}, ran_ = true;
        if (word == "install") install(rest);
        if (word == "package") control({"set", "package", rest == "\"\"" ? "" : rest});
        if (word == "fault") control(split(rest));
        if (word == "sh") shell(rest);
        if (word == "input") options_.input = rest + '\n';
        if (word == "program") program = rest;
        if (word == "dirty") dirty_ = true;
        if (word == "nowhere") writeFile(bench + "/nowhere.cfg", "hipm.endpoint=unix:/nonexistent\n");
        if (word == "nowhere") options_.environment["QVPLATFORM_CONFIG"] = bench + "/nowhere.cfg";
        for (const std::string& variable : word == "env" ? split(rest) : Words{})
            options_.environment[variable.substr(0, variable.find('='))] = variable.substr(variable.find('=') + 1);
    }

    /** Runs what was written down, and holds it against what was. */
    void check()
    {
        if (!std::exchange(ran_, false)) return;
        SCOPED_TRACE("run " + command_);
        const Outcome outcome = run({"/bin/sh", "-c", '\'' + program + "' " + command_}, options_);
        EXPECT_EQ(outcome.exit, expected_.exit) << outcome.err;
        EXPECT_EQ(outcome.out, expected_.out);
        EXPECT_TRUE(expected_.err.empty() ? outcome.err.empty() : has(outcome.err, expected_.err)) << outcome.err;
        EXPECT_EQ(installedVersion(), std::exchange(agent_, ""));
        expectLogged(std::exchange(logged_, ""));
        if (!dirty_) expectClean();
        EXPECT_EQ(readFile(bench + "/precious/file"), "mine\n");
    }

private:
    std::string  command_, agent_, logged_;
    Outcome      expected_;
    ChildOptions options_;
    bool         ran_ = false, dirty_ = false;
};

TEST_F(Update, EndsAsTheScenariosTell)
{
    std::ifstream file(SOURCE_DIRECTORY "/tests/update/scenarios.txt");
    std::string   scenario;
    int           count = 0;
    for (std::string text; std::getline(file, text);) {
        const std::string word = text.substr(0, text.find(' ')),
                          rest = text.size() > word.size() ? text.substr(word.size() + 1) : "";
        SCOPED_TRACE(scenario);
        take(word, rest);
        if (word == "==") scenario = rest, ++count;
    }
    SCOPED_TRACE(scenario);
    take("==", "");
    EXPECT_GE(count, 40);
}

TEST_F(Update, ShowsItsProgressOnATerminalAlone)
{
    if (std::system("script -qec true /dev/null >/dev/null 2>&1") != 0) GTEST_SKIP() << "the command script is missing";
    control({"delay", "600", "GET", "/software/oxa/sha256sum"});
    control({"set", "package", "2.\033[31m"});
    const Outcome seen = run({"/bin/sh", "-c", "script -qec '" + program + " --silent' /dev/null"});
    EXPECT_TRUE(has(seen.out, "\rsha256sum ")) << seen.out;
    EXPECT_TRUE(has(seen.out, "to version 2.\\x1b[31m.")) << seen.out;
    EXPECT_TRUE(has(seen.out, "B/s\r\033[KDownloading")) << "cleared before the next line: " << seen.out;
    EXPECT_EQ(qvoxasync::progressText("a\033-package.tar.gz", 50, 200, 2720),
              "...ackage.tar.gz  25 %   0.0 KB   2.7 KB/s");
    EXPECT_EQ(qvoxasync::progressText("sha256sum", 123456789, 0, 1e7), "sha256sum              117.7 MB   9.5 MB/s");
}

}  // namespace
