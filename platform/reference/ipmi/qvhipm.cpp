/** @file qvhipm.cpp  Raw requests: QVHIPMCommand and the firmware version. */
#include "qvhipm.h"

#include <algorithm>
#include <cstring>

#include "channel.h"
#include "guarded.h"
#include "hipmstatus.h"
#include "vmwire.h"

namespace {

using qvplatform::Bytes;

constexpr u32 kLeastRequest = 2;  // netFn and command
constexpr u32 kLeastReply   = 3;  // netFn, command and completion code

bool fits(const IPMIReqRspEx& raw)
{
    return raw.ReqPhaseBufLen >= kLeastRequest && raw.ReqPhaseBufLen <= QVHIPM_BUFFER_SIZE &&
           raw.RspPhaseBufLen >= kLeastReply && raw.RspPhaseBufLen <= QVHIPM_BUFFER_SIZE;
}

}  // namespace

extern "C" booln QVHIPMCommand(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    if (request == nullptr || response == nullptr || request->ReqType != QVHIPM_REQTYPE_RAW_EX) return FALSE;
    const IPMIReqRspEx& raw = request->Parameters.IRREx;
    if (!fits(raw)) return FALSE;
    return qvplatform::guarded<booln>(FALSE, [&]() -> booln {
        const auto reply = qvplatform::bmcChannel().exchange({raw.ReqRspBuffer, raw.ReqRspBuffer + raw.ReqPhaseBufLen});
        if (!reply) return FALSE;
        if (response != request) *response = *request;
        // A short reply leaves the rest of the buffer alone: callers build their next request on earlier bytes.
        const std::size_t length = std::min<std::size_t>(reply->size(), raw.RspPhaseBufLen);
        std::memcpy(response->Parameters.IRREx.ReqRspBuffer, reply->data(), length);
        return TRUE;
    });
}

extern "C" s32 QVHIPMGetTorvoFwVersion(u16* major, u16* minor, u16* build)
{
    using namespace qvplatform;
    return guarded(kOutOfMemory, [&]() -> s32 {
        const auto reply = bmcChannel().exchange({0xC0, 0xBF, 0x01});
        if (!reply) return kNotReached;
        // A driver gives this code for a BMC that stays silent.
        if ((*reply)[2] == vmwire::kCompletionTimeout) {
            reportFailure("firmware version", "the BMC does not answer its driver");
            return kNotReached;
        }
        if ((*reply)[2] != 0 || reply->size() < 5) return kRefused;
        if (major != nullptr) *major = (*reply)[3];
        if (minor != nullptr) *minor = (*reply)[4];
        const bool tellsBuild = reply->size() >= 7;
        if (build != nullptr) *build = tellsBuild ? static_cast<u16>((*reply)[5] | (*reply)[6] << 8) : u16{0};
        return kDone;
    });
}
