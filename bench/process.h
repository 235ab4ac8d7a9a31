/** @file process.h  Child processes, and what the kernel knows about this one. */
#ifndef PROCESS_H
#define PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "figures.h"

namespace bench {

using Words = std::vector<std::string>;

/** Starts @p command, a program and its words; it ends when this process does. @throws std::runtime_error */
pid_t start(const Words& command, int standardOutput);

/** This program, and one of the same build: beside this one. */
std::string self();
std::string sibling(const char* name);

/** Runs @p command and reads its "name value" lines. @throws std::runtime_error when it fails */
Figures findingsOf(const Words& command);

/** A line of such a command. */
void tell(const char* name, double value);

/** A line of /proc/self/status such as VmHWM, in KiB. */
double memoryKib(const char* name);

/** CPU time of this process so far, the kernel's part of it included. */
double cpuSeconds();

/** A directory of our own, removed with all it holds. */
class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& parent = {});
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&)             = delete;
    ScratchDirectory&  operator=(const ScratchDirectory&) = delete;
    const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

}  // namespace bench

#endif
