/** @file reach.cpp  Asks the BMC for its firmware version, the one thing that every BMC tells. */
#include "reach.h"

#include "OxaAutoUpdateUtils.h"
#include "failure.h"

namespace qvrfctl {
namespace {

constexpr s32 kNoExchange = 1;
constexpr s32 kTimeout    = 0xC3;

}  // namespace

bool isSilence(s32 status) noexcept
{
    return status == kNoExchange || status == kTimeout;
}

bool answersOverIpmi() noexcept
{
    u16 major = 0;
    u16 minor = 0;
    return !isSilence(APMDiscoveryGetTorvoFwVersion(&major, &minor));
}

void needAnswerOverIpmi()
{
    if (!answersOverIpmi()) throw noAnswerOverIpmi();
}

}  // namespace qvrfctl
