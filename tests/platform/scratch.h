/** @file scratch.h  A directory that a test may fill and that is gone after it. */
#ifndef SCRATCH_H
#define SCRATCH_H

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Cases.h"

using cases::casesOf;
using cases::Row;

class Scratch {
public:
    Scratch()
    {
        path_ = (std::filesystem::temp_directory_path() / "qvplatform-XXXXXX").string();
        if (::mkdtemp(path_.data()) == nullptr) std::abort();
    }
    ~Scratch() { std::filesystem::remove_all(path_); }
    Scratch(Scratch&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    /** For its owner alone, as keys must be. */
    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(*this / name, std::ios::binary) << text;
        ::chmod((*this / name).c_str(), 0600);
        return *this / name;
    }
    /** Runs a command line in the directory. @return whether it succeeded */
    bool run(const std::string& command) const { return std::system(("cd " + path_ + " && " + command).c_str()) == 0; }

private:
    std::string path_;
};

inline std::string contentOf(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

inline unsigned modeOf(const std::string& file)
{
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
}

/** The settings of this process name files in here: "bmc" is the BMC's socket, "token.key" the shared key. */
const Scratch& environment();

#endif
