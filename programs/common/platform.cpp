/** @file platform.cpp  Asks the platform, where it is the reference one. */
#include "platform.h"

#include <dlfcn.h>

#include <sstream>

#include "qvtypes.h"

namespace qvtools {
namespace {

/** The text of an operation that is no part of the contract; nothing where this platform lacks it. */
std::string toldBy(const char* operation)
{
    using Tell      = u32 (*)(astring*, u32);
    const auto tell = reinterpret_cast<Tell>(::dlsym(RTLD_DEFAULT, operation));
    if (tell == nullptr) return {};
    std::string text(tell(nullptr, 0) + std::size_t{1}, '\0');
    tell(text.data(), static_cast<u32>(text.size()));
    return text.c_str();
}

void take(Configuration& into, const std::string& key, const std::string& value)
{
    if (key == "file") into.file = value;
    if (key == "problem") into.problem = value;
    if (key == "complaint") into.complaints.push_back(value);
    if (key == "hipm.endpoint") into.endpoint = value;
    if (key == "suptlib.logfile") into.logFile = value;
    if (key == "secure.tokenkey") into.tokenKey = value;
}

bool tookPlace(const Configuration& at, const std::string& cause)
{
    const auto says = [&](const char* text) { return cause.find(text) != cause.npos; };
    return at.isTold && (cause.empty() || says("the BMC refused") || says("does not answer its driver"));
}

std::string adviceFor(const Configuration& at, const std::string& cause, const std::string& otherwise,
                      const std::string& answered)
{
    if (!at.fault().empty()) return kMendConfiguration;
    if (tookPlace(at, cause)) return answered;
    if (at.endpoint.empty() || at.endpoint.rfind("device:", 0) == 0) return otherwise;
    return "start the BMC there, or correct hipm.endpoint in " + at.file + "; the BMC may be restarting: try again";
}

}  // namespace

std::string Configuration::fault() const
{
    if (!problem.empty()) return problem;
    std::string all;
    for (const std::string& complaint : complaints) all += (all.empty() ? "" : "; ") + complaint;
    return all;
}

Configuration configuration()
{
    Configuration      told;
    std::istringstream lines(toldBy("QVPlatformConfiguration"));
    for (std::string line; std::getline(lines, line); told.isTold = true) {
        const auto equals = line.find('=');
        if (equals != line.npos) take(told, line.substr(0, equals), line.substr(equals + 1));
    }
    return told;
}

bool isUnreached()
{
    return !toldBy("QVHIPMLastProblem").empty();
}

Unreached whyUnreached(const std::string& otherwise, const std::string& answered)
{
    const Configuration at    = configuration();
    std::string         cause = toldBy("QVHIPMLastProblem");
    if (const std::string fault = at.problem.empty() ? at.fault() : ""; !fault.empty())
        cause += (cause.empty() ? "" : "; ") + fault;
    return {cause, adviceFor(at, cause, otherwise, answered)};
}

}  // namespace qvtools
