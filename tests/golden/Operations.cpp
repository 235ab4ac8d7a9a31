/** @file Operations.cpp  The exported operations as scenarios call them. */
#include "Operations.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <sstream>

#include "BenchPlatform.h"
#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxUtils.h"
#include "OxaAutoUpdateUtils.h"
#include "curlLxReceived.h"
#include "osprivlege.h"
#include "oxarfutilHelper.h"
#include "qvisocppsecurecompat.h"
#include "qvrfutilLX.h"
#include "qvrfutilRequestEx.h"
#include "qvrfutilWatch.h"
#include "uncancelled.h"

// The formats and their values come from scenarios.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace golden {
namespace {

template <class Function>
Operation of(Function* function)
{
    return [function](Call& call) { invoke(function, call); };
}

/** What a write function has collected after two pieces of @p text; @p size and @p count as libcurl would say. */
template <class Function>
s32 collected(Function* append, const astring* text, size_t size, size_t count)
{
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED received{};
    std::string                        bytes = text;
    const size_t                       taken = append(bytes.data(), 1, bytes.size(), &received);
    const size_t                       again = append(bytes.data(), size, count, &received);
    const size_t                       total = received.responseSize;
    std::free(received.pResponse);
    return taken == bytes.size() && again == size * count ? static_cast<s32>(total) : -1;
}

s32 keptHead(const astring* text)
{
    const qvrf::Uncancelled uncancelled;
    return qvrf::Received(qvrf::Received::Content::head).append("head", text, std::strlen(text)) ? 0 : -1;
}

/** The nine texts of a manifest, one a line. */
s32 manifest(astring* file, astring** texts)
{
    StructOxaPloxPackage package{};
    const s32            status = pasrseSHA256File(file, texts == nullptr ? nullptr : &package);
    astring* const       all[]  = {package.pPackagexml,       package.pSHA256file,           package.pZelmarPubKey,
                                   package.pWindowsUpdatePkg, package.pWindowsNanoUpdatePkg, package.pLinuxUpdatePkg,
                                   package.pLinuxSignFile,    package.pLinuxInstallScript,   package.pWindowsInstallScript};
    const rig::Paused    paused;
    std::string          lines;
    for (astring* text : all) lines += std::string(text == nullptr ? "-" : text) + "\n", SMFreeMem(text);
    if (texts != nullptr) *texts = rig::Platform::instance().newText(lines);
    return status;
}

/** Watches a subscriber, or ends that; what the watch hears goes into the transcript. */
s32 watch(QVRFUTILHttpCallbackContext* context, s32 begins)
{
    const QVRFUTILSSEWatch heard = {nullptr,
                                    [](void*, const astring* bytes, u32 size) {
                                        const rig::Paused paused;
                                        rig::note("left out " + inQuotes(std::string(bytes, size)));
                                    },
                                    [](void*, u16 http) {
                                        const rig::Paused paused;
                                        rig::note("over, HTTP " + std::to_string(http));
                                    }};
    return QVRFUTILWatchSSE(context, begins != 0 ? &heard : nullptr);
}

/** With one header or form field, however many it says there are; a record of one byte is none. Room: the reply's. */
s32 extended(const astring* method, const astring* path, const astring* body, const astring* from, const astring* into,
             const astring* header, u32 headers, const astring* field, const astring* file, u32 fields, u32 most,
             u32 flags, u32 size, u32 room, astring** told)
{
    const u64               length = body == nullptr ? 0 : strlen(body);
    const QVRFUTILFormField one{field, "text/x", file == nullptr ? "data" : nullptr, file == nullptr ? 4u : 0u, file};
    const u32               known = size == 0 ? u32{sizeof(QVRFUTILRequestEx)} : size;
    const QVRFUTILRequestEx request{known,  flags, method, path, nullptr, &header, headers, fields,  &one,    body,
                                    length, from,  into,   most, 60001,   60002,   nullptr, nullptr, nullptr, nullptr};
    QVRFUTILReplyEx         reply{};
    reply.recordSize          = room == 0 ? u32{sizeof reply} : room;
    const s32          status = QVRFUTILSendRequestEx(size == 1 ? nullptr : &request, &reply);
    const rig::Paused  paused;
    std::ostringstream out;
    out << reply.httpCode << ", end " << reply.end << ", error " << reply.systemError;
    if (reply.pHeaders != nullptr && strlen(reply.pHeaders) == reply.headersSize) out << ", headers";
    if (reply.pBody != nullptr && strlen(reply.pBody) == reply.bodySize) out << ", " << reply.pBody;
    if (reply.httpCode != 0 || reply.end != 0) *told = rig::Platform::instance().newText(out.str());
    SMFreeMem(reply.pHeaders);
    SMFreeMem(reply.pBody);
    return status;
}

/** Method and path, and what a scenario names besides. */
void sendRequestEx(Call& call)
{
    const auto given = call.words;
    call.words.resize(2);
    for (const std::string name : {"body", "from", "into", "header", "headers", "field", "file", "fields", "most",
                                   "flags", "size", "room", "told"}) {
        const auto it = std::find_if(given.begin(), given.end(), [&](const Word& word) { return word.name == name; });
        call.words.push_back(it != given.end() ? *it : wordsOf(name == "told" ? "told=&" : "null", {})[0]);
    }
    invoke(&extended, call);
}

/** The file appears in the current directory; the random end of its name becomes X. */
s32 temporaryName(const astring* directory, astring* name, size_t size, s32* mode)
{
    namespace fs = std::filesystem;
    const rig::Paused paused;
    const fs::path    before = fs::current_path();
    fs::current_path(directory);
    const s32 status = [&] {
        const rig::Inside inside(rig::Place::caller);
        return tmpnam_s(name, size);
    }();
    for (const auto& entry : fs::directory_iterator("."))
        *mode = static_cast<s32>(entry.status().permissions()), fs::remove(entry);
    fs::current_path(before);
    if (status != EINVAL) std::memset(name + size - 6, 'X', 6);
    return status;
}

/** What the opened file's mode is; 77 and -1 are a variable left alone and one that says nothing was opened. */
s32 opened(s32* mode, const astring* file, s32 flags, s32 permissions)
{
    int               fd     = 77;
    const errno_t     status = _sopen_s(mode == nullptr ? nullptr : &fd, file, flags, 0, permissions);
    const rig::Paused paused;
    struct stat       about {};
    const bool        open = status == 0 && fstat(fd, &about) == 0;
    if (mode != nullptr) *mode = open ? static_cast<s32>(about.st_mode & 07777) : fd;
    if (open) close(fd);
    return status;
}

/** @p state: 0 closed, 1 open, 2 left alone */
s32 openedStream(s32* state, const astring* file, const astring* mode)
{
    FILE*         stream = stdin;
    const errno_t status = fopen_s(state == nullptr ? nullptr : &stream, file, mode);
    if (state != nullptr) *state = stream == stdin ? 2 : stream != nullptr ? 1 : 0;
    if (stream != nullptr && stream != stdin) fclose(stream);
    return status;
}

/** Without @p year there is no moment. */
s32 written(astring* to, size_t size, s32 sec, s32 min, s32 hour, s32 mday, s32 mon, const s32* year, s32 wday,
            s32 yday)
{
    const tm moment{sec, min, hour, mday, mon, year == nullptr ? 0 : *year, wday, yday, 0, 0, nullptr};
    return asctime_s(to, size, year == nullptr ? nullptr : &moment);
}

}  // namespace

