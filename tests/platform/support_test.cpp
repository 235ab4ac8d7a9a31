/** @file support_test.cpp  Memory, mutexes, threads and paths. */
#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <memory>
#include <thread>

#include "smsupport.h"

namespace {

TEST(Memory, OfNoBytesIsABlock)
{
    void* block = SMAllocMem(0);
    EXPECT_NE(block, nullptr);
    SMFreeMem(block);
    SMFreeMem(nullptr);
    SMFreeMem(::strdup("text"));
}

class Mutex : public testing::Test {
protected:
    ~Mutex() override { EXPECT_EQ(SMMutexDestroy(mutex), 0); }
    s32 lockElsewhere(s32 waitMs)
    {
        return std::async(std::launch::async,
                          [=] {
                              const s32 status = SMMutexLock(mutex, waitMs);
                              if (status == 0) SMMutexUnLock(mutex);
                              return status;
                          })
            .get();
    }
    void* mutex = SMMutexCreate(0);
};

TEST_F(Mutex, IsHeldByOne)
{
    ASSERT_EQ(SMMutexLock(mutex, 500), 0);
    EXPECT_NE(lockElsewhere(20), 0);
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
    EXPECT_EQ(lockElsewhere(0), 0);
}

TEST_F(Mutex, IsObtainedByAWaiterWhenItBecomesFree)
{
    ASSERT_EQ(SMMutexLock(mutex, 0), 0);
    auto waiter = std::async(std::launch::async, [this] {
        const s32 status = SMMutexLock(mutex, 20000);
        return status == 0 ? SMMutexUnLock(mutex) : status;
    });
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
    EXPECT_EQ(waiter.get(), 0);
}

TEST_F(Mutex, ReportsMisuse)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer reports the misuse itself";
#endif
    EXPECT_NE(SMMutexUnLock(mutex), 0);
    EXPECT_NE(SMMutexLock(mutex, -1), 0);
    ASSERT_EQ(SMMutexLock(mutex, 0), 0);
    EXPECT_NE(SMMutexLock(mutex, 20), 0);  // again by its holder: no hang
    EXPECT_NE(std::async(std::launch::async, [this] { return SMMutexUnLock(mutex); }).get(), 0);
    EXPECT_NE(SMMutexDestroy(mutex), 0);
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
}

TEST(NullMutex, IsRefused)
{
    EXPECT_NE(SMMutexLock(nullptr, 10), 0);
    EXPECT_NE(SMMutexUnLock(nullptr), 0);
    EXPECT_NE(SMMutexDestroy(nullptr), 0);
}

struct Worker {
    std::promise<void> mayEnd;
    std::atomic<bool>  ended{false};
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
}

TEST(Thread, MayStopItself)
{
    struct Self {
        std::promise<void*> handle;
        std::promise<s32>   status;
    };
    // The detached thread may outlive this test by a moment: it holds what it uses.
    const auto self   = std::make_shared<Self>();
    auto       status = self->status.get_future();
    void*      thread = SMThreadStart(
        [](void* argument) -> void* {
            const std::unique_ptr<std::shared_ptr<Self>> mine(static_cast<std::shared_ptr<Self>*>(argument));
            (*mine)->status.set_value(SMThreadStop((*mine)->handle.get_future().get()));
            return nullptr;
        },
        new std::shared_ptr<Self>(self));
    ASSERT_NE(thread, nullptr);
    self->handle.set_value(thread);
    EXPECT_EQ(status.get(), 0);
}

TEST(Thread, WithoutProcedureOrHandleIsRefused)
{
    EXPECT_EQ(SMThreadStart(nullptr, nullptr), nullptr);
    EXPECT_NE(SMThreadStop(nullptr), 0);
}

TEST(InstallationPath, IsHandedOutWithItsSize)
{
    astring path[64];
    u32     size = sizeof path;
    EXPECT_EQ(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    EXPECT_STREQ(path, "/opt/agent");
    EXPECT_EQ(size, 11U);
    EXPECT_EQ(SMGetPathByProductIDandType(34, 2, path, &size), 0);  // the size that it told is enough
}

TEST(InstallationPath, NeedsRoom)
{
    astring path[64] = "before";
    u32     size     = 10;
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    EXPECT_EQ(size, 11U);
    EXPECT_STREQ(path, "before");
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, nullptr, &size), 0);
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, path, nullptr), 0);
}

TEST(SystemLog, NeedsAMessage)
{
    EXPECT_NE(SMAppendToOSSysLog(4, 4, 8196, "Torvo Service Module", nullptr, "OXA0034", 0, nullptr), 0);
    EXPECT_EQ(SMAppendToOSSysLog(4, 4, 8196, nullptr, "platform test %s", nullptr, 0, nullptr), 0);
}

}  // namespace
