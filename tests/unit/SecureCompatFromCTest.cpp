/** @file SecureCompatFromCTest.cpp  C linkage: the calls come from a file compiled as C. */
#include <gtest/gtest.h>

extern "C" int secureCompatFromC(void);

TEST(SecureCompat, ServesC)
{
    EXPECT_EQ(secureCompatFromC(), 0);
}
