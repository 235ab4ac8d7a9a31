/** @file commandDoctor.cpp  qvrfctl doctor: shows the diagnosis, and ends with the first failed step's number. */
#include <unistd.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "doctor.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kLabelWidth  = 20;
constexpr std::size_t kResultWidth = 9;

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

Colour colourOf(Result result) noexcept
{
    constexpr Colour colours[] = {Colour::green, Colour::yellow, Colour::red, Colour::none};
    return colours[static_cast<std::size_t>(result)];
}

void show(Output& output, const Finding& finding)
{
    const auto& [step, verdict] = finding;
    output.write(std::to_string(step->number) + ' ' + padded(step->label, kLabelWidth));
    output.write(padded(nameOf(verdict.result), kResultWidth), colourOf(verdict.result));
    output.write(harmlessLine(verdict.finding) + '\n');
    if (!verdict.advice.empty()) output.write("   to do: " + harmlessLine(verdict.advice) + '\n');
}

void examineAndTell(const Context& context, bool probes)
{
    const Diagnosis diagnosis = examine(context, probes);
    if (context.output.json()) context.output.document(diagnosis.document());
    if (!context.output.json())
        for (const Finding& finding : diagnosis.findings) show(context.output, finding);
    context.output.flush();
    const Finding* const first = diagnosis.firstFailed();
    if (first == nullptr) return;
    const Failure failure(static_cast<ExitStatus>(first->step->number),
                          "step " + std::to_string(first->step->number) + " (" + first->step->label + ") failed",
                          first->verdict.advice);
    if (!diagnosis.overdue) throw failure;
    report(failure, false);  // the hanging step still uses what the usual way out would take away
    ::_exit(failure.exit());
}

}  // namespace

Action declareDoctor(Arguments arguments)
{
    auto probes = std::make_shared<bool>(false);
    arguments.flag(
        "--probe", *probes,
        "do what changes something on the host as well: bring the USB NIC up, address it, send ARP requests");
    return [probes](const Context& context) { examineAndTell(context, *probes); };
}

}  // namespace qvrfctl
