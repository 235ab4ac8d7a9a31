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
 * (qvrfutil_core.hpp says why). Programs that look into JSON include qvrfutil_json.hpp, which takes longer to compile.
 *
 * Event streams are in qvrfutil_stream.hpp, results in qvrfutil_status.hpp.
 */
#ifndef QVRFUTIL_HPP
#define QVRFUTIL_HPP

#include <array>
#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "oxarfutilHelper.h"
#include "qvhipm.h"
#include "qvrfutil_request.hpp"

namespace qvrfutil {

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
        if (detail::JsonView(answer.body)["Links"]["Sessions"]["@odata.id"].text() == kOlder) return Generation::older;
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

    /**
     * A resource. An HTTP status of 400 and above, or an answer that is no JSON object, is
     * an error. Needs qvrfutil_json.hpp.
     */
    template <class Document = Json>
    Result<Document> json(const std::string& path)
    {
        return detail::asJson<Document>("GET " + path, request(Method::get, path, {}, {0, false}));
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
            const Result<std::string> text = object(page);
            if (!text) return text.error();
            const detail::JsonView collection(*text);
            collection["Members"].forEach([&](const detail::JsonView& member) {
                if (std::string link = member["@odata.id"].text(); detail::isPath(link))
                    paths.push_back(std::move(link));
                return true;
            });
            page = collection["Members@odata.nextLink"].text();
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
    static constexpr std::size_t kMostPages = 10000;

    /** The text of a resource. */
    Result<std::string> object(const std::string& path)
    {
        Result<Response> answer = request(Method::get, path, {}, {0, false});
        if (!answer) return answer.error();
        if (answer->http >= 400) return detail::httpError("GET " + path, *answer);
        if (!detail::JsonView(answer->body).isObject()) return detail::notRedfish("GET " + path, *answer);
        return std::move(answer->body);
    }

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
