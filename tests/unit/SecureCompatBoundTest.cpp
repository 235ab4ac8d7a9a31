/** @file SecureCompatBoundTest.cpp  A program whose functions of these names do something else, as some library in the
 * agent's process may: the library goes on with its own. The platform's it takes from whoever comes first. */
#include <gtest/gtest.h>

#include <cstdarg>

#include "osprivlege.h"
#include "qvrfutil.h"

static int g_wrong = 0, g_lines = 0;

// Declared by hand: the header's declarations would be those of the real ones.
// clang-format off
#define WRONG(name) extern "C" int name(...) { return ++g_wrong; }
WRONG(strcpy_s) WRONG(strncpy_s) WRONG(strcat_s) WRONG(strncat_s) WRONG(OXAmemset_s) WRONG(OXAmemcpy_s)
WRONG(sprintf_s) WRONG(_snprintf_s) WRONG(getenv_s) WRONG(strcmpcase_s) WRONG(OXAstrNonDigitCheck)
    // clang-format on

    extern "C" s32 __SysDbgPrint4(const astring*, ...)
{
    return g_lines++, 0;
}

extern "C" s32 QVRFUTILOSGETRequest(const astring*, astring**, u32, u32*, u16*, booln, astring**, astring*)
{
    return 4711;
}

TEST(SecureCompat, IsBoundInsideAndThePlatformIsNot)
{
    char address[] = "192.0.2.7", port[] = "4433", interfaceName[] = "nosuch0";
    QVRFUTILSetIPAddress(address, port, FALSE);
    EXPECT_STREQ(g_RedfishSession.IPAddress, address);
    EXPECT_STREQ(g_RedfishSession.Port, port);
    EXPECT_EQ(SetIFFlags(interfaceName, 1, 2), -1);
    EXPECT_EQ(g_wrong, 0);
    EXPECT_GT(g_lines, 0);
}

TEST(Requests, GoByTheExportedOperationOfTheirMethod)
{
    astring* body   = nullptr;
    u32      length = 0;
    u16      http   = 0;
    EXPECT_EQ(QVRFUTILSendRequest("/x", nullptr, &body, 0, &length, QVRFUTIL_REQUEST_GET, &http, 0, nullptr, nullptr),
              4711);
}
