/** @file BenchIpmi.cpp  The IPMI service on the bench: raw requests, command lines, the user database. */
#include <cstring>

#include "BenchPlatform.h"

using namespace rig;

extern "C" {

booln QVHIPMCommand(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    const Paused paused;
    return platform().ipmi(request, response);
}

s32 QVHIPMGetTorvoFwVersion(u16* major, u16* minor, u16* build)
{
    const Paused paused;
    if (refused("QVHIPMGetTorvoFwVersion")) return 1;
    if (platform().firmwareStatus != 0) return platform().firmwareStatus;
    if (major) *major = static_cast<u16>(platform().firmwareMajor);
    if (minor) *minor = static_cast<u16>(platform().firmwareMinor);
    if (build) *build = 0;
    return 0;
}

s32 QVHIPMVorskPassthru(const astring* command, astring** response)
{
    const Paused               paused;
    std::optional<std::string> reply;
    const s32                  status = platform().text(Channel::commandLine, "QVHIPMVorskPassthru", command, reply);
    *response                         = reply ? platform().newText(*reply) : nullptr;
    return status;
}

s32 QVHIPMVorskCmdPassthru(const astring* command, const astring* key, u32 keyLength, astring* value, u32 valueSize,
                           u32 flags)
{
    const Paused paused;
    note("  key " + std::string(key) + " " + std::to_string(keyLength) + ", room " + std::to_string(valueSize) +
         ", flags " + std::to_string(flags));
    std::optional<std::string> reply;
    const s32                  status = platform().text(Channel::value, "QVHIPMVorskCmdPassthru", command, reply);
    if (status != 0) return status;
    if (!reply || reply->size() >= valueSize) return 3;
    std::memcpy(value, reply->c_str(), reply->size() + 1);
    return 0;
}

s32 BMCUserSetValueInUserDB(const astring* command)
{
    const Paused               paused;
    std::optional<std::string> reply;
    return platform().text(Channel::userSet, "BMCUserSetValueInUserDB", command, reply);
}

u32 BMCUserGetUserPresence(const astring* userName)
{
    const Paused paused;
    if (refused("BMCUserGetUserPresence", userName)) return 0;
    const auto found = platform().users.find(userName);
    return found == platform().users.end() ? 0 : found->second;
}

u32 BMCUserGetFreeUserSlotFromDB(void)
{
    const Paused paused;
    return refused("BMCUserGetFreeUserSlotFromDB") ? 0 : static_cast<u32>(platform().freeSlot);
}

}  // extern "C"
