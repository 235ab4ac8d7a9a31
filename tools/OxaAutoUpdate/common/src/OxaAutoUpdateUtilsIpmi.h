/** @file OxaAutoUpdateUtilsIpmi.h  Raw IPMI exchanges with the BMC: requests as rows of bytes, and what sends them. */
#ifndef OXAAUTOUPDATEUTILSIPMI_H
#define OXAAUTOUPDATEUTILSIPMI_H

#include <array>
#include <cstddef>
#include <string_view>

#include "qvhipm.h"

namespace qvrf {

/**
 * One request as it travels: byte 0 netFn << 2 | LUN, byte 1 the command, then data. Its fields are named where a row
 * is written down: first({...}).preset(1).replies(13).
 */
struct IpmiRow {
    bool                               opensExchange = false;  // the record is zeroed and addressed anew
    s32                                presetStatus  = 0;      // the record's Status before the call, when it is
    u32                                requestBytes  = 0;      // the length that the BMC is told
    u32                                replyBytes    = 0;      // wanted; netFn, command and completion code among them
    std::size_t                        writtenBytes  = 0;  // put into the buffer; behind them an earlier reply stays
    std::array<u8, QVHIPM_BUFFER_SIZE> bytes{};
    const char*                        purposeText = "";  // what its failure line adds

    /** This row with another value in one field. */
    template <class T>
    constexpr IpmiRow with(T IpmiRow::*field, T value) const noexcept
    {
        IpmiRow row = *this;
        row.*field  = value;
        return row;
    }
    constexpr IpmiRow preset(s32 status) const noexcept { return with(&IpmiRow::presetStatus, status); }
    constexpr IpmiRow requests(u32 count) const noexcept { return with(&IpmiRow::requestBytes, count); }
    constexpr IpmiRow replies(u32 count) const noexcept { return with(&IpmiRow::replyBytes, count); }
    constexpr IpmiRow purpose(const char* text) const noexcept { return with(&IpmiRow::purposeText, text); }
};

template <std::size_t N>
constexpr IpmiRow next(const u8 (&request)[N]) noexcept;

/** A request that opens an exchange. */
template <std::size_t N>
constexpr IpmiRow first(const u8 (&request)[N]) noexcept
{
    IpmiRow row       = next(request);
    row.opensExchange = true;
    return row;
}

/** A request that goes on with an open exchange. */
template <std::size_t N>
constexpr IpmiRow next(const u8 (&request)[N]) noexcept
{
    static_assert(N <= QVHIPM_BUFFER_SIZE, "longer than the transfer buffer");
    IpmiRow row;
    row.requestBytes = N;
    row.writtenBytes = N;
    for (std::size_t i = 0; i < N; ++i) row.bytes[i] = request[i];
    return row;
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
