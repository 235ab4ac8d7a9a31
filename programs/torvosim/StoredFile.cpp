/** @file StoredFile.cpp  A file that a client sends. */
#include "StoredFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>

#include "Bmc.h"

namespace torvosim {

StoredFile::StoredFile(Bmc& bmc) : digest_(EVP_MD_CTX_new())
{
    const std::string directory = bmc.stateDir + "/uploads";
    ::mkdir(directory.c_str(), 0700);
    path_   = directory + "/upload-" + std::to_string(++bmc.stats.uploads);
    file_   = Descriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    isGood_ = file_ && digest_ && EVP_DigestInit_ex(digest_.get(), EVP_sha256(), nullptr) == 1;
}

StoredFile::~StoredFile()
{
    if (!isKept_) ::unlink(path_.c_str());
}

void StoredFile::write(std::string_view data)
{
    if (!isGood_) return;
    EVP_DigestUpdate(digest_.get(), data.data(), data.size());
    size_ += data.size();
    while (!data.empty()) {
        const ssize_t written = ::write(file_.get(), data.data(), data.size());
        if (written < 0 && errno == EINTR) continue;
        isGood_ = written > 0;
        if (!isGood_) return;
        data.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string StoredFile::digest()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned                                   size = 0;
    EVP_DigestFinal_ex(digest_.get(), digest.data(), &size);
    std::string hex;
    for (unsigned i = 0; i < size; ++i) hex += hexText({digest[i]});
    return hex;
}

}  // namespace torvosim
