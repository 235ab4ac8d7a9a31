/**
 * @file qvrfutil.hpp
 * libqvrfutil in C++17: a session that survives, requests that are hard to misuse, files that are whole or not there.
 *
 * @code
 *     #include <qvrfutil.hpp>
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
 * that the BMC accepted is sent again, and threads that meet the same end open one session together.
 * - The answer's buffer grows. A GET is sent again with more room; a request that changes something gets its room from
 * the start (RequestOptions::room), and one that was carried out although its answer did not fit says so.
 * - A file is replaced when its download is complete, and not otherwise.
 * - A session is closed once, whatever ends its scope, and within Session::kClosing: a BMC that does not answer is left
 *   with it until its idle time is over, and the result of close() says so.
 * - Connections are kept for reading (QVRFUTILKeepConnections): no TLS handshake for every resource of an inventory.
 *
 * One Client and one Session at a time in a process, for the library has one session. Any number of threads may send
 * through it. While a session is opened or renewed the other requests wait; a request is under way for 100 s at most.
 * Do not mix with the C operations on sessions meanwhile: the layer keeps giSServerNewGenAndAbove for itself
 * (qvrfutil_core.hpp says why). Needs nlohmann-json 3.9 or newer for what it reads out of the BMC's answers.
 *
 * Event streams are in qvrfutil_stream.hpp, results in qvrfutil_status.hpp.
 */
#ifndef QVRFUTIL_HPP
#define QVRFUTIL_HPP

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "oxarfutilHelper.h"
#include "qvhipm.h"
#include "qvrfutil_core.hpp"

namespace qvrfutil {

using Json = nlohmann::json;

// ---- Answers ----------------------------------------------------------------------------------------------------

/** Header names are the same in whatever case. */
struct CaselessLess {
    bool operator()(const std::string& a, const std::string& b) const noexcept
    {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                            [&](char x, char y) { return lower(x) < lower(y); });
    }
};
using Headers = std::multimap<std::string, std::string, CaselessLess>;