#define OPERATION(name)    \
    {                      \
#name, of(&::name) \
    }
#define AS(name, ...)           \
    {                           \
#name, of(+__VA_ARGS__) \
    }

const std::map<std::string, Operation>& operations()
{
    static const std::map<std::string, Operation> all = {
#include "operations.inc"
        AS(QVRFUTILCurlRedfishGETResponseCallback,
           [](const astring* text, size_t size, size_t count) {
               return collected(&QVRFUTILCurlRedfishGETResponseCallback, text, size, count);
           }),
        AS(SACopyFileCBCurl,
           [](const astring* file, astring* text) {
               FILE* const  stream = file == nullptr ? nullptr : fopen(file, "w");
               const size_t taken  = SACopyFileCBCurl(text, 1, text == nullptr ? 3 : strlen(text), stream);
               if (stream != nullptr) fclose(stream);
               return static_cast<s32>(taken);
           }),
        {"QVRFUTILWatchSSE", of(&watch)},
        {"head", of(&keptHead)},
        {"QVRFUTILSendRequestEx", &sendRequestEx},
        AS(QVRFUTILReadCurlMultiEvents,
           [](const astring*) { return QVRFUTILReadCurlMultiEvents(nullptr) == nullptr ? 0 : 1; }),
        AS(curlRedfishResponseCallback,
           [](const astring* text, size_t size, size_t count) {
               return collected(&curlRedfishResponseCallback, text, size, count);
           }),
        AS(pasrseSHA256File, [](astring* file, astring** texts) { return manifest(file, texts); }),
        AS(OXAAutoUpdateOnProgress, [](s32) { OXAAutoUpdateOnProgress(nullptr, nullptr); }),
        {"tmpnam_s", of(&temporaryName)},
        AS(strdup_s, [](const astring* text, astring** copy) { *copy = strdup_s(text); }),
        AS(_dupenv_s, [](astring** value, size_t* size, const astring* name) { return _dupenv_s(value, size, name); }),
        AS(strtok_s,
           [](astring* text, const astring* first, const astring* then, astring* tokens) {
               astring* rest = nullptr;
               *tokens       = 0;
               for (astring* token = strtok_s(text, first, &rest); token; token = strtok_s(nullptr, then, &rest))
                   std::strcat(std::strcat(tokens, token), "|");
           }),
        AS(wcstok_s,
           [](wchar_t* text, const wchar_t* first, const wchar_t* then, wchar_t* tokens) {
               wchar_t* rest = nullptr;
               *tokens       = 0;
               for (wchar_t* token = wcstok_s(text, first, &rest); token; token = wcstok_s(nullptr, then, &rest))
                   std::wcscat(std::wcscat(tokens, token), L"|");
           }),
        AS(sprintf_s, [](astring* to, size_t size, const astring* format,
                         astring* value) { return sprintf_s(to, size, format, value); }),
        AS(_snprintf_s, [](astring* to, size_t size, size_t count, const astring* format,
                           astring* value) { return _snprintf_s(to, size, count, format, value); }),
        {"fopen_s", of(&openedStream)},
        {"_sopen_s", of(&opened)},
        {"asctime_s", of(&written)},
        AS(localtime_s,
           [](const time_t* moment, s32* hour) {
               tm            broken{};
               const errno_t status = localtime_s(hour == nullptr ? nullptr : &broken, moment);
               if (hour != nullptr) *hour = status == 0 ? broken.tm_hour : -1;
               return status;
           }),
    };
    return all;
}

}  // namespace golden
