/** @file Upload.cpp  The multipart upload. */
#include "Upload.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <nlohmann/json.hpp>

#include "MultipartReader.h"
#include "TlsSocket.h"

namespace torvosim {

namespace {

using Json   = nlohmann::json;
using Digest = std::unique_ptr<EVP_MD_CTX, ReleasedBy<&EVP_MD_CTX_free>>;

constexpr std::size_t kMostMetadata = 1024 * 1024;

/** Checks the form while it arrives and writes its file part down. */
class UploadForm final : public MultipartReader::Listener {
public:
    explicit UploadForm(std::string path) : path_(std::move(path)), digest_(EVP_MD_CTX_new())
    {
        if (!digest_ || EVP_DigestInit_ex(digest_.get(), EVP_sha256(), nullptr) != 1) fail("SHA-256 is not available");
    }

    void partBegins(const Headers& headers) override
    {
        const std::string_view disposition = headerValue(headers, "Content-Disposition");
        const std::string      name        = dispositionParameter(disposition, "name");
        const char*            expected    = part_ == 0 ? "metadata" : "LogZip";
        if (part_ > 1) return fail("the form has more than the two parts metadata and LogZip");
        if (name != expected) return fail("part " + std::to_string(part_ + 1) + " is '" + name + "', not " + expected);
        if (part_ == 0 && !startsWith(headerValue(headers, "Content-Type"), "application/json"))
            return fail("the metadata part is not application/json");
        if (part_ == 1) openFile(dispositionParameter(disposition, "filename"));
    }
    void partData(std::string_view data) override
    {
        if (!problem_.empty()) return;
        if (part_ == 0) {
            if (metadataText_.size() + data.size() > kMostMetadata) return fail("the metadata is too long");
            metadataText_ += data;
            return;
        }
        store(data);
    }
    void partEnds() override
    {
        if (problem_.empty() && part_ == 0) {
            metadata_ = Json::parse(metadataText_, nullptr, false);
            if (metadata_.is_discarded()) fail("the metadata is not JSON");
        }
        ++part_;
    }

    void fail(const std::string& problem)
    {
        if (problem_.empty()) problem_ = problem;
    }
    const std::string& problem()
    {
        if (part_ < 2) fail("the form lacks one of its parts metadata and LogZip");
        return problem_;
    }
    std::string answer()
    {
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
        unsigned                                   size = 0;
        EVP_DigestFinal_ex(digest_.get(), digest.data(), &size);
        std::string hex;
        for (unsigned i = 0; i < size; ++i) hex += hexText({digest[i]});
        return Json{{"Name", "Upload"},      {"Size", size_},         {"SHA256", hex},
                    {"FileName", fileName_}, {"Metadata", metadata_}, {"StoredAs", path_}}
            .dump();
    }

private:
    void openFile(const std::string& name)
    {
        if (name.empty()) return fail("the LogZip part names no file");
        fileName_ = name;
        file_     = Descriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file_) fail("the file cannot be stored");
    }
    void store(std::string_view data)
    {
        EVP_DigestUpdate(digest_.get(), data.data(), data.size());
        size_ += data.size();
        while (!data.empty()) {
            const ssize_t written = ::write(file_.get(), data.data(), data.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return fail("the file cannot be stored");
            data.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    std::string   path_;
    Digest        digest_;
    Descriptor    file_;
    std::string   fileName_;
    std::string   metadataText_;
    Json          metadata_;
    std::uint64_t size_ = 0;
    unsigned      part_ = 0;
    std::string   problem_;
};

}  // namespace

Response receiveUpload(Bmc& bmc, Exchange& exchange)
{
    const std::string boundary = multipartBoundary(exchange.request().header("Content-Type"));
    if (boundary.empty()) return errorResponse(415, "An upload is multipart/form-data with a boundary");

    const std::string directory = bmc.stateDir + "/uploads";
    ::mkdir(directory.c_str(), 0700);
    const std::string path = directory + "/upload-" + std::to_string(++bmc.stats.uploads);
    UploadForm        form(path);
    MultipartReader   reader(boundary, form);
    bool              good = true;
    // A malformed form is read to its end as well: a host in the middle of sending would not see the answer.
    for (std::string_view piece = exchange.readSome(); !piece.empty(); piece = exchange.readSome())
        good = good && reader.feed(piece);
    if (!good || !reader.complete()) form.fail("the form is malformed or incomplete");
    if (!form.problem().empty()) {
        ::unlink(path.c_str());
        return errorResponse(400, "The upload was refused: " + form.problem());
    }
    return jsonResponse(202, form.answer());
}

}  // namespace torvosim
