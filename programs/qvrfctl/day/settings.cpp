/** @file settings.cpp  Reads ~/.config/qvrfctl. */
#include "settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include "../options.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kMostBytes = 64 * 1024;

std::string fileName()
{
    const char* const place = std::getenv("XDG_CONFIG_HOME");
    if (place != nullptr && *place == '/') return std::string(place) + "/qvrfctl";
    const char* const home = std::getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.config/qvrfctl" : std::string();
}

/** What is opened is what is judged. @return empty without a file, or where it is another user's, which is noted */
std::string trustedText(const std::string& name, std::string& note)
{
    const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0 && (errno == ENOENT || errno == ENOTDIR)) return {};
    if (fd < 0 && errno == EACCES) {  // with HOME of another user: nobody's fault, and no reason to stop
        note = name + " cannot be read, and is left out";
        return {};
    }
    if (fd < 0) throw wrongUsage("cannot read " + name + ": " + std::strerror(errno));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(::fdopen(fd, "r"), std::fclose);
    struct stat                                           about {};
    if (!file || ::fstat(fd, &about) != 0) throw wrongUsage("cannot read " + name + ": " + std::strerror(errno));
    if (about.st_uid != ::geteuid()) {  // with sudo -E: the caller's file is not root's
        note = name + " is another user's, and left out";
        return {};
    }
    if (!S_ISREG(about.st_mode)) throw wrongUsage(name + " is not a file");
    if ((about.st_mode & 022) != 0)
        throw wrongUsage(name + " may be written by others, and could lead a login elsewhere", "chmod go-w " + name);
    std::string text(kMostBytes, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return text;
}

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t\r");
    return first == text.npos ? std::string() : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

bool isOneOf(const std::string& value, const std::vector<std::string>& values)
{
    for (const std::string& each : values)
        if (each == value) return true;
    return false;
}

struct Setting {
    const char* name;
    /** @return false: not a value that it can have */
    bool (*take)(Options& options, const std::string& value);
};
constexpr Setting kSettings[] = {
    {"address", [](Options& options, const std::string& value) { return !(options.address = value).empty(); }},
    {"port", [](Options& options, const std::string& value) { return !(options.port = value).empty(); }},
    {"generation",
     [](Options& options, const std::string& value) {
         options.generation = value;
         return isOneOf(value, {"auto", "new", "old"});
     }},
    {"user", [](Options& options, const std::string& value) { return !(options.user = value).empty(); }},
    {"privilege",
     [](Options& options, const std::string& value) {
         options.privilege = value;
         return isOneOf(value, privileges());
     }},
    {"system", [](Options& options, const std::string& value) { return !(options.system = value).empty(); }},
    {"timeout",
     [](Options& options, const std::string& value) {
         options.timeout = value.size() < 8 && value.find_first_not_of("0123456789") == value.npos
                               ? static_cast<unsigned>(std::strtoul(value.c_str(), nullptr, 10))
                               : 0;
         return options.timeout != 0;
     }},
};

void takeLine(Options& options, const std::string& line, const std::string& where)
{
    const auto        equals = line.find('=');
    const std::string name   = trimmed(line.substr(0, equals));
    if (equals == line.npos) throw wrongUsage(where + ": not a line of name=value: " + line);
    const std::string value = trimmed(line.substr(equals + 1));
    for (const Setting& setting : kSettings) {
        if (setting.name != name) continue;
        if (!setting.take(options, value)) throw wrongUsage(where + ": " + name + " cannot be '" + value + '\'');
        return;
    }
    throw wrongUsage(where + ": unknown name '" + name + '\'',
                     "it takes address, port, generation, user, privilege, system and timeout");
}

}  // namespace

std::string readSettings(Options& options)
{
    const std::string name = fileName();
    std::string       note, line;
    if (name.empty()) return note;
    std::istringstream text(trustedText(name, note));
    for (int number = 1; std::getline(text, line); ++number) {
        const std::string plain = trimmed(line);
        if (!plain.empty() && plain.front() != '#') takeLine(options, plain, name + " line " + std::to_string(number));
    }
    return note;
}

}  // namespace qvrfctl
