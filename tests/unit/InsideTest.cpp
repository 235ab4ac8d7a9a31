/** @file InsideTest.cpp  What no exported operation shows: texts without a NUL, a child's view of the renewal. */
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "oxarfutilHelperLx.h"
#include "qvrfutilLXSession.h"
#include "qvrfutilSession.h"
#include "smsupport.h"

namespace {

TEST(Inside, FieldsTakeTextsThatFillTheirMemory)
{
    const astring                             full[]  = {'a', 'b', 'c', 'd'};
    const std::pair<std::size_t, const char*> rooms[] = {{2, "ab"}, {4, "abcd"}};
    for (const auto& [room, expected] : rooms) {
        astring field[6] = "stale";
        qvrf::assign(field, full, room);
        EXPECT_STREQ(field, expected);
    }
}

TEST(Inside, LoginHeadersAreReadNoFurtherThanTheirText)
{
    const std::pair<std::string, std::string> headers[] = {
        {"X-Auth-Token: ab", "ab"},
        {"X-Auth-Token: " + std::string(32, 't') + "\r\nLocation: /s/1", std::string(32, 't')}};
    for (auto [header, expected] : headers) {
        astring *token = nullptr, *id = nullptr;
        EXPECT_EQ(qvrf::GetTokenSSID(header.data(), &token, &id), -1);
        EXPECT_EQ(token, expected);
        SMFreeMem(token);
        SMFreeMem(id);
    }
}

TEST(Inside, AForkedChildDoesNotWaitForTheParentsRenewal)
{
    QVRFUTILInit(FALSE);
    ASSERT_EQ(qvrf::QVRFUTILAcquireSessionCreationLock(qvrf::kRequestTexts), qvrf::Claim::ours);
    const pid_t child = fork();
    if (child == 0) _exit(g_isRedfishSessionRequested ? 1 : 0);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(g_isRedfishSessionRequested);
    QVRFUTILCleanUp();
}

}  // namespace
