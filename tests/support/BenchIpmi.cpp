/** @file BenchIpmi.cpp  The IPMI service on the bench: raw requests, command lines, the user database. */
#include <cstring>

#include "BenchPlatform.h"
#include "LibraryCalls.h"

namespace {
bench::Platform& platform()
{
    return bench::Platform::instance();
}
}  // namespace

extern "C" {

booln QVHIPMCommand(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    const bench::Paused paused;
    return platform().ipmi(request, response);
}

s32 QVHIPMGetTorvoFwVersion(u16* major, u16* minor, u16* build)
{
    const bench::Paused paused;
    platform().record("QVHIPMGetTorvoFwVersion");
    if (platform().failsNow("QVHIPMGetTorvoFwVersion")) return 1;
    if (platform().firmware.status != 0) return platform().firmware.status;
    if (major) *major = platform().firmware.major;
    if (minor) *minor = platform().firmware.minor;
    if (build) *build = platform().firmware.build;
    return 0;
}

s32 QVHIPMVorskPassthru(const astring* command, astring** response)
{
    const bench::Paused        paused;
    std::optional<std::string> reply;
    const s32 status = platform().text(bench::Channel::commandLine, "QVHIPMVorskPassthru", command, reply);
    *response        = reply ? platform().newText(*reply) : nullptr;
    return status;
}

s32 QVHIPMVorskCmdPassthru(const astring* command, const astring* key, u32 keyLength, astring* value, u32 valueSize,
                           u32 flags)
{
    const bench::Paused paused;
    bench::note("  key " + std::string(key) + " " + std::to_string(keyLength) + ", room " + std::to_string(valueSize) +
                ", flags " + std::to_string(flags));
    std::optional<std::string> reply;
    const s32 status = platform().text(bench::Channel::value, "QVHIPMVorskCmdPassthru", command, reply);
    if (status != 0) return status;
    if (!reply || reply->size() >= valueSize) return 3;
    std::memcpy(value, reply->c_str(), reply->size() + 1);
    return 0;
}

s32 BMCUserSetValueInUserDB(const astring* command)
{
    const bench::Paused        paused;
    std::optional<std::string> reply;
    return platform().text(bench::Channel::userSet, "BMCUserSetValueInUserDB", command, reply);
}

u32 BMCUserGetUserPresence(const astring* userName)
{
    const bench::Paused paused;
    platform().record(std::string("BMCUserGetUserPresence ") + userName);
    if (platform().failsNow("BMCUserGetUserPresence")) return 0;
    const auto found = platform().users.slots.find(userName);
    return found == platform().users.slots.end() ? 0 : found->second;
}

u32 BMCUserGetFreeUserSlotFromDB(void)
{
    const bench::Paused paused;
    platform().record("BMCUserGetFreeUserSlotFromDB");
    return platform().failsNow("BMCUserGetFreeUserSlotFromDB") ? 0 : platform().users.freeSlot;
}

}  // extern "C"
