/**
 * @file qvrfutil.hpp
 * libqvrfutil in C++17: a session that survives, requests that are hard to misuse, files that are whole or not there.
 *
 * @code
 *     #include <qvrfutil_json.hpp>
 *
 *     qvrfutil::Client  client;                       // finds the BMC and its generation over IPMI
 *     qvrfutil::Session session(client);              // logged in while this object lives; throws Failure
 *     for (const std::string& path : session.members("/redfish/v1/Chassis").orThrow()) {
 *         const qvrfutil::Json chassis = session.json(path).orThrow();
 *         std::cout << path << ": " << chassis.value("Model", "?") << '\n';
 *     }
 * @endcode
 *
 * Without exceptions, the same operations tell their outcome by themselves:
 *
 * @code
 *     if (auto session = qvrfutil::Session::open(client); !session)
 *         std::cerr << session.error().text() << "; " << session.error().remedy << '\n';
 *     else if (auto answer = (*session)->patch(path, R"({"AssetTag":"rack 7"})"); answer && answer->ok())
 *         ...
 * @endcode
 *
 * What it does that the C operations leave to their callers:
 * - A request that the BMC refuses because the session has ended (401) is sent once more with a new session. Nothing
 *   that the BMC accepted is sent again, and threads that meet the same end open one session together.
 * - The answer's buffer grows up to RequestOptions::room; a request that changed something and whose answer was longer
 *   says so.
 * - A file is replaced when its download is complete and on the disk, and not otherwise.
 * - A session is closed once, whatever ends its scope, and within Session::kClosing: a BMC that does not answer is left
 *   with it until its idle time is over, and the result of close() says so.
 * - Connections are kept for reading (QVRFUTILKeepConnections): no TLS handshake for every resource of an inventory.
 *
 * One Client and one Session at a time in a process, for the library has one session. Any number of threads may send
 * through it, and nobody waits for the request of another one. Do not mix with the C operations that open, renew or
 * close sessions. Programs that look into JSON include qvrfutil_json.hpp, which takes longer to compile.
 *
 * Event streams are in qvrfutil_stream.hpp, results in qvrfutil_status.hpp.
 */
#ifndef QVRFUTIL_HPP
#define QVRFUTIL_HPP

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvrfutil_client.hpp"
#include "qvrfutil_file.hpp"
#include "qvrfutil_send.hpp"

namespace qvrfutil {

struct Account {
    std::string id;
    std::string name;
    std::string role;
    bool        enabled = false;
};

/** The session with the BMC: open while this object lives. Any thread may send through it. */
class Session {
public:
    /** What closing takes at most. */
    static constexpr Duration kClosing{3000};

#ifdef __cpp_exceptions
    /** Logs in. @p client outlives the session. @throws Failure */
    explicit Session(const Client& client, Login login = {}) : Session(begun(client, std::move(login)).orThrow()) {}
#endif
    /** The same without exceptions. */
    static Result<std::unique_ptr<Session>> open(const Client& client, Login login = {})
    {
        Result<Session> session = begun(client, std::move(login));
        if (!session) return session.error();
        return std::make_unique<Session>(*std::move(session));
    }
    ~Session()
    {
        static_cast<void>(close());
    }
    Session(Session&&) noexcept = default;
    Session& operator=(Session&& other) noexcept
    {
        if (this == &other) return *this;
        static_cast<void>(close());
        core_ = std::move(other.core_);
        return *this;
    }

    /**
     * Closes it before its scope ends, to see how that went. Any thread may do so, also while requests are under way:
     * those end, and none begins. The second time it does nothing, and in a forked child it does nothing at all.
     */
    Done close(Duration limit = kClosing) noexcept
    {
        if (core_ == nullptr) return Nothing{};
        return detail::contained([&] { return core_->close(limit); },
                                 []() -> Done {
                                     Error error;
                                     error.status = QVRFUTIL_OUT_OF_MEMORY;
                                     return error;
                                 });
    }

    /** The session as it was when it was opened or renewed last; zeroes when it is closed. */
    QVRFUTILSession record() const
    {
        const detail::OpenedCopy session = core_ ? core_->session() : nullptr;
        return session ? session->record() : QVRFUTILSession{};
    }

