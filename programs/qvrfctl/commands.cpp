/** @file commands.cpp  The table of commands. */
#include "commands.h"
#include "day/day.h"

#include <iterator>

namespace qvrfctl {

CommandTable commands() noexcept
{
    static constexpr Command table[] = {
        {"status", "show the server on one screen", "qvrfctl status --json | jq -e '.health==\"OK\"'", declareStatus},
        {"power", "tell the power state, turn the server on and off", "qvrfctl power restart", declarePower},
        {"sensors", "show sensors with their bounds", "qvrfctl sensors --bad", declareSensors},
        {"log", "list the logs of server and BMC", "qvrfctl log --since 2h --severity Critical", declareLog},
        {"firmware", "list the firmware, and update it", "qvrfctl firmware update --target BIOS image.bin",
         declareFirmware},
        {"boot", "tell what the server boots from next, and change it", "qvrfctl boot once pxe", declareBoot},
        {"task", "list what the BMC is at, and wait for its end", "qvrfctl task wait 3", declareTask},
        {"tree", "list all resources by their links", "qvrfctl tree | grep -i log", declareTree},
        {"discover", "tell what the BMC says about itself over IPMI", "qvrfctl discover --json | jq -r .httpsPort",
         declareDiscover},
        {"services", "tell whether the BMC's web server and Redfish service are enabled", "qvrfctl services",
         declareServices},
        {"link", "show the USB NIC, or set it up and probe the BMC", "sudo qvrfctl link setup", declareLink},
        {"get", "read a Redfish resource", "qvrfctl get /redfish/v1/Systems --json | jq .body.Members", declareGet},
        {"post", "send a JSON body: create a resource, run an action",
         "qvrfctl post -d '{\"ResetType\":\"On\"}' \\\n"
         "    /redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset",
         declarePost},
        {"patch", "change a Redfish resource",
         "qvrfctl patch -d '{\"AssetTag\":\"rack 7\"}' \\\n    /redfish/v1/Systems/System.Embedded.1", declarePatch},
        {"delete", "delete a Redfish resource", "qvrfctl delete /redfish/v1/EventService/Subscriptions/1",
         declareDelete},
        {"upload", "upload a file with a JSON document about it",
         "qvrfctl upload --file log.zip --metadata '{\"Targets\":[]}' \\\n"
         "    /redfish/v1/UpdateService/MultipartUpload",
         declareUpload},
        {"events", "follow an event stream, one event a line", "qvrfctl events --json | jq '.data.Events[].Message'",
         declareEvents},
        {"session", "open a session, show it and close it", "qvrfctl --address fe80::1234%usb0 session",
         declareSession},
        {"user", "list, add, change and delete users of the BMC", "password=$(qvrfctl user add monitor --privilege ro)",
         declareUser},
        {"doctor", "walk the path from host to BMC and tell what is wrong", "sudo qvrfctl doctor", declareDoctor},
        {"report", "put all that a fault report needs into one archive, less known kinds of secrets",
         "sudo qvrfctl report -o fault.tar.gz", declareReport},
    };
    return {std::begin(table), std::end(table)};
}

}  // namespace qvrfctl
