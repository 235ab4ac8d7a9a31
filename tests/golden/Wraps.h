/** @file Wraps.h  What the world answers to calls that do not reach it. */
#ifndef WRAPS_H
#define WRAPS_H

#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace golden {

struct World {
    std::map<std::string, int> commands;             ///< statuses of shell commands; 0 for any other
    int                        childStatus = 0;      ///< of a forked child, as waitpid reports it
    bool                       deaf        = false;  ///< nobody answers what is waited for
    std::string                station;              ///< the hardware address that answers ARP; empty: who did
    int                        signals = 0;          ///< each ends a pause after its first second
    std::time_t                now     = 1700000000;
    std::string                ipv6Address;  ///< the BMC's, for the session; empty: what the BMC says
    unsigned                   curlVersion = 0x080000;
    long                       httpStatus  = 0;  ///< what libcurl says of every answer; 0: what the BMC sent
    /** A variable of the environment, and what another thread sets it to behind the library's first look. */
    std::pair<std::string, std::string> changing;
    bool                                plain = false;  ///< without TLS, which takes most of a request's time
    std::function<void()>               noteTraffic;    ///< writes the requests that arrived into the transcript
};

World& world();

}  // namespace golden

#endif
