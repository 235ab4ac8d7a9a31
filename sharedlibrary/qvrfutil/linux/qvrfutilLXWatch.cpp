/** @file qvrfutilLXWatch.cpp  Who wants to know what a subscription leaves out, and when it is over. */
#include "qvrfutilLXWatch.h"

#include <map>
#include <mutex>
#include <new>
#include <optional>

#include "uncancelled.h"

namespace {

using Watches = std::map<const void*, QVRFUTILSSEWatch>;

std::mutex g_mutex;

/**
 * Never destroyed: a subscription may outlive the process's static objects. In memory that is there: a subscription's
 * thread may be the first to ask, and has nobody to tell that memory is out.
 */
Watches& watches() noexcept
{
    alignas(Watches) static unsigned char memory[sizeof(Watches)];
    static Watches* const                 all = new (memory) Watches;
    return *all;
}

/** A copy: nothing is called with the lock held. */
std::optional<QVRFUTILSSEWatch> watchOf(const void* context) noexcept
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto                        found = watches().find(context);
    return found == watches().end() ? std::nullopt : std::optional<QVRFUTILSSEWatch>(found->second);
}

}  // namespace

namespace qvrf {

void tellLeftOut(const void* context, const void* bytes, std::size_t count) noexcept
{
    const auto watch = watchOf(context);
    if (watch && watch->pLeftOutFunction != nullptr && bytes != nullptr && count > 0)
        watch->pLeftOutFunction(watch->pCallerContext, static_cast<const astring*>(bytes), static_cast<u32>(count));
}

void tellOver(const void* context, CURL* easy) noexcept
{
    const auto watch = watchOf(context);
    if (!watch || watch->pOverFunction == nullptr) return;
    long code = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &code);
    watch->pOverFunction(watch->pCallerContext, static_cast<u16>(code));
}

}  // namespace qvrf

extern "C" s32 QVRFUTILWatchSSE(const QVRFUTILHttpCallbackContext* pContext, const QVRFUTILSSEWatch* pWatch)
try {
    const qvrf::Uncancelled uncancelled;
    if (pContext == nullptr) return QVRFUTIL_INVALID_ARGUMENTS;
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (pWatch == nullptr)
        watches().erase(pContext);
    else
        watches()[pContext] = *pWatch;
    return OXA_SUCCESS;
} catch (const std::bad_alloc&) {
    return QVRFUTIL_OUT_OF_MEMORY;
}
