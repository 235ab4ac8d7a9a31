/** @file main.cpp  One configuration for the whole process: the platform reads its settings once. With an argument of
 * its own it is another process, which prints debug lines through the library. */
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "scratch.h"
#include "smsupport.h"

const Scratch& environment()
{
    static const Scratch scratch;
    return scratch;
}

namespace {

/** While another thread prints: no child may inherit a log that is held. */
bool childrenPrint()
{
    std::atomic<bool> stop{false}, good{true};
    std::thread       busy([&stop] {
        while (!stop) __SysDbgPrint3("busy\n");
    });
    for (int child = 0; child < 100 && good; ++child) {
        const pid_t pid = ::fork();
        if (pid == 0) ::_exit(__SysDbgPrint3("child\n") == 0 ? 0 : 1);
        int status = -1;
        good       = pid > 0 && ::waitpid(pid, &status, 0) == pid && status == 0;
    }
    stop = true;
    busy.join();
    return good;
}

int printLines(bool forking)
{
    std::atexit([] { __SysDbgPrint3("line %d at exit\n", 4); });
    const std::string tail(5000, 'x');
    errno              = 77;
    const bool printed = __SysDbgPrint3("error %s %d\n", "line", 1) == 0 &&
                         __SysDbgPrint4("trace line %d\n\n", 2) == 0 && __SysDbgPrint4("%s-end 3", tail.c_str()) == 0 &&
                         errno == 77;
    return printed && (!forking || childrenPrint()) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc == 2 ? argv[1] : "";
    if (mode == "print" || mode == "fork") return printLines(mode == "fork");
    testing::InitGoogleMock(&argc, argv);
    const Scratch& scratch = environment();
    ::setenv("QVPLATFORM_CONFIG",
             scratch
                 .write("platform.cfg", "suptlib.installpath=/opt/agent\r\nhipm.endpoint=unix:" + (scratch / "bmc") +
                                            "\nsecure.tokenkey=" + (scratch / "token.key"))
                 .c_str(),
             1);
    return RUN_ALL_TESTS();
}
