/** @file platform.h  What the reference platform tells of its configuration and of its way to the BMC. */
#ifndef QVTOOLS_PLATFORM_H
#define QVTOOLS_PLATFORM_H

#include <string>
#include <vector>

namespace qvtools {

/** The platform's own judgement: nothing here is read or judged a second time. */
struct Configuration {
    bool                     isTold = false;  ///< the maker's platform tells nothing: all else is empty then
    std::string              file;            ///< that counts; empty: the defaults do
    std::string              problem;         ///< the file that was named cannot be used: nothing is reached
    std::vector<std::string> complaints;      ///< files that were left out, lines that were
    std::string              endpoint;        ///< "device:/dev/ipmi0"
    std::string              logFile;         ///< empty: the debug print is off
    std::string              tokenKey;

    /** What is wrong, in one sentence; empty: nothing. */
    std::string fault() const;
};
Configuration configuration();

/** What there is to do about a configuration at fault. */
inline constexpr char kMendConfiguration[] =
    "mend the platform's configuration, or name another with QVPLATFORM_CONFIG";

/** Why the BMC was not reached, for a reader. */
struct Unreached {
    std::string cause;  ///< "connect at /run/bmc: Connection refused"; empty: the platform does not tell
    std::string advice;
};

/** Whether this thread's last exchange over IPMI did not take place, as far as the platform tells. */
bool isUnreached();
/** What there is to do about a BMC that answers, and not with what was asked for. */
inline constexpr char kNotTold[] = "the BMC may be restarting: try again, then look into its log";

/**
 * Of this thread's last exchange over IPMI.
 * @param otherwise  the advice where neither the configuration nor a socket is the reason
 * @param answered   the advice where the exchange took place: the BMC refused, or its driver heard nothing of it
 */
Unreached whyUnreached(const std::string& otherwise, const std::string& answered = kNotTold);

}  // namespace qvtools

#endif
