/** @file curlLxKept.cpp  The pool of idle handles. It has no lock: a fork cannot leave it locked in the child. */
#include "curlLxKept.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "curlLxSignal.h"
#include "owners.h"

namespace qvrf {
namespace {

constexpr std::size_t          kMostIdle = 4;
constexpr std::chrono::seconds kIdleAge{20};  // BMCs close idle connections after half a minute and more

std::atomic<bool>        g_keeping{false};
std::atomic<KeptHandle*> g_idle[kMostIdle]{};

bool leadsTo(const KeptFor& one, const KeptFor& other) noexcept
{
    return one.newerGeneration == other.newerGeneration &&
           std::strncmp(one.session, other.session, sizeof one.session) == 0 &&
           std::strncmp(one.address, other.address, sizeof one.address) == 0 &&
           std::strncmp(one.port, other.port, sizeof one.port) == 0;
}

/**
 * Lets the socket of a parent's connection lead to /dev/null in this process: libcurl ends a TLS connection with a
 * message, and the parent still speaks on it.
 */
void muteInChild(const KeptHandle& handle) noexcept
{
    if (handle.owner == getpid() || handle.socket == CURL_SOCKET_BAD) return;
    const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (nothing) dup3(nothing.get(), handle.socket, O_CLOEXEC);
}

void end(KeptHandle* handle) noexcept
{
    const std::unique_ptr<KeptHandle> owned(handle);
    muteInChild(*handle);
    const PipeSignalHeld held;
    curl_easy_cleanup(handle->easy);
}

bool serves(const KeptHandle& handle, const KeptFor& whom) noexcept
{
    return handle.owner == getpid() && KeptHandle::Clock::now() - handle.since < kIdleAge && leadsTo(handle.whom, whom);
}

KeptHandle* idleHandleFor(const KeptFor& whom) noexcept
{
    for (auto& slot : g_idle) {
        KeptHandle* const handle = slot.exchange(nullptr);
        if (handle == nullptr) continue;
        if (serves(*handle, whom)) return handle;
        end(handle);
    }
    return nullptr;
}

/** Notes the connection that is kept, and keeps it from the programs that the process starts. */
void noteSocket(KeptHandle& handle) noexcept
{
    if (curl_easy_getinfo(handle.easy, CURLINFO_ACTIVESOCKET, &handle.socket) != CURLE_OK)
        handle.socket = CURL_SOCKET_BAD;
    if (handle.socket != CURL_SOCKET_BAD) fcntl(handle.socket, F_SETFD, FD_CLOEXEC);
}

}  // namespace

void keepHandles(bool keep) noexcept
{
    g_keeping = keep;
    if (!keep) dropKeptHandles();
}

void dropKeptHandles() noexcept
{
    for (auto& slot : g_idle)
        if (KeptHandle* const handle = slot.exchange(nullptr)) end(handle);
}

KeptHandle* takeKeptHandle(const KeptFor& whom) noexcept
{
    if (!g_keeping) return nullptr;
    if (KeptHandle* const idle = idleHandleFor(whom)) return idle;
    CURL* const fresh = curl_easy_init();
    if (fresh == nullptr) return nullptr;
    auto* const handle = new (std::nothrow) KeptHandle{fresh, whom, getpid(), CURL_SOCKET_BAD, false, {}};
    if (handle == nullptr) curl_easy_cleanup(fresh);
    return handle;
}

void giveKeptHandleBack(KeptHandle* handle) noexcept
{
    if (!g_keeping) return end(handle);
    noteSocket(*handle);
    curl_easy_reset(handle->easy);
    handle->used  = true;
    handle->since = KeptHandle::Clock::now();
    for (auto& slot : g_idle) {
        KeptHandle* expected = nullptr;
        if (slot.compare_exchange_strong(expected, handle)) return;
    }
    end(handle);
}

}  // namespace qvrf
