/** @file commandRequest.cpp  qvrfctl get, post, patch, delete and upload. */
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "day/rounds.h"
#include "day/select.h"
#include "jsontext.h"
#include "request.h"

namespace qvrfctl {
namespace {

/** The words of one request on the command line. */
struct Words {
    QVRFUTILRequestType type;
    std::string         path;
    std::string         data;
    std::string         file;
    bool                headers = false;
    bool                open    = false;  ///< without a session
    std::string         keys    = {};     ///< GET: the members that are wanted; empty: the body as it is
    bool                expand  = false;  ///< GET: all pages of a collection, with their members
    Rounds              rounds  = {};
    RequestKind         kind    = RequestKind::withSession;
};

bool isDownload(const Words& words)
{
    return words.kind == RequestKind::withSession && !words.file.empty();
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string readAll(std::FILE* file, const std::string& what, const std::string& name)
{
    std::string            text;
    std::array<char, 8192> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file)) text.append(piece.data(), count);
    if (std::ferror(file) != 0) throw wrongUsage("cannot read " + what + " from " + name + ": " + std::strerror(errno));
    return text;
}

/** The JSON that a word stands for: "-" is standard input, "@FILE" a file, anything else the text itself. */
std::string jsonOf(const std::string& data, const std::string& what)
{
    if (data == "-") return readAll(stdin, what, "standard input");
    if (data.empty() || data.front() != '@') return data;
    const std::string name = data.substr(1);
    const File        file(std::fopen(name.c_str(), "rb"), std::fclose);
    if (!file) throw wrongUsage("cannot read " + what + " from " + name + ": " + std::strerror(errno));
    return readAll(file.get(), what, name);
}

/** The library tells a file that it cannot read by the status of a broken transfer. */
void checkUpload(const std::string& name)
{
    const auto  cannot = [&](const char* why) { return wrongUsage("cannot upload " + name + ": " + why); };
    struct stat about {};
    if (::stat(name.c_str(), &about) != 0) throw cannot(std::strerror(errno));
    if (!S_ISREG(about.st_mode)) throw cannot(S_ISDIR(about.st_mode) ? std::strerror(EISDIR) : "it is not a file");
    if (!File(std::fopen(name.c_str(), "rb"), std::fclose)) throw cannot(std::strerror(errno));
}

Json headersOf(const std::string& raw)
{
    Json        headers = Json::object();
    std::size_t from    = 0;
    while (from < raw.size()) {
        const auto        end   = std::min(raw.find("\r\n", from), raw.size());
        const std::string line  = raw.substr(from, end - from);
        const auto        colon = line.find(": ");
        if (colon != line.npos) headers[line.substr(0, colon)] = line.substr(colon + 2);
        from = end + 2;
    }
    return headers;
}

void show(Output& output, const Words& words, const Answer& answer)
{
    if (!output.json()) {
        if (words.headers) output.write(answer.headers);
        output.body(answer.body);
        return;
    }
    Json document{{"method", methodName(words.type)},
                  {"path", words.path},
                  {"httpStatus", answer.http},
                  {"milliseconds", answer.elapsed.count()},
                  {"sessionRenewed", answer.renewed}};
    if (words.headers) document["headers"] = headersOf(answer.headers);
    if (isDownload(words)) document["file"] = words.file;
    if (isDownload(words))
        output.document(document);
    else
        output.document(document, "body", asJsonText(answer.body));
}

Answer exchange(const Context& context, const Request& request)
{
    if (request.kind == RequestKind::withoutSession) return send(context, OpenAccess(context), request);
    Session session(context);
    return send(session, request);
}

void run(const Context& context, const Words& words)
{
    checkPath(words.path);
    if (!words.keys.empty() || words.expand || words.rounds.every != 0)
        return showSelected(context, words.rounds, words.path, words.keys, words.expand);
    limit(context, words.rounds.timeout);
    Request    request{words.type,    words.path, {},
                    words.headers, words.file, words.open ? RequestKind::withoutSession : words.kind};
    const bool isUpload = words.kind == RequestKind::upload;
    if (words.type == QVRFUTIL_REQUEST_POST || words.type == QVRFUTIL_REQUEST_PATCH) {
        const std::string what = isUpload ? "the metadata" : "the body";
        request.body           = jsonOf(words.data, what);
        checkJsonBody(request.body, what);
    }
    if (isUpload) checkUpload(words.file);
    const Answer answer = exchange(context, request);
    const bool   failed = answer.http >= 400;
    if (!failed || !isDownload(words)) show(context.output, words, answer);
    context.output.flush();  // the answer stands before the failure
    if (failed) throw httpFailure(request, answer);
}

std::shared_ptr<Words> declarePath(Arguments arguments, QVRFUTILRequestType type)
{
    auto words = std::make_shared<Words>(Words{type, {}, {}, {}});
    arguments.text("PATH", words->path, "resource, such as /redfish/v1/Systems").required();
    return words;
}

std::shared_ptr<Words> declareRequest(Arguments arguments, QVRFUTILRequestType type)
{
    auto words = declarePath(arguments, type);
    arguments.flag("-i,--include", words->headers, "show the response headers too");
    return words;
}

Argument declareData(Arguments arguments, Words& words)
{
    return arguments.text("-d,--data", words.data, "JSON body; @FILE reads it from a file, - from standard input");
}

Action actionOf(std::shared_ptr<Words> words)
{
    return [words = std::move(words)](const Context& context) { run(context, *words); };
}

}  // namespace

Action declareGet(Arguments arguments)
{
    auto words = declareRequest(arguments, QVRFUTIL_REQUEST_GET);
    arguments.text("-o,--output", words->file, "write the body to this file, whatever its size").notWith("--include");
    arguments.flag("--no-auth", words->open, "open no session: for what the BMC serves to everybody")
        .notWith("--include")
        .notWith("--output");
    arguments
        .text("--select", words->keys, "show only these members, such as Id,Status.Health; of each of a collection")
        .notWith("--include")
        .notWith("--output")
        .notWith("--no-auth");
    arguments.flag("--expand", words->expand, "a collection with all its pages and members in one document")
        .notWith("--include")
        .notWith("--output")
        .notWith("--no-auth");
    declareRounds(arguments, words->rounds, false).notWith("--include").notWith("--output").notWith("--no-auth");
    return actionOf(std::move(words));
}

Action declarePost(Arguments arguments)
{
    auto words  = declareRequest(arguments, QVRFUTIL_REQUEST_POST);
    words->data = "{}";  // what actions without parameters want
    declareData(arguments, *words).showsDefault();
    return actionOf(std::move(words));
}

Action declarePatch(Arguments arguments)
{
    auto words = declareRequest(arguments, QVRFUTIL_REQUEST_PATCH);
    declareData(arguments, *words).required();
    return actionOf(std::move(words));
}

Action declareDelete(Arguments arguments)
{
    return actionOf(declareRequest(arguments, QVRFUTIL_REQUEST_DELETE));
}

Action declareUpload(Arguments arguments)
{
    auto words  = declarePath(arguments, QVRFUTIL_REQUEST_POST);
    words->kind = RequestKind::upload;
    arguments.text("--file", words->file, "file to upload").required();
    arguments
        .text("--metadata", words->data, "JSON document about it; @FILE reads it from a file, - from standard input")
        .required();
    return actionOf(std::move(words));
}

}  // namespace qvrfctl
