/**
 * @file torvosim.h
 * The BMC on a desk: a Redfish service over TLS, an IPMI responder, users, login tokens and a KS log, in one object.
 *
 * Tests and benchmarks run it inside their own process; the program `torvosim` is a command line around it.
 */
#ifndef TORVOSIM_H
#define TORVOSIM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace torvosim {

struct Options {
    std::vector<std::string> httpsAddresses;  ///< empty: 127.0.0.1, and ::1 where the host has it
    std::uint16_t            httpsPort = 0;   ///< 0: a free one of at most four digits, the same on every address
    /// The host's end of a link to a BMC in a network namespace of its own, which is made, and removed by stop(); HTTPS
    /// is then served at its far end alone, on port 443 unless another is given. Empty: no link. Needs root.
    std::string linkName;
    std::string linkNamespace;  ///< name of that namespace, as `ip netns` knows it; empty: it has none
    std::string tlsMin = "1.2";
    std::string tlsMax = "1.3";

    std::string stateDir;       ///< empty: a directory below $TMPDIR that stop() removes
    std::string ipmiUnix;       ///< empty: ipmi.sock in the state directory
    std::string ipmiTcp;        ///< host:port; empty: no TCP listener; port 0: any free one
    std::string controlSocket;  ///< empty: control.sock in the state directory
    std::string tokenKeyFile;   ///< key shared with the token service; empty: made new in the state directory
    std::string mockupDir;      ///< tree of index.json files served instead of the built-in one
    std::string packageDir;     ///< files served below /software/oxa/ without a session
    std::string trace;          ///< file, or "-" for standard output; empty: only kept for the control verb

    bool        newGeneration         = true;
    std::size_t sessionLimit          = 8;
    unsigned    sessionTimeoutSeconds = 1800;  ///< idle time after which a session ends; 0: never
    unsigned    loginsPerToken        = 1;     ///< 0: as often as one likes until it expires
    bool        sessionDeleteBody     = true;  ///< DELETE of a session answers 200 with a body, else 204
    unsigned    eventIntervalMs       = 0;     ///< an event on every open stream at this interval; 0: none by itself
    std::string rootPassword          = "simulator";

    std::vector<std::string> openPrefixes;  ///< paths that need no session, beside /test and /software
    std::vector<std::string> controlLines;  ///< carried out before anything listens; a refused one fails start()
};

class Simulator {
public:
    explicit Simulator(Options options = {});
    ~Simulator();
    Simulator(const Simulator&)            = delete;
    Simulator& operator=(const Simulator&) = delete;

    /**
     * Listens on everything that the options ask for.
     * @throws std::invalid_argument for options that are wrong by themselves, std::runtime_error for the rest
     */
    void start();
    /** Closes every socket, joins every thread, removes a state directory of its own. Any thread; repeatable. */
    void stop() noexcept;

    /** Carries out one line of control words. @return one line of JSON, without line feed. Any thread. */
    std::string control(std::string_view line);
    /** Whether the control word "stop" was given. */
    bool stopRequested() const noexcept;
    /** A descriptor that becomes readable with "stop"; it stays the simulator's. */
    int stopDescriptor() const noexcept;

    // Valid after start().
    std::uint16_t                   httpsPort() const;
    const std::vector<std::string>& httpsAddresses() const;
    const std::string&              ipmiUnixPath() const;
    const std::string&              ipmiTcp() const;  ///< "host:port" with the port in use; empty: none
    const std::string&              controlPath() const;
    const std::string&              stateDir() const;
    const std::string&              tokenKeyPath() const;
    const std::string&              certificatePath() const;  ///< the service's certificate, PEM
    std::string                     readyJson() const;        ///< all of the above as one JSON object
    std::string                     platformConfig() const;   ///< configuration text for the reference platform

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/** Nobody is at the control socket. */
struct NoAnswer : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/**
 * Sends one control line to a running simulator and waits for its answer, so many seconds at most.
 * @return its answer. @throws NoAnswer, std::invalid_argument
 */
std::string controlOverSocket(const std::string& socketPath, const std::vector<std::string>& words,
                              unsigned timeoutSeconds = 10);

}  // namespace torvosim

#endif
