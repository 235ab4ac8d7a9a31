/** @file PrivateHost.cpp  The mount namespace. */
#include "PrivateHost.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
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

/** An empty file system over @p directory. A checkout that lies below it stays. */
void mountSmall(const std::string& directory, const std::string& size)
{
    const Kept kept[] = {Kept(SOURCE_DIRECTORY), Kept(BUILD_DIRECTORY)};
    fs::create_directories(directory);
    must(::mount("none", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, ("mode=1777,size=" + size).c_str()) == 0,
         "mount " + directory);
    for (const Kept& place : kept) place.putBack();
}

/** A /dev with what this machine's has, and a log that is the test's. */
void makeDevices()
{
    const std::string real = std::string(kBench) + "/dev";
    fs::create_directories(real);
    bindMount("/dev", real, MS_REC);
    must(::mount("none", "/dev", "tmpfs", MS_NOSUID, "mode=755") == 0, "mount /dev");
    for (const auto& device : fs::directory_iterator(real))
        if (device.path().filename() != "log") fs::create_symlink(device.path(), "/dev" / device.path().filename());
    g_log = qvrf::Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address{AF_UNIX, "/dev/log"};
    must(::bind(g_log.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind /dev/log");
}

void build()
{
    must(::prctl(PR_SET_CHILD_SUBREAPER, 1) == 0, "no care for orphans");
    must(::unshare(CLONE_NEWNS) == 0, "no mount namespace");
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        // A plain chroot's root is no mount point: it is made one, and entered.
        bindMount("/", "/", MS_REC);
        must(::chroot("/..") == 0 && ::chdir("/") == 0, "no root to enter");
        must(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "no private mounts");
    }
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
    if (std::system("command -v gpg tar gzip >/dev/null") != 0) return "needs gpg, tar and gzip";
    try {
        if (::geteuid() == 0) build();
        return ::geteuid() == 0 ? "" : "needs root";
    } catch (const std::exception& e) {
        return e.what();
    }
}

}  // namespace

const std::string& enter()
{
    static const std::string reason = entered();
    return reason;
}

std::vector<std::string> systemLog()
{
    std::vector<std::string> lines;
    std::array<char, 8192>   text;
    for (ssize_t size; (size = ::recv(g_log.get(), text.data(), text.size(), 0)) > 0;)
        lines.emplace_back(text.data(), static_cast<std::size_t>(size));
    return lines;
}

}  // namespace privatehost
