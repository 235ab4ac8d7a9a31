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
nlohmann::json read(Patient& patient, const std::string& path)
{
    const Request request{QVRFUTIL_REQUEST_GET, path, {}, false, {}};
    const Answer  answer = send(*patient.session, request);
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
std::time_t clockOf(Patient& patient)
{
    if (!patient.root.date.empty()) return ::curl_getdate(patient.root.date.c_str(), nullptr);
    if (!patient.session) return -1;
    try {
        const auto manager = read(patient, read(patient, kManagers).at("Members").at(0).at("@odata.id"));
        return timeOf(manager.at("DateTime").get<std::string>());
    } catch (const std::exception&) {
        return -1;
    }
}

}  // namespace

Verdict checkToken(Patient& patient)
{
    if (!patient.generation) return skipped("the BMC's generation is not known");
    astring*    token     = nullptr;
    u32         length    = 0;
    std::string privilege = patient.context.options.privilege;
    const s32   st        = GenerateOAuthToken(patient.context.options.user.c_str(), privilege.data(), &token, &length);
    if (token != nullptr) ::explicit_bzero(token, length);
    SMFreeMem(token);
    if (st == OXA_SUCCESS) return ok("made, and the BMC knows it");
    const Failure failure = sessionFailure(st);
    return failed(failure.what(), failure.advice());
}

Verdict checkSession(Patient& patient)
{
    if (!patient.generation) return skipped("the BMC's generation is not known");
    const Context& context         = patient.context;
    patient.target.generation      = *patient.generation;
    patient.target.findsGeneration = false;
    if (*patient.generation == Generation::older) patient.target.endpoint.reset();  // it is found over IPMI alone
    patient.own.reset(new Context{context.options, patient.target, context.output, context.interrupts});
    patient.session = std::make_unique<Session>(*patient.own);
    return ok(std::string("opened for ") + patient.session->record().UserName);
}

Verdict checkEvents(Patient& patient)
{
    if (!patient.session) return skipped(kNoSession);
    const auto service = read(patient, kEvents);
    const auto stream  = service.find("ServerSentEventUri");
    if (stream == service.end() || !stream->is_string())
        return warning("the event service announces no stream", "'qvrfctl events' needs the PATH of one");
    if (service.value("ServiceEnabled", true))
        return ok("announced at " + harmlessLine(stream->get<std::string>()) + "; not opened");
    return warning("the event service is off", "set ServiceEnabled of " + std::string(kEvents));
}

Verdict checkClock(Patient& patient)
{
    if (!patient.reached) return skipped("there is no connection");
    const std::time_t theirs = clockOf(patient);
    if (theirs == -1) return skipped("the BMC tells no time");
    const long        skew = std::labs(static_cast<long>(std::time(nullptr) - theirs));
    const std::string text = std::to_string(skew) + " s between host and BMC";
    if (skew <= kSkew) return ok(text);
    return warning(text, "set both clocks: login tokens are good for five minutes of the BMC's time");
}

Verdict checkSessionsLeft(Patient& patient)
{
    if (!patient.session) return skipped(kNoSession);
    const bool newer   = *patient.generation == Generation::newer;
    const auto all     = read(patient, newer ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions");
    const auto members = all.find("Members");
    const int  others  = members != all.end() && members->is_array() ? static_cast<int>(members->size()) - 1 : 0;
    patient.session.reset();  // the last that needs it
    const std::string text = std::to_string(others) + " beside this one";
    if (others < kMany) return ok(text);
    return warning(text, "programs that were killed leave them: the BMC ends them when their idle time is over");
}

}  // namespace qvrfctl
