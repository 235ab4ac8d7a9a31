/** @file curlLxKept.h  Easy handles that keep their connection between GETs, for processes that ask for it. */
#ifndef CURLLXKEPT_H
#define CURLLXKEPT_H

#include <curl/curl.h>
#include <sys/types.h>

#include <chrono>

#include "qvtypes.h"

namespace qvrf {

/** Whom a connection leads to and in whose name: it serves nobody else. */
struct KeptFor {
    astring address[48];
    astring port[6];
    astring session[65];
    booln   newerGeneration;
};

/** A handle with its connection, and what must hold for it to be used again. */
struct KeptHandle {
    using Clock = std::chrono::steady_clock;

    CURL*             easy;
    KeptFor           whom;
    pid_t             owner;   ///< a forked child must not speak on the parent's connection
    curl_socket_t     socket;  ///< CURL_SOCKET_BAD: none
    bool              used;    ///< brings a connection along
    Clock::time_point since;   ///< idle
};

/** Switches keeping on or off; what is kept goes with it. */
void keepHandles(bool keep) noexcept;

/** Closes the connections of the handles that are idle. Those in use are judged when they come back. */
void dropKeptHandles() noexcept;

/**
 * An idle handle, or a new one when there is none; nullptr when nothing is to be kept or memory is out. libcurl leaves
 * signals alone with it, which spares six system calls a transfer: run it under a PipeSignalBlocked.
 */
KeptHandle* takeKeptHandle(const KeptFor& whom) noexcept;

/** Takes a handle back, reset; one too many, or one that nobody wants any more, ends. */
void giveKeptHandleBack(KeptHandle* handle) noexcept;

}  // namespace qvrf

#endif
