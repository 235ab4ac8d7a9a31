/**
 * @file qvrfutilRequestEx.h
 * A request with everything that QVRFUTILSendRequest leaves no room for: headers of the caller's, limits, a form with
 * fields of any name, a file as the body, an answer of any size, progress and cancellation.
 *
 * @code
 *     const char* const headers[] = {"If-Match: \"7\""};
 *     QVRFUTILRequestEx request   = {0};
 *     QVRFUTILReplyEx   reply     = {0};
 *     request.recordSize  = sizeof request;
 *     request.pMethod     = "PATCH";
 *     request.pPath       = "/redfish/v1/Systems/System.Embedded.1";
 *     request.ppHeaders   = headers;
 *     request.headerCount = 1;
 *     request.pBody       = "{\"AssetTag\":\"rack 7\"}";
 *     request.bodySize    = strlen(request.pBody);
 *     request.timeLimitMs = 20000;
 *     reply.recordSize    = sizeof reply;
 *     if (QVRFUTILSendRequestEx(&request, &reply) == 0) printf("%u: %s\n", reply.httpCode, reply.pBody);
 *     SMFreeMem(reply.pHeaders);
 *     SMFreeMem(reply.pBody);
 * @endcode
 *
 * Both records begin with their size, and grow at their end alone: a program that was built with an older header goes
 * on working. Zero them before they are filled in: 0 and NULL mean "not wanted" everywhere.
 */
#ifndef QVRFUTILREQUESTEX_H
#define QVRFUTILREQUESTEX_H

#include "qvrfutil.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One field of a multipart form: bytes, or a file, which is read while it is sent. */
typedef struct _QVRFUTILFormField {
    const astring* pName;        /**< the field's name */
    const astring* pContentType; /**< NULL: none for bytes; for a file what its name suggests */
    const void*    pData;        /**< the bytes; NULL with dataSize 0: none */
    u64            dataSize;     /**< of pData, in bytes */
    const astring* pFilePath;    /**< a regular file, in the place of the bytes; the BMC is told its last component */
} QVRFUTILFormField;

/** For QVRFUTILRequestEx::flags. */
typedef enum _QVRFUTILRequestExFlags {
    QVRFUTIL_EX_WITHOUT_SESSION = 1, /**< no token is sent: for what the BMC serves to everybody */
    QVRFUTIL_EX_TCP_KEEPALIVE   = 2, /**< notices a BMC that vanished without a word within 60 s: for event streams */
    QVRFUTIL_EX_32BIT           = 0x7FFFFFFF
} QVRFUTILRequestExFlags;

/** How an exchange ended, where the status alone does not say it. */
typedef enum _QVRFUTILRequestExEnd {
    QVRFUTIL_END_COMPLETE      = 0, /**< or nothing was sent: see the status */
    QVRFUTIL_END_CANCELLED     = 1, /**< one of the caller's functions said so */
    QVRFUTIL_END_TIME_LIMIT    = 2,
    QVRFUTIL_END_NOT_CONNECTED = 3, /**< no connection, or no TLS: nothing reached the BMC */
    QVRFUTIL_END_TOO_LONG      = 4, /**< the answer's body is above the cap; the BMC did what it was asked for */
    QVRFUTIL_END_FILE          = 5, /**< one of the request's files: systemError says what */
    QVRFUTIL_END_BROKEN        = 6, /**< the connection broke, or what came is no answer */
    QVRFUTIL_END_32BIT         = 0x7FFFFFFF
} QVRFUTILRequestExEnd;

