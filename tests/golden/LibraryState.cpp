/** @file LibraryState.cpp  The library's variables by their names. */
#include "LibraryState.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "LibraryCalls.h"
#include "OxaAutoUpdateLinux.h"
#include "OxaAutoUpdateLinuxReason.h"
#include "OxaAutoUpdateUtils.h"
#include "Words.h"
#include "qvrfutil.h"
#include "smsecure.h"
#include "smsupport.h"

namespace golden {
namespace {

/** A text of the session record, as transcripts name it. */
struct Field {
    const char* name;
    std::size_t offset, size;
};
#define FIELD(name)                                                           \
    {                                                                         \
#name, offsetof(QVRFUTILSession, name), sizeof(QVRFUTILSession::name) \
    }
constexpr Field kTexts[] = {FIELD(Port),     FIELD(IPAddress), FIELD(SessionID), FIELD(EncryptedSessionToken),
                            FIELD(pb64Text), FIELD(pb64Key),   FIELD(UserName),  FIELD(Privilege)};

astring* textOf(const Field& field)
{
    return reinterpret_cast<astring*>(&g_RedfishSession) + field.offset;
}

std::string quoted(const astring* text, std::size_t size)
{
    return inQuotes({text, ::strnlen(text, size)});
}

}  // namespace

void resetLibrary()
{
    g_RedfishSession            = QVRFUTILSession{};
    giSServerNewGenAndAbove     = FALSE;
    g_isRedfishSessionRequested = FALSE;
    installationType            = -1;
    qvrf::forgetReason();
    g_sEnabledUSBNIC = 0;
    std::memset(OxaUpdatedVersion, 0, APM_VERSION_SIZE);
    for (astring** text : {&pExecutionDirectory, &pOXAInstallPath}) SMFreeMem(std::exchange(*text, nullptr));
}

void openSession()
{
    astring  output[SMSECURE_OUTPUT_SIZE];
    astring *text = nullptr, *key = nullptr;
    SMqvoxaPBKDF2Encrypt(kToken, 32, output, &text, &key);
    const std::pair<const char*, const char*> all[] = {{"pb64Text", text},   {"pb64Key", key},
                                                       {"SessionID", "7"},   {"EncryptedSessionToken", output},
                                                       {"UserName", "root"}, {"Privilege", "root"}};
    for (const auto& [name, value] : all) setField(name, value);
    g_RedfishSession.isOAuth = TRUE;
    SMFreeMem(text);
    SMFreeMem(key);
}

void setField(const std::string& name, const std::string& text)
{
    if (name == "isOAuth") return void(g_RedfishSession.isOAuth = static_cast<booln>(std::stol(text)));
    for (const Field& field : kTexts) {
        if (name != field.name) continue;
        std::memset(textOf(field), 0, field.size);
        text.copy(textOf(field), field.size - 1);
        return;
    }
    throw std::runtime_error("the record has no field " + name);
}

void assign(astring*& global, const std::string& text)
{
    SMFreeMem(global);
    global = static_cast<astring*>(SMAllocMem(4096));
    std::strcpy(global, text.c_str());
}

std::map<std::string, std::string> visibleState()
{
    const rig::Paused                  paused;
    astring                            reason[OXA_UPDATE_REASON_SIZE];
    std::map<std::string, std::string> all = {
        {"record isOAuth", std::to_string(g_RedfishSession.isOAuth)},
        {"record IPVersion", std::to_string(g_RedfishSession.IPVersion)},
        {"record pb64KeyLen", std::to_string(g_RedfishSession.pb64KeyLen)},
        {"giSServerNewGenAndAbove", std::to_string(giSServerNewGenAndAbove)},
        {"g_isRedfishSessionRequested", std::to_string(g_isRedfishSessionRequested)},
        {"g_SessionCreationLock", g_SessionCreationLock == nullptr ? "none" : "a lock"},
        {"OxaUpdatedVersion", quoted(OxaUpdatedVersion, APM_VERSION_SIZE)},
        {"g_sEnabledUSBNIC", std::to_string(g_sEnabledUSBNIC)},
        {"installationType", std::to_string(installationType)}};
    if (OXAAutoUpdateReason(reason, sizeof reason) == 0) all["the reason"] = inQuotes(reason);
    for (const Field& field : kTexts) all[std::string("record ") + field.name] = quoted(textOf(field), field.size);
    return all;
}

}  // namespace golden
