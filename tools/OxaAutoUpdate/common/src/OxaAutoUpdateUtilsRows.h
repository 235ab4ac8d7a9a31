/**
 * @file OxaAutoUpdateUtilsRows.h
 * The IPMI requests of discovery, to be held beside a bus trace.
 *
 * netFn bytes: C0 is OEM function 0x30, 18 Application, B8 OEM/Group.
 */
#ifndef OXAAUTOUPDATEUTILSROWS_H
#define OXAAUTOUPDATEUTILSROWS_H

#include "OxaAutoUpdateUtilsIpmi.h"

namespace qvrf::rows {

// clang-format off
//                                          preset reply  netFn  cmd   data
constexpr IpmiRow kFirmwareVersion   = opening( 1, 13, {0xC0, 0xBF, 0x01});

// A text is fetched in two steps: its length, then the text itself. Bytes 4 and 5 of the second step carry the length,
// see forLength(). Byte 8 of the package's second step is not written: BMCs have always been sent what the first reply
// left there, the low length byte.
constexpr IpmiRow kPackageLength     = opening(-1, 10, {0xC0, 0xD6, 0x01, 0x05, 0x02, 0x00, 0x00, 0x00, 0x00});
constexpr IpmiRow kPackageText       = followingOf(9, 9, {0xC0, 0xD6, 0x01, 0x05, 0x00, 0x00, 0x00, 0x00});

constexpr IpmiRow kIpv4Length        = opening( 1,  9, {0xC0, 0xD6, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00});
constexpr IpmiRow kIpv4LengthNewGen  = opening(-1,  9, {0xC0, 0xD6, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00});
constexpr IpmiRow kIpv4Text          = following(   9, {0xC0, 0xD6, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00});

constexpr IpmiRow kIpv6              = opening(-1, 28, {0xC0, 0xCF, 0x01, 0x02, 0x14, 0x00, 0x00, 0x00, 0x01});

// Attributes of the pass-through link: 01 reads and 00 writes; bytes 4 and 5 are the value's length, 6 and 7 the
// attribute, low byte first.
constexpr IpmiRow kPassThruMode      = opening( 1, 12, {0xC0, 0xCF, 0x01, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00});
constexpr std::size_t kModeByte = 11;
constexpr IpmiRow kSetPassThru[] = {
    opening( 1, 8, {0xC0, 0xCF, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00},
            " for setting ip and pt mode."),
    following(  8, {0xC0, 0xCF, 0x00, 0x00, 0x10, 0x00, 0x04, 0x00,
                    '1', '6', '9', '.', '2', '5', '4', '.', '1', '.', '1', 0, 0, 0, 0, 0},
            " for setting Torvo IP."),
    following(  8, {0xC0, 0xCF, 0x00, 0x00, 0x10, 0x00, 0x14, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
            " for setting host IP."),
    following(  8, {0xC0, 0xCF, 0x00, 0x00, 0x04, 0x00, 0x24, 0x00, 0x00, 0x00, 0x00, 0x00},
            " for setting IP subnet."),
    following(  8, {0xC0, 0xCF, 0x00, 0x00, 0x02, 0x00, 0x28, 0x00, 0x00, 0x00},
            " for setting VLANID."),
};

// Get System Info Parameters, parameter 0xDE, in blocks. What the first block left up to byte 17 is cleared with the
// second request, so that a short second block does not end in characters of the first.
constexpr IpmiRow kUrlStart          = opening( 1, 22, {0x18, 0x59, 0x00, 0xDE, 0x00, 0x00});
constexpr IpmiRow kUrlRest           = followingOf(6, 22, {0x18, 0x59, 0x00, 0xDE, 0x01, 0x00,
                                                           0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});

constexpr IpmiRow kHttpsPort         = opening(-1, 32, {0xB8, 0x02, 0xC7, 0x03, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00,
                                                 0xFF});
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
