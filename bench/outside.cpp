/** @file outside.cpp  The clients that others wrote. */
#include "outside.h"

#include <cstdlib>

#include "coldpath.h"
#include "process.h"

namespace bench {

namespace {

constexpr char kPython[] = "/usr/bin/python3";  // the distribution's: what it installs, that one finds

bool succeeds(const char* command)
{
    return std::system(command) == 0;
}

std::string addressOf(const std::string& port)
{
    return "127.0.0.1:" + port;
}

// A session as a shell script opens one: the token is in the head of the first answer.
constexpr char kColdScript[] = R"(set -e
url=https://$1
cr=$(printf '\r')
head=$(curl -ksf --noproxy '*' -D - -o /dev/null -H 'Content-Type: application/json' \
    -d '{"UserName":"root","Password":"simulator"}' "$url/redfish/v1/SessionService/Sessions")
token=${head#*X-Auth-Token: } session=${head#*Location: }
curl -ksf --noproxy '*' -H "X-Auth-Token: ${token%%$cr*}" "$url$2"
curl -ksf --noproxy '*' -H "X-Auth-Token: ${token%%$cr*}" -X DELETE "$url${session%%$cr*}"
)";

}  // namespace

bool haveCurl()
{
    static const bool have = succeeds("command -v curl >/dev/null");
    return have;
}

bool haveSushy()
{
    static const bool have = succeeds("/usr/bin/python3 -c 'from sushy import auth' 2>/dev/null");
    return have;
}

bool haveRedfishtool()
{
    static const bool have = succeeds("command -v redfishtool >/dev/null");
    return have;
}

Figures timedProcess(const Words& words)
{
    Words command{sibling("bench_timed")};
    command.insert(command.end(), words.begin(), words.end());
    return findingsOf(command);
}

Words curlCommand(const Words& words, const std::string& token)
{
    Words command{"curl", "-ksf", "--noproxy", "*"};
    if (!token.empty()) command.insert(command.end(), {"-H", "X-Auth-Token: " + token});
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

Words sushyCommand(const std::string& port, const Words& words)
{
    Words command{kPython, BENCH_SOURCES "/outside.py", addressOf(port)};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

Words coldCurl(const std::string& port)
{
    return {"sh", "-c", kColdScript, "sh", addressOf(port), kColdPath};
}

Words coldSushy(const std::string& port)
{
    return sushyCommand(port, {"cold", kColdPath});
}

Words coldRedfishtool(const std::string& port)
{
    return {"redfishtool", "-r", addressOf(port), "-u",  "root", "-p",     "simulator", "-A",
            "Session",     "-S", "Always",        "raw", "GET",  kColdPath};
}

}  // namespace bench
