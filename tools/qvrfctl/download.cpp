/** @file download.cpp  Makes, keeps and removes the file of a download. */
#include "download.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "failure.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kMostContent = 64u * 1024;

Failure cannotWrite(const std::string& path, int error)
{
    return Failure(kExitOutput, "cannot write " + path + ": " + std::strerror(error));
}

mode_t usualMode() noexcept
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

Download::Download(std::string wanted, Interrupts& interrupts)
    : wanted_(std::move(wanted)), path_(wanted_), interrupts_(interrupts)
{
    struct stat status {};
    const bool  exists = ::stat(wanted_.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) throw cannotWrite(wanted_, EISDIR);
    direct_ = exists && !S_ISREG(status.st_mode);
    if (direct_) return;
    if (exists && ::access(wanted_.c_str(), W_OK) != 0) throw cannotWrite(wanted_, errno);

    const auto turn = interrupts_.hold();
    path_ += ".XXXXXX";
    const int fd = ::mkstemp(path_.data());
    if (fd < 0) {
        const int error = errno;
        path_.clear();
        throw cannotWrite(wanted_, error);
    }
    ::fchmod(fd, exists ? status.st_mode & 07777 : usualMode());
    ::close(fd);
    interrupts_.onInterruptRemove(path_);
}

Download::~Download()
{
    if (direct_ || path_.empty()) return;
    const auto turn = interrupts_.hold();
    ::unlink(path_.c_str());
    interrupts_.onInterruptRemove({});
}

std::string Download::content() const
{
    std::string   text(kMostContent, '\0');
    std::ifstream file(direct_ ? std::string() : path_, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

void Download::keep()
{
    if (direct_) return;
    const auto turn = interrupts_.hold();
    if (::rename(path_.c_str(), wanted_.c_str()) != 0) throw cannotWrite(wanted_, errno);
    path_.clear();
    interrupts_.onInterruptRemove({});
}

}  // namespace qvrfctl
