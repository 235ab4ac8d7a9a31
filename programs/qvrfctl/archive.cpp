/** @file archive.cpp  Has the program tar make the archive. */
#include "archive.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "failure.h"

namespace qvrfctl {
namespace {

constexpr char kInside[] = "qvrfctl-report";  // the directory that the archive unpacks to

Failure cannotWrite(const std::string& path, int error)
{
    return Failure(kExitOutput, "cannot write " + path + ": " + std::strerror(error));
}

/** Runs tar on @p directory with its output to @p fd, whatever the caller's environment. @return its exit status */
int runTar(const std::string& directory, int fd)
{
    std::array<const char*, 7> words{"tar", "--create", "--gzip", "--directory", directory.c_str(), kInside, nullptr};
    std::array<const char*, 3> environment{"PATH=/usr/bin:/bin", "LC_ALL=C", nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, fd, STDOUT_FILENO);
    pid_t       tar    = -1;
    const char* place  = ::access("/usr/bin/tar", X_OK) == 0 ? "/usr/bin/tar" : "/bin/tar";
    const int   error  = ::posix_spawn(&tar, place, &actions, nullptr, const_cast<char**>(words.data()),
                                       const_cast<char**>(environment.data()));
    int         status = -1;
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw Failure(kExitOutput, std::string("cannot run tar: ") + std::strerror(error), "install tar");
    while (::waitpid(tar, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Archive::Archive(std::string file, Interrupts& interrupts)
    : file_(std::move(file)),
      out_(::open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)),
      interrupts_(interrupts)
{
    if (!out_) throw cannotWrite(file_, errno);
    const auto turn = interrupts_.hold();
    try {
        makeDirectory();
        interrupts_.onInterruptStop([this] { remove(); });
    } catch (...) {
        remove();
        throw;
    }
}

Archive::~Archive()
{
    const auto turn = interrupts_.hold();
    interrupts_.onInterruptStop({});
    remove();
}

void Archive::makeDirectory()
{
    std::string made = std::filesystem::temp_directory_path() / "qvrfctl.XXXXXX";
    if (::mkdtemp(made.data()) == nullptr) throw cannotWrite(made, errno);
    directory_               = made;
    const std::string inside = directory_ + '/' + kInside;
    if (::mkdir(inside.c_str(), S_IRWXU) != 0) throw cannotWrite(inside, errno);
}

void Archive::remove() noexcept
{
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
    if (!finished_) ::unlink(file_.c_str());
}

void Archive::add(const std::string& name, const std::string& text)
{
    const std::string path = directory_ + '/' + kInside + '/' + name;
    std::ofstream     out(path, std::ios::binary);
    if (!(out << text << std::flush)) throw cannotWrite(path, errno);
}

void Archive::finish()
{
    if (const int status = runTar(directory_, out_.get()); status != 0)
        throw Failure(kExitOutput, "tar could not make " + file_ + " (exit status " + std::to_string(status) + ')',
                      "see that the disk is not full and that tar and gzip are installed");
    finished_ = true;
}

}  // namespace qvrfctl
