/** @file systemlog.cpp  The operating system's log and the BMC's KS log. */
#include <syslog.h>

#include <cerrno>

#include "guarded.h"
#include "smsupport.h"
#include "torvotext.h"
#include "vmwire.h"
#include "wiped.h"

namespace {

/** The agent's severities are bits: 1 error, 2 warning, 4 information. */
int priorityOf(u32 severity)
{
    switch (severity) {
        case 1: return LOG_ERR;
        case 2: return LOG_WARNING;
        default: return LOG_INFO;
    }
}

const char* textOr(const astring* text, const char* otherwise)
{
    return text == nullptr ? otherwise : text;
}

}  // namespace

/** The binary data has no place in a text log and is left out. */
extern "C" s32 SMAppendToOSSysLog(u32, u32 severity, u32 eventId, const astring* source, const astring* message,
                                  const astring* messageId, u32, void*)
{
    if (message == nullptr) return EINVAL;
    ::syslog(LOG_DAEMON | priorityOf(severity), "%s: %s [%s, event %u]", textOr(source, "agent"), message,
             textOr(messageId, "-"), eventId);
    return 0;
}

extern "C" s32 SMHOSMIExportLogKSL(const astring* messageId, u32 argumentCount, astring** arguments)
{
    if (messageId == nullptr || (argumentCount > 0 && arguments == nullptr)) return EINVAL;
    return qvplatform::guarded<s32>(ENOMEM, [&]() -> s32 {
        qvplatform::Bytes text;
        const auto        appendPart = [&text](const astring* part) {
            if (part == nullptr) return false;
            qvplatform::append(text, part);
            text.push_back(0);
            return text.size() <= vmwire::kMaxText;
        };
        if (!appendPart(messageId)) return EMSGSIZE;
        for (u32 i = 0; i < argumentCount; ++i)
            if (!appendPart(arguments[i])) return arguments[i] == nullptr ? EINVAL : EMSGSIZE;

        s32       verdict = 0;
        const s32 status  = QVHIPMTextTransaction(static_cast<u8>(vmwire::Verb::ksLog), text.data(),
                                                  static_cast<u32>(text.size()), &verdict, nullptr);
        return status != 0 ? status : verdict;
    });
}
