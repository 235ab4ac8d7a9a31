/** @file support_test.cpp  Memory, mutexes, threads, paths, and who gets which debug lines. */
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
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
    EXPECT_TRUE(SMMutexLock(nullptr, 10) && SMMutexUnLock(nullptr) && SMMutexDestroy(nullptr));
}

struct Worker {
    std::promise<void*> self;
    std::promise<s32>   stopped;
    std::atomic<bool>   ended{false};
};

TEST(Thread, StopReturnsWhenTheThreadHasEndedAndAThreadMayStopItself)
{
    Worker worker;
    void*  thread = SMThreadStart(
        [](void* argument) -> void* {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a stop that did not wait would be seen
            static_cast<Worker*>(argument)->ended = true;
            return nullptr;
        },
        &worker);
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(SMThreadStop(thread), 0);
    EXPECT_TRUE(worker.ended);
    EXPECT_EQ(SMThreadStart(nullptr, nullptr), nullptr);
    EXPECT_NE(SMThreadStop(nullptr), 0);
    static Worker own;  // the detached thread may outlive this test by a moment
    own.self.set_value(SMThreadStart(
        [](void*) -> void* {
            own.stopped.set_value(SMThreadStop(own.self.get_future().get()));
            return nullptr;
        },
        nullptr));
    EXPECT_EQ(own.stopped.get_future().get(), 0);
}

TEST(Services, HandOutAPathWhereThereIsRoomAndRefuseWhatIsMissing)
{
    astring path[64] = "before";
    u32     size     = 10;
    void*   nothing  = SMAllocMem(0);
    EXPECT_NE(nothing, nullptr) << "a block of no bytes is one";
    SMFreeMem(nothing);
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

TEST(DebugLog, IsPrivateWhateverTheUmaskGoesOnAndIsPutAsideWhenItIsFull)
{
    const Scratch scratch;
    const auto    old = scratch.write("old", "before\n");
    ASSERT_EQ(::chmod(old.c_str(), 0666), 0);
    for (const mode_t mask : {0000u, 0777u}) {
        const mode_t before = ::umask(mask);
        const auto   file   = scratch / ("log" + std::to_string(mask));
        DebugLog     log(LogLevel::trace, file), full(LogLevel::trace, file + "full", {2000, 2});
        ::umask(before);
        for (int i = 0; i < 200; ++i) put(full, LogLevel::trace, "line %d", i);
        for (const char* name : {"", "full", "full.1", "full.2"}) {
            EXPECT_EQ(modeOf(file + name), 0600u) << mask << name;
            EXPECT_LE(contentOf(file + name).size(), 2000u) << name;
        }
        EXPECT_EQ(modeOf(file + "full.3"), 0u);
        EXPECT_THAT(contentOf(file + "full"), HasSubstr("line 199\n"));
    }
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
    scratch.write("target", ""), scratch.write("foreign", "");
    ASSERT_TRUE(scratch.run("ln -s target link && ln target second"));
    for (const auto& file : {scratch / "link", scratch / "target", scratch / ".", scratch / "absent/log"})
        EXPECT_THROW(DebugLog(LogLevel::trace, file), spdlog::spdlog_ex) << file;
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
    ASSERT_TRUE(scratch.run("chown 65534 foreign"));
    EXPECT_THROW(DebugLog(LogLevel::trace, scratch / "foreign"), spdlog::spdlog_ex);
}

TEST(DebugPrint, GoesWhereTheConfigurationSays)
{
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    for (const Row& row : casesOf("debug lines")) {
        const Scratch scratch;
        scratch.write("cfg", row[0]);
        EXPECT_TRUE(scratch.run("QVPLATFORM_CONFIG=cfg " + self + ' ' + row[1] + " 2>stderr")) << row[0];
        std::istringstream parts(row[3]);
        for (std::string part; std::getline(parts >> std::ws, part, ';');) {
            const bool wanted = part[0] != '!';
            const auto found  = contentOf(scratch / row[2]).find(wanted ? part : part.substr(1)) != part.npos;
            EXPECT_EQ(found, wanted) << row[0] << part;
        }
    }
}

}  // namespace
