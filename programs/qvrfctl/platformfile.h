/** @file platformfile.h  The configuration of the reference platform, as far as a diagnosis looks at it. */
#ifndef QVRFCTL_PLATFORMFILE_H
#define QVRFCTL_PLATFORMFILE_H

#include <map>
#include <string>

namespace qvrfctl {

struct PlatformFile {
    std::string                        path;     ///< the one that the platform takes; empty: there is none
    std::string                        problem;  ///< why it cannot be used; empty: it can
    std::string                        text;
    std::map<std::string, std::string> values;

    /** The value of @p key, or @p otherwise. */
    std::string value(const std::string& key, const std::string& otherwise) const;
};

PlatformFile readPlatformFile();

}  // namespace qvrfctl

#endif
