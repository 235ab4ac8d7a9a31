/** @file platformfile.cpp  Finds and reads the configuration. */
#include "platformfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace qvrfctl {
namespace {

constexpr char kHere[]      = "./.qvoxareg.cfg";
constexpr char kInstalled[] = "/opt/zelmar/kappel/Oxa/etc/qvoxareg.cfg";

std::string chosenPath()
{
    const char* const named = std::getenv("QVPLATFORM_CONFIG");
    if (named != nullptr && *named != '\0') return named;
    for (const char* path : {kHere, kInstalled})
        if (::access(path, F_OK) == 0) return path;
    return {};
}

std::string problemOf(const std::string& path)
{
    struct stat about {};
    if (::stat(path.c_str(), &about) != 0) return std::strerror(errno);
    if (S_ISDIR(about.st_mode)) return "it is a directory";
    if (::access(path.c_str(), R_OK) != 0) return std::strerror(errno);
    return (about.st_mode & S_IWOTH) != 0 && !S_ISCHR(about.st_mode) ? "other users can write it" : "";
}

std::string trimmed(const std::string& text)
{
    constexpr char blanks[] = " \t\r";
    const auto     first    = text.find_first_not_of(blanks);
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

std::string PlatformFile::value(const std::string& key, const std::string& otherwise) const
{
    const auto found = values.find(key);
    return found != values.end() ? found->second : otherwise;
}

PlatformFile readPlatformFile()
{
    PlatformFile file;
    file.path = chosenPath();
    if (file.path.empty() || !(file.problem = problemOf(file.path)).empty()) return file;
    std::ifstream in(file.path);
    file.text.assign(std::istreambuf_iterator<char>(in), {});
    std::istringstream lines(file.text);
    for (std::string line; std::getline(lines, line);)
        if (const auto equals = line.find('='); equals != line.npos)
            file.values[trimmed(line.substr(0, equals))] = trimmed(line.substr(equals + 1));
    return file;
}

}  // namespace qvrfctl
