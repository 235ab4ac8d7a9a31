/** @file OxaAutoUpdateUtilsIpmi.h  Raw IPMI exchanges with the BMC: requests as rows of bytes, one function that sends
 * any. */
#ifndef OXAAUTOUPDATEUTILSIPMI_H
#define OXAAUTOUPDATEUTILSIPMI_H

#include <array>
#include <cstddef>
#include <string_view>

#include "qvhipm.h"

namespace qvrf {

/** One request as it travels: byte 0 netFn << 2 | LUN, byte 1 the command, then data. */
struct IpmiRow {
    bool                               opens;         // begins an exchange: the record is zeroed and addressed anew
    s32                                preset;        // the record's Status before the call, when the row opens
    u32                                requestBytes;  // length that the BMC is told
    u32                                replyBytes;  // reply bytes wanted, netFn, command and completion code among them
    std::size_t                        written;     // bytes put into the buffer; behind them an earlier reply stays
    std::array<u8, QVHIPM_BUFFER_SIZE> bytes;
    const char*                        purpose;  // what its failure line adds
};

template <std::size_t N>
constexpr IpmiRow ipmiRow(bool opens, s32 preset, u32 requestBytes, u32 replyBytes, const u8 (&request)[N],
                          const char* purpose)
{
    static_assert(N <= QVHIPM_BUFFER_SIZE, "longer than the transfer buffer");
    IpmiRow row{opens, preset, requestBytes, replyBytes, N, {}, purpose};
    for (std::size_t i = 0; i < N; ++i) row.bytes[i] = request[i];
    return row;
}

/** A request that opens an exchange. */
template <std::size_t N>
constexpr IpmiRow opening(s32 preset, u32 replyBytes, const u8 (&request)[N], const char* purpose = "")
{
    return ipmiRow(true, preset, N, replyBytes, request, purpose);
}

/** A request that goes on with an open exchange. */
template <std::size_t N>
constexpr IpmiRow following(u32 replyBytes, const u8 (&request)[N], const char* purpose = "")
{
    return ipmiRow(false, 0, N, replyBytes, request, purpose);
}

/** A following request whose length differs from the bytes put into the buffer. */
template <std::size_t N>
constexpr IpmiRow followingOf(u32 requestBytes, u32 replyBytes, const u8 (&request)[N])
{
    return ipmiRow(false, 0, requestBytes, replyBytes, request, "");
}

/** How an operation words its failure lines: before, op, after, text. */
struct IpmiFailureLine {
    const char* op;
    const char* before         = "[AUFPI]";
    const char* after          = ": ";
    const char* exchangeFailed = "QVHIPMCommand command for Generate failed!!";
};

struct IpmiResult {
    bool tookPlace;
    u8   completion;  // 0 is success; meaningless when the exchange did not take place
    bool ok() const noexcept { return tookPlace && completion == 0; }
    /** The operation's result: the completion code, or @p failed when there was no exchange. */
    s32 statusOr(s32 failed) const noexcept { return tookPlace ? completion : failed; }
};

/** One exchange of one or more requests; the reply overwrites the request in the same buffer. */
class IpmiExchange {
public:
    explicit IpmiExchange(const IpmiFailureLine& line) noexcept : line_(line) {}

    /** Sends a row; a failure is logged. */
    IpmiResult send(const IpmiRow& row) noexcept;

    // What the reply holds, by its position in the buffer. This BMC uses both byte orders.
    u8  at(std::size_t i) const noexcept { return buffer()[i]; }
    u16 le16(std::size_t i) const noexcept { return static_cast<u16>(at(i) | at(i + 1) << 8); }
    u16 be16(std::size_t i) const noexcept { return static_cast<u16>(at(i) << 8 | at(i + 1)); }
    /** The text from @p i to its NUL, or to the buffer's end. */
    std::string_view text(std::size_t i) const noexcept;
    const u8*        from(std::size_t i) const noexcept { return buffer() + i; }
    /** Copies the text from @p i by the exported @p copy, which the log shows; @p to has room for any reply's text. */
    void copyText(std::size_t i, void (*copy)(const astring*, astring*), astring* to) const noexcept;

    /** Writes reply bytes @p first to @p last to the trace. */
    void trace(std::size_t first, std::size_t last) const noexcept;

private:
    const u8* buffer() const noexcept { return record_.Parameters.IRREx.ReqRspBuffer; }

    IpmiFailureLine    line_;
    EsmIPMICmdIoctlReq record_{};
};

}  // namespace qvrf

#endif
