/** @file TextTest.cpp  The command line, the table of statuses and the progress line alone. */
#include <gtest/gtest.h>

#include <vector>

#include "options.h"
#include "progresstext.h"

namespace {

using namespace qvoxasync;

Options parsed(std::vector<const char*> words)
{
    words.insert(words.begin(), "qvoxa-sync");
    Options options;
    EXPECT_TRUE(parse(static_cast<int>(words.size()), words.data(), options));
    return options;
}

TEST(CommandLine, WithoutWordsIsAnInteractiveUpdate)
{
    const Options options = parsed({});
    EXPECT_EQ(options.action, Action::update);
    EXPECT_FALSE(options.silent || options.force || options.json || options.exitCode);
    EXPECT_FALSE(options.installArguments);
}

TEST(CommandLine, NamesTheAction)
{
    EXPECT_EQ(parsed({"--version-report"}).action, Action::versionReport);
    EXPECT_EQ(parsed({"--setup-link"}).action, Action::setupLink);
    const Options download = parsed({"--download", "a dir", "--exit-code", "--json"});
    EXPECT_EQ(download.action, Action::download);
    EXPECT_EQ(download.directory, "a dir");
    EXPECT_TRUE(download.exitCode && download.json);
}

TEST(CommandLine, TellsNoArgumentsFromEmptyOnes)
{
    EXPECT_EQ(parsed({"--silent", "--install-args", ""}).installArguments, "");
    EXPECT_EQ(parsed({"--force", "--install-args", "--a b"}).installArguments, "--a b");
    EXPECT_EQ(parsed({"--force", "--silent"}).installArguments, std::nullopt);
}

class Contradictions : public testing::TestWithParam<std::vector<const char*>> {};
INSTANTIATE_TEST_SUITE_P(Rows, Contradictions,
                         testing::Values(std::vector<const char*>{"--download", "d", "--version-report"},
                                         std::vector<const char*>{"--download", "d", "--setup-link"},
                                         std::vector<const char*>{"--version-report", "--setup-link"},
                                         std::vector<const char*>{"--download", "d", "--force"},
                                         std::vector<const char*>{"--version-report", "--silent"},
                                         std::vector<const char*>{"--setup-link", "--install-args", "x"},
                                         std::vector<const char*>{"--version-report", "--exit-code"},
                                         std::vector<const char*>{"--setup-link", "--exit-code"},
                                         std::vector<const char*>{"--install-args", "x"},
                                         std::vector<const char*>{"--json"}, std::vector<const char*>{"--download"},
                                         std::vector<const char*>{"--download", ""},
                                         std::vector<const char*>{"--unknown"}, std::vector<const char*>{"word"}));

TEST_P(Contradictions, AreWrongUsage)
{
    std::vector<const char*> words = GetParam();
    words.insert(words.begin(), "qvoxa-sync");
    Options options;
    try {
        parse(static_cast<int>(words.size()), words.data(), options);
        FAIL() << "taken";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exit(), kExitUsage);
        EXPECT_FALSE(failure.status());
    }
}

TEST(Statuses, HaveTheirExitStatusAndAdvice)
{
    const std::pair<s32, int> rows[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4},     {5, 5},
                                        {6, 6}, {8, 8}, {9, 9}, {1001, 10}, {77, 1}};
    for (const auto& [status, exit] : rows) {
        const Failure failure = libraryFailure(Action::update, status);
        EXPECT_EQ(failure.exit(), exit) << status;
        EXPECT_EQ(failure.status(), status);
        EXPECT_FALSE(failure.advice().empty());
        EXPECT_EQ(std::string(failure.what()).find('\n'), std::string::npos);
    }
    EXPECT_STRNE(statusRow(Action::download, 1).meaning, statusRow(Action::update, 1).meaning);
    EXPECT_STRNE(statusRow(Action::setupLink, 1).meaning, statusRow(Action::versionReport, 1).meaning);
}

TEST(ProgressLine, IsAsLongAsTheShortestLineThatFollows)
{
    EXPECT_EQ(progressText("package.xml", 544, 2720), "package.xml        0.5 KB   2.7 KB/s");
    EXPECT_EQ(progressText("QD-Oxa-Zelmar-Web-LX-2.1.0.tar.gz", 123456789, 10485760.0),
              "...-2.1.0.tar.gz 117.7 MB  10.0 MB/s");
    for (const std::uint64_t bytes : {0ull, 1023ull, 1023999ull, 1048575ull, 1ull << 40, ~0ull})
        EXPECT_LE(progressText(std::string(300, 'n'), bytes, static_cast<double>(bytes)).size(), kProgressColumns);
}

}  // namespace
