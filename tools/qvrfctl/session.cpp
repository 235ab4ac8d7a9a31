/** @file session.cpp  Opens, renews and closes the session. */
#include "session.h"

#include <array>
#include <string>

#include "OxaAutoUpdateUtils.h"
#include "smsupport.h"

namespace qvrfctl {
namespace {

// The record's address stands in its brackets already; 6 would put it into a second pair.
constexpr s32 kAddressAsItIs  = 4;
constexpr s32 kFirstIpVersion = 4;
constexpr s32 kLockWaitMs     = 500;

/** The operations by which a generation tells where it is. */
struct Discovery {
    s32 (*address)(astring*);
    s32 (*port)(astring*);
};
constexpr Discovery kNewer{APMDiscoveryFetchIPv4IpAddressNewGenandAbove,
                           APMDiscoveryGetHTTPSPortViaIPMIForNewGenAndAbove};
constexpr Discovery kOlder{APMDiscoveryUSBNICIPAddress, APMDiscoveryGetIPPort};

/** Where the BMC is, by its own account. */
Endpoint discovered(const Discovery& discovery)
{
    std::array<astring, APM_IPV4_ADDRESS_SIZE> address{};
    if (const s32 st = discovery.address(address.data()); st != 0)
        throw Failure(kExitUnreachable, "cannot find the BMC's address: " + discoveryReason(st),
                      statusRow(OXA_BMC_CMD_IPMI_ACCESS_FAILED).advice + std::string(", or give --address"),
                      "OXA_BMC_CMD_NO_IPADDRESS", OXA_BMC_CMD_NO_IPADDRESS);
    std::array<astring, APM_PORT_SIZE_NEWER_GEN> port{};
    if (const s32 st = discovery.port(port.data()); st != 0)
        throw Failure(kExitUnreachable, "cannot find the BMC's HTTPS port: " + discoveryReason(st),
                      "give --address and --port, or use --generation old", "OXA_BMC_CMD_NO_IPPORT",
                      OXA_BMC_CMD_NO_IPPORT);
    try {
        return parseEndpoint(address.data(), port.data());
    } catch (const Failure& f) {  // not the caller's fault: the BMC said so
        throw Failure(kExitLibrary, std::string("the BMC told an endpoint that cannot be used: ") + f.what(),
                      f.advice());
    }
}

Endpoint endpointOf(const Target& target)
{
    if (target.endpoint) return *target.endpoint;
    return discovered(target.generation == Generation::newer ? kNewer : kOlder);
}

void useEndpoint(Endpoint& endpoint)
{
    const s32 st = QVRFUTILSetIPAddress(endpoint.address.data(), endpoint.port.data(), endpoint.ipv6 ? TRUE : FALSE);
    if (st != 0) throw libraryFailure("set the BMC's address", st);
}

s32 createSession(const Options& options)
{
    std::string user      = options.user;
    std::string privilege = options.privilege;
    return QVRFUTILCreateSession(user.data(), privilege.data(), kFirstIpVersion);
}

s32 deleteSession(const Options& options)
{
    std::string user = options.user;
    return QVRFUTILDeleteSession(user.data(), kAddressAsItIs);
}

/** A request of the interrupted thread may be logging in anew: its session has to be known before it can be closed. */
void awaitLogin()
{
    for (int tries = 0; tries < 200; ++tries) {
        if (g_SessionCreationLock == nullptr || SMMutexLock(g_SessionCreationLock, kLockWaitMs) != 0) return;
        const bool loggingIn = g_isRedfishSessionRequested != FALSE;
        SMMutexUnLock(g_SessionCreationLock);
        if (!loggingIn) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(kLockWaitMs));
    }
}

}  // namespace

Library::Library(Generation generation)
{
    QVRFUTILInit(FALSE);
    giSServerNewGenAndAbove = generation == Generation::newer ? TRUE : FALSE;
}

Library::~Library()
{
    QVRFUTILCleanUp();
}

OpenAccess::OpenAccess(const Context& context) : library_(context.target.generation)
{
    Endpoint endpoint = endpointOf(context.target);
    useEndpoint(endpoint);
}

Session::Session(const Context& context) : context_(context), library_(context.target.generation)
{
    if (isNewer()) {
        endpoint_ = endpointOf(context.target);
        useEndpoint(endpoint_);
    }
    open();
}

Session::~Session()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    const std::string id = record().SessionID;
    if (id.empty() || id == "-1") return;  // a renewal failed, and said so
    if (const s32 st = deleteSession(context_.options); st != 0)
        context_.output.warning("warning: the session " + id + " could not be closed (status " + std::to_string(st) +
                                "); the BMC ends it when its idle time is over");
    else
        context_.output.note("session " + id + " closed");
}

void Session::renew()
{
    QVRFUTILDeleteSessionNewGenAndAbove();
    useEndpoint(endpoint_);
    open();
}

void Session::open()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    if (const s32 st = createSession(context_.options); st != 0) throw sessionFailure(st);
    context_.interrupts.onInterruptClose([&options = context_.options] {
        awaitLogin();
        if (deleteSession(options) != 0) throw libraryFailure("close the session", OXA_BMC_SESSION_DELETION_FAILED);
    });
    const QVRFUTILSession& session = record();
    context_.output.note(std::string("session ") + session.SessionID + " at " + session.IPAddress + ":" + session.Port);
}

}  // namespace qvrfctl
