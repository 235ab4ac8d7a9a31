/** @file session.cpp  Opens and closes the session by the layer, and says how that went. */
#include "session.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace qvrfctl {
namespace {

Generation wanted(const Target& target)
{
    return target.findsGeneration ? Generation::automatic : target.generation;
}

qvrfutil::ClientOptions clientOptions(const Context& context)
{
    qvrfutil::ClientOptions options;
    options.generation = wanted(context.target);
    if (context.target.endpoint)
        options.endpoint = qvrfutil::Endpoint{context.target.endpoint->address, context.target.endpoint->port};
    options.onRenewal = [&output = context.output](const std::string& what) {
        output.warning("the BMC had ended the session: opening a new one and sending " + what + " once more");
    };
    return options;
}

std::unique_ptr<qvrfutil::Client> newClient(const Context& context)
try {
    return std::make_unique<qvrfutil::Client>(clientOptions(context));
} catch (const qvrfutil::Failure& failure) {
    throw failureOf("begin", failure.error());
}

/** Where a generation that somebody named is not the BMC's, that is what is wrong, whatever the library said. */
Failure loginFailure(const Context& context, const qvrfutil::Client& client, s32 status)
{
    const Failure failure = sessionFailure(status);
    if (context.target.findsGeneration) return failure;
    const auto found = client.detectGeneration();
    if (!found || *found == client.generation()) return failure;
    const char* const name = *found == Generation::newer ? "new" : "old";
    return Failure(
        failure.exit(), failure.what(),
        std::string("the BMC is of the other generation: use --generation ") + name + ", or auto, which finds it out",
        failure.name(), failure.status());
}

Failure notFound(const qvrfutil::Error& error)
{
    const bool noPort = error.status == OXA_BMC_CMD_NO_IPPORT;
    if (error.cause == 0 || (error.status != OXA_BMC_CMD_NO_IPADDRESS && !noPort))
        return Failure(kExitLibrary, "the BMC told an endpoint that cannot be used: " + error.meaning,
                       error.remedy + ", or use --generation old, which finds it by itself");
    const char* const what = noPort ? "HTTPS port: " : "address: ";
    const std::string advice =
        noPort ? "give --address and --port, or use --generation old"
               : statusRow(OXA_BMC_CMD_IPMI_ACCESS_FAILED).advice + std::string(", or give --address");
    return Failure(kExitUnreachable, std::string("cannot find the BMC's ") + what + discoveryReason(error.cause),
                   advice, error.name(), error.status);
}

std::string sessionId()
{
    const std::string id = g_RedfishSession.SessionID;
    return id == "-1" ? std::string() : id;
}

void tellClosed(const Output& output, const std::string& id, const qvrfutil::Done& closed)
{
    if (closed)
        output.note("session " + id + " closed");
    else
        output.warning("warning: the session " + id + " could not be closed (" + closed.error().meaning +
                       "); the BMC ends it when its idle time is over");
}

/** Threads that a silent BMC holds would be at work while the process takes its libraries down. */
void endAtOnceWhereThreadsAreLeft()
{
    if (qvrfutil::Client::isSettled()) return;
    ::on_exit(
        [](int status, void*) {
            std::fflush(nullptr);
            ::_exit(status);
        },
        nullptr);
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

OpenAccess::OpenAccess(const Context& context) : client_(newClient(context))
{
    if (!client_->endpoint()) throw notFound(client_->endpoint().error());
}

Session::Session(const Context& context) : context_(context), client_(newClient(context))
{
    if (isNewer() && !client_->endpoint()) throw notFound(client_->endpoint().error());
    closeOnInterrupt();
    open();
    const QVRFUTILSession& session = record();
    context_.output.note(std::string("session ") + session.SessionID + " at " + session.IPAddress + ":" + session.Port);
}

Session::~Session()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    const std::string    id     = sessionId();
    const qvrfutil::Done closed = session_->close();
    if (!id.empty()) tellClosed(context_.output, id, closed);  // without one a renewal failed, and said so
    session_.reset();
    client_.reset();
    endAtOnceWhereThreadsAreLeft();
}

void Session::open()
try {
    session_ = std::make_unique<qvrfutil::Session>(*client_,
                                                   qvrfutil::Login{context_.options.user, context_.options.privilege});
} catch (const qvrfutil::Failure& failure) {
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    throw loginFailure(context_, *client_, failure.error().status);
}

/** Also while the login is under way: it is waited for as long as closing may take. */
void Session::closeOnInterrupt()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose([this] {
        if (const qvrfutil::Done closed = client_->closeSession(qvrfutil::Session::kClosing); !closed)
            context_.output.warning("warning: the session could not be closed (" + closed.error().meaning +
                                    "); the BMC ends it when its idle time is over");
    });
}

Failure failureOf(const std::string& what, const qvrfutil::Error& error)
{
    if (error.system != 0) return Failure(kExitOutput, "cannot " + error.doing + ": " + error.meaning);
    if (error.status == 0) return Failure(kExitLibrary, what + ": " + error.meaning, error.remedy);
    return libraryFailure(what, error.status);
}

}  // namespace qvrfctl
