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

/**
 * Enough for the threads of an agent that ask at once: with fewer, handles would be closed and opened again all the
 * time. Not more, because each holds one of the few dozen connections that a BMC serves, and some 60 KB of TLS here.
 */
constexpr std::size_t          kMostIdle = 16;
constexpr std::chrono::seconds kIdleAge{20};  // BMCs close idle connections after half a minute and more
constexpr unsigned             kTakesBetweenLooks = 64;

/** In a cache line of its own: threads that use different ones do not slow each other down. */
struct alignas(64) Slot {
    std::atomic<KeptHandle*> handle{nullptr};
};

std::atomic<bool> g_keeping{false};
Slot              g_idle[kMostIdle];

/** Where this thread begins to look: where it left its last handle, whose memory its core still has at hand. */
thread_local std::size_t t_first = 0;
thread_local unsigned    t_takes = 0;

Slot& slotAt(std::size_t distance) noexcept
{
    return g_idle[(t_first + distance) % kMostIdle];
}

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

bool isStale(const KeptHandle& handle) noexcept
{
    return KeptHandle::Clock::now() - handle.since >= kIdleAge;
}

bool serves(const KeptHandle& handle, const KeptFor& whom) noexcept
{
    return handle.owner == getpid() && !isStale(handle) && leadsTo(handle.whom, whom);
}

KeptHandle* takenFrom(Slot& slot) noexcept
{
    if (slot.handle.load(std::memory_order_relaxed) == nullptr)
        return nullptr;  // an exchange would take the cache line even so
    return slot.handle.exchange(nullptr);
}

bool putInto(Slot& slot, KeptHandle* handle) noexcept
{
    KeptHandle* expected = nullptr;
    return slot.handle.load(std::memory_order_relaxed) == nullptr &&
           slot.handle.compare_exchange_strong(expected, handle);
}

/** Closes what nobody came for in time. */
void endStale() noexcept
{
    for (Slot& slot : g_idle) {
        KeptHandle* const handle = takenFrom(slot);
        if (handle == nullptr) continue;
        if (isStale(*handle) || !putInto(slot, handle)) end(handle);
    }
}

KeptHandle* idleHandleFor(const KeptFor& whom) noexcept
{
    if (++t_takes % kTakesBetweenLooks == 0) endStale();
    for (std::size_t i = 0; i < kMostIdle; ++i) {
        KeptHandle* const handle = takenFrom(slotAt(i));
        if (handle == nullptr) continue;
        if (serves(*handle, whom)) return handle;
        end(handle);
    }
    return nullptr;
}

KeptHandle* newHandle(const KeptFor& whom) noexcept
{
    CURL* const fresh = curl_easy_init();
    if (fresh == nullptr) return nullptr;
    auto* const handle = new (std::nothrow) KeptHandle{fresh, whom, getpid(), CURL_SOCKET_BAD, false, {}};
    if (handle == nullptr) curl_easy_cleanup(fresh);
    return handle;
}

/** Notes the connection that is kept, and keeps a new one from the programs that the process starts. */
void noteSocket(KeptHandle& handle) noexcept
{
    long connections = 1;
    curl_easy_getinfo(handle.easy, CURLINFO_NUM_CONNECTS, &connections);
    if (connections == 0 && handle.socket != CURL_SOCKET_BAD) return;  // the same as before
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
    for (Slot& slot : g_idle)
        if (KeptHandle* const handle = takenFrom(slot)) end(handle);
}

KeptHandle* takeKeptHandle(const KeptFor& whom) noexcept
{
    if (!g_keeping) return nullptr;
    KeptHandle* handle = idleHandleFor(whom);
    if (handle == nullptr) handle = newHandle(whom);
    if (handle == nullptr || curl_easy_setopt(handle->easy, CURLOPT_NOSIGNAL, 1L) == CURLE_OK) return handle;
    end(handle);
    return nullptr;
}

void giveKeptHandleBack(KeptHandle* handle) noexcept
{
    if (!g_keeping) return end(handle);
    noteSocket(*handle);
    curl_easy_reset(handle->easy);
    handle->used  = true;
    handle->since = KeptHandle::Clock::now();
    for (std::size_t i = 0; i < kMostIdle; ++i) {
        if (!putInto(slotAt(i), handle)) continue;
        t_first = (t_first + i) % kMostIdle;
        return;
    }
    end(handle);
}

}  // namespace qvrf
