/** @file BenchPlatformTest.cpp  The stand-in itself: that it notices what it is there to notice. */
#include <gtest/gtest-spi.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "BmcOnTheBench.h"

namespace {

class Bench : public BmcOnTheBench {
protected:
    booln send(std::initializer_list<u8> bytes, u32 replyBytes = 8)
    {
        IPMIReqRspEx& raw = record.Parameters.IRREx;
        std::copy(bytes.begin(), bytes.end(), raw.ReqRspBuffer);
        raw.ReqPhaseBufLen = static_cast<u32>(bytes.size());
        raw.RspPhaseBufLen = replyBytes;
        return QVHIPMCommand(&record, &record);
    }
    EsmIPMICmdIoctlReq record{};
    const u8*          reply = record.Parameters.IRREx.ReqRspBuffer;
};

bench::Platform& platform()
{
    return bench::Platform::instance();
}

TEST_F(Bench, AnswersOnlyWhatWasAskedForAndLeavesTheRest)
{
    bmc.expect("C0 ** 07").answersAt(3, "11 22 33 44");
    std::memset(record.Parameters.IRREx.ReqRspBuffer, 0xEE, QVHIPM_BUFFER_SIZE);
    EXPECT_NE(send({0xC0, 0x01, 0x07}, 5), 0);
    EXPECT_EQ(bench::hexOf(reply, 7), "C4 01 00 11 22 EE EE");
}

TEST_F(Bench, RefusesLengthsThatDoNotFit)
{
    bmc.expect("01");
    EXPECT_EQ(send({1}, 41), 0);
}

TEST_F(Bench, NoticesUnexpectedTraffic)
{
    EXPECT_NONFATAL_FAILURE(BMCUserSetValueInUserDB("vorsk set a 1"), "awaited nothing more");
    bmc.expectUserSet("vorsk set a 1");
    EXPECT_NONFATAL_FAILURE(BMCUserSetValueInUserDB("vorsk set a  1"), "awaited user database set");
    EXPECT_NONFATAL_FAILURE(send({1}), "unexpected raw IPMI: 01");
    EXPECT_EQ(BMCUserSetValueInUserDB("vorsk set a 1"), 0);
}

TEST_F(Bench, NoticesAWrongPresetAndReplyLength)
{
    bmc.expect("01").preset(5);
    EXPECT_NONFATAL_FAILURE(send({1}), "Status of 01");
    bmc.expect("01").replyLength(5);
    EXPECT_NONFATAL_FAILURE(send({1}), "reply length of 01");
}

TEST_F(Bench, KnowsWhatIsMissing)
{
    bmc.expect("01 02");
    bmc.expectValue("vorsk get a");
    EXPECT_EQ(bmc.missing(), "  raw IPMI: 01 02\n  value of command: vorsk get a\n");
    bmc.restart();
}

TEST_F(Bench, CountsBlocksAndFailsTheChosenOne)
{
    bmc.failAllocation(2);
    void* first = SMAllocMem(4);
    EXPECT_EQ(SMAllocMem(5), nullptr);
    void* third = SMAllocMem(6);
    EXPECT_EQ(bmc.liveBlocks(), 2U);
    SMFreeMem(first);
    SMFreeMem(third);
    SMFreeMem(strdup("of the C library"));
    SMFreeMem(nullptr);
    EXPECT_EQ(bmc.liveBlocks(), 0U);
}

TEST_F(Bench, NoticesASecretInWhatIsGivenBack)
{
    bmc.mustBeWiped("hush");
    auto* text = static_cast<astring*>(SMAllocMem(16));
    std::memcpy(text + 4, "hush", 4);
    EXPECT_NONFATAL_FAILURE(SMFreeMem(text), "given back with \"hush\"");
    text = static_cast<astring*>(SMAllocMem(4));
    std::memcpy(text, "hus", 4);
    SMFreeMem(text);
}

TEST_F(Bench, FailsTheChosenCallWhateverItIs)
{
    bmc.failCall(2);
    EXPECT_EQ(BMCUserGetFreeUserSlotFromDB(), 0U);
    void* mutex = SMMutexCreate(0);
    EXPECT_EQ(mutex, nullptr);
    EXPECT_EQ(bmc.failedCall(), "SMMutexCreate");
}

TEST_F(Bench, MutexesKeepThreadsOut)
{
    void* mutex = SMMutexCreate(0);
    ASSERT_EQ(SMMutexLock(mutex, 500), 0);
    s32   inside = 0;
    auto  tryIt  = std::pair(mutex, &inside);
    void* thread = SMThreadStart(
        [](void* argument) -> void* {
            auto& [m, result] = *static_cast<std::pair<void*, s32*>*>(argument);
            *result           = SMMutexLock(m, 1);
            return nullptr;
        },
        &tryIt);
    EXPECT_EQ(bmc.liveThreads(), 1U);
    EXPECT_EQ(SMThreadStop(thread), 0);
    EXPECT_NE(inside, 0);
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
    EXPECT_NONFATAL_FAILURE(SMMutexUnLock(mutex), "does not hold it");
    bmc.lockTimeouts = 1;
    EXPECT_NE(SMMutexLock(mutex, 500), 0);
    EXPECT_EQ(SMMutexLock(mutex, 500), 0);
    EXPECT_EQ(SMMutexUnLock(mutex), 0);
    SMMutexDestroy(mutex);
    EXPECT_EQ(bmc.callsOf("SMMutexLock").size(), 4U);
}

TEST_F(Bench, CryptographyIsReversible)
{
    astring           output[SMSECURE_OUTPUT_SIZE], plain[SMSECURE_PLAIN_SIZE];
    astring *         text = nullptr, *key = nullptr, *to = plain;
    const std::string token(64, 't');
    ASSERT_EQ(SMqvoxaPBKDF2Encrypt(token.c_str(), 64, output, &text, &key), 0);
    EXPECT_EQ(std::string(text).find("tt"), std::string::npos);
    EXPECT_EQ(SMqvoxaPBKDF2Decrypt(key, text, &to), 0);
    EXPECT_EQ(plain, token);
    EXPECT_NE(SMqvoxaPBKDF2Decrypt(text, key, &to), 0);
    SMFreeMem(text);
    SMFreeMem(key);
}

TEST_F(Bench, PathsKeepToTheRoom)
{
    bmc.paths[{34, 2}] = "/opt";
    astring path[8]    = "";
    u32     size       = 4;
    EXPECT_NE(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    size = 5;
    EXPECT_EQ(SMGetPathByProductIDandType(34, 2, path, &size), 0);
    EXPECT_STREQ(path, "/opt");
    EXPECT_NE(SMGetPathByProductIDandType(34, 1, path, &size), 0);
}

TEST_F(Bench, KeepsDebugLinesByLevel)
{
    __SysDbgPrint3("%s: %d\n", "a", 1);
    EXPECT_TRUE(bmc.logged(bench::Level::error, "a: 1\n"));
    EXPECT_FALSE(bmc.logged(bench::Level::trace, "a: 1\n"));
}

TEST_F(Bench, WalkNoticesALeak)
{
    static void* leaked = nullptr;
    const auto   leaky  = [] {
        void* block = SMAllocMem(1);
        if (!block) return 9;
        if (platform().failsNow("second")) {
            leaked = block;
            return 1;
        }
        SMFreeMem(block);
        return 0;
    };
    EXPECT_NONFATAL_FAILURE(EXPECT_EQ(walkFailures([] {}, leaky), 2U), "blocks were not given back");
    SMFreeMem(leaked);
}

}  // namespace