    /** Any HTTP status is an answer; see Response::ok(). @p body: of POST, PATCH and PUT, JSON unless said otherwise */
    Result<Response> request(Method method, const std::string& path, const std::string& body = {},
                             RequestOptions options = {})
    {
        detail::Request request = requestOf(method, path, std::move(options));
        if (method != Method::get && method != Method::head && method != Method::remove) request.body = body;
        return send(request);
    }
    Result<Response> get(const std::string& path, RequestOptions options = {})
    {
        return request(Method::get, path, {}, std::move(options));
    }
    Result<Response> post(const std::string& path, const std::string& body = "{}", RequestOptions options = {})
    {
        return request(Method::post, path, body, std::move(options));
    }
    Result<Response> patch(const std::string& path, const std::string& body, RequestOptions options = {})
    {
        return request(Method::patch, path, body, std::move(options));
    }
    Result<Response> remove(const std::string& path, RequestOptions options = {})
    {
        return request(Method::remove, path, {}, std::move(options));
    }
    /** The same with a document. Needs qvrfutil_json.hpp. */
    template <class Document, class = detail::IfDocument<Document>>
    Result<Response> post(const std::string& path, const Document& body, RequestOptions options = {})
    {
        return send(Method::post, path, body, std::move(options));
    }
    template <class Document, class = detail::IfDocument<Document>>
    Result<Response> patch(const std::string& path, const Document& body, RequestOptions options = {})
    {
        return send(Method::patch, path, body, std::move(options));
    }

    /**
     * A resource. An HTTP status of 400 and above, or an answer that is no JSON object, is
     * an error. Needs qvrfutil_json.hpp.
     */
    template <class Document = Json>
    Result<Document> json(const std::string& path, RequestOptions options = {})
    {
        return detail::asJson<Document>("GET " + path, get(path, std::move(options)));
    }

    /**
     * GET of a body of any size into @p file, which is replaced when all of an answer of 200 came and is on the disk,
     * with its permissions kept; of 206 where @p options ask for a range. An HTTP status of 400 and above leaves the
     * file as it is and hands out the page as the answer's body; any other is an error.
     * @param onPart  told where the body grows, before the request is sent: to remove it when the process is stopped,
     *                or to look how far it is; empty once that is over
     */
    Result<Response> download(const std::string& path, const std::string& file,
                              const std::function<void(const std::string& part)>& onPart  = {},
                              RequestOptions                                      options = {})
    {
        detail::PartFile part(file);
        if (const int error = part.make(); error != 0) return detail::fileError("write " + file, error);
        if (onPart) onPart(part.path());
        const bool       isRange = asksForRange(options);
        Result<Response> answer  = received(part, path, std::move(options));
        const bool       whole   = answer && part.error() == 0 && isBody(answer->http, isRange);
        const int        error   = whole ? part.keep() : part.error();
        if (onPart) onPart({});
        if (error != 0) return detail::fileError("write " + file, error, answer ? answer->http : u16{0});
        if (whole || (answer && answer->http >= 400)) return answer;
        Error why = answer ? Error("GET " + path, 0, "the BMC answered something else than the file",
                                   "look at it with get()", answer->http)
                           : answer.error();
        why.meaning += "; " + file + " was left as it is";
        return why;
    }

    /** Sends @p file with the JSON document @p metadata about it, as the form that the BMC's log import takes. */
    Result<Response> upload(const std::string& path, const std::string& file, const std::string& metadata,
                            RequestOptions options = {})
    {
        return sendForm(path, {FormField::text("metadata", metadata), FormField::file("LogZip", file)},
                        std::move(options));
    }
    /** POST of a form; memory does not grow with its files. */
    Result<Response> sendForm(const std::string& path, std::vector<FormField> fields, RequestOptions options = {})
    {
        detail::Request request = requestOf(Method::post, path, std::move(options));
        request.fields          = std::move(fields);
        return send(request);
    }
    /** @p file is the whole body: "Content-Type" is the caller's to say (RequestOptions::with). */
    Result<Response> sendFile(Method method, const std::string& path, const std::string& file,
                              RequestOptions options = {})
    {
        detail::Request request = requestOf(method, path, std::move(options));
        request.bodyFile        = file;
        return send(request);
    }

    /** The paths of a collection's members, over all of its pages. */
    Result<std::vector<std::string>> members(const std::string& path)
    {
        std::vector<std::string> paths;
        Done                     walked = walk(path, [&](const detail::JsonView& member) {
            if (std::string link = member["@odata.id"].text(); detail::isPath(link)) paths.push_back(std::move(link));
        });
        if (!walked) return walked.error();
        return paths;
    }
    /** The members as they stand in the collection: links, or whole resources where the BMC was asked to expand. */
    Result<std::vector<std::string>> memberTexts(const std::string& path)
    {
        std::vector<std::string> texts;
        Done walked = walk(path, [&](const detail::JsonView& member) { texts.emplace_back(member.raw()); });
        if (!walked) return walked.error();
        return texts;
    }

