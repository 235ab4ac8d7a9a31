/** @file doctorRedfish.cpp  The steps of somebody who logs in. The session is closed again. */
#include <curl/curl.h>
#include <string.h>
#include <time.h>

#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include "doctor.h"
#include "jsontext.h"
#include "oxarfutilHelper.h"
#include "qvstatus.h"
#include "request.h"
#include "smsupport.h"

namespace qvrfctl {
namespace {

constexpr char kEvents[]   = "/redfish/v1/EventService";
constexpr char kManagers[] = "/redfish/v1/Managers";
constexpr long kSkew       = 60;
constexpr int  kMany       = 4;

const char kNoSession[] = "there is no session";

/** The resource at @p path. @throws Failure */
nlohmann::json read(Evidence& evidence, const std::string& path)
{
    const Request request{QVRFUTIL_REQUEST_GET, path, {}, false, {}};
    const Answer  answer = send(*evidence.session, request);
    if (answer.http >= 400) throw httpFailure(request, answer);
    auto json = fromBmc(answer.body);
    if (json.is_null()) throw Failure(kExitLibrary, path + " is not JSON");
    return json;
}

/** Seconds since 1970 after "2026-01-31T12:00:00+00:00"; -1 when it is none. */
std::time_t timeOf(const std::string& text)
{
    std::tm parts{};
    if (::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S%z", &parts) == nullptr) return -1;
    const long offset = parts.tm_gmtoff;  // timegm() sets it to 0
    return ::timegm(&parts) - offset;
}

/** The BMC's clock: the web server's date, or the first manager's own word. -1: it tells none. */
std::time_t clockOf(Evidence& evidence)
{
    if (!evidence.root.date.empty()) return ::curl_getdate(evidence.root.date.c_str(), nullptr);
    if (!evidence.session) return -1;
    try {
        const auto manager = read(evidence, read(evidence, kManagers).at("Members").at(0).at("@odata.id"));
        return timeOf(manager.at("DateTime").get<std::string>());
    } catch (const std::exception&) {
        return -1;
    }
}

}  // namespace

Verdict checkToken(Evidence& evidence)
{
    if (!evidence.generation) return skipped("the BMC's generation is not known");
    astring*    token     = nullptr;
    u32         length    = 0;
    std::string privilege = evidence.context.options.privilege;
    const s32   st = GenerateOAuthToken(evidence.context.options.user.c_str(), privilege.data(), &token, &length);
    if (token != nullptr) ::explicit_bzero(token, length);
    SMFreeMem(token);
    if (st == OXA_SUCCESS) return ok("made, and the BMC knows it");
    const Failure failure = sessionFailure(st);
    return failed(failure.what(), failure.advice());
}

Verdict checkSession(Evidence& evidence)
{
    if (!evidence.generation) return skipped("the BMC's generation is not known");
    const Context& context          = evidence.context;
    evidence.target.generation      = *evidence.generation;
    evidence.target.findsGeneration = false;
    if (*evidence.generation == Generation::older) evidence.target.endpoint.reset();  // it is found over IPMI alone
    evidence.own.reset(new Context{context.options, evidence.target, context.output, context.interrupts});
    evidence.session = std::make_unique<Session>(*evidence.own);
    return ok(std::string("opened for ") + evidence.session->record().UserName);
}

Verdict checkEvents(Evidence& evidence)
{
    if (!evidence.session) return skipped(kNoSession);
    const auto service = read(evidence, kEvents);
    const auto stream  = service.find("ServerSentEventUri");
    if (stream == service.end() || !stream->is_string())
        return warning("the event service announces no stream", "'qvrfctl events' needs the PATH of one");
    if (service.value("ServiceEnabled", true))
        return ok("announced at " + harmlessLine(stream->get<std::string>()) + "; not opened");
    return warning("the event service is off", "set ServiceEnabled of " + std::string(kEvents));
}

Verdict checkClock(Evidence& evidence)
{
    if (!evidence.reached) return skipped("there is no connection");
    const std::time_t theirs = clockOf(evidence);
    if (theirs == -1) return skipped("the BMC tells no time");
    const long        skew = std::labs(static_cast<long>(std::time(nullptr) - theirs));
    const std::string text = std::to_string(skew) + " s between host and BMC";
    if (skew <= kSkew) return ok(text);
    return warning(text, "set both clocks: login tokens are good for five minutes of the BMC's time");
}

Verdict checkSessionsLeft(Evidence& evidence)
{
    if (!evidence.session) return skipped(kNoSession);
    const bool newer   = *evidence.generation == Generation::newer;
    const auto all     = read(evidence, newer ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions");
    const auto members = all.find("Members");
    const int  others  = members != all.end() && members->is_array() ? static_cast<int>(members->size()) - 1 : 0;
    evidence.session.reset();  // the last that needs it
    const std::string text = std::to_string(others) + " beside this one";
    if (others < kMany) return ok(text);
    return warning(text, "programs that were killed leave them: the BMC ends them when their idle time is over");
}

}  // namespace qvrfctl
