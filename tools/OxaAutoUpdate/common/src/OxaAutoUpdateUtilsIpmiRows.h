/**
 * @file OxaAutoUpdateUtilsIpmiRows.h
 * The IPMI requests of discovery, to be held beside a bus trace.
 *
 * netFn bytes: C0 is OEM function 0x30, 18 Application, B8 OEM/Group.
 */
#ifndef OXAAUTOUPDATEUTILSIPMIROWS_H
#define OXAAUTOUPDATEUTILSIPMIROWS_H

#include "OxaAutoUpdateUtilsIpmi.h"

namespace qvrf::rows {

// clang-format off
constexpr IpmiRow kFirmwareVersion   = first({0xC0, 0xBF, 0x01}).preset(1).replies(13);

// A text is fetched in two steps: its length, then the text itself. Bytes 4 and 5 of the second step carry the length,
// see forLength(). Byte 8 of the package's second step is not written: BMCs have always been sent what the first reply
// left there, the low length byte.
constexpr IpmiRow kPackageLength     = first({0xC0, 0xD6, 0x01, 0x05, 0x02, 0x00, 0x00, 0x00, 0x00})
                                           .preset(-1).replies(10);
constexpr IpmiRow kPackageText       = next({0xC0, 0xD6, 0x01, 0x05, 0x00, 0x00, 0x00, 0x00}).requests(9);

constexpr IpmiRow kIpv4Length        = first({0xC0, 0xD6, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00}).preset(1).replies(9);
constexpr IpmiRow kIpv4LengthNewGen  = kIpv4Length.preset(-1);
constexpr IpmiRow kIpv4Text          = next({0xC0, 0xD6, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});

constexpr IpmiRow kIpv6              = first({0xC0, 0xCF, 0x01, 0x02, 0x14, 0x00, 0x00, 0x00, 0x01})
                                           .preset(-1).replies(28);

// Attributes of the pass-through link: 01 reads and 00 writes; bytes 4 and 5 are the value's length, 6 and 7 the
// attribute, low byte first.
constexpr IpmiRow kPassThruMode      = first({0xC0, 0xCF, 0x01, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00})
                                           .preset(1).replies(12);
constexpr std::size_t kModeByte = 11;
constexpr IpmiRow kSetPassThru[] = {
    first({0xC0, 0xCF, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00})
        .preset(1).replies(8).purpose(" for setting ip and pt mode."),
    next({0xC0, 0xCF, 0x00, 0x00, 0x10, 0x00, 0x04, 0x00,
          '1', '6', '9', '.', '2', '5', '4', '.', '1', '.', '1', 0, 0, 0, 0, 0})
        .replies(8).purpose(" for setting Torvo IP."),
    next({0xC0, 0xCF, 0x00, 0x00, 0x10, 0x00, 0x14, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
        .replies(8).purpose(" for setting host IP."),
    next({0xC0, 0xCF, 0x00, 0x00, 0x04, 0x00, 0x24, 0x00, 0x00, 0x00, 0x00, 0x00})
        .replies(8).purpose(" for setting IP subnet."),
    next({0xC0, 0xCF, 0x00, 0x00, 0x02, 0x00, 0x28, 0x00, 0x00, 0x00})
        .replies(8).purpose(" for setting VLANID."),
};

// Get System Info Parameters, parameter 0xDE, in blocks. What the first block left up to byte 17 is cleared with the
// second request, so that a short second block does not end in characters of the first.
constexpr IpmiRow kUrlStart          = first({0x18, 0x59, 0x00, 0xDE, 0x00, 0x00}).preset(1).replies(22);
constexpr IpmiRow kUrlRest           = next({0x18, 0x59, 0x00, 0xDE, 0x01, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})
                                           .requests(6).replies(22);

constexpr IpmiRow kHttpsPort         = first({0xB8, 0x02, 0xC7, 0x03, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0xFF})
                                           .preset(-1).replies(32);
// clang-format on

/**
 * The second step for a text of @p length bytes. A length that no reply buffer holds is asked for as it is: the
 * platform refuses the record.
 */
constexpr IpmiRow forLength(IpmiRow row, u16 length)
{
    row.bytes[4]   = static_cast<u8>(length & 0xFF);
    row.bytes[5]   = static_cast<u8>(length >> 8);
    row.replyBytes = u32{length} + 9;
    return row;
}

}  // namespace qvrf::rows

#endif
