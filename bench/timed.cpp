/**
 * @file timed.cpp  bench_timed PROGRAM [WORD...]: runs it and tells time and memory of the whole process.
 *
 * The kernel counts for a process the memory of whoever forked it, too; that is this program, which has next to none.
 */
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

static double milliseconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

static double milliseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

int main(int argc, char** argv)
{
    if (argc < 2) return 2;
    const double start = milliseconds();
    const pid_t  child = ::fork();
    if (child == 0) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere >= 0 && ::dup2(nowhere, STDOUT_FILENO) >= 0) ::execvp(argv[1], argv + 1);
        std::perror(argv[1]);
        ::_exit(127);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) return 1;
    const double spent = milliseconds() - start;
    rusage       used{};
    ::getrusage(RUSAGE_CHILDREN, &used);
    std::printf("ms %.6f\ncpuMs %.6f\npeakMib %.6f\n", spent, milliseconds(used.ru_utime) + milliseconds(used.ru_stime),
                static_cast<double>(used.ru_maxrss) / 1024);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}
