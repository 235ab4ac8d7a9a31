/** @file downloaddirectory.cpp  From the root to the directory, one descriptor after the other. */
#include "downloaddirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "safeplaces.h"

namespace qvoxasync {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kUsualMode = 0755;  // less what the umask takes

Failure unsafe(const std::string& why)
{
    return Failure(kExitUnsafe, why, "download to a directory of root's, or as that user");
}

Failure cannotMake(const std::string& place, int error)
{
    return Failure(kExitFailed, "the directory " + place + " cannot be made: " + std::strerror(error),
                   "give another directory");
}

/** With the dot a directory, not a link to one. */
std::string pathOf(int directory)
{
    return "/proc/self/fd/" + std::to_string(directory) + "/.";
}

mode_t umaskOfProcess() noexcept
{
    const mode_t mask = ::umask(077);
    ::umask(mask);
    return mask;
}

}  // namespace

DownloadDirectory::DownloadDirectory(const std::string& named, bool isChecked) : DownloadDirectory(named)
{
    isChecked_ = isChecked;
    std::error_code error;
    const fs::path  whole = fs::weakly_canonical(fs::absolute(named, error), error);
    if (error) throw cannotMake(named, error.value());
    enter(AT_FDCWD, "/", "/");
    fs::path place = "/";
    for (const fs::path& part : whole.relative_path()) {
        if (part.empty()) continue;  // behind a '/' at the end
        place /= part;
        enter(directory_, part.string(), place.string());
    }
    struct stat status {};
    ::fstat(directory_, &status);
    if (const std::string why = isChecked_ ? whyUnsafe(status, place.string(), false) : ""; !why.empty())
        throw unsafe(why);
    path_ = pathOf(directory_);
}

/** No link is followed: those that the path has were resolved before, and another one was put there since. */
void DownloadDirectory::enter(int above, const std::string& name, const std::string& whole)
{
    const bool isMade = ::mkdirat(above, name.c_str(), S_IRWXU) == 0;
    if (!isMade && errno != EEXIST && errno != EROFS) throw cannotMake(whole, errno);
    qvtools::Descriptor opened(::openat(above, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const int           entered = opened.get();
    if (!opened)
        throw errno == ELOOP || errno == ENOTDIR ? unsafe(whole + " is no directory") : cannotMake(whole, errno);
    open_.push_back(std::move(opened));
    directory_ = entered;
    if (isMade) made_.push_back({above, name, entered});
    struct stat status {};
    ::fstat(entered, &status);
    if (const std::string why = isChecked_ ? whyUnsafe(status, whole, true) : ""; !why.empty()) throw unsafe(why);
}

DownloadDirectory::~DownloadDirectory()
{
    for (auto made = made_.rbegin(); made != made_.rend(); ++made)
        if (::unlinkat(made->above, made->name.c_str(), AT_REMOVEDIR) != 0)
            ::chmod(pathOf(made->self).c_str(), kUsualMode & ~umaskOfProcess());
}

std::string DownloadDirectory::inUsersWords(std::string text) const
{
    for (auto at = text.find(path_); at != text.npos; at = text.find(path_, at + named_.size()))
        text.replace(at, path_.size(), named_);
    return text;
}

}  // namespace qvoxasync
