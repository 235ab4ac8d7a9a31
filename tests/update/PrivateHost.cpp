/** @file PrivateHost.cpp  The mount namespace. */
#include "PrivateHost.h"

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "PrivateMounts.h"
#include "owners.h"

namespace privatehost {
namespace {

namespace fs = std::filesystem;
using privatemounts::must;

qvrf::Descriptor g_log;

/** A /dev with what this machine's has, and a log that is the test's. */
void makeDevices()
{
    const std::string real = std::string(kBench) + "/dev";
    fs::create_directories(real);
    privatemounts::bind("/dev", real, MS_REC);
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
    privatemounts::enter();
    privatemounts::empty("/tmp", "mode=1777,size=64m");
    privatemounts::empty("/opt", "mode=1777,size=256m");
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
