/** @file main.cpp  One configuration for the whole process: the platform reads its settings once. */
#include <gmock/gmock.h>

#include <cstdlib>

#include "environment.h"

const Scratch& environment()
{
    static const Scratch scratch;
    return scratch;
}

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    const Scratch&    scratch = environment();
    const std::string config  = scratch.write("platform.cfg",
                                              "suptlib.installpath=/opt/agent\r\n"
                                               "hipm.endpoint=unix:" +
                                                  (scratch / "bmc") +
                                                  "\n"
                                                   "secure.tokenkey=" +
                                                  (scratch / "token.key"));
    ::setenv("QVPLATFORM_CONFIG", config.c_str(), 1);
    return RUN_ALL_TESTS();
}
