/** @file support_test.cpp  Memory, mutexes, threads, paths, and who gets which debug lines. */
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <future>
#include <thread>

#include "debuglog.h"
#include "scratch.h"
#include "smsupport.h"

using namespace qvplatform;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

TEST(Memory, OfNoBytesIsABlock)
{
    void* block = SMAllocMem(0);
    EXPECT_NE(block, nullptr);
    SMFreeMem(block);
    SMFreeMem(nullptr);
    SMFreeMem(::strdup("text"));
}

TEST(Mutex, IsHeldByOneAndReportsMisuse)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer reports the misuse itself";
#endif
    void*      mutex     = SMMutexCreate(0);
    const auto elsewhere = [](auto body) { return std::async(std::launch::async, body).get(); };
    ASSERT_EQ(SMMutexLock(mutex, 500), 0);
    EXPECT_NE(elsewhere([=] { return SMMutexLock(mutex, 20); }), 0);
    EXPECT_NE(elsewhere([=] { return SMMutexUnLock(mutex); }), 0);
    EXPECT_NE(SMMutexLock(mutex, 20), 0) << "again by its holder: no hang";
    EXPECT_NE(SMMutexDestroy(mutex), 0);
    auto waiter = std::async(std::launch::async, [=] { return SMMutexLock(mutex, 20000) + SMMutexUnLock(mutex); });
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
    EXPECT_EQ(waiter.get(), 0);
    EXPECT_NE(SMMutexUnLock(mutex), 0);
    EXPECT_NE(SMMutexLock(mutex, -1), 0);
    EXPECT_EQ(SMMutexDestroy(mutex), 0);
    EXPECT_NE(SMMutexLock(nullptr, 10), 0);
    EXPECT_NE(SMMutexUnLock(nullptr), 0);
    EXPECT_NE(SMMutexDestroy(nullptr), 0);
}

struct Worker {
    std::promise<void>  mayEnd;
    std::promise<void*> self;
    std::promise<s32>   stopped;
    std::atomic<bool>   ended{false};
};

TEST(Thread, StopReturnsWhenTheThreadHasEnded)
{
    Worker worker;
    void*  thread = SMThreadStart(
        [](void* argument) -> void* {
            auto* self = static_cast<Worker*>(argument);
            self->mayEnd.get_future().wait();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a stop that did not wait would be seen
            self->ended = true;
            return nullptr;
        },
        &worker);
    ASSERT_NE(thread, nullptr);
    worker.mayEnd.set_value();
    EXPECT_EQ(SMThreadStop(thread), 0);
    EXPECT_TRUE(worker.ended);
    EXPECT_EQ(SMThreadStart(nullptr, nullptr), nullptr);
    EXPECT_NE(SMThreadStop(nullptr), 0);
}

TEST(Thread, MayStopItself)
{
    static Worker worker;  // the detached thread may outlive this test by a moment
    void*         thread = SMThreadStart(
        [](void*) -> void* {
            worker.stopped.set_value(SMThreadStop(worker.self.get_future().get()));
            return nullptr;
        },
        nullptr);
    ASSERT_NE(thread, nullptr);
    worker.self.set_value(thread);
    EXPECT_EQ(worker.stopped.get_future().get(), 0);
}

TEST(InstallationPath, IsHandedOutWhereThereIsRoom)
{
    astring path[64] = "before";
    u32     size     = 10;
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    EXPECT_EQ(size, 11U);
    EXPECT_STREQ(path, "before");
    EXPECT_EQ(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    EXPECT_STREQ(path, "/opt/agent");
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, nullptr, &size), 0);
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, path, nullptr), 0);
    EXPECT_NE(SMAppendToOSSysLog(4, 4, 8196, "Torvo Service Module", nullptr, "OXA0034", 0, nullptr), 0);
    EXPECT_EQ(SMAppendToOSSysLog(4, 4, 8196, nullptr, "platform test %s", nullptr, 0, nullptr), 0);
}

bool put(DebugLog& log, LogLevel level, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const bool taken = log.write(level, format, arguments);
    va_end(arguments);
    return taken;
}

