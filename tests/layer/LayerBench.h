/** @file LayerBench.h  The layer on the library as it ships, against a simulator process of its own. */
#ifndef LAYERBENCH_H
#define LAYERBENCH_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "Child.h"
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

/** A control line, without a process for it: storms need many. */
inline Json tell(const std::string& line)
{
    sockaddr_un to{};
    to.sun_family          = AF_UNIX;
    const std::string path = theBmc().directory() + "/state/control.sock";
    std::memcpy(to.sun_path, path.c_str(), path.size() + 1);
    const int   fd    = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto  words = line + '\n';
    std::string answer;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 &&
        ::write(fd, words.data(), words.size()) > 0)
        for (char c = 0; ::read(fd, &c, 1) == 1 && c != '\n';) answer += c;
    ::close(fd);
    Json json = Json::parse(answer, nullptr, false);
    EXPECT_TRUE(json.is_object() && json.value("ok", false)) << line << ": " << answer;
    return json;
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