    /** The users that the BMC's account service lists; empty slots left out. */
    Result<std::vector<Account>> accounts()
    {
        Result<std::vector<std::string>> paths = members("/redfish/v1/AccountService/Accounts");
        if (!paths) return paths.error();
        std::vector<Account> all;
        for (const std::string& path : *paths) {
            const Result<std::string> text = object(path);
            if (!text) return text.error();
            const detail::JsonView slot(*text);
            Account                account{slot["Id"].text(), slot["UserName"].text(), slot["RoleId"].text(),
                            slot["Enabled"].isTrue()};
            if (!account.name.empty()) all.push_back(std::move(account));
        }
        return all;
    }

private:
    friend class EventStream;

    explicit Session(std::shared_ptr<detail::Core> core) : core_(std::move(core)) {}

    static Result<Session> begun(const Client& client, Login login)
    {
        if (client.core_->isNewer() && !client.located_) return client.located_.error();
        if (Done opened = client.core_->open(std::move(login)); !opened) return opened.error();
        return Session(client.core_);
    }

    static detail::Request requestOf(Method method, const std::string& path, RequestOptions&& options)
    {
        detail::Request request;
        request.method  = method;
        request.path    = path;
        request.options = std::move(options);
        return request;
    }
    Result<Response> send(const detail::Request& request)
    {
        return detail::sendThrough(core_.get(), request);
    }

    template <class Document>
    Result<Response> send(Method method, const std::string& path, const Document& body, RequestOptions&& options)
    {
        using Handler = typename Document::error_handler_t;  // one that throws is none where there are no exceptions
        const std::string text = body.dump(-1, ' ', false, Handler::replace);
        if (text.find("\xEF\xBF\xBD") != text.npos && text != body.dump(-1, ' ', false, Handler::ignore))
            return Error(std::string(methodName(method)) + ' ' + path, QVRFUTIL_INVALID_PARAMETER,
                         "the document holds text that is not UTF-8", detail::kCaller);
        return request(method, path, text, std::move(options));
    }

    /** The text of a resource. */
    Result<std::string> object(const std::string& path)
    {
        Result<Response> answer = get(path);
        if (!answer) return answer.error();
        if (answer->http >= 400) return detail::httpError("GET " + path, *answer);
        if (!detail::JsonView(answer->body).isObject()) return detail::notRedfish("GET " + path, *answer);
        return std::move(answer->body);
    }

    template <class Look>
    Done walk(const std::string& path, Look look)
    {
        std::vector<std::string> seen;
        std::string              page     = path;
        std::size_t              received = 0;
        do {
            if (std::find(seen.begin(), seen.end(), page) != seen.end() || seen.size() == kMostPages)
                return Error("read the members of " + path, 0, "its pages have no end", "report it to the BMC's maker");
            seen.push_back(page);
            const Result<std::string> text = object(page);
            if (!text) return text.error();
            if ((received += text->size()) > kMostBytes)
                return Error("read the members of " + path, QVRFUTIL_BUFFER_TOO_SMALL);
            const detail::JsonView collection(*text);
            collection["Members"].forEach([&](const detail::JsonView& member) { return look(member), true; });
            page = collection["Members@odata.nextLink"].text();
        } while (!page.empty());
        return Nothing{};
    }

    Result<Response> received(detail::PartFile& part, const std::string& path, RequestOptions&& options)
    {
        std::string     page;
        detail::Request request = requestOf(Method::get, path, std::move(options));
        const bool      isRange = asksForRange(request.options);
        request.onLine          = [&](std::string_view line) {
            if (line.substr(0, 5) == "HTTP/") page.clear();  // what a renewal was the answer to
            return true;
        };
        request.sink = [&](u16 http, std::string_view piece) {
            if (isBody(http, isRange)) return part.write(piece);
            page += piece.substr(0, kMostPage - page.size());
            return true;
        };
        Result<Response> answer = send(request);
        if (answer) answer->body = std::move(page);
        return answer;
    }
    static bool isBody(u16 http, bool isRange) noexcept
    {
        return http == detail::kOk || (isRange && http == detail::kPartial);
    }
    static bool asksForRange(const RequestOptions& options)
    {
        return std::any_of(options.lines.begin(), options.lines.end(),
                           [](const std::string& line) { return detail::headerOf(line, "Range").has_value(); });
    }

    static constexpr std::size_t kMostPages = 10000;
    static constexpr std::size_t kMostBytes = 256u * 1024 * 1024;  // of a collection's pages together
    static constexpr std::size_t kMostPage  = 64u * 1024;

    std::shared_ptr<detail::Core> core_;
};

}  // namespace qvrfutil

#endif
