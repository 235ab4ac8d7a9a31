/** @file Upload.cpp  The multipart uploads. */
#include "Upload.h"

#include "MultipartReader.h"
#include "StoredFile.h"
#include "UpdateService.h"

namespace torvosim {

namespace {

constexpr std::size_t kMostText = 1024 * 1024;

/** A form of two parts: a JSON document, then a file. The first part's name tells which one it is. */
struct FormKind {
    const char* text;
    const char* file;
};
constexpr FormKind kLogs{"metadata", "LogZip"};
constexpr FormKind kUpdate{"UpdateParameters", "UpdateFile"};

/** Checks the form while it arrives and writes its file part down. */
class UploadForm final : public MultipartReader::Listener {
public:
    explicit UploadForm(Bmc& bmc) : file_(bmc) {}

    void partBegins(const Headers& headers) override
    {
        const std::string_view disposition = headerValue(headers, "Content-Disposition");
        const std::string      name        = dispositionParameter(disposition, "name");
        if (part_ == 0 && name == kUpdate.text) kind_ = &kUpdate;
        const char* expected = part_ == 0 ? kind_->text : kind_->file;
        if (part_ > 1) return fail("the form has more than the two parts " + bothParts());
        if (name != expected) return fail("part " + std::to_string(part_ + 1) + " is '" + name + "', not " + expected);
        if (part_ == 0 && !startsWith(headerValue(headers, "Content-Type"), "application/json"))
            return fail("the " + name + " part is not application/json");
        if (part_ == 1) takeFileName(dispositionParameter(disposition, "filename"));
    }
    void partData(std::string_view data) override
    {
        if (!problem_.empty()) return;
        if (part_ == 1) return file_.write(data);
        if (text_.size() + data.size() > kMostText) return fail("the " + std::string(kind_->text) + " is too long");
        text_ += data;
    }
    void partEnds() override
    {
        if (problem_.empty() && part_ == 0) {
            json_ = Json::parse(text_, nullptr, false);
            if (json_.is_discarded()) fail("the " + std::string(kind_->text) + " is not JSON");
        }
        ++part_;
    }

    void fail(const std::string& problem)
    {
        if (problem_.empty()) problem_ = problem;
    }
    const std::string& problem()
    {
        if (part_ < 2) fail("the form lacks one of its parts " + bothParts());
        if (!file_.isGood()) fail("the file cannot be stored");
        return problem_;
    }
    Response accepted(Bmc& bmc)
    {
        if (kind_ == &kUpdate) return update(bmc);
        file_.keep();
        return jsonResponse(202, Json{{"Name", "Upload"},
                                      {"Size", file_.size()},
                                      {"SHA256", file_.digest()},
                                      {"FileName", fileName_},
                                      {"Metadata", json_},
                                      {"StoredAs", file_.path()}}
                                     .dump());
    }

private:
    std::string bothParts() const { return kind_->text + std::string(" and ") + kind_->file; }
    void        takeFileName(const std::string& name)
    {
        if (name.empty()) return fail("the " + std::string(kind_->file) + " part names no file");
        fileName_ = name;
    }
    Response update(Bmc& bmc)
    {
        if (bmc.updateWays < UpdateWays::multipart) return errorResponse(404, "The service takes no image here");
        return beginUpdate(bmc, file_.size(), json_);
    }

    StoredFile      file_;
    const FormKind* kind_ = &kLogs;
    std::string     fileName_;
    std::string     text_;
    Json            json_;
    unsigned        part_ = 0;
    std::string     problem_;
};

}  // namespace

Response receiveUpload(Bmc& bmc, Exchange& exchange)
{
    const std::string boundary = multipartBoundary(exchange.request().header("Content-Type"));
    if (boundary.empty()) return errorResponse(415, "An upload is multipart/form-data with a boundary");

    UploadForm      form(bmc);
    MultipartReader reader(boundary, form);
    bool            good = true;
    // A malformed form is read to its end as well: a host in the middle of sending would not see the answer.
    for (std::string_view piece = exchange.readSome(); !piece.empty(); piece = exchange.readSome())
        good = good && reader.feed(piece);
    if (!good || !reader.complete()) form.fail("the form is malformed or incomplete");
    if (!form.problem().empty()) return errorResponse(400, "The upload was refused: " + form.problem());
    return form.accepted(bmc);
}

}  // namespace torvosim
