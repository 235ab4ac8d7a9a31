/** @file doctorWeb.cpp  The steps on the BMC's web server, with nobody logged in. */
#include <algorithm>
#include <nlohmann/json.hpp>

#include "doctor.h"
#include "jsontext.h"

namespace qvrfctl {
namespace {

constexpr char kRoot[]      = "/redfish/v1";
constexpr char kNewerOnes[] = "/redfish/v1/SessionService/Sessions";
constexpr char kOlderOnes[] = "/redfish/v1/Sessions";

std::string placeOf(const Endpoint& endpoint)
{
    return endpoint.address + " port " + endpoint.port;
}

WebProbe probeOf(const Evidence& evidence)
{
    return WebProbe(*evidence.endpoint, evidence.interface);
}

/** Where the service root says that sessions are; empty when it does not. */
std::string sessionsOf(const WebAnswer& root)
{
    const auto json = fromBmc(root.body);
    try {
        return json.at("Links").at("Sessions").at("@odata.id").get<std::string>();
    } catch (const Json::exception&) {
        return {};
    }
}

bool exists(const Evidence& evidence, const char* collection)
{
    const WebAnswer answer = probeOf(evidence).get(collection);
    return answer.problem.empty() && answer.http != 404;
}

/** The collection that is there: the one that the service root names, before the others. */
std::optional<Generation> generationOf(const Evidence& evidence)
{
    const std::string told   = sessionsOf(evidence.root);
    const bool        older  = told == kOlderOnes;
    const char* const first  = older ? kOlderOnes : kNewerOnes;
    const char* const second = older ? kNewerOnes : kOlderOnes;
    if (exists(evidence, first)) return older ? Generation::older : Generation::newer;
    if (exists(evidence, second)) return older ? Generation::newer : Generation::older;
    return std::nullopt;
}

}  // namespace

Verdict checkTcp(Evidence& evidence)
{
    if (!evidence.endpoint)
        return evidence.answers ? failed("the BMC tells no address", "switch its USB NIC on, or give --address")
                                : skipped("the BMC's address is not known: give --address");
    const WebAnswer answer = probeOf(evidence).connect();
    evidence.reached       = answer.problem.empty();
    if (evidence.reached) return ok(placeOf(*evidence.endpoint) + " takes connections");
    return failed(placeOf(*evidence.endpoint) + ": " + answer.problem,
                  "see the link's steps; switch the BMC's web server on, or correct --address and --port");
}

Verdict checkTls(Evidence& evidence)
{
    if (!evidence.reached) return skipped("there is no connection");
    std::string all;
    for (const std::string& version : probeOf(evidence).tlsVersions()) all += (all.empty() ? "" : ", ") + version;
    if (all.empty())
        return failed("no version of TLS is answered", "restart the BMC's web server; it may serve no HTTPS here");
    if (all.find("1.2") != all.npos || all.find("1.3") != all.npos) return ok("versions " + all);
    return warning("versions " + all + " alone", "update the BMC's firmware: this host may refuse TLS older than 1.2");
}

Verdict checkRoot(Evidence& evidence)
{
    if (!evidence.reached) return skipped("there is no connection");
    evidence.root         = probeOf(evidence).get(kRoot);
    const WebAnswer& root = evidence.root;
    const HttpRow&   row  = httpRow(static_cast<int>(root.http));
    if (!root.problem.empty()) return failed(std::string(kRoot) + ": " + root.problem, "restart the BMC's web server");
    if (root.http != 200)
        return failed(std::string(kRoot) + ": HTTP " + std::to_string(root.http) + ' ' + row.reason,
                      "switch Redfish on in the BMC's settings: see 'qvrfctl services'");
    return isJson(root.body)
               ? ok(std::string(kRoot) + " answers")
               : failed(std::string(kRoot) + " is not JSON", "this may be no BMC: check --address and --port");
}

Verdict checkGeneration(Evidence& evidence)
{
    if (evidence.root.http != 200) return skipped("there is no service root");
    evidence.generation = generationOf(evidence);
    if (!evidence.generation)
        return failed("there is a session collection of neither generation", "update the BMC's firmware");
    const char*        name  = *evidence.generation == Generation::newer ? "new" : "old";
    const std::string& given = evidence.context.options.generation;
    if (given == "auto" || given == name) return ok(name);
    return failed(std::string(name) + ", and not " + given, "leave --generation out, or give auto");
}

}  // namespace qvrfctl
