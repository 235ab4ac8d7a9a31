/** @file configuration.cpp  What programs are told of the configuration, instead of reading the file by themselves. */
#include "configuration.h"

#include <cstdio>
#include <string>

#include "guarded.h"
#include "settings.h"

namespace {

using qvplatform::Endpoint;

std::string lineOf(const char* key, const std::string& value)
{
    return value.empty() ? value : std::string(key) + '=' + value + '\n';
}

std::string textOf(const Endpoint& endpoint)
{
    if (endpoint.kind == Endpoint::Kind::device) return "device:" + endpoint.place;
    if (endpoint.kind == Endpoint::Kind::unixSocket) return "unix:" + endpoint.place;
    const bool bracketed = endpoint.place.find(':') != endpoint.place.npos;
    return "tcp:" + (bracketed ? '[' + endpoint.place + ']' : endpoint.place) + ':' + endpoint.port;
}

std::string logFileOf(const qvplatform::Settings& settings)
{
    if (settings.logLevel == qvplatform::LogLevel::off) return {};
    if (!settings.logFile.empty() || settings.varDataPath.empty()) return settings.logFile;
    return settings.varDataPath + "/qvplatform.log";
}

std::string configuration()
{
    const qvplatform::Reading&  reading  = qvplatform::processReading();
    const qvplatform::Settings& settings = reading.settings;
    std::string                 text     = lineOf("file", settings.file) + lineOf("problem", settings.problem);
    if (settings.problem.empty()) {
        for (const std::string& complaint : reading.complaints) text += lineOf("complaint", complaint);
        text += lineOf("hipm.endpoint", textOf(settings.endpoint));
    }
    return text + lineOf("suptlib.logfile", logFileOf(settings)) + lineOf("secure.tokenkey", settings.tokenKeyFile);
}

}  // namespace

extern "C" u32 QVPlatformConfiguration(astring* text, u32 size)
{
    return qvplatform::guarded<u32>(0, [&] {
        const std::string all = configuration();
        if (text != nullptr && size > 0) std::snprintf(text, size, "%s", all.c_str());
        return static_cast<u32>(all.size());
    });
}
