/** @file debuglog_test.cpp  The debug print: who gets lines, who may read them, how they are kept. */
#include "debuglog.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <thread>

#include "scratch.h"

using namespace qvplatform;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

bool put(DebugLog& log, LogLevel level, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const bool taken = log.write(level, format, arguments);
    va_end(arguments);
    return taken;
}

class UmaskOf {
public:
    explicit UmaskOf(mode_t mask) : before_(::umask(mask)) {}
    ~UmaskOf() { ::umask(before_); }

private:
    const mode_t before_;
};

TEST(DebugLog, IsPrivateWhateverTheUmask)
{
    const Scratch scratch;
    for (const mode_t mask : {0000u, 0022u, 0777u}) {
        const UmaskOf umask(mask);
        const auto    file = scratch / ("log" + std::to_string(mask));
        DebugLog      log(LogLevel::trace, file);
        EXPECT_EQ(modeOf(file), 0600u) << mask;
    }
}

TEST(DebugLog, TightensAndContinuesAnExistingFile)
{
    const Scratch scratch;
    const auto    file = scratch.write("log", "before\n");
    ASSERT_EQ(::chmod(file.c_str(), 0666), 0);
    DebugLog log(LogLevel::trace, file);
    put(log, LogLevel::trace, "after");
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_THAT(contentOf(file), AllOf(HasSubstr("before\n"), HasSubstr("after\n")));
}

TEST(DebugLog, IsNoLinkAndNoDirectory)
{
    const Scratch scratch;
    const auto    target = scratch.write("target", "");
    ASSERT_EQ(::symlink(target.c_str(), (scratch / "link").c_str()), 0);
    ASSERT_EQ(::link(target.c_str(), (scratch / "second").c_str()), 0);
    EXPECT_THROW(DebugLog(LogLevel::trace, scratch / "link"), spdlog::spdlog_ex);
    EXPECT_THROW(DebugLog(LogLevel::trace, target), spdlog::spdlog_ex) << "it has a second name";
    EXPECT_THROW(DebugLog(LogLevel::trace, scratch.path()), spdlog::spdlog_ex);
    EXPECT_THROW(DebugLog(LogLevel::trace, "/dev/null"), spdlog::spdlog_ex);
    EXPECT_THROW(DebugLog(LogLevel::trace, scratch / "absent/log"), spdlog::spdlog_ex);
}

TEST(DebugLog, ThatSomebodyElseMadeIsNotOurs)
{
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
    const Scratch scratch;
    const auto    file = scratch.write("log", "");
    ASSERT_EQ(::chown(file.c_str(), 65534, 0), 0);
    EXPECT_THROW(DebugLog(LogLevel::trace, file), spdlog::spdlog_ex);
}

TEST(DebugLog, TakesItsLevelAndAbove)
{
    const Scratch scratch;
    DebugLog      log(LogLevel::error, scratch / "log");
    EXPECT_TRUE(put(log, LogLevel::error, "wanted %s", "line"));
    EXPECT_TRUE(put(log, LogLevel::trace, "unwanted"));
    EXPECT_THAT(contentOf(scratch / "log"), AllOf(HasSubstr("error: wanted line\n"), Not(HasSubstr("unwanted"))));
}

TEST(DebugLog, KeepsLinesOfAnyLengthWhole)
{
    const Scratch scratch;
    DebugLog      log(LogLevel::trace, scratch / "log");
    for (const std::size_t length : {0u, 510u, 511u, 512u, 513u, 100000u}) {
        const std::string line(length, 'x');
        EXPECT_TRUE(put(log, LogLevel::trace, "<%s>%s", line.c_str(), "{}%d\n"));
        EXPECT_THAT(contentOf(scratch / "log"), HasSubstr("<" + line + ">{}%d\n"));
    }
    EXPECT_FALSE(put(log, LogLevel::trace, nullptr));
}

