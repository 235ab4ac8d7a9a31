/** @file torvocommands.cpp  What travels as text: command lines, the user database, other libraries' transactions. */
#include <cstring>

#include "guarded.h"
#include "hipmstatus.h"
#include "qvhipm.h"
#include "texttransaction.h"
#include "torvotext.h"

using namespace qvplatform;

namespace {

/** Runs a command line; a command that the BMC could not carry out is a refusal. */
s32 runCommandLine(const astring* command, Bytes& output)
{
    TextReply reply = runText(vmwire::Verb::commandLine, command);
    if (reply.result != kDone) return reply.result;
    if (reply.status != 0) {
        reportFailure("command line", "the BMC answered with an error");
        return kRefused;
    }
    output = std::move(reply.text);
    return kDone;
}

/** What follows @p key in @p text up to the end of its line; nothing when the key is missing. */
std::optional<std::string_view> valueOf(std::string_view key, std::string_view text)
{
    const auto at = text.find(key);
    if (at == text.npos) return std::nullopt;
    const auto value = text.substr(at + key.size());
    return value.substr(0, value.find_first_of(std::string_view("\r\n\0", 3)));
}

/** The slot that @p verb answers with; 0, which is no user's slot, for every failure. */
u32 slotFrom(vmwire::Verb verb, std::string_view text)
{
    return guarded<u32>(0, [&]() -> u32 {
        const TextReply reply = runText(verb, text);
        return reply.result == kDone && reply.status > 0 ? static_cast<u32>(reply.status) : 0;
    });
}

}  // namespace

extern "C" s32 QVHIPMVorskPassthru(const astring* command, astring** response)
{
    if (response == nullptr) return kInvalidArgument;
    *response = nullptr;
    if (command == nullptr) return kInvalidArgument;
    return guarded(kOutOfMemory, [&]() -> s32 {
        Bytes     output;
        const s32 result = runCommandLine(command, output);
        if (result != kDone) return result;
        *response = handOut(asText(output));
        return *response == nullptr ? kOutOfMemory : kDone;
    });
}

extern "C" s32 QVHIPMVorskCmdPassthru(const astring* command, const astring* key, u32 keyLength, astring* value,
                                      u32 valueSize, u32)
{
    if (command == nullptr || key == nullptr || value == nullptr || valueSize == 0) return kInvalidArgument;
    return guarded(kOutOfMemory, [&]() -> s32 {
        Bytes     output;
        const s32 result = runCommandLine(command, output);
        if (result != kDone) return result;
        const auto found = valueOf({key, ::strnlen(key, keyLength)}, asText(output));
        if (!found) return kKeyMissing;
        if (found->size() >= valueSize) return kValueTooLong;
        std::memcpy(value, found->data(), found->size());
        value[found->size()] = '\0';
        return kDone;
    });
}

extern "C" s32 BMCUserSetValueInUserDB(const astring* command)
{
    if (command == nullptr) return kInvalidArgument;
    return guarded(kOutOfMemory, [&]() -> s32 {
        const TextReply reply = runText(vmwire::Verb::userSet, command);
        return reply.result != kDone ? reply.result : reply.status;
    });
}

extern "C" u32 BMCUserGetUserPresence(const astring* userName)
{
    // Free slots hold the empty name: it must not be found in one of them.
    if (userName == nullptr || *userName == '\0') return 0;
    return slotFrom(vmwire::Verb::userSlot, userName);
}

extern "C" u32 BMCUserGetFreeUserSlotFromDB(void)
{
    return slotFrom(vmwire::Verb::freeSlot, {});
}

extern "C" s32 QVHIPMTextTransaction(u8 verb, const void* text, u32 size, s32* status, astring** reply)
{
    if (reply != nullptr) *reply = nullptr;
    if (status == nullptr || (text == nullptr && size > 0)) return kInvalidArgument;
    return guarded(kOutOfMemory, [&]() -> s32 {
        const TextReply answer = runText(static_cast<vmwire::Verb>(verb), {static_cast<const char*>(text), size});
        if (answer.result != kDone) return answer.result;
        *status = answer.status;
        if (reply == nullptr) return kDone;
        *reply = handOut(asText(answer.text));
        return *reply == nullptr ? kOutOfMemory : kDone;
    });
}
