/** @file process.h  Child processes, and what the kernel knows about this one. */
#ifndef PROCESS_H
#define PROCESS_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

using Words = std::vector<std::string>;

/** A whole number on the command line. @throws std::invalid_argument */
unsigned long numberFrom(const char* word);

/** Starts @p program with @p words; it ends when this process does. @throws std::runtime_error */
pid_t start(const std::string& program, const Words& words, int standardOutput);

/** A program of the same build: beside this one. */
std::string sibling(const char* name);

/** What a measuring child found, by name. */
using Findings = std::map<std::string, double>;

/** Runs this program again with @p words and reads its "name value" lines. @throws when it fails */
Findings measureInChild(const Words& words);

/** Told by the child. */
void tell(const char* name, double value);

/** A line of /proc/self/status such as VmHWM, in KiB. */
double memoryKib(const char* name);

/** CPU time of this process so far, the kernel's part of it included. */
double cpuSeconds();

/** A directory of our own, removed with all it holds. */
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&)             = delete;
    ScratchDirectory&  operator=(const ScratchDirectory&) = delete;
    const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

}  // namespace bench

#endif
