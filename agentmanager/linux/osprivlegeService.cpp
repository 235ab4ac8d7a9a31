/** @file osprivlegeService.cpp  What the agent's service asks of its own process: marker file, trigger, stop. */
#include <unistd.h>

#include <csignal>

#include "osprivlege.h"
#include "trace.h"

namespace {

constexpr char kConfigRequest[] = "/opt/zelmar/kappel/Oxa/etc/ini/usbnicconfig.ini";

/** The file being there is the whole request: one that cannot be deleted still asks. */
booln takeConfigRequest() noexcept
{
    if (::access(kConfigRequest, F_OK) != 0) {
        __SysDbgPrint4("IsUSBNICIntfConfigRequired: file doesn't exist, nothing to do.\n");
        return FALSE;
    }
    if (::unlink(kConfigRequest) == 0) {
        __SysDbgPrint4("IsUSBNICIntfConfigRequired: usbnicconfig.ini deleted successfully.\n");
    } else {
        __SysDbgPrint3("IsUSBNICIntfConfigRequired: Unable to delete the file: usbnicconfig.ini.\n");
    }
    return TRUE;
}

}  // namespace

extern "C" booln IsUSBNICIntfConfigRequired(void)
{
    const qvrf::TraceScope trace("IsUSBNICIntfConfigRequired", qvrf::kPlainTrace);
    return takeConfigRequest();
}

extern "C" booln getTriggerInfo(void)
{
    const qvrf::TraceScope trace("getTriggerInfo", qvrf::kPlainTrace);
    return TRUE;
}

extern "C" void stoppingAPMServiceFromWithIn(void)
{
    const qvrf::TraceScope trace("stoppingAPMServiceFromWithIn", qvrf::kPlainTrace);
    ::kill(::getpid(), SIGTERM);
}
