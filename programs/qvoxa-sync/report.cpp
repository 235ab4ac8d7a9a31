/** @file report.cpp  Standard error and the JSON document. */
#include "report.h"

#include <cstdio>
#include <new>

#include "process.h"
#include "qvrfutil_status.hpp"

namespace qvoxasync {
namespace {

using Json = nlohmann::ordered_json;

const char* nameOf(Action action) noexcept
{
    switch (action) {
        case Action::update: return "update";
        case Action::download: return "download";
        case Action::versionReport: return "version-report";
        case Action::setupLink: return "setup-link";
    }
    return "";
}

}  // namespace

void report(const Failure& failure) noexcept
try {
    std::fprintf(stderr, "qvoxa-sync: %s: %s\n", qvrfutil::printable(failure.what()).c_str(),
                 qvrfutil::printable(failure.advice()).c_str());
} catch (const std::bad_alloc&) {
    std::fputs("qvoxa-sync: memory is out\n", stderr);
}

void finishOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || qvtools::hasNoOutput())
        throw Failure(kExitOutput, "the result cannot be written", "find room for it, or a reader that stays");
}

void printDocument(const Options& options, const char* outcome, s32 status, ExitStatus exit, const Json& facts,
                   const Failure* failure)
{
    Json document{{"action", nameOf(options.action)}, {"outcome", outcome}, {"exit", static_cast<int>(exit)}};
    document["status"] = failure == nullptr || failure->status() ? Json(status) : Json(nullptr);
    document.update(facts);
    if (failure != nullptr) {
        document["message"] = failure->what();
        document["advice"]  = failure->advice();
    }
    // A BMC's text need not be UTF-8; a document must be.
    const std::string text = document.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
    finishOutput();
}

}  // namespace qvoxasync