TEST(DebugLog, IsPutAsideWhenItIsFull)
{
    const Scratch scratch;
    const UmaskOf umask(0022);
    DebugLog      log(LogLevel::trace, scratch / "log", {2000, 2});
    for (int i = 0; i < 200; ++i) put(log, LogLevel::trace, "line %d", i);
    for (const char* name : {"log", "log.1", "log.2"}) {
        EXPECT_EQ(modeOf(scratch / name), 0600u) << name;
        EXPECT_LE(contentOf(scratch / name).size(), 2000u) << name;
    }
    EXPECT_EQ(modeOf(scratch / "log.3"), 0u);
    EXPECT_THAT(contentOf(scratch / "log"), HasSubstr("line 199\n"));
}

TEST(DebugLog, KeepsLinesOfManyThreadsApart)
{
    const Scratch            scratch;
    DebugLog                 log(LogLevel::trace, scratch / "log");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&log] {
            for (int i = 0; i < 200; ++i) put(log, LogLevel::trace, "abcdefghijklmnopqrstuvwxyz");
        });
    for (auto& thread : threads) thread.join();
    std::ifstream file(scratch / "log");
    int           whole = 0;
    for (std::string line; std::getline(file, line);)
        whole += line.find("trace: abcdefghijklmnopqrstuvwxyz") != line.npos;
    EXPECT_EQ(whole, 800);
}

/** The probe's exit status, run with a configuration text. */
int probe(const Scratch& scratch, const std::string& config, const std::string& argument = {})
{
    const std::string command = "QVPLATFORM_CONFIG='" + scratch.write("cfg", config) + "' '" DEBUGPRINT_PROBE "' " +
                                argument + " 2>'" + (scratch / "stderr") + "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DebugPrint, IsOffByDefault)
{
    const Scratch scratch;
    EXPECT_EQ(probe(scratch, "suptlib.logfile=" + (scratch / "log")), 0);
    EXPECT_EQ(modeOf(scratch / "log"), 0u);
}

TEST(DebugPrint, AtTraceLevelKeepsEverythingUntilTheProcessIsGone)
{
    const Scratch scratch;
    EXPECT_EQ(probe(scratch, "suptlib.loglevel=trace\nsuptlib.logfile=" + (scratch / "log")), 0);
    EXPECT_THAT(contentOf(scratch / "log"),
                AllOf(HasSubstr("error: error line 1\n"), HasSubstr("trace: trace line 2\n"), HasSubstr("x|end 3\n"),
                      HasSubstr("error: line 4 at exit\n")));
    EXPECT_EQ(contentOf(scratch / "stderr"), "");
}

TEST(DebugPrint, AtErrorLevelLeavesTraceLinesOut)
{
    const Scratch scratch;
    EXPECT_EQ(probe(scratch, "suptlib.loglevel=error\nsuptlib.vardatapath=" + scratch.path()), 0);
    EXPECT_THAT(contentOf(scratch / "qvplatform.log"), AllOf(HasSubstr("error line 1"), Not(HasSubstr("trace line"))));
}

TEST(DebugPrint, MayGoToTheStandardErrorStream)
{
    const Scratch scratch;
    EXPECT_EQ(probe(scratch, "suptlib.loglevel=error\nsuptlib.logfile=stderr"), 0);
    EXPECT_THAT(contentOf(scratch / "stderr"), HasSubstr("error line 1\n"));
}

TEST(DebugPrint, SurvivesAForkInTheMiddleOfALine)
{
    const Scratch scratch;
    EXPECT_EQ(probe(scratch, "suptlib.loglevel=error\nsuptlib.logfile=" + (scratch / "log"), "fork"), 0);
}

TEST(DebugPrint, WithoutAUsableFileStaysOffAndSilent)
{
    const Scratch scratch;
    for (const char* config : {"suptlib.loglevel=trace", "suptlib.loglevel=trace\nsuptlib.logfile=/dev/null"}) {
        EXPECT_EQ(probe(scratch, config), 0);
        EXPECT_EQ(contentOf(scratch / "stderr"), "");
    }
}

}  // namespace
