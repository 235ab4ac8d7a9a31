/** @file OxaAutoUpdateUtilsVersionReport.cpp  Prints which versions there are. */
#include <cstdio>

#include "OxaAutoUpdateUtils.h"
#include "trace.h"

namespace qvrf {
namespace {

/** Writes one line to the console, and to the debug log with the operation's name. */
void report(const char* op, const char* what, const char* version) noexcept
{
    std::printf("%s : %s\n", what, version);
    __SysDbgPrint3("[AUFPI]%s: %s : %s\n", op, what, version);
}

// Scripts rely on these lines, on the blanks and on the wording: "Available" stands for an installed version, too.
void reportVersions(const char* op) noexcept
{
    astring available[APM_VERSION_SIZE]{};
    astring installed[APM_VERSION_SIZE]{};
    if (APMDiscoveryGetOxaPloxVersion(available) == 0)
        report(op, "Available Torvo Service Module KS package version", available);
    else
        report(op, "Available Torvo Service Module KS package version", "NA.");
    if (APMDiscoveryGetOxaOSVersion(installed) == 0)
        report(op, "Currently installed Torvo Service Module version ", installed);
    else
        report(op, "Available Torvo Service Module  package version", "NA.");
}

}  // namespace
}  // namespace qvrf

extern "C" s32 getOxaversion(void)
{
    static constexpr char  op[] = "getOxaversion";
    const qvrf::TraceScope trace(op, qvrf::kUpdateTrace);
    qvrf::reportVersions(op);
    return 0;
}