/** The header lines of @p raw; of several answers in a row (100 Continue) those of the last. */
inline Headers parseHeaders(std::string_view raw)
{
    Headers headers;
    while (!raw.empty()) {
        const auto end  = raw.find('\n');
        auto       line = raw.substr(0, end);
        raw.remove_prefix(end == raw.npos ? raw.size() : end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
        if (line.substr(0, 5) == "HTTP/") headers.clear();
        const auto colon = line.find(':');
        if (colon == line.npos) continue;
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
        headers.emplace(line.substr(0, colon), value);
    }
    return headers;
}

struct Response {
    u16         http = 0;
    std::string body;
    std::string rawHeaders;       ///< as received, status line and closing blank line among them
    bool        renewed = false;  ///< the session had ended: this is the answer to the second sending
    Duration    elapsed{0};

    bool    ok() const noexcept { return http >= 200 && http < 300; }
    Headers headers() const { return parseHeaders(rawHeaders); }
    /** The first header of that name; empty without one. */
    std::string header(const std::string& name) const
    {
        const Headers all   = headers();
        const auto    found = all.find(name);
        return found == all.end() ? std::string() : found->second;
    }
    /** The body; a discarded value when it is not JSON. */
    Json json() const { return Json::parse(body, nullptr, false); }
};

enum class Method : int {
    get    = QVRFUTIL_REQUEST_GET,
    post   = QVRFUTIL_REQUEST_POST,
    remove = QVRFUTIL_REQUEST_DELETE,
    patch  = QVRFUTIL_REQUEST_PATCH,
};

inline const char* methodName(Method method) noexcept
{
    switch (method) {
        case Method::get: return "GET";
        case Method::post: return "POST";
        case Method::remove: return "DELETE";
        case Method::patch: return "PATCH";
    }
    return "?";
}

struct RequestOptions {
    u32  room    = 0;     ///< bytes for the answer's body; 0: 64 KiB at first for GET, 256 KiB for the others
    bool headers = true;  ///< hand out the answer's headers
};

// ---- What the BMC says of itself over IPMI ------------------------------------------------------------------------

/** Each is absent when the BMC did not tell it; its status says why. */
template <class Value>
struct Fact {
    std::optional<Value> value;
    s32                  status = 0;
};

struct Discovery {
    Fact<std::string> firmware;  ///< "7.10"
    Fact<std::string> ipv4;
    Fact<std::string> ipv6;
    Fact<std::string> port;
    Fact<std::string> package;  ///< version of the agent's update package on the BMC
    Fact<std::string> agent;
};

/** The link between host and BMC. */
struct LinkState {
    Fact<std::string> interface;    ///< the host's USB NIC
    Fact<u8>          passThrough;  ///< mode, 0 when switched off
    Fact<std::string> bmcAddress;
};

struct Account {
    std::string id;
    std::string name;
    std::string role;
    bool        enabled = false;
};

namespace detail {

constexpr u32  kFirstRoom     = 64u * 1024;
constexpr u32  kChangeRoom    = 256u * 1024;
constexpr int  kMostGrowths   = 4;  // a resource may grow while it is read; one that keeps doing so is given up
constexpr u16  kUnauthorized  = 401;
constexpr char kServiceRoot[] = "/redfish/v1";

struct SmFree {
    void operator()(void* memory) const noexcept { SMFreeMem(memory); }
};

/** The operation of the library that carries a request. */
enum class Road { session, upload, open };

struct Request {
    Method      method = Method::get;
    std::string path;
    std::string body;  ///< of an upload, the document about its file
    std::string file;  ///< GET: receives the body; upload: what is sent
    Road        road    = Road::session;
    u32         room    = 0;
    bool        headers = false;

    bool        isDownload() const noexcept { return road == Road::session && !file.empty(); }
    std::string name() const { return std::string(methodName(method)) + ' ' + path; }
};

struct Attempt {
    s32      status = 0;
    u32      needed = 0;  ///< room that the body wants, its NUL included
    Response response;
};

inline s32 call(const Request& request, astring* into, u32 room, Attempt& result)
{
    const char* const path = request.path.c_str();
    u16&              http = result.response.http;
    if (request.road == Road::open) return QVRFUTILSendRequestNoAuth(path, &into, room, &result.needed, &http);
    if (request.road == Road::upload)
        return QVRFUTILSendFileUploadRequest(path, request.file.c_str(), request.body.c_str(), &into, room,
                                             &result.needed, &http);
    const bool hasBody = request.method == Method::post || request.method == Method::patch;
    const bool wants   = request.headers && !request.isDownload();
    astring*   headers = nullptr;
    const auto type    = static_cast<QVRFUTILRequestType>(request.method);
    const s32  status = QVRFUTILSendRequest(path, hasBody ? const_cast<astring*>(request.body.c_str()) : nullptr, &into,
                                            room, &result.needed, type, &http, wants ? TRUE : FALSE, &headers,
                                           request.isDownload() ? const_cast<astring*>(request.file.c_str()) : nullptr);
    const std::unique_ptr<astring, SmFree> owned(wants ? headers : nullptr);
    if (owned) result.response.rawHeaders = owned.get();
    return status;
}

inline Attempt attempt(const Request& request, u32 room)
{
    Attempt                          result;
    const std::unique_ptr<astring[]> buffer(new astring[room]);  // the library clears it
    const auto                       start = Clock::now();
    result.status                          = call(request, buffer.get(), room, result);
    result.response.elapsed                = std::chrono::duration_cast<Duration>(Clock::now() - start);
    if (result.status == OXA_SUCCESS && result.needed > 0) result.response.body.assign(buffer.get(), result.needed - 1);
    return result;
}

/** Sends once; a GET as often as a growing answer asks for more room. */
inline Attempt attemptWithRoom(const Request& request)
{
    const bool mayRepeat = request.method == Method::get;
    u32        room      = request.room != 0 ? request.room : mayRepeat ? kFirstRoom : kChangeRoom;
    Attempt    result    = attempt(request, room);
    for (int growths = 0; mayRepeat && growths < kMostGrowths; ++growths) {
        if (result.status != QVRFUTIL_BUFFER_TOO_SMALL || result.needed <= room) break;
        room   = result.needed;
        result = attempt(request, room);
    }
    return result;
}

/** Whether the BMC, or the library for want of a session, refused the request as a whole: nothing was carried out. */
inline bool isSessionOver(const Attempt& result) noexcept
{
    if (result.status == OXA_SUCCESS) return result.response.http == kUnauthorized;
    return result.status == QVRFUTIL_SESSION_FAILURE ||
           (result.status == QVRFUTIL_NO_SESSION_DETAILS && result.response.http == 0);
}

inline Result<Response> judged(const Request& request, Attempt&& result)
{
    if (result.status == OXA_SUCCESS) return std::move(result.response);
    const u16 http = result.response.http;
    if (result.status == QVRFUTIL_BUFFER_TOO_SMALL && request.method != Method::get)
        return Error(
            request.name(), result.status,
            "it was carried out, but the answer of " + std::to_string(result.needed - 1) + " bytes did not fit",
            "do not send it again; read the resource", http);
    return Error(request.name(), result.status, http);
}

inline Result<Response> sendThrough(Core& core, const Request& request)
{
    for (bool again = false;; again = true) {
        std::uint64_t epoch = 0;
        Attempt       result;
        {
            const Inside inside(core.gate);
            epoch  = core.epoch();
            result = attemptWithRoom(request);
        }
        if (request.road == Road::open || !isSessionOver(result) || again) {
            result.response.renewed = again;
            return judged(request, std::move(result));
        }
        core.tellRenewal(request.name());
        if (Done renewed = core.renew(epoch); !renewed) return renewed.error();
    }
}

/** The first human-readable message of a Redfish error body; empty when there is none. */
inline std::string redfishMessage(const std::string& body)
{
    const Json json  = Json::parse(body, nullptr, false);
    const auto error = json.is_object() ? json.find("error") : json.end();
    if (!json.is_object() || error == json.end() || !error->is_object()) return {};
    const auto extended = error->find("@Message.ExtendedInfo");
    if (extended != error->end() && extended->is_array())
        for (const Json& info : *extended)
            if (info.is_object() && info.contains("Message") && info["Message"].is_string()) return info["Message"];
    const auto message = error->find("message");
    return message != error->end() && message->is_string() ? message->get<std::string>() : std::string();
}

/** HTTP statuses of 400 and above as errors, for operations that have no use for such an answer. */
inline Error httpError(const std::string& what, const Response& response)
{
    const std::string message = redfishMessage(response.body);
    return Error(what, 0, message.empty() ? "the BMC refused it" : message,
                 response.http == 404 ? "check the path; start from /redfish/v1" : "see the message", response.http);
}

inline Error notRedfish(const std::string& what, const Response& response)
{
    return Error(what, 0, "the answer is not what Redfish says", "check the path and the BMC's firmware",
                 response.http);
}

inline Result<Json> asJson(const std::string& what, Result<Response>&& answer)
{
    if (!answer) return answer.error();
    if (answer->http >= 400) return httpError(what, *answer);
    Json json = answer->json();
    if (!json.is_object()) return notRedfish(what, *answer);
    return json;
}

/** A member's text; empty when it has none. */
inline std::string textOf(const Json& json, const char* key)
{
    const auto found = json.is_object() ? json.find(key) : json.end();
    return json.is_object() && found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/** A link as the library takes it: a BMC's word is not taken for it. */
inline bool isPath(const std::string& link)
{
    constexpr std::size_t kLongest = 400;
    return !link.empty() && link.front() == '/' && link.size() <= kLongest &&
           std::all_of(link.begin(), link.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

/** The place a body is written to beside the wanted file, which it replaces when the body is complete. */
class PartFile {
public:
    explicit PartFile(std::string wanted) : wanted_(std::move(wanted)) {}
    ~PartFile()
    {
        if (isOurs_) ::unlink(path_.c_str());
    }
    PartFile(PartFile&&) = delete;

    /** @return 0, or the errno of what keeps the file from being written */
    int make()
    {
        struct stat about {};
        const bool  exists = ::stat(wanted_.c_str(), &about) == 0;
        path_              = wanted_;
        if (exists && S_ISDIR(about.st_mode)) return EISDIR;
        if (exists && !S_ISREG(about.st_mode)) return 0;  // a device or pipe is written in place
        if (exists && ::access(wanted_.c_str(), W_OK) != 0) return errno;
        path_ += '.' + std::to_string(std::random_device()()) + ".part";
        const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0) return errno;
        isOurs_         = true;
        const int error = exists && ::fchmod(fd, about.st_mode & 07777) != 0 ? errno : 0;
        ::close(fd);
        return error;
    }
    int keep()
    {
        if (!isOurs_) return 0;
        if (::rename(path_.c_str(), wanted_.c_str()) != 0) return errno;
        isOurs_ = false;
        return 0;
    }
    const std::string& path() const noexcept { return path_; }
    /** The beginning of what was written: an error page. */
    std::string content() const
    {
        std::string   text(kFirstRoom, '\0');
        std::ifstream file(isOurs_ ? path_ : std::string(), std::ios::binary);
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
        return text;
    }

private:
    std::string wanted_;
    std::string path_;
    bool        isOurs_ = false;
};

inline Error cannotWrite(const std::string& file, int error, u16 http = 0)
{
    Error why("write " + file, QVRFUTIL_FAILURE, std::strerror(error), "choose a file that can be written", http);
    why.system = error;
    return why;
}

template <std::size_t Size>
Fact<std::string> textFact(s32 (*read)(astring*))
{
    std::array<astring, Size> text{};
    const s32                 status = read(text.data());
    text.back()                      = '\0';
    return {status == 0 ? std::optional<std::string>(text.data()) : std::nullopt, status};
}

}  // namespace detail

// ---- Client -----------------------------------------------------------------------------------------------------

struct ClientOptions {
    Generation              generation = Generation::automatic;
    std::optional<Endpoint> endpoint;      ///< without one the BMC is found over IPMI
    Duration                settle{3000};  ///< what the end of a Client waits at most for streams that are ending
    /** Told before a request is sent again ("GET /redfish/v1/Systems"), on the thread that sends it. */
    std::function<void(const std::string& what)> onRenewal;
};

/** The library's frame, the BMC's endpoint and its generation; nobody is logged in. */
class Client {
public:
    /**
     * Looks for what @p options leave open: the endpoint over IPMI, the generation by the service root, which names the
     * session collection; a BMC that does not answer is taken for the newer one. @throws Failure
     */
    explicit Client(ClientOptions options = {}) : settle_(options.settle), core_(detail::newCore(options.settle))
    {
        core_->listen(std::move(options.onRenewal));
        const detail::Alone alone(core_->gate);
        core_->begin();
        core_->generationIs(options.generation);
        located_ = locate(options);
    }
    Client(Client&&)            = delete;
    Client& operator=(Client&&) = delete;
    ~Client()
    {
        for (const auto until = Clock::now() + settle_; core_.use_count() > 1 && Clock::now() < until;)
            std::this_thread::sleep_for(Duration(5));
        core_->listen({});
    }
    /** Whether nothing of an earlier Client is at work in the background any more. */
    static bool isSettled() noexcept { return detail::lastCore().expired(); }

    /** Never automatic: what was found out. */
    Generation generation() const noexcept { return core_->isNewer() ? Generation::newer : Generation::older; }
    /** Where the BMC is, or why it was not found: IPMI operations go without. */
    const Result<Endpoint>& endpoint() const noexcept { return located_; }

    /** GET of what the BMC serves to everybody, 5 s at most. */
    Result<Response> getOpen(const std::string& path) const
    {
        if (!located_) return located_.error();
        detail::Request request;
        request.path = path;
        request.road = detail::Road::open;
        return detail::sendThrough(*core_, request);
    }

    /** What the BMC's service root and session collections say; nothing when it does not answer. */
    std::optional<Generation> detectGeneration() const
    {
        const detail::Inside inside(core_->gate);
        return guessed();
    }

    /**
     * Closes the session of this Client for good: another cannot be opened. For a thread that ends the process in the
     * place of one that is still at work; nothing to do is no error.
     */
    Done closeSession(Duration limit) const { return core_->close(limit, true); }

    Discovery discover() const
    {
        const detail::Inside inside(core_->gate);
        const bool           newer = core_->isNewer();
        Discovery            found;
        u16                  major = 0, minor = 0;
        found.firmware.status = APMDiscoveryGetTorvoFwVersion(&major, &minor);
        if (found.firmware.status == 0) found.firmware.value = std::to_string(major) + '.' + std::to_string(minor);
        found.ipv4    = detail::textFact<APM_IPV6_ADDRESS_SIZE>(newer ? APMDiscoveryFetchIPv4IpAddressNewGenandAbove
                                                                      : APMDiscoveryUSBNICIPAddress);
        found.ipv6    = detail::textFact<APM_IPV6_ADDRESS_SIZE>(APMDiscoveryUSBNICIPv6Address);
        found.port    = detail::textFact<APM_IPV6_ADDRESS_SIZE>(newer ? APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove
                                                                      : APMDiscoveryGetIPPort);
        found.package = detail::textFact<APM_IPV6_ADDRESS_SIZE>(APMDiscoveryGetOxaPloxVersion);
        found.agent   = detail::textFact<APM_IPV6_ADDRESS_SIZE>(APMDiscoveryGetOxaOSVersion);
        return found;
    }

    LinkState link() const
    {
        constexpr std::size_t kInterfaceNameSize = 64;
        LinkState             state;
        u8                    mode = 0;
        state.interface            = detail::textFact<kInterfaceNameSize>(GetUSBNICInterfaceName);
        state.passThrough.status   = APMDiscoveryGetOSToBMCStatus(&mode);
        if (state.passThrough.status == 0) state.passThrough.value = mode;
        state.bmcAddress = detail::textFact<APM_IPV4_ADDRESS_SIZE>(APMDiscoveryUSBNICIPAddress);
        return state;
    }

    /** Makes a BMC user, or gives the existing one this password and privilege. Success of a later step is not told by
     * the BMC's interface: look at Session::accounts(). */
    Done setUser(const std::string& name, const std::string& password, const std::string& privilege) const
    {
        const auto isSlot = [](u32 slot) { return slot >= 3 && slot <= 16; };
        u32        slot   = BMCUserGetUserPresence(name.c_str());
        if (!isSlot(slot)) slot = BMCUserGetFreeUserSlotFromDB();
        const s32 status = isSlot(slot)
                               ? OXAConfigureBMCUser(slot, name.c_str(), password.c_str(), privilege.c_str(), 1)
                               : s32{OXA_BMC_CMD_TORVO_NO_EMPTY_SLOT};
        if (status != OXA_SUCCESS) return Error("set the user " + name, status);
        return Nothing{};
    }
    /** One that is not there is no error. */
    Done deleteUser(const std::string& name) const
    {
        const s32 status = OXADeleteTorvoUser(const_cast<astring*>(name.c_str()));
        if (status != OXA_SUCCESS) return Error("delete the user " + name, status);
        return Nothing{};
    }

private:
    friend class Session;

    Result<Endpoint> locate(const ClientOptions& options)
    {
        Result<Endpoint> found = options.endpoint ? Result<Endpoint>(*options.endpoint) : ask(options.generation);
        if (!found) return found;
        if (found->port.size() > kLongestPort)
            return Error("set the endpoint", QVRFUTIL_INVALID_PARAMETER,
                         "the port '" + found->port + "' has more than four digits, and the library takes four",
                         "give the BMC's web server a port up to 9999");
        if (s32 status = core_->endpointIs(*found); status != OXA_SUCCESS) return Error("set the endpoint", status);
        if (options.generation == Generation::automatic) core_->generationIs(guessed().value_or(Generation::newer));
        return found;
    }

    static Result<Endpoint> ask(Generation generation)
    {
        Result<Endpoint> found = askNewer();
        if (generation == Generation::older || (generation == Generation::automatic && !found)) found = askOlder();
        return found;
    }
    static Result<Endpoint> askNewer()
    {
        return told(detail::textFact<APM_IPV4_ADDRESS_SIZE>(APMDiscoveryFetchIPv4IpAddressNewGenandAbove),
                    APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove);
    }
    static Result<Endpoint> askOlder()
    {
        return told(detail::textFact<APM_IPV4_ADDRESS_SIZE>(APMDiscoveryUSBNICIPAddress), APMDiscoveryGetIPPort);
    }
    static Result<Endpoint> told(const Fact<std::string>& address, s32 (*portOf)(astring*))
    {
        const auto error = [](s32 code, s32 reason) {
            Error why("find the BMC", code);
            why.cause = reason;
            why.meaning += " (status " + std::to_string(reason) + ')';
            return why;
        };
        if (!address.value) return error(OXA_BMC_CMD_NO_IPADDRESS, address.status);
        const auto port = detail::textFact<APM_PORT_SIZE_NEWER_GEN>(portOf);
        if (!port.value) return error(OXA_BMC_CMD_NO_IPPORT, port.status);
        return Endpoint{*address.value, *port.value};
    }

    /** By the session collection that the service root names, or, where it names none, by the one that is there. */
    static std::optional<Generation> guessed()
    {
        constexpr char kNewer[]  = "/redfish/v1/SessionService/Sessions";
        constexpr char kOlder[]  = "/redfish/v1/Sessions";
        constexpr u16  kNotFound = 404;
        const Response answer    = open(detail::kServiceRoot);
        if (answer.http == 0) return std::nullopt;
        const Json root  = answer.json();
        const auto links = root.is_object() ? root.find("Links") : root.end();
        if (root.is_object() && links != root.end() && links->is_object() && links->contains("Sessions") &&
            detail::textOf((*links)["Sessions"], "@odata.id") == kOlder)
            return Generation::older;
        // A root that was copied from another BMC names what is not there.
        if (open(kNewer).http != kNotFound) return Generation::newer;
        const u16 older = open(kOlder).http;
        return older != 0 && older != kNotFound ? Generation::older : Generation::newer;
    }
    static Response open(const char* path)
    {
        detail::Request request;
        request.path = path;
        request.road = detail::Road::open;
        return detail::attemptWithRoom(request).response;
    }

    static constexpr std::size_t kLongestPort = 4;

    Duration                      settle_;
    std::shared_ptr<detail::Core> core_;
    Result<Endpoint>              located_ = Error();
};

// ---- Session ----------------------------------------------------------------------------------------------------

/** The session with the BMC: open while this object lives. Any thread may send through it. */
class Session {
public:
    /** What closing takes at most. */
    static constexpr Duration kClosing{3000};

    /** Logs in. @p client outlives the session. @throws Failure */
    explicit Session(const Client& client, Login login = {}) : core_(client.core_)
    {
        if (core_->isNewer() && !client.located_) throw Failure(client.located_.error());
        core_->open(std::move(login)).orThrow();
        isOpen_ = true;
    }
    ~Session() { static_cast<void>(close()); }
    Session(Session&&)            = delete;
    Session& operator=(Session&&) = delete;

    /** The same without exceptions. */
    static Result<std::unique_ptr<Session>> open(const Client& client, Login login = {})
    try {
        return std::make_unique<Session>(client, std::move(login));
    } catch (const Failure& failure) {
        return failure.error();
    }

    /**
     * Closes it before its scope ends, to see how that went. Any thread may do so, also while requests are under way:
     * those end with a failure. The second time it does nothing.
     */
    Done close(Duration limit = kClosing) noexcept
    try {
        if (!isOpen_.exchange(false)) return Nothing{};
        return core_->close(limit);
    } catch (...) {
        return Error("close the session", QVRFUTIL_OUT_OF_MEMORY);
    }

    /** The session as the library knows it now. */
    QVRFUTILSession record() const
    {
        const detail::Inside inside(core_->gate);
        return g_RedfishSession;
    }

    /** Any HTTP status is an answer; see Response::ok(). @p body: JSON, for POST and PATCH */
    Result<Response> request(Method method, const std::string& path, const std::string& body = {},
                             RequestOptions options = {})
    {
        detail::Request request;
        request.method  = method;
        request.path    = path;
        request.body    = body;
        request.room    = options.room;
        request.headers = options.headers;
        return detail::sendThrough(*core_, request);
    }
    Result<Response> get(const std::string& path) { return request(Method::get, path); }
    Result<Response> post(const std::string& path, const std::string& body = "{}")
    {
        return request(Method::post, path, body);
    }
    Result<Response> patch(const std::string& path, const std::string& body)
    {
        return request(Method::patch, path, body);
    }
    Result<Response> remove(const std::string& path) { return request(Method::remove, path); }

    /** A resource. An HTTP status of 400 and above, or an answer that is no JSON object, is an error. */
    Result<Json> json(const std::string& path)
    {
        return detail::asJson("GET " + path, request(Method::get, path, {}, {0, false}));
    }

    /**
     * GET of a body of any size into @p file, which is replaced when all of it came, with its permissions kept. An HTTP
     * status of 400 and above leaves the file as it is and hands out the page as the answer's body.
     * @param onPart  told where the body grows, before the request is sent: to remove it when the process is stopped,
     *                or to look how far it is; empty once that is over
     */
    Result<Response> download(const std::string& path, const std::string& file,
                              const std::function<void(const std::string& part)>& onPart = {})
    {
        detail::PartFile part(file);
        if (const int error = part.make(); error != 0) return detail::cannotWrite(file, error);
        if (onPart) onPart(part.path());
        detail::Request request;
        request.path            = path;
        request.file            = part.path();
        Result<Response> answer = detail::sendThrough(*core_, request);
        const int        error  = finish(part, answer);
        if (onPart) onPart({});
        if (error != 0) return detail::cannotWrite(file, error, answer->http);
        if (answer) return answer;
        Error why = answer.error();
        why.meaning += "; " + file + " was left as it is";
        return why;
    }

    /** Sends @p file with the JSON document @p metadata about it, as a form; its size does not matter. */
    Result<Response> upload(const std::string& path, const std::string& file, const std::string& metadata)
    {
        detail::Request request;
        request.method = Method::post;
        request.path   = path;
        request.body   = metadata;
        request.file   = file;
        request.road   = detail::Road::upload;
        return detail::sendThrough(*core_, request);
    }

    /** The paths of a collection's members, over all of its pages. */
    Result<std::vector<std::string>> members(const std::string& path)
    {
        std::vector<std::string> paths;
        std::set<std::string>    seen;
        for (std::string page = path; !page.empty();) {
            if (!seen.insert(page).second || seen.size() > kMostPages)
                return Error("read the members of " + path, 0, "its pages have no end", "report it to the BMC's maker");
            Result<Json> collection = json(page);
            if (!collection) return collection.error();
            const auto members = collection->find("Members");
            if (members != collection->end() && members->is_array())
                for (const Json& member : *members)
                    if (std::string link = detail::textOf(member, "@odata.id"); detail::isPath(link))
                        paths.push_back(std::move(link));
            page = detail::textOf(*collection, "Members@odata.nextLink");
            if (!page.empty() && !detail::isPath(page))
                return Error("read the members of " + path, 0, "the link to its next page is no path", "");
        }
        return paths;
    }

    /** The users that the BMC's account service lists; empty slots left out. */
    Result<std::vector<Account>> accounts()
    {
        Result<std::vector<std::string>> paths = members("/redfish/v1/AccountService/Accounts");
        if (!paths) return paths.error();
        std::vector<Account> all;
        for (const std::string& path : *paths) {
            Result<Json> slot = json(path);
            if (!slot) return slot.error();
            const auto enabled = slot->find("Enabled");
            Account    account{detail::textOf(*slot, "Id"), detail::textOf(*slot, "UserName"),
                            detail::textOf(*slot, "RoleId"),
                            enabled != slot->end() && enabled->is_boolean() && enabled->get<bool>()};
            if (!account.name.empty()) all.push_back(std::move(account));
        }
        return all;
    }

private:
    friend class EventStream;
    static constexpr std::size_t kMostPages = 10000;

    /** Keeps the body, or hands it out as the page it is. @return errno */
    static int finish(detail::PartFile& part, Result<Response>& answer)
    {
        if (!answer) return 0;
        if (answer->http < 400) return part.keep();
        answer->body = part.content();
        return 0;
    }

    std::shared_ptr<detail::Core> core_;
    std::atomic<bool>             isOpen_{false};
};

}  // namespace qvrfutil

#endif
