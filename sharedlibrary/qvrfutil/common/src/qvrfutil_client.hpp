/**
 * @file qvrfutil_client.hpp
 * The library's frame around everything else: where the BMC is, and what it says without anybody being logged in.
 * Included by qvrfutil.hpp; programs have no use for it alone.
 */
#ifndef QVRFUTIL_CLIENT_HPP
#define QVRFUTIL_CLIENT_HPP

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateUtils.h"
#include "oxarfutilHelper.h"
#include "qvhipm.h"
#include "qvrfutil_send.hpp"

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
     * session collection, over IPv4 and then IPv6; a BMC that does not answer is taken for the newer one.
     * @throws Failure
     */
#ifdef __cpp_exceptions
    explicit Client(ClientOptions options = {}) : Client(detail::newCore(options.settle).orThrow(), std::move(options))
    {
    }
#endif
    /** The same without exceptions. */
    static Result<std::unique_ptr<Client>> open(ClientOptions options = {})
    {
        auto core = detail::newCore(options.settle);
        if (!core) return core.error();
        return std::unique_ptr<Client>(new Client(*std::move(core), std::move(options)));
    }
    Client(Client&&)            = delete;
    Client& operator=(Client&&) = delete;
    ~Client()
    {
        if (core_->isParents()) return;
        for (const auto until = detail::after(settle_); core_.use_count() > 1 && Clock::now() < until;)
            detail::pause(Duration(5));
        core_->listener().become({});
    }
    /** Whether nothing of an earlier Client is at work in the background any more. */
    static bool isSettled()
    {
        detail::LastCore&  last = detail::lastCore();
        const detail::Lock lock(last.mutex);
        return last.core.expired();
    }

    /** Never automatic: what was found out. */
    Generation generation() const noexcept
    {
        return core_->isNewer() ? Generation::newer : Generation::older;
    }
    /** Where the BMC is, or why it was not found: IPMI operations go without. */
    const Result<Endpoint>& endpoint() const noexcept
    {
        return located_;
    }

    /** GET of what the BMC serves to everybody, 5 s at most. */
    Result<Response> getOpen(const std::string& path) const
    {
        if (!located_) return located_.error();
        return detail::sendThrough(core_.get(), openRequest(path));
    }

    /** What the BMC's service root and session collections say; nothing when it does not answer. */
    std::optional<Generation> detectGeneration() const
    {
        return guessed();
    }

    /**
     * Closes the session of this Client for good: another cannot be opened. For a thread that ends the process in the
     * place of one that is still at work; nothing to do is no error.
     */
    Done closeSession(Duration limit) const
    {
        return core_->close(limit, true);
    }

    Discovery discover() const
    {
        const bool newer = core_->isNewer();
        Discovery  found;
        u16        major = 0, minor = 0;
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

    Client(std::shared_ptr<detail::Core> core, ClientOptions options) : settle_(options.settle), core_(std::move(core))
    {
        core_->listener().become(std::move(options.onRenewal));
        core_->begin();
        core_->generationIs(options.generation);
        located_ = locate(options);
    }

    Result<Endpoint> locate(const ClientOptions& options)
    {
        Result<Endpoint> found = options.endpoint ? Result<Endpoint>(*options.endpoint) : askFor(options.generation);
        if (!found) return found;
        if (found->port.size() > kLongestPort)
            return Error("set the endpoint", QVRFUTIL_INVALID_PARAMETER,
                         "the port '" + found->port + "' has more than four digits, and the library takes four",
                         "give the BMC's web server a port up to 9999");
        if (s32 status = core_->endpointIs(*found); status != OXA_SUCCESS) return Error("set the endpoint", status);
        if (options.generation == Generation::automatic) core_->generationIs(foundOut(*found, !options.endpoint));
        return found;
    }

    /**
     * The generation by what answers at @p place. A session of the older one goes over IPv6 where nobody answers over
     * IPv4: so does this question, and @p place is then where it was answered.
     */
    Generation foundOut(Endpoint& place, bool mayGoElsewhere)
    {
        if (const auto found = guessed(); found || !mayGoElsewhere) return found.value_or(Generation::newer);
        core_->generationIs(Generation::older);  // whose IPv6 address is a fixed one
        const Result<Endpoint> other =
            told(detail::textFact<APM_IPV6_ADDRESS_SIZE>(APMDiscoveryUSBNICIPv6Address), APMDiscoveryGetIPPort);
        if (other && other->port.size() <= kLongestPort && core_->endpointIs(*other) == OXA_SUCCESS)
            if (const auto found = guessed()) {
                place = *other;
                return *found;
            }
        core_->endpointIs(place);
        return Generation::newer;
    }

    static Result<Endpoint> askFor(Generation generation)
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
    std::optional<Generation> guessed() const
    {
        constexpr char kNewer[]  = "/redfish/v1/SessionService/Sessions";
        constexpr char kOlder[]  = "/redfish/v1/Sessions";
        constexpr u16  kNotFound = 404;
        const Response answer    = ask(detail::kServiceRoot);
        if (answer.http == 0) return std::nullopt;
        if (detail::JsonView(answer.body)["Links"]["Sessions"]["@odata.id"].text() == kOlder) return Generation::older;
        // A root that was copied from another BMC names what is not there.
        if (ask(kNewer).http != kNotFound) return Generation::newer;
        const u16 older = ask(kOlder).http;
        return older != 0 && older != kNotFound ? Generation::older : Generation::newer;
    }
    Response ask(const char* path) const
    {
        Result<Response> answer = detail::sendThrough(core_.get(), openRequest(path));
        return answer ? *std::move(answer) : Response();
    }
    static detail::Request openRequest(const std::string& path)
    {
        detail::Request request;
        request.path                 = path;
        request.isOpen               = true;
        request.options.limit        = detail::kOpenLimit;
        request.options.connectLimit = detail::kOpenLimit;
        return request;
    }

    static constexpr std::size_t kLongestPort = 4;

    Duration                      settle_;
    std::shared_ptr<detail::Core> core_;
    Result<Endpoint>              located_ = Error();
};

}  // namespace qvrfutil

#endif
