/** @file session.cpp  Opens and closes the session by the layer, and says how that went. */
#include "session.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "librarylog.h"
#include "platform.h"
#include "reach.h"

namespace qvrfctl {
namespace {

// Together they keep what comes behind a signal, or behind the time of "events", below 3 s.
constexpr qvrfutil::Duration kClosing{2000};
constexpr qvrfutil::Duration kSettling{500};

Generation wanted(const Target& target)
{
    return target.findsGeneration ? Generation::automatic : target.generation;
}

qvrfutil::ClientOptions clientOptions(const Context& context)
{
    qvrfutil::ClientOptions options;
    options.generation = wanted(context.target);
    options.settle     = kSettling;
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
    const std::string what = std::string("cannot find the BMC's ") + (noPort ? "HTTPS port: " : "address: ");
    if (isSilence(error.cause) || qvtools::isUnreached()) {
        const Failure silence = noAnswerOverIpmi();
        return Failure(kExitUnreachable, what + silence.what(), silence.advice(), error.name(), error.status);
    }
    const char* const advice = noPort ? "give --address and --port, or use --generation old"
                                      : "switch the BMC's USB NIC on, or give --address";
    return Failure(kExitUnreachable, what + discoveryReason(error.cause), advice, error.name(), error.status);
}

/** Whether the BMC refused the login because it has no session left to give. */
bool isExhausted()
{
    constexpr long   kServiceUnavailable = 503;
    const LoginCause cause               = loginCause(libraryErrors());
    return cause.kind == LoginCause::Kind::http && cause.number == kServiceUnavailable;
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
    auto failure = logIn();
    if (failure && isExhausted() && makeRoom()) failure = logIn();
    if (failure && isExhausted()) throw NoSessionLeft(*failure);
    if (failure) throw *failure;
    renewNote();
    const QVRFUTILSession& session = record();
    context_.output.note(std::string("session ") + session.SessionID + " at " + session.IPAddress + ":" + session.Port);
}

Session::~Session()
{
    const std::string address = record().IPAddress;
    const std::string port    = record().Port;
    close();
    if (!address.empty() && qvrfutil::Client::isSettled())
        if (const unsigned closed = closeLeftSessions(address, port); closed != 0)
            context_.output.note("closed " + std::to_string(closed) + " more, which killed commands had left");
    endAtOnceWhereThreadsAreLeft();
}

void Session::close()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    const std::string    id     = sessionId();
    const qvrfutil::Done closed = session_->close(kClosing);
    if (!id.empty()) tellClosed(context_.output, id, closed);  // without one a renewal failed, and said so
    if (closed) note_.remove();
    session_.reset();
    client_.reset();
}

std::optional<Failure> Session::logIn()
try {
    if (isNewer() && !client_->endpoint()) throw notFound(client_->endpoint().error());
    closeOnInterrupt();
    isOpening_ = true;
    session_   = std::make_unique<qvrfutil::Session>(*client_,
                                                   qvrfutil::Login{context_.options.user, context_.options.privilege});
    isOpening_ = false;
    return std::nullopt;
} catch (const qvrfutil::Failure& failure) {
    isOpening_      = false;
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose({});
    return loginFailure(context_, *client_, failure.error().status);
}

/** Closes what killed commands left there, for which this process must have nothing of the library.
 * @return whether it did */
bool Session::makeRoom()
{
    if (!client_->endpoint()) return false;
    const qvrfutil::Endpoint at = *client_->endpoint();
    client_.reset();
    const bool hasRoom = closeLeftSessions(at.isIpv6() ? '[' + at.address + ']' : at.address, at.port) != 0;
    client_            = newClient(context_);
    return hasRoom;
}

/** Also while the login is under way: its answer is waited for, or nobody would know which session to close. */
void Session::closeOnInterrupt()
{
    const auto turn = context_.interrupts.hold();
    context_.interrupts.onInterruptClose([this](Interrupts::Patience patience) {
        if (isOpening_)
            context_.output.warning("waiting for the BMC's answer to the login; a second signal ends it at once");
        const auto limit = isOpening_ ? patience : std::min(patience, kClosing);
        if (const qvrfutil::Done closed = client_->closeSession(limit); closed)
            note_.remove();
        else
            context_.output.warning("warning: the session could not be closed (" + closed.error().meaning +
                                    "); the BMC ends it when its idle time is over");
    });
}

void Session::renewNote()
{
    const auto turn = context_.interrupts.hold();
    note_.write(record(), isNewer());
}

Failure failureOf(const std::string& what, const qvrfutil::Error& error)
{
    if (error.system != 0) return Failure(kExitOutput, "cannot " + error.doing + ": " + error.meaning);
    if (error.status == 0) return Failure(kExitLibrary, what + ": " + error.meaning, error.remedy);
    return libraryFailure(what, error.status);
}

}  // namespace qvrfctl