TEST(DebugLog, IsPrivateWhateverTheUmaskAndGoesOn)
{
    const Scratch scratch;
    for (const mode_t mask : {0000u, 0777u}) {
        const mode_t before = ::umask(mask);
        const auto   file   = scratch / ("log" + std::to_string(mask));
        DebugLog     log(LogLevel::trace, file);
        ::umask(before);
        EXPECT_EQ(modeOf(file), 0600u) << mask;
    }
    const auto old = scratch.write("old", "before\n");
    ASSERT_EQ(::chmod(old.c_str(), 0666), 0);
    DebugLog log(LogLevel::error, old);
    EXPECT_TRUE(put(log, LogLevel::error, "wanted %s", "line") && put(log, LogLevel::trace, "unwanted"));
    EXPECT_FALSE(put(log, LogLevel::error, nullptr));
    EXPECT_EQ(modeOf(old), 0600u);
    EXPECT_THAT(contentOf(old),
                AllOf(HasSubstr("before\n"), HasSubstr("error: wanted line\n"), Not(HasSubstr("unwanted"))));
    for (const std::size_t length : {0u, 510u, 511u, 512u, 513u, 100000u}) {
        const std::string line(length, 'x');
        EXPECT_TRUE(put(log, LogLevel::error, "<%s>%s", line.c_str(), "{}%d\n"));
        EXPECT_THAT(contentOf(old), HasSubstr("<" + line + ">{}%d\n"));
    }
}

TEST(DebugLog, IsOursAlone)
{
    const Scratch scratch;
    const auto    target = scratch.write("target", ""), foreign = scratch.write("foreign", "");
    ASSERT_TRUE(scratch.run("ln -s target link && ln target second"));
    for (const auto& file : {scratch / "link", target, scratch / ".", std::string("/dev/null"), scratch / "absent/log"})
        EXPECT_THROW(DebugLog(LogLevel::trace, file), spdlog::spdlog_ex) << file;
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
    ASSERT_TRUE(scratch.run("chown 65534 foreign"));
    EXPECT_THROW(DebugLog(LogLevel::trace, foreign), spdlog::spdlog_ex);
}

TEST(DebugLog, IsPutAsideWhenItIsFullAndKeepsLinesOfThreadsApart)
{
    const Scratch scratch;
    DebugLog      log(LogLevel::trace, scratch / "log", {2000, 2}), wide(LogLevel::trace, scratch / "wide");
    for (int i = 0; i < 200; ++i) put(log, LogLevel::trace, "line %d", i);
    for (const char* name : {"log", "log.1", "log.2"}) {
        EXPECT_EQ(modeOf(scratch / name), 0600u) << name;
        EXPECT_LE(contentOf(scratch / name).size(), 2000u) << name;
    }
    EXPECT_EQ(modeOf(scratch / "log.3"), 0u);
    EXPECT_THAT(contentOf(scratch / "log"), HasSubstr("line 199\n"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&wide] {
            for (int i = 0; i < 200; ++i) put(wide, LogLevel::trace, "abcdefghijklmnopqrstuvwxyz");
        });
    for (auto& thread : threads) thread.join();
    EXPECT_TRUE(scratch.run("test 800 -eq $(grep -c 'trace: abcdefghijklmnopqrstuvwxyz$' wide)"));
}

TEST(DebugPrint, GoesWhereTheConfigurationSays)
{
    const auto everything = AllOf(HasSubstr("error: error line 1\n"), HasSubstr("trace: trace line 2\n"),
                                  HasSubstr("x|end 3\n"), HasSubstr("error: line 4 at exit\n"));
    const auto errors     = AllOf(HasSubstr("error line 1\n"), Not(HasSubstr("trace line")));
    const std::tuple<const char*, const char*, const char*, testing::Matcher<std::string>> rows[] = {
        {"suptlib.logfile=log", "print", "log", ""},
        {"suptlib.loglevel=trace\nsuptlib.logfile=log", "print", "log", everything},
        {"suptlib.loglevel=error\nsuptlib.vardatapath=.", "print", "qvplatform.log", errors},
        {"suptlib.loglevel=error\nsuptlib.logfile=stderr", "print", "stderr", errors},
        {"suptlib.loglevel=error\nsuptlib.logfile=log", "fork", "log", HasSubstr("child\n")},
        {"suptlib.loglevel=trace", "print", "stderr", ""},
        {"suptlib.loglevel=trace\nsuptlib.logfile=/dev/null", "print", "stderr", ""}};
    for (const auto& [config, mode, where, expected] : rows) {
        const Scratch scratch;
        scratch.write("cfg", config);
        EXPECT_TRUE(scratch.run("QVPLATFORM_CONFIG=cfg " + std::filesystem::read_symlink("/proc/self/exe").string() +
                                ' ' + mode + " 2>stderr"))
            << config;
        EXPECT_THAT(contentOf(scratch / where), expected) << config;
    }
}

}  // namespace