/** What is asked. At most one of a body, a body's file and fields. Nothing of it is kept after the call. */
typedef struct _QVRFUTILRequestEx {
    u32                      recordSize;  /**< sizeof(QVRFUTILRequestEx) of the caller */
    u32                      flags;       /**< of QVRFUTILRequestExFlags */
    const astring*           pMethod;     /**< up to 16 capital letters: "GET", "POST", "PATCH", "PUT", "DELETE" ... */
    const astring*           pPath;       /**< begins with '/', no blanks or control characters, at most 400 */
    const QVRFUTILSession*   pSession;    /**< the session to use; NULL: the process's, copied without a lock */
    const astring* const*    ppHeaders;   /**< whole lines, "Prefer: respond-async", without line end */
    u32                      headerCount; /**< lines at ppHeaders */
    u32                      fieldCount;  /**< fields at pFields */
    const QVRFUTILFormField* pFields;     /**< the body is this form */
    const void*              pBody;       /**< the body is these bytes */
    u64                      bodySize;    /**< of pBody */
    const astring*           pBodyFilePath; /**< the body is this regular file, read while it is sent */
    /**
     * Receives the body of an answer of 200 or 206, created for its owner alone or truncated once such an answer
     * begins; the body of any other answer is handed out as without a file. What came before a failure stays in it.
     */
    const astring* pAnswerFilePath;
    u64            mostAnswerBytes; /**< a longer body ends the exchange; 0: 4 GiB - 2. Not for files and functions */
    u32            timeLimitMs;     /**< for all of the exchange; 0: none */
    u32            connectLimitMs;  /**< for connection and TLS; 0: libcurl's 300 s */
    void*          pCallerContext;  /**< handed to each function as it is */
    /** Each line of the answer's head as it comes, line end and all, status lines and trailers among them. */
    booln (*pHeaderFunction)(void* pCallerContext, const astring* pLine, u32 size);
    /** Each piece of the body, which is not collected then. @p httpCode: the answer's status */
    booln (*pBodyFunction)(void* pCallerContext, u16 httpCode, const void* pBytes, u32 size);
    /** At least once a second: how far it is; a total of 0 is not known. */
    booln (*pProgressFunction)(void* pCallerContext, u64 sent, u64 toSend, u64 received, u64 toReceive);
} QVRFUTILRequestEx;

/** What came of it. The caller gives pHeaders and pBody back with SMFreeMem, whatever the status. */
typedef struct _QVRFUTILReplyEx {
    u32      recordSize;    /**< sizeof(QVRFUTILReplyEx) of the caller; all that follows is written by the call */
    u32      end;           /**< of QVRFUTILRequestExEnd */
    s32      systemError;   /**< errno of a file or a connection that failed; 0: it was not that */
    s32      transferError; /**< libcurl's number of what failed; 0: it was not that */
    u16      httpCode;      /**< 0: no answer came. Known with END_TOO_LONG and the like too */
    astring* pHeaders;      /**< the lines of the answer's head with a NUL behind; NULL with a header function */
    u64      headersSize;   /**< without the NUL */
    astring* pBody;         /**< the body with a NUL behind; NULL when it went elsewhere, or the status is not 0 */
    u64      bodySize;      /**< without the NUL */
} QVRFUTILReplyEx;

/**
 * Sends one request and waits for the answer. Any HTTP status is an answer, 401 among them: this operation neither
 * opens nor renews a session, on no generation. A GET may use a connection that QVRFUTILKeepConnections kept.
 *
 * "Accept" and, for a body from memory, "Content-type: application/json" are sent unless the caller brings a line of
 * that name; "X-Auth-Token", "Content-Length" and "Transfer-Encoding" are the library's and refused.
 *
 * The functions are called on the calling thread; one that returns FALSE ends the exchange, which takes a second at
 * most where nothing comes or goes. They must not throw, and not call the library with the same records.
 *
 * @return 0 with any HTTP status; 100 the body is above the cap; 102 a record, method or path is NULL; 103 the exchange
 *         failed: QVRFUTILReplyEx::end says how; 104 there is no session; 271 something in the record is not allowed,
 *         and nothing was sent; 272 out of memory; or the status of the token's decryption
 * Any number of threads may send at once; not while the record at pSession, or the process's, is being written.
 */
s32 QVRFUTILSendRequestEx(const QVRFUTILRequestEx* pRequest, QVRFUTILReplyEx* pReply);

#ifdef __cplusplus
}
#endif

#endif
