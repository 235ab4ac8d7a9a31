/** @file options.cpp  Declares the common options and draws their conclusions. */
#include "options.h"

namespace qvrfctl {

const std::vector<std::string>& privileges()
{
    static const std::vector<std::string> names{"ro", "op", "root"};
    return names;
}

void declareOptions(Arguments arguments, Options& options)
{
    arguments.text("--address", options.address, "BMC's IP address; without it the BMC is found over IPMI");
    arguments.text("--port", options.port, "BMC's HTTPS port, up to 9999; with --address, 443 unless given");
    arguments.text("--generation", options.generation, "BMC generation: new, old, or auto, which finds it out")
        .oneOf({"auto", "new", "old"})
        .showsDefault();
    arguments.text("--user", options.user, "BMC user of the session").showsDefault();
    arguments.text("--privilege", options.privilege, "privilege of the session: ro, op or root")
        .oneOf(privileges())
        .showsDefault();
    arguments.flag("--json", options.style.json, "print one JSON document");
    arguments.flag("--pretty", options.style.pretty, "indent JSON although standard output is no terminal");
    arguments.flag("-v,--verbose", options.style.verbose,
                   "say on standard error what is done, with HTTP status and time");
}

Target targetOf(const Options& options)
{
    Target target;
    if (!options.address.empty()) {
        if (options.generation == "old")
            throw wrongUsage("--address does not go with --generation old",
                             "the older generation is found over IPMI: leave --address out");
        target.endpoint = parseEndpoint(options.address, options.port.empty() ? "443" : options.port);
    } else if (!options.port.empty()) {
        throw wrongUsage("--port needs --address", "without an address, address and port are found over IPMI");
    }
    target.findsGeneration = options.generation == "auto";
    target.generation      = target.endpoint || options.generation == "new" ? Generation::newer : Generation::older;
    checkUserName(options.user);
    return target;
}

}  // namespace qvrfctl
