/**
 * @file debugprint_probe.cpp  Prints debug lines through the library; fails when a line is refused or errno changes.
 * With an argument it forks while another thread prints: every child must still be able to print.
 */
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

#include "smsupport.h"

namespace {

bool printsLines()
{
    const std::string tail(5000, 'x');
    errno = 77;
    return __SysDbgPrint3("error %s %d\n", "line", 1) == 0 && __SysDbgPrint4("trace line %d\n\n", 2) == 0 &&
           __SysDbgPrint4("%s|end 3", tail.c_str()) == 0 && errno == 77;
}

bool childrenPrint()
{
    std::atomic<bool> stop{false};
    std::thread       busy([&stop] {
        while (!stop) __SysDbgPrint3("busy\n");
    });
    bool              good = true;
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

}  // namespace

int main(int argc, char**)
{
    std::atexit([] { __SysDbgPrint3("line %d at exit\n", 4); });
    return printsLines() && (argc == 1 || childrenPrint()) ? 0 : 1;
}
