/** @file qvrfutilLXWatch.h  What a subscription's thread tells those who watch it. */
#ifndef QVRFUTILLXWATCH_H
#define QVRFUTILLXWATCH_H

#include <curl/curl.h>

#include <cstddef>

#include "qvrfutilWatch.h"

namespace qvrf {

/** A piece that its callback is not given. @p context: the one of QVRFUTILRegisterSSE */
void tellLeftOut(const void* context, const void* bytes, std::size_t count) noexcept;

/** The stream is over; @p easy still has the status of its answer. */
void tellOver(const void* context, CURL* easy) noexcept;

}  // namespace qvrf

#endif
