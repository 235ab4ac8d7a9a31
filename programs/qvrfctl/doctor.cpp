/** @file doctor.cpp  The table of steps, and the walk through it that ends in time. */
#include "doctor.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

namespace qvrfctl {
namespace {

/** What prints the diagnosis has the rest of the 30 s. */
constexpr auto kTimeForAll = std::chrono::seconds(27);

constexpr Step kSteps[] = {
    {11, "configuration", "configuration", checkConfiguration},
    {12, "libraries", "libraries", checkLibraries},
    {13, "ipmiModule", "IPMI module", checkModule},
    {14, "ipmiDevice", "IPMI device", checkDevice},
    {15, "ipmiPermission", "IPMI permission", checkPermission},
    {16, "firmware", "firmware version", checkFirmware},
    {17, "passThrough", "pass-through", checkPassThrough},
    {18, "usbNic", "USB NIC", checkUsbNic},
    {19, "carrier", "carrier", checkCarrier},
    {20, "addresses", "addresses", checkAddresses},
    {21, "arp", "ARP answer", checkArp},
    {22, "tcp", "TCP", checkTcp},
    {23, "tls", "TLS", checkTls},
    {24, "serviceRoot", "service root", checkRoot},
    {25, "generation", "generation", checkGeneration},
    {26, "loginToken", "login token", checkToken},
    {27, "session", "session", checkSession},
    {28, "events", "events", checkEvents},
    {29, "clock", "clock", checkClock},
    {30, "sessionsLeft", "sessions left over", checkSessionsLeft},
    {31, "package", "package version", checkPackage},
    {32, "agent", "agent version", checkAgent},
    {33, "leftovers", "update leftovers", checkLeftovers},
};

Verdict tried(const Step& step, Evidence& evidence)
try {
    return step.run(evidence);
} catch (const Failure& f) {
    return failed(f.what(), f.advice());
} catch (const std::exception& e) {
    return failed(e.what(), "");
}

/** What the walking thread and the waiting one share. Outlives both: a step may hang for longer than anybody waits. */
struct Walk {
    std::mutex              mutex;
    std::condition_variable changed;
    std::vector<Finding>    findings;
    bool                    over = false;

    void add(Finding finding)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!over) findings.push_back(std::move(finding));
        changed.notify_all();
    }
};

void walk(const std::shared_ptr<Walk>& shared, const Context& context, bool probes)
{
    Evidence evidence(context, probes);
    for (const Step& step : doctorSteps()) shared->add({&step, tried(step, evidence)});
}

/** Adds what is missing when time is over: the step that hangs, and those that never began. */
void fillUp(std::vector<Finding>& findings)
{
    if (findings.size() < std::size(kSteps))
        findings.push_back({&kSteps[findings.size()],
                            failed("no end of it within " + std::to_string(kTimeForAll.count()) + " s of all steps",
                                   "the BMC is reached but hangs: wait, or restart it")});
    while (findings.size() < std::size(kSteps))
        findings.push_back({&kSteps[findings.size()], skipped("no time was left")});
}

/** What follows the first failure, warnings among it, may be its consequence: one next step, the right one. */
void keepFirstRemedy(std::vector<Finding>& findings)
{
    const auto isFailed = [](const Finding& finding) { return finding.verdict.result == Result::failed; };
    const auto first    = std::find_if(findings.begin(), findings.end(), isFailed);
    if (first == findings.end()) return;
    for (auto finding = findings.begin(); finding != findings.end(); ++finding)
        if (finding != first) finding->verdict.advice.clear();
}

}  // namespace

Verdict ok(std::string finding)
{
    return {Result::ok, std::move(finding), {}};
}
Verdict warning(std::string finding, std::string advice)
{
    return {Result::warning, std::move(finding), std::move(advice)};
}
Verdict failed(std::string finding, std::string advice)
{
    return {Result::failed, std::move(finding), std::move(advice)};
}
Verdict skipped(std::string why)
{
    return {Result::skipped, std::move(why), {}};
}

const char* nameOf(Result result) noexcept
{
    constexpr const char* names[] = {"ok", "warning", "failed", "skipped"};
    return names[static_cast<std::size_t>(result)];
}

bool needsLink(const Evidence& evidence)
{
    if (!evidence.endpoint) return true;
    const std::string& address  = evidence.endpoint->address;
    const auto         begins   = [&](const char* text) { return address.rfind(text, 0) == 0; };
    const bool         loopback = begins("127.") || address == "::1";
    const bool         given    = evidence.context.target.endpoint.has_value();
    return !loopback && (!given || begins("169.254.") || begins("fe80"));
}

StepTable doctorSteps() noexcept
{
    return {std::begin(kSteps), std::end(kSteps)};
}

const Finding* Diagnosis::firstFailed() const
{
    for (const Finding& finding : findings)
        if (finding.verdict.result == Result::failed) return &finding;
    return nullptr;
}

Json Diagnosis::document() const
{
    Json steps = Json::array();
    for (const auto& [step, verdict] : findings)
        steps.push_back({{"number", step->number},
                         {"step", step->key},
                         {"result", nameOf(verdict.result)},
                         {"said", verdict.finding},
                         {"todo", verdict.advice}});
    const Finding* first = firstFailed();
    return {{"firstFailed", first != nullptr ? Json(first->step->number) : Json()}, {"steps", steps}};
}

std::string Diagnosis::text() const
{
    std::string text;
    for (const auto& [step, verdict] : findings) {
        text +=
            std::to_string(step->number) + ' ' + step->label + ": " + nameOf(verdict.result) + ": " + verdict.finding;
        text += (verdict.advice.empty() ? "" : "\n   to do: " + verdict.advice) + '\n';
    }
    return text;
}

Diagnosis examine(const Context& context, bool probes)
{
    const auto shared = std::make_shared<Walk>();
    // Detached: what hangs in the library cannot be asked to stop. See Diagnosis::overdue.
    std::thread walker([=, &context] { walk(shared, context, probes); });
    Diagnosis   diagnosis;
    {
        std::unique_lock<std::mutex> lock(shared->mutex);
        const auto                   done = [&] { return shared->findings.size() == std::size(kSteps); };
        diagnosis.overdue                 = !shared->changed.wait_for(lock, kTimeForAll, done);
        shared->over                      = true;
        diagnosis.findings                = shared->findings;
    }
    if (diagnosis.overdue) {
        walker.detach();
        fillUp(diagnosis.findings);
    } else {
        walker.join();
    }
    keepFirstRemedy(diagnosis.findings);
    return diagnosis;
}

}  // namespace qvrfctl
