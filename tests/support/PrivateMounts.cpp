/** @file PrivateMounts.cpp  The mount namespace. */
#include "PrivateMounts.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "owners.h"

namespace privatemounts {
namespace {

namespace fs = std::filesystem;

/** A directory that stays where it is when another file system comes to lie over it. */
class Kept {
public:
    explicit Kept(std::string path) : path_(std::move(path)), fd_(::open(path_.c_str(), O_PATH | O_CLOEXEC)) {}
    void putBack() const
    {
        if (fs::exists(path_)) return;  // it was not covered
        fs::create_directories(path_);
        bind("/proc/self/fd/" + std::to_string(fd_.get()), path_, MS_REC);
    }

private:
    std::string      path_;
    qvrf::Descriptor fd_;
};

bool makePrivate()
{
    return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

void must(bool done, const std::string& what)
{
    if (!done) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void bind(const std::string& from, const std::string& to, unsigned long flags)
{
    must(::mount(from.c_str(), to.c_str(), nullptr, MS_BIND | flags, nullptr) == 0, "bind " + to);
}

void enter(int more)
{
    must(::unshare(CLONE_NEWNS | more) == 0, "no namespaces");
    if (makePrivate()) return;
    // A plain chroot's root is no mount point: it is made one, and entered.
    bind("/", "/", MS_REC);
    must(::chroot("/..") == 0 && ::chdir("/") == 0, "no root to enter");
    must(makePrivate(), "no private mounts");
}

void empty(const std::string& directory, const std::string& options)
{
    const Kept        kept[] = {Kept(SOURCE_DIRECTORY), Kept(BUILD_DIRECTORY)};
    const std::string here   = fs::current_path();
    fs::create_directories(directory);
    must(::mount("none", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0, "mount " + directory);
    for (const Kept& place : kept) place.putBack();
    std::error_code gone;
    fs::current_path(here, gone);  // the one that names lead to now
}

}  // namespace privatemounts
