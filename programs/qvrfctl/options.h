/** @file options.h  The options that every command takes. */
#ifndef QVRFCTL_OPTIONS_H
#define QVRFCTL_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "endpoint.h"
#include "output.h"

namespace qvrfctl {

struct Options {
    std::string address;
    std::string port;
    std::string generation = "auto";
    std::string user       = "root";
    std::string privilege  = "root";
    std::string system;       ///< where the BMC has several
    unsigned    timeout = 0;  ///< seconds for a command; 0: no limit
    OutputStyle style;
};

/** The privileges that a login and an account can have. */
const std::vector<std::string>& privileges();

void declareOptions(Arguments arguments, Options& options);

/** Where the BMC is, after the options. */
struct Target {
    Generation              generation      = Generation::older;
    bool                    findsGeneration = false;  ///< nobody named it: the BMC's service root has the last word
    std::optional<Endpoint> endpoint;                 ///< nothing: found over IPMI
};
/** @throws Failure when the options contradict each other */
Target targetOf(const Options& options);

}  // namespace qvrfctl

#endif
