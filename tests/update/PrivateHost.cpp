/** @file PrivateHost.cpp  The mount namespace. */
#include "PrivateHost.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "owners.h"

namespace privatehost {
namespace {

namespace fs = std::filesystem;

qvrf::Descriptor g_log;

void must(bool done, const std::string& what)
{
    if (!done) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void bindMount(const std::string& from, const std::string& to, unsigned long flags = 0)
{
    must(::mount(from.c_str(), to.c_str(), nullptr, MS_BIND | flags, nullptr) == 0, "bind " + to);
}

void touch(const std::string& file)
{
    std::ofstream(file, std::ios::app).flush();
}

/** A directory that stays where it is when another file system comes to lie over it. */
class Kept {
public:
    explicit Kept(std::string path) : path_(std::move(path)), fd_(::open(path_.c_str(), O_PATH | O_CLOEXEC)) {}
    void putBack() const
    {
        if (fs::exists(path_)) return;  // it was not covered
        fs::create_directories(path_);
        bindMount("/proc/self/fd/" + std::to_string(fd_.get()), path_, MS_REC);
    }

private:
    std::string      path_;
    qvrf::Descriptor fd_;
};

/** A /dev with the devices that programs expect, and a log that is the test's. */
void makeDevices()
{
    const std::string dev = std::string(kBench) + "/dev";
    fs::create_directories(dev + "/shm");
    for (const char* name : {"null", "zero", "full", "random", "urandom", "tty"}) {
        if (!fs::exists(std::string("/dev/") + name)) continue;
        touch(dev + '/' + name);
        bindMount(std::string("/dev/") + name, dev + '/' + name);
    }
    fs::create_directory(dev + "/pts");
    must(::mount("none", (dev + "/pts").c_str(), "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666") == 0,
         "mount /dev/pts");
    fs::create_symlink("pts/ptmx", dev + "/ptmx");
    fs::create_symlink("/proc/self/fd", dev + "/fd");
    bindMount(dev, "/dev", MS_REC);

    g_log = qvrf::Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    must(::bind(g_log.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind /dev/log");
}

void build()
{
    must(::prctl(PR_SET_CHILD_SUBREAPER, 1) == 0, "no care for orphans");
    must(::unshare(CLONE_NEWNS) == 0, "no mount namespace");
    must(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "no private mounts");
    mountSmall("/tmp", "64m");
    mountSmall("/opt", "256m");
    fs::create_directories(kBench);
    fs::create_directories("/opt/zelmar/kappel");
    makeDevices();
    ::setenv("TMPDIR", kBench, 1);
    ::setenv("HOME", kBench, 1);  // GnuPG's, and on some systems the package database's
    fs::current_path(kBench);
}

std::string entered()
{
    if (::geteuid() != 0) return "needs root";
    for (const char* command : {"gpg", "tar", "gzip"})
        if (std::system((std::string("command -v ") + command + " >/dev/null").c_str()) != 0)
            return std::string("needs the command ") + command;
    try {
        build();
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

}  // namespace

const std::string& enter()
{
    static const std::string reason = entered();
    return reason;
}

void mountSmall(const std::string& directory, const std::string& size)
{
    const Kept kept[] = {Kept(SOURCE_DIRECTORY), Kept(BUILD_DIRECTORY)};  // a checkout may lie below it
    fs::create_directories(directory);
    must(::mount("none", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, ("mode=1777,size=" + size).c_str()) == 0,
         "mount " + directory);
    for (const Kept& place : kept) place.putBack();
}

void placeProgram(const std::string& program, const std::string& file)
{
    fs::create_directories(fs::path(file).parent_path());
    touch(file);
    bindMount(program, file);
}

void awaitProcesses() noexcept
{
    while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR) continue;
}

std::vector<std::string> systemLog()
{
    std::vector<std::string> lines;
    std::array<char, 8192>   text;
    for (ssize_t size; (size = ::recv(g_log.get(), text.data(), text.size(), 0)) > 0;) {
        const std::string line(text.data(), static_cast<std::size_t>(size));
        const auto        time = std::string("<30>Jan  1 00:00:00 ").size();
        lines.push_back(line.size() > time ? line.substr(time) : line);
    }
    return lines;
}

}  // namespace privatehost
