/** @file OxaAutoUpdateUtilsIpmi.cpp  Sends IPMI rows and judges the replies. */
#include "OxaAutoUpdateUtilsIpmi.h"

#include <cstring>

#include "OxaAutoUpdateUtilsDecode.h"
#include "qvisocppsecurecompat.h"
#include "smsupport.h"

namespace qvrf {
namespace {

constexpr u8          kBmcSlaveAddress = 0x20;
constexpr std::size_t kCompletionCode  = 2;

}  // namespace

IpmiResult IpmiExchange::send(const IpmiRow& row) noexcept
{
    IPMIReqRspEx& raw = record_.Parameters.IRREx;
    if (row.opensExchange) {
        OXAmemset_s(&record_, sizeof record_, 0, sizeof record_);
        record_.Status  = row.presetStatus;
        record_.ReqType = QVHIPM_REQTYPE_RAW_EX;
        raw.RsSA        = kBmcSlaveAddress;
        raw.ChannelNum  = 0;
    }
    raw.ReqPhaseBufLen = row.requestBytes;
    raw.RspPhaseBufLen = row.replyBytes;
    OXAmemcpy_s(raw.ReqRspBuffer, sizeof raw.ReqRspBuffer, row.bytes.data(), row.writtenBytes);

    if (QVHIPMCommand(&record_, &record_) == 0) {
        __SysDbgPrint3("%s%s%s%s%s\n", line_.before, line_.op, line_.after, line_.exchangeFailed, row.purposeText);
        return {false, 0};
    }
    const IpmiResult result{true, raw.ReqRspBuffer[kCompletionCode]};
    if (!result.ok())
        __SysDbgPrint3("%s%s%sFailed status with error code %d.%s\n", line_.before, line_.op, line_.after,
                       result.completion, row.purposeText);
    return result;
}

std::string_view IpmiExchange::text(std::size_t i) const noexcept
{
    const char* start = reinterpret_cast<const char*>(from(i));
    return {start, ::strnlen(start, QVHIPM_BUFFER_SIZE - i)};
}

void IpmiExchange::copyText(std::size_t i, void (*copy)(const astring*, astring*), astring* to) const noexcept
{
    astring terminated[QVHIPM_BUFFER_SIZE + 1];
    copyCut(terminated, sizeof terminated, text(i));
    copy(terminated, to);
}

void IpmiExchange::trace(std::size_t first, std::size_t last) const noexcept
{
    astring line[3 * QVHIPM_BUFFER_SIZE + 1] = "";
    for (std::size_t i = first, used = 0; i <= last && i < QVHIPM_BUFFER_SIZE; ++i, used += 3)
        sprintf_s(line + used, sizeof line - used, " %02X", at(i));
    __SysDbgPrint4("%s%s%sreply bytes %d to %d:%s\n", line_.before, line_.op, line_.after, static_cast<int>(first),
                   static_cast<int>(last), line);
}

}  // namespace qvrf
