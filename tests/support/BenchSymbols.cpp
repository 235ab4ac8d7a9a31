/**
 * @file BenchSymbols.cpp
 * The platform's symbols on the bench.
 *
 * "Encryption" is reversible and no more: the text's bytes in hexadecimal, last byte first, with the fixed key text
 * "bench-key". So a record never holds the plain text, and the wrong texts do not decrypt.
 */
#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

#include "BenchPlatform.h"

using namespace rig;

namespace {

struct BenchMutex {
    std::timed_mutex             mutex;
    std::atomic<std::thread::id> holder{};
};

/** A thread that is cancelled inside the library would unwind functions that must not throw. */
bool cancellable()
{
    int state = PTHREAD_CANCEL_DISABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, nullptr);
    return t_standing.place != Place::outside && state == PTHREAD_CANCEL_ENABLE;
}

std::string formatted(const char* format, std::va_list arguments)
{
    char* text = nullptr;
    if (::vasprintf(&text, format, arguments) < 0) std::abort();
    const std::string line = text;
    std::free(text);
    return line;
}

}  // namespace

extern "C" {

void* SMAllocMem(u32 size)
{
    const Paused paused;
    return fails("SMAllocMem") ? nullptr : platform().allocate(size);
}

void SMFreeMem(void* memory)
{
    const Paused paused;
    platform().release(memory);
}

void* SMMutexCreate(u32 reserved)
{
    const Paused paused;
    if (statusOf("SMMutexCreate", reserved)) return nullptr;
    auto* const mutex = new BenchMutex;
    acquired(mutex, "SMMutexCreate");
    return mutex;
}

s32 SMMutexLock(void* mutex, s32 waitMs)
{
    const Paused paused;
    if (statusOf("SMMutexLock", waitMs) != 0 || !mutex) return 1;
    auto* m = static_cast<BenchMutex*>(mutex);
    // The system clock, because the thread sanitizer does not know the steady one's lock.
    if (!m->mutex.try_lock_until(std::chrono::system_clock::now() + std::chrono::milliseconds(waitMs))) return 1;
    ++platform().locked;
    m->holder = std::this_thread::get_id();
    return 0;
}

s32 SMMutexUnLock(void* mutex)
{
    const Paused paused;
    note("SMMutexUnLock");
    auto* m = static_cast<BenchMutex*>(mutex);
    if (!m) return 1;
    if (m->holder != std::this_thread::get_id()) {
        platform().complain("a mutex was given up by a thread that does not hold it");
        return 1;
    }
    m->holder = std::thread::id();
    --platform().locked;
    m->mutex.unlock();
    return 0;
}

s32 SMMutexDestroy(void* mutex)
{
    const Paused paused;
    note("SMMutexDestroy");
    auto* m = static_cast<BenchMutex*>(mutex);
    if (!m) return 1;
    if (m->holder != std::thread::id()) platform().complain("a mutex was destroyed while a thread holds it");
    released(m);
    delete m;
    return 0;
}

void* SMThreadStart(SMThreadProc procedure, void* argument)
{
    const Paused paused;
    if (statusOf("SMThreadStart")) return nullptr;
    ++platform().threads;
    const Place place = t_standing.place == Place::outside ? Place::outside : Place::worker;
    return new std::thread([=] {
        const Inside inside(place);
        procedure(argument);
    });
}

s32 SMThreadStop(void* thread)
{
    const Paused paused;
    note("SMThreadStop");
    auto* t = static_cast<std::thread*>(thread);
    if (!t) return 1;
    t->join();  // the procedure must have been told to end
    delete t;
    --platform().threads;
    return 0;
}

#define PRINT(name, level)                                          \
    s32 name(const astring* format, ...)                            \
    {                                                               \
        const Paused paused;                                        \
        if (cancellable()) platform().complain("may be cancelled"); \
        std::va_list arguments;                                     \
        va_start(arguments, format);                                \
        platform().print(level " " + formatted(format, arguments)); \
        va_end(arguments);                                          \
        return 0;                                                   \
    }
PRINT(__SysDbgPrint3, "3")
PRINT(__SysDbgPrint4, "4")

s32 SMGetPathByProductIDandType(u32 productId, u32 pathType, astring* path, u32* size)
{
    const Paused paused;
    if (statusOf("SMGetPathByProductIDandType", productId, pathType)) return 1;
    const auto found = platform().paths.find({productId, pathType});
    if (found == platform().paths.end()) {
        std::memcpy(path, "?", 2);  // what a failure leaves behind is nobody's path
        return 1;
    }
    const u32 needed = static_cast<u32>(found->second.size() + 1);
    if (*size < needed) return 2;
    std::memcpy(path, found->second.c_str(), needed);
    *size = needed;
    return 0;
}

s32 SMAppendToOSSysLog(u32 logType, u32 severity, u32 eventId, const astring* source, const astring* message,
                       const astring* messageId, u32 /*dataSize*/, void* /*data*/)
{
    const Paused paused;
    return statusOf("SMAppendToOSSysLog", logType, severity, eventId, textOf(source), textOf(message),
                    textOf(messageId));
}

s32 SMHOSMIExportLogKSL(const astring* messageId, u32 argumentCount, astring** arguments)
{
    const Paused paused;
    std::string  all;
    for (u32 i = 0; i < argumentCount; ++i) all += " " + textOf(arguments[i]);
    return statusOf("SMHOSMIExportLogKSL", textOf(messageId) + all);
}

booln QVHIPMCommand(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    const Paused paused;
    return platform().ipmi(request, response);
}

s32 QVHIPMGetTorvoFwVersion(u16* major, u16* minor, u16* build)
{
    const Paused paused;
    if (const s32 status = statusOf("QVHIPMGetTorvoFwVersion")) return status;
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
    if (statusOf("BMCUserGetUserPresence", userName)) return 0;
    const auto found = platform().users.find(userName);
    return found == platform().users.end() ? 0 : found->second;
}

u32 BMCUserGetFreeUserSlotFromDB(void)
{
    const Paused paused;
    return statusOf("BMCUserGetFreeUserSlotFromDB") ? 0 : static_cast<u32>(platform().freeSlot);
}

s32 SMqvoxaPBKDF2Encrypt(const astring* text, u32 length, astring* output, astring** b64Text, astring** b64Key)
{
    const Paused paused;
    if (const s32 status = statusOf("SMqvoxaPBKDF2Encrypt", length)) return status == -100 ? 0 : status;  // no texts
    if (length >= SMSECURE_PLAIN_SIZE) return 1;
    std::string cipher;
    for (u32 i = length; i-- > 0;) {
        const u8 byte = static_cast<u8>(text[i]);
        cipher += hexOf(&byte, 1);
    }
    *b64Text = platform().newText(cipher);
    *b64Key  = platform().newText("bench-key");
    std::snprintf(output, SMSECURE_OUTPUT_SIZE, "sealed:%u", length);
    return 0;
}

s32 SMqvoxaPBKDF2Decrypt(const astring* b64Key, const astring* b64Text, astring** output)
{
    const Paused paused;
    if (const s32 status = statusOf("SMqvoxaPBKDF2Decrypt")) return status;
    const std::string cipher = textOf(b64Text);
    if (textOf(b64Key) != "bench-key" || cipher.size() % 2 != 0 || cipher.size() / 2 >= SMSECURE_PLAIN_SIZE) return 1;
    std::string plain;
    for (std::size_t i = 0; i < cipher.size(); i += 2)
        plain += static_cast<char>(std::stoul(cipher.substr(i, 2), nullptr, 16));
    std::reverse(plain.begin(), plain.end());
    std::memcpy(*output, plain.c_str(), plain.size() + 1);
    return 0;
}

s32 SMSecureGenerateBMCLoginToken(u32 reserved, const astring* userName, u32 role)
{
    const Paused paused;
    return statusOf("SMSecureGenerateBMCLoginToken", reserved, textOf(userName), role);
}

s32 SMSecureGetBMCLoginToken(astring** token, u32* length)
{
    const Paused paused;
    if (const s32 status = statusOf("SMSecureGetBMCLoginToken")) return status;
    *token  = platform().newText(platform().loginToken);
    *length = static_cast<u32>(platform().loginToken.size() - platform().untoldLogin);
    return 0;
}

s32 OSVerifyDigitalSignature(OxaSignatureObject* object)
{
    const Paused paused;
    return statusOf("OSVerifyDigitalSignature", textOf(object->pVerifyFile), textOf(object->pSignFile),
                    textOf(object->pCommonName), textOf(object->pKey), textOf(object->pSignDB));
}

}  // extern "C"
