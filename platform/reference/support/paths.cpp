/** @file paths.cpp  SMGetPathByProductIDandType. */
#include <cerrno>
#include <cstring>

#include "guarded.h"
#include "settings.h"
#include "smsupport.h"

/** One product is installed, in one directory: it answers every product and path type. */
extern "C" s32 SMGetPathByProductIDandType(u32, u32, astring* path, u32* size)
{
    if (size == nullptr) return EINVAL;
    return qvplatform::guarded<s32>(ENOMEM, [&]() -> s32 {
        // What a configuration says that could not be used must not be guessed.
        if (!qvplatform::settings().problem.empty()) return EINVAL;
        const std::string& installed = qvplatform::settings().installPath;
        const u32          needed    = static_cast<u32>(installed.size() + 1);
        const bool         fits      = path != nullptr && *size >= needed;
        *size                        = needed;
        if (!fits) return ERANGE;
        std::memcpy(path, installed.c_str(), needed);
        return 0;
    });
}
