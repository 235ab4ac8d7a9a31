/** @file StoredFile.h  A file that a client sends: kept in the state directory, with its length and digest. */
#ifndef TORVOSIM_STOREDFILE_H
#define TORVOSIM_STOREDFILE_H

#include <openssl/evp.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "Support.h"
#include "TlsSocket.h"

namespace torvosim {

struct Bmc;

/** Removed again unless it is kept. */
class StoredFile {
public:
    explicit StoredFile(Bmc& bmc);
    ~StoredFile();
    StoredFile(const StoredFile&)            = delete;
    StoredFile& operator=(const StoredFile&) = delete;

    void               write(std::string_view data);
    bool               isGood() const noexcept { return isGood_; }
    std::uint64_t      size() const noexcept { return size_; }
    const std::string& path() const noexcept { return path_; }
    /** SHA-256 of all that was written, in hexadecimal. Once. */
    std::string digest();
    void        keep() noexcept { isKept_ = true; }

private:
    std::string                                               path_;
    Descriptor                                                file_;
    std::unique_ptr<EVP_MD_CTX, ReleasedBy<&EVP_MD_CTX_free>> digest_;
    std::uint64_t                                             size_   = 0;
    bool                                                      isGood_ = false;
    bool                                                      isKept_ = false;
};

}  // namespace torvosim

#endif
