/** @file LayerBench.h  The layer on the library as it ships, against a simulator process of its own. */
#ifndef LAYERBENCH_H
#define LAYERBENCH_H

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "Child.h"
#include "qvrfutil_json.hpp"
#include "qvrfutil_stream.hpp"

namespace layertest {

using namespace qvrfutil;

/** The one simulator of this process, which the platform's configuration, read once, points at. */
inline Torvosim& theBmc()
{
    static Torvosim bmc("new", {"--session-limit", "50"});
    setenv("QVPLATFORM_CONFIG", bmc.configuration().c_str(), 1);
    return bmc;
}

inline Json tell(const std::string& line)
{
    return theBmc().tell(line);
}

inline std::size_t openSessions()
{
    return tell("sessions")["sessions"].size();
}
/** How many answers of a kind there were: "POST /test/echo 200". */
inline int answered(const std::string& kind)
{
    return tell("stats")["requests"].value(kind, 0);
}

/** An option of SOL_SOCKET; 0 where there is none. */
inline int option(int fd, int name)
{
    int       value = 0;
    socklen_t size  = sizeof value;
    getsockopt(fd, SOL_SOCKET, name, &value, &size);
    return value;
}
/** How many connections of this process are so. */
template <class Is>
int connections(Is is)
{
    int count = 0;
    for (int fd = 0; fd < 100; ++fd) count += option(fd, SO_DOMAIN) == AF_INET && is(fd) ? 1 : 0;
    return count;
}

/** These bytes as a word of the simulator's control socket. */
inline std::string word(const std::string& bytes)
{
    std::string text;
    for (const char c : bytes) {
        if (c == '"') text += '\\';
        text += c == '\n' ? "\\\\n" : c == '\r' ? "\\\\r" : c == '\\' ? R"(\\\\)" : std::string(1, c);
    }
    return '"' + text + '"';
}
/** The BMC's answer to so many GETs of @p path. */
inline void answer(const std::string& path, const std::string& statusAndHead, const std::string& body, int count = 1)
{
    tell("raw " + word("HTTP/1.1 " + statusAndHead + "\r\nConnection: close\r\n\r\n" + body) + " GET " + path + ' ' +
         std::to_string(count));
}

class EachGeneration : public testing::TestWithParam<const char*> {
protected:
    EachGeneration() { tell(std::string("generation ") + GetParam()); }
    ~EachGeneration() override
    {
        EXPECT_EQ(openSessions(), 0u);
        tell("clear");
        tell("expire");
        tell("stats reset");
    }
    bool isNewer() const { return GetParam() == std::string("new"); }

    Torvosim& bmc = theBmc();
};

}  // namespace layertest

#endif
