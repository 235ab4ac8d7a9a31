/** @file commands.cpp  The table of commands. */
#include "commands.h"

#include <iterator>

namespace qvrfctl {

CommandTable commands() noexcept
{
    static constexpr Command table[] = {
        {"discover", "tell what the BMC says about itself over IPMI", declareDiscover},
        {"services", "tell whether the BMC's web server and Redfish service are enabled", declareServices},
        {"link", "show the USB NIC, or set it up and probe the BMC", declareLink},
        {"get", "read a Redfish resource", declareGet},
        {"post", "send a JSON body: create a resource, run an action", declarePost},
        {"patch", "change a Redfish resource", declarePatch},
        {"delete", "delete a Redfish resource", declareDelete},
        {"upload", "upload a file with a JSON document about it", declareUpload},
        {"events", "follow an event stream, one event a line", declareEvents},
        {"session", "open a session, show it and close it", declareSession},
        {"user", "list, add and delete users of the BMC", declareUser},
    };
    return {std::begin(table), std::end(table)};
}

}  // namespace qvrfctl
