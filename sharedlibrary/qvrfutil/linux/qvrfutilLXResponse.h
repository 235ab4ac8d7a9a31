/** @file qvrfutilLXResponse.h  How a response gets from libcurl to the caller. */
#ifndef QVRFUTILLXRESPONSE_H
#define QVRFUTILLXRESPONSE_H

#include "curlLx.h"
#include "qvrfutil.h"

namespace qvrf {

/** How long the whole transfer of a request may take. */
constexpr std::chrono::seconds kRequestSeconds{100};

/** What a chain of libcurl calls comes to. */
constexpr s32 curlStatus(bool succeeded) noexcept
{
    return succeeded ? OXA_SUCCESS : QVRFUTIL_CURL_FAILED;
}

/** Where the caller wants what: the out-arguments that all requests share. */
struct Answer {
    astring** body;      ///< address of a pointer to the caller's buffer
    u32       capacity;  ///< its bytes
    u32*      length;    ///< receives body length + 1
    u16*      http;      ///< receives the HTTP status
};

/**
 * Collects headers and body in memory. Without a header function libcurl hands each header line to the write function,
 * with the header's user data.
 */
bool receiveInto(const char* op, CURL* easy, Received& header, Received& body) noexcept;

/** The BMC's certificate is its own: peer and host go unverified on this link that ends in the server itself. */
bool verifyNothing(const char* op, CURL* easy) noexcept;

/**
 * Reads the HTTP status into @p code, whole, and into the caller's variable.
 * @return 0; 103 when libcurl does not tell it
 */
s32 takeHttpCode(const char* op, CURL* easy, u16& http, long& code) noexcept;

/** Says that an answer ended among its header lines. @return -1 */
s32 answerCut(const char* op) noexcept;

/** An answer without header lines, or one that ended among them, is none. @return 0 or -1 */
s32 checkReceived(const char* op, CURL* easy, const Received& header, const Received& body) noexcept;

/**
 * Hands the response headers out in a new SMAllocMem text when @p wanted is 1; otherwise sets a non-NULL pointer of the
 * caller to NULL. @return 0 or 272
 */
s32 handOverHeaders(const char* op, const Received& header, booln wanted, astring** to) noexcept;

/** Copies the body into the caller's buffer, the rest of which becomes zero. @return 0; 100: too small, untouched */
s32 handOverBody(const char* op, const Received& body, const Answer& answer) noexcept;

}  // namespace qvrf

#endif
