/** @file firmwareupdate.h  qvrfctl firmware update. */
#ifndef QVRFCTL_DAY_FIRMWAREUPDATE_H
#define QVRFCTL_DAY_FIRMWAREUPDATE_H

#include <string>
#include <vector>

namespace qvrfctl {

struct Context;

struct UpdateWords {
    std::string              file;
    std::string              url;      ///< in the place of a file: the BMC fetches it
    std::vector<std::string> targets;  ///< Ids of the inventory; none: the BMC knows from the image
    std::string              apply;    ///< "now", "reset", or empty: as the BMC does
    unsigned                 timeout = 0;
    bool                     noWait  = false;
    bool                     yes     = false;
};

void updateFirmware(const Context& context, const UpdateWords& words);

}  // namespace qvrfctl

#endif
