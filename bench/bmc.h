/** @file bmc.h  The BMC to measure against: torvosim in a process of its own. */
#ifndef BMC_H
#define BMC_H

#include <string>

#include "process.h"

namespace bench {

/** Its work and memory are not the client's. */
class Bmc {
public:
    /** Starts it, waits until it listens, and points this process's reference platform at it. @throws */
    explicit Bmc(const Words& options = {});
    ~Bmc();
    Bmc(const Bmc&)            = delete;
    Bmc& operator=(const Bmc&) = delete;

    const std::string& port() const noexcept { return port_; }
    std::string        stateDir() const { return scratch_.path() + "/state"; }

    /** Has a control line carried out. @return its answer, JSON. @throws when it is refused */
    std::string control(const std::string& line) const;
    /** Waits until as many event streams are open. */
    void awaitStreams(unsigned count) const;

private:
    std::string controlPath() const { return scratch_.path() + "/control.sock"; }
    void        awaitReady();

    ScratchDirectory scratch_;
    pid_t            process_ = -1;
    std::string      port_;
};

/** The library, initialised and logged in to the BMC on loopback. One at a time. */
class Agent {
public:
    explicit Agent(const std::string& port);
    ~Agent();
    Agent(const Agent&)            = delete;
    Agent& operator=(const Agent&) = delete;

    /** The session's token in the clear, for those who go without the library. */
    std::string token() const;
};

}  // namespace bench

#endif
