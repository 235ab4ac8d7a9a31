/** @file process.cpp  Child processes, and what the kernel knows about this one. */
#include "process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "owners.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

std::string readAll(int fd)
{
    std::string text;
    char        piece[4096];
    for (ssize_t got = ::read(fd, piece, sizeof piece); got > 0; got = ::read(fd, piece, sizeof piece))
        text.append(piece, static_cast<std::size_t>(got));
    return text;
}

}  // namespace

pid_t start(const Words& command, int standardOutput)
{
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t child  = ::fork();
    if (child < 0) throw std::runtime_error("no process for " + command[0]);
    if (child > 0) return child;
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent || ::dup2(standardOutput, STDOUT_FILENO) < 0) ::_exit(127);
    ::execvp(arguments[0], arguments.data());
    std::perror(arguments[0]);
    ::_exit(127);
}

std::string self()
{
    return fs::read_symlink("/proc/self/exe").string();
}

std::string sibling(const char* name)
{
    return (fs::path(self()).parent_path() / name).string();
}

Figures findingsOf(const Words& command)
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const qvrf::Descriptor readEnd(ends[0]);
    pid_t                  child = -1;
    {
        const qvrf::Descriptor writeEnd(ends[1]);
        child = start(command, writeEnd.get());
    }
    std::istringstream lines(readAll(readEnd.get()));
    int                status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(command[0] + " failed");
    Figures     found;
    std::string name;
    double      value = 0;
    while (lines >> name >> value) found[name] = value;
    return found;
}

void tell(const char* name, double value)
{
    std::printf("%s %.9g\n", name, value);
}

double memoryKib(const char* name)
{
    std::ifstream     status("/proc/self/status");
    const std::string wanted = std::string(name) + ':';
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, wanted.size(), wanted) == 0) return std::strtod(line.c_str() + wanted.size(), nullptr);
    throw std::runtime_error(std::string("/proc/self/status has no ") + name);
}

double cpuSeconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

ScratchDirectory::ScratchDirectory(const std::string& parent)
    : path_(((parent.empty() ? fs::temp_directory_path() : fs::path(parent)) / "qvrfbench.XXXXXX").string())
{
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no directory " + path_);
}

ScratchDirectory::~ScratchDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

}  // namespace bench
