/** @file commandReport.cpp  qvrfctl report: all that a fault report needs, in one archive, less known secrets. */
#include <curl/curl.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "archive.h"
#include "commands.h"
#include "doctor.h"
#include "librarylog.h"
#include "request.h"
#include "secrets.h"
#include "smsecure.h"

namespace qvrfctl {
namespace {

constexpr std::streamoff kMostLog  = 512 * 1024;
constexpr char           kTraced[] = "/redfish/v1/Systems";
constexpr char           kReadMe[] =
    "This archive was made by 'qvrfctl report' for a fault report.\n"
    "\n"
    "doctor.txt, doctor.json  each step of the path from host to BMC, and what it found\n"
    "versions.txt             this program, the libraries, the system\n"
    "settings.txt             the platform's configuration\n"
    "platform.log             the end of the platform's debug log, where one is kept\n"
    "trace.txt                what the library wrote during one login and one GET\n"
    "\n"
    "Known kinds of secrets (passwords, tokens, keys, community strings) were replaced by [removed]. Addresses, user\n"
    "names and serial numbers were not: look through the files before you hand them on.\n";

/** Secrets that are known by their value. Overwritten when they go. */
struct Known {
    std::vector<std::string> values;
    ~Known()
    {
        for (std::string& value : values) ::explicit_bzero(value.data(), value.size());
    }
    void add(std::string value)
    {
        while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.pop_back();
        values.push_back(std::move(value));
    }
};

std::string contentOf(const std::string& path, std::streamoff most)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) return {};
    const std::streamoff size = file.tellg();
    file.seekg(std::max<std::streamoff>(size - most, 0));
    return {std::istreambuf_iterator<char>(file), {}};
}

void learnSession(const QVRFUTILSession& record, Known& known)
{
    for (const char* text : {record.pb64Text, record.pb64Key, record.EncryptedSessionToken}) known.add(text);
    std::string token(SMSECURE_PLAIN_SIZE + 1, '\0');
    astring*    to = token.data();
    if (SMqvoxaPBKDF2Decrypt(record.pb64Key, record.pb64Text, &to) == 0) known.add(token.c_str());
    ::explicit_bzero(token.data(), token.size());
}

// ---- the parts --------------------------------------------------------------------------------------------------

std::string versions()
{
    utsname system{};
    ::uname(&system);
    return std::string("qvrfctl ") + QVRFCTL_VERSION + "\n" + ::curl_version() + "\n" + system.sysname + ' ' +
           system.release + ' ' + system.version + ' ' + system.machine + "\n" + contentOf("/etc/os-release", 4096);
}

/** Only what the platform uses: the file may have keys of other owners, passwords among them. */
std::string settings(const qvtools::Configuration& platform)
{
    if (!platform.isTold) return "this platform does not tell its configuration\n";
    const std::string fault = platform.fault();
    return (platform.file.empty() ? "no file counts" : platform.file) + (fault.empty() ? "" : "\n" + fault) +
           "\n\nhipm.endpoint=" + platform.endpoint + "\nsuptlib.logfile=" + platform.logFile +
           "\nsecure.tokenkey=" + platform.tokenKey + '\n';
}

std::string platformLog(const qvtools::Configuration& platform)
{
    const bool        isFile = !platform.logFile.empty() && platform.logFile != "stderr";
    const std::string text   = isFile ? contentOf(platform.logFile, kMostLog) : "";
    return text.empty() ? "no debug log: suptlib.loglevel and suptlib.logfile switch it on\n" : text;
}

/** One login and one GET, with all that the library had to say. A failure is a part of it. */
std::string trace(const Context& context, Known& known)
{
    const LibraryTrace listening;
    std::string        end;
    try {
        Session session(context);
        learnSession(session.record(), known);
        end = "HTTP " + std::to_string(send(session, {QVRFUTIL_REQUEST_GET, kTraced, {}, false, {}}).http);
    } catch (const Failure& failure) {
        end = failure.what();
    }
    return listening.text() + "\nGET " + kTraced + ": " + end + '\n';
}

std::string timely(const char* format)
{
    std::array<char, 64> text{};
    const std::time_t    now = std::time(nullptr);
    std::tm              parts{};
    std::strftime(text.data(), text.size(), format, ::localtime_r(&now, &parts));
    return text.data();
}

void fill(Archive& archive, const Context& context, const Diagnosis& diagnosis)
{
    Known                        known;
    const qvtools::Configuration platform = qvtools::configuration();
    known.add(contentOf(platform.tokenKey, 4096));
    const std::string traced =
        diagnosis.overdue ? "no request was traced: a step of doctor still hangs\n" : trace(context, known);
    const auto own = [&](const char* name, const std::string& text) {
        archive.add(name, withoutTokens(text, known.values));
    };
    own("doctor.txt", diagnosis.text());
    own("doctor.json", diagnosis.document().dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
    own("versions.txt", versions());
    own("settings.txt", settings(platform));
    archive.add("platform.log", withoutSecrets(platformLog(platform), known.values));
    archive.add("trace.txt", withoutSecrets(traced, known.values));
    archive.add("README.txt", kReadMe);
    archive.finish();
}

void makeReport(const Context& context, const std::string& file)
{
    auto            archive   = std::make_unique<Archive>(file, context.interrupts);
    const Diagnosis diagnosis = examine(context, false);
    fill(*archive, context, diagnosis);
    archive.reset();
    const Finding* const first = diagnosis.firstFailed();
    if (context.output.json())
        context.output.document(
            {{"file", file}, {"firstFailed", first != nullptr ? Json(first->step->number) : Json()}});
    else
        context.output.write(file + '\n');
    context.output.flush();
    context.output.warning(
        "known kinds of secrets were removed; look through the archive all the same before you hand it on");
    if (diagnosis.overdue) ::_exit(kExitOk);  // the hanging step still uses what the usual way out would take away
}

}  // namespace

Action declareReport(Arguments arguments)
{
    auto file = std::make_shared<std::string>();
    arguments.text("-o,--output", *file, "the archive; qvrfctl-report-TIME.tar.gz in this directory, unless given");
    return [file](const Context& context) {
        makeReport(context, file->empty() ? timely("qvrfctl-report-%Y%m%d-%H%M%S.tar.gz") : *file);
    };
}

}  // namespace qvrfctl
