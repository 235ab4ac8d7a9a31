/** @file OxaAutoUpdateUtilsRecord.cpp  The record of a finished update in the logs. */
#include <algorithm>
#include <chrono>
#include <thread>

#include "OxaAutoUpdateLinuxShell.h"
#include "OxaAutoUpdateUtils.h"
#include "OxaAutoUpdateUtilsPaths.h"
#include "OxaAutoUpdateUtilsText.h"
#include "qvisocppsecurecompat.h"
#include "qvstatus.h"
#include "trace.h"

namespace qvrf {
namespace {

constexpr u32 kMessageSize  = 4096;
constexpr u32 kOsLogType    = 4;
constexpr u32 kOsLogLevel   = 4;
constexpr u32 kOsLogEventId = 8196;

constexpr char kMessageId[] = "OXA0034";
constexpr char kUser[]      = "root";  // only root can update

constexpr u8   kExportFailures  = 3;  // a process's budget, not a call's: a BMC that refuses is left alone
constexpr auto kPauseAfterFault = std::chrono::seconds(5);

const char* verbOf(s32 installation) noexcept
{
    switch (installation) {
        case 0: return "updated";
        case 2: return "downgraded";
        default: return "installed";
    }
}

/** Verb, version and user of the message, as the BMC's log takes them: an array of texts of the platform's. */
class MessageArguments {
public:
    static constexpr u32 kCount = 3;

    MessageArguments() noexcept : texts_(static_cast<astring**>(SMAllocMem(kCount * sizeof(astring*))))
    {
        if (!texts_) return;
        texts_.get()[1] = smCopy({OxaUpdatedVersion, ::strnlen(OxaUpdatedVersion, APM_VERSION_SIZE)}).release();
        texts_.get()[2] = smCopy(kUser).release();
        texts_.get()[0] = smCopy(verbOf(installationType)).release();
    }
    ~MessageArguments()
    {
        for (u32 i = 0; texts_ && i < kCount; ++i) SMFreeMem(texts_.get()[i]);
    }
    MessageArguments(MessageArguments&&) = delete;

    explicit operator bool() const noexcept
    {
        return texts_ && std::all_of(get(), get() + kCount, [](const astring* text) { return text != nullptr; });
    }
    astring** get() const noexcept { return texts_.get(); }

private:
    SmOwned<astring*> texts_;
};

void exportToKsLog(const char* op, astring** arguments, u32 count) noexcept
{
    static u8 i = 0;
    while (i != kExportFailures) {
        if (SMHOSMIExportLogKSL(kMessageId, count, arguments) == 0) {
            __SysDbgPrint4("[AUFPI]%s: Successfully Logged to Torvo.\n", op);
            return;
        }
        __SysDbgPrint3("[AUFPI]%s: failed SMHOSMIExportLogKSL.\n", op);
        ++i;
        std::this_thread::sleep_for(kPauseAfterFault);
    }
}

s32 recordUpdate(const char* op) noexcept
{
    const SmOwned<astring> command = smText(kPathSize);
    if (!command) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the usage logger.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    sprintf_s(command.get(), kPathSize, "%s/%s %s %s", kUsualInstallPath, "lib64/qvoxa/oxamutlogger", "AutoUpdate",
              "os=Linux");
    const s32 status = runShell(op, command.get());
    if (status != 0)
        __SysDbgPrint3("%s: feature enabled tracking failed.\n", op);
    else
        __SysDbgPrint4("%s: feature enabled tracking message logged.\n", op);

    const SmOwned<astring> message = smText(kMessageSize);
    const MessageArguments arguments;
    if (!message || !arguments) {
        __SysDbgPrint3("[AUFPI]%s: failed to alloc memory for the message.\n", op);
        return OXA_UPDATE_OUT_OF_MEMORY;
    }
    sprintf_s(message.get(), kMessageSize,
              "The Auto Update feature successfully %s the Torvo Service Module to version %s, where the server "
              "operating system (OS) user is %s.",
              arguments.get()[0], arguments.get()[1], arguments.get()[2]);
    if (SMAppendToOSSysLog(kOsLogType, kOsLogLevel, kOsLogEventId, "Torvo Service Module", message.get(), kMessageId, 0,
                           nullptr) != 0)
        __SysDbgPrint3("[AUFPI]%s: failed SMAppendToOSSysLog.\n", op);
    exportToKsLog(op, arguments.get(), MessageArguments::kCount);
    return status;
}

}  // namespace
}  // namespace qvrf

extern "C" s32 OxaAutoUpdateLogtoOSKS(void)
{
    const qvrf::Uncancelled uncancelled;
    static constexpr char   op[] = "OxaAutoUpdateLogtoOSKS";
    __SysDbgPrint3("validateExecutionPath: Entry.\n");  // log readers know the operation by this line
    const s32 status = qvrf::recordUpdate(op);
    __SysDbgPrint4("[AUFPI]%s: exit.\n", op);
    return status;
}
