/**
 * @file qvrfutil.h
 * The Redfish interface of libqvrfutil: one process-wide session with the server's BMC and the requests it carries.
 *
 * A process calls QVRFUTILInit once before anything else here and QVRFUTILCleanUp when it stops. In between, requests
 * use the one session record g_RedfishSession. How a session comes about depends on giSServerNewGenAndAbove:
 *
 * - TRUE, the newer BMC generation and the state after QVRFUTILInit: the process sets the endpoint with
 *   QVRFUTILSetIPAddress and opens the session itself with QVRFUTILCreateSession; requests never make the first one.
 * - FALSE, written by the process after QVRFUTILInit: requests find the BMC over IPMI and open a session on demand.
 *
 * @code
 *     char address[] = "169.254.1.1", port[] = "443", user[] = "root";
 *     QVRFUTILInit(FALSE);
 *     QVRFUTILSetIPAddress(address, port, FALSE);
 *     if (QVRFUTILCreateSession(user, user, 4) == 0) {
 *         static astring body[65536];
 *         astring*       pBody = body;
 *         u32            length = 0;
 *         u16            http = 0;
 *         s32 status = QVRFUTILSendRequest("/redfish/v1/Systems", NULL, &pBody, sizeof body, &length,
 *                                          QVRFUTIL_REQUEST_GET, &http, FALSE, NULL, NULL);
 *         if (status == 0 && http == 200) puts(body);
 *         QVRFUTILDeleteSession(user, 4);   // ends with QVRFUTILCleanUp
 *     }
 * @endcode
 *
 * Every operation reports failures as a status (qvstatus.h) and writes them to the platform's debug print. Its trace
 * level holds secrets in the clear: session and login tokens, request and response bodies, passwords of accounts. The
 * error level holds none. Read a trace log as you would a password file.
 *
 * An answer of the BMC may have 1 MiB of header lines and trailers and a body of 4 GiB - 2; one that is longer, or ends
 * among its header lines, fails the operation. A link-local IPv6 address without a zone leads out of the USB NIC. Proxy
 * variables of the environment are passed over.
 *
 * Requests, uploads and subscriptions may run on any number of threads at once; QVRFUTILInit, QVRFUTILCleanUp, opening
 * and closing the session and setting the endpoint belong to one thread, before and after the others.
 *
 * A thread that is cancelled (pthread_cancel) inside an operation, of this header or of any other of the library, ends
 * only when the operation has: each switches cancellation off and leaves it as it found it. So it is off in callbacks,
 * too, and one that must be stopped needs a sign of its own.
 */
#ifndef QVRFUTIL_H
#define QVRFUTIL_H

#include "qvresponse.h"
#include "qvserver.h"
#include "qvstatus.h"
#include "qvtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The session with the BMC. Its layout is part of the interface; every text is NUL-terminated within its width. */
typedef struct _QVRFUTILSession {
    astring  Port[6];                    /**< HTTPS port as decimal text; "-1" while a new session is being forced */
    astring  IPAddress[48];              /**< as it goes into a URL: dotted IPv4, or IPv6 in square brackets */
    astring  SessionID[65];              /**< the session's identifier on the BMC; "-1": there is no session */
    astring  EncryptedSessionToken[131]; /**< the session token, encrypted */
    astring  pb64Text[135];              /**< the token's cipher text, for decryption */
    astring  pb64Key[765];               /**< the key material, for decryption */
    astring* pb64Text_ptr;               /**< carried for the record's layout; not used by the library */
    astring* pb64Key_ptr;                /**< carried for the record's layout; not used by the library */
    u32      pb64TextLen;                /**< carried for the record's layout; not used by the library */
    u32      pb64KeyLen;                 /**< carried for the record's layout; not used by the library */
    booln    isOAuth;                    /**< TRUE: opened with a login token, no temporary BMC user to delete */
    astring  UserName[23];               /**< the BMC user that the session was opened for */
    astring  Privilege[5];               /**< the privilege that it was opened with */
    s32      IPVersion;                  /**< 4 or 6: the IP version of IPAddress */
} QVRFUTILSession;

/** What a request does. */
typedef enum _QVRFUTILRequestType {
    QVRFUTIL_REQUEST_GET    = 0,
    QVRFUTIL_REQUEST_POST   = 1,
    QVRFUTIL_REQUEST_DELETE = 2,
    QVRFUTIL_REQUEST_PATCH  = 3,
    QVRFUTIL_REQUEST_32BIT  = 0x7FFFFFFF /**< no request: gives the type its width, also for values unknown here */
} QVRFUTILRequestType;

/** The one session of this process. Read and copied without a lock; only its re-creation is serialised. */
extern QVRFUTILSession g_RedfishSession;

/** Platform mutex that guards g_isRedfishSessionRequested; NULL outside QVRFUTILInit .. QVRFUTILCleanUp. */
extern void* g_SessionCreationLock;

/** TRUE while one thread re-creates the session; written under g_SessionCreationLock. */
extern booln g_isRedfishSessionRequested;

/**
 * Starts the library: loads the kernel's IPMI device interface (modprobe ipmi_devintf; a failure is only logged),
 * resets the session record to "no session, port 443", creates the session lock and sets giSServerNewGenAndAbove.
 * A second call resets the record again and keeps the lock.
 * @param IPv6Stack  non-zero: sessions start with IP version 6, else 4
 * @return always 0
 * Call it from one thread, before any other operation here. Blocks for the modprobe command, which the library starts
 * through the shell: a process that ignores SIGCHLD never learns how that ended, and gets the error line although the
 * interface may be there.
 */
s32 QVRFUTILInit(booln IPv6Stack);

/**
 * Ends what QVRFUTILInit began: destroys the session lock. The record stays as it is and nothing is sent to the BMC.
 * Call it when no other thread is inside the library. A later QVRFUTILInit starts again.
 */
void QVRFUTILCleanUp(void);

/**
 * Lets GETs keep their connection to the BMC, so that an inventory pays for one TLS handshake instead of one a
 * resource. Off until it is called; off, every request has a connection of its own.
 *
 * On, QVRFUTILSendRequest with QVRFUTIL_REQUEST_GET (into the buffer or into a file) and QVRFUTILSendRequestNoAuth use
 * a connection that an earlier one left, where there is one for the same endpoint, session and generation. POST, PATCH,
 * DELETE, uploads, logins and event streams go on having their own: nothing that changes the BMC is ever sent twice. A
 * BMC that closed, restarted or refuses to keep a connection is asked on a new one; results, HTTP statuses and the
 * debug print are the same as before. At most 16 idle connections are kept, which is as many as threads of an agent ask
 * at once; a BMC serves a few dozen. A thread goes on with the one that it used last. One that was idle for 20 s is not
 * used any more, and closed by one of the next GETs; all of them are closed by QVRFUTILSetIPAddress, when a session is
 * opened or forgotten, and by QVRFUTILCleanUp. A forked child makes its own connections and leaves the parent's alone.
 * @param keep  TRUE: keep connections; FALSE: close those that are idle and keep none
 * @return always 0
 * The setting is the process's and outlives QVRFUTILCleanUp. Any thread may call it, while requests run too.
 */
s32 QVRFUTILKeepConnections(booln keep);

/**
 * Copies the session record, first replacing the session by a new one when @p isNewSessionRequested is exactly 1.
 * The new session is opened for the user and privilege of the previous one, starting with IP version 4.
 * @param[out] pRedfishSession  the caller's record; not checked for NULL; untouched on failure
 * @return 0, or the status of QVRFUTILCreateSession
 * On the newer generation a replacement finds no endpoint: the record's address and port are given up before the new
 * session is tried, so the attempt fails. Forget the session instead (QVRFUTILDeleteSessionNewGenAndAbove), set the
 * endpoint and open a session.
 * Copies without a lock. With @p isNewSessionRequested 1 it blocks for the BMC, and callers see to it that only one
 * thread does so at a time.
 */
s32 QVRFUTILGetRFSessionInfo(QVRFUTILSession* pRedfishSession, booln isNewSessionRequested);

/**
 * Sets the BMC's endpoint for the newer generation.
 * @param IPAddress  dotted IPv4, or IPv6 without brackets; at most 46 characters (44 for IPv6) fit, a longer one
 *                   leaves the address empty
 * @param PortNum    decimal text of at most four digits; a longer one leaves the port empty
 * @param IsIPV6     1: the address is IPv6, stored in brackets, and the session's IP version becomes 6; otherwise the
 *                   version stays as it is
 * @return 0; 271 when an argument is NULL, with the record untouched
 * QVRFUTILCreateSession cannot log in at an IPv6 address of more than 32 characters: leave out what :: can stand for.
 * Writes the record without a lock: call it at start-up, before requests run.
 */
s32 QVRFUTILSetIPAddress(astring* IPAddress, astring* PortNum, booln IsIPV6);

/**
 * Whether the BMC's firmware is recent enough for Redfish: 6.10 and newer. A version that cannot be read is too old.
 * @return TRUE or FALSE. Blocks for one IPMI exchange. Any thread may call it.
 */
booln TorvoRedfishPrereqCheck(void);

/**
 * Opens the session, unless there is one already (then it does nothing and returns 0).
 * On an older generation the BMC's address and port are discovered over IPMI, and one refused attempt is followed by
 * one with the other IP version; on the newer one the endpoint of QVRFUTILSetIPAddress is used.
 * @param pUserName   BMC user; the first 22 characters are remembered in the record
 * @param pPrivilege  "ro", "op" or "root"; the BMC judges it
 * @param ipVersion   4 or 6: what to try first on an older generation; the newer one takes the record's IPVersion
 * @return 0; -1 for a NULL or invalid argument, or (newer generation) an attempt that failed; 272 out of memory;
 *         100005 no port, 100008 no firmware version, 100009 no address, 100015 the BMC refused the session,
 *         100019 no login token (qvstatus.h); or the status of the token's encryption
 * Blocks for IPMI and up to 100 s of HTTPS an attempt. Call it from one thread.
 */
s32 QVRFUTILCreateSession(astring* pUserName, astring* pPrivilege, s32 ipVersion);

/**
 * Closes the session on the BMC, forgets it, and ends with QVRFUTILCleanUp: call QVRFUTILInit before further requests.
 * Whatever the result, the record says "no session" afterwards, without address, port or token.
 * @param pUserName  the BMC user to delete when the session was opened with a temporary one
 * @param ipVersion  4 or 6: 6 puts the record's address into square brackets; an IPv6 address has them there already,
 *                   so pass 4 whatever the session's IP version
 * @return 0; -1 for a NULL or invalid argument, or a failed deletion; 272 out of memory; or the status of the token's
 *         decryption or of the user's deletion. QVRFUTILCleanUp runs only when the BMC's session was deleted.
 * Blocks for one HTTPS exchange of up to 100 s. Call it from one thread.
 */
s32 QVRFUTILDeleteSession(astring* pUserName, s32 ipVersion);

/**
 * Forgets the session without telling the BMC (newer generation). Address, user, privilege and IP version stay, so that
 * QVRFUTILSetIPAddress and QVRFUTILCreateSession can follow; port, identifier and token are cleared.
 * @return always 0
 */
s32 QVRFUTILDeleteSessionNewGenAndAbove(void);

/**
 * Sends one authenticated request and waits for the answer: 100 s at most for the exchange itself. Where a session has
 * to be made first, or anew after a 401 (older generation), IPMI and one or two logins of up to 100 s each come on top.
 *
 * An answer of 401 re-creates the session (older generation) for the next request; this one is not sent again: the
 * result is 0 with *pHttpRetCode 401. Any HTTP status counts as success of the operation.
 *
 * @param pWebResourceUrl     path on the BMC with its leading slash; one of more than 400 characters is logged as such
 *                            and gives 103
 * @param pPostData           body of POST and PATCH, JSON text with its NUL; NULL for the others
 * @param ppRFResponse        address of a pointer to the caller's buffer, which receives the body with a NUL
 * @param pRFResponseINLen    bytes in that buffer
 * @param[out] pRFResponseOUTLen  body length + 1, also when the buffer is too small: send again with that much room.
 *                            0 in download mode. Must not be NULL
 * @param webMethodType       what to do; an unknown value sends nothing and returns 0
 * @param[out] pHttpRetCode   the HTTP status, once the exchange took place. Must not be NULL
 * @param isHeaderRequested   1: hand the raw response headers out in *ppResponseHeaderBuff, for the caller to free with
 *                            SMFreeMem (also when the result is 100); otherwise a non-NULL *ppResponseHeaderBuff is set
 *                            to NULL without being freed
 * @param ppResponseHeaderBuff  see above; may be NULL when no headers are requested
 * @param pFileNameWithPath   GET only: write the body to this file instead of the buffer; neither body nor headers are
 *                            handed out then, whatever isHeaderRequested says. A new file has the mode that the
 *                            process's umask leaves, never writable for others; one that is there keeps its mode and
 *                            is truncated. What came before a failure stays in it. NULL otherwise
 * @return 0; 100 buffer too small; 101 no session details (GET without a session on the newer generation too);
 *         102 NULL argument; 103 a libcurl call failed; 104 no valid session, or another thread is re-creating it: send
 *         again; 272 or -1 out of memory; -1 bad answer or the file could not be opened; else the status of the token's
 *         decryption or of QVRFUTILCreateSession
 * Any number of threads may send at once.
 */
s32 QVRFUTILSendRequest(const astring* pWebResourceUrl, astring* pPostData, astring** ppRFResponse,
                        u32 pRFResponseINLen, u32* pRFResponseOUTLen, QVRFUTILRequestType webMethodType,
                        u16* pHttpRetCode, booln isHeaderRequested, astring** ppResponseHeaderBuff,
                        astring* pFileNameWithPath);

/**
 * Uploads a file together with a JSON document, as a multipart form of two parts: "metadata" and "LogZip". The file is
 * read while it is sent; memory does not grow with its size. Sends as QVRFUTILSendRequest does, 401 included: the
 * result is then 0 with *pHttpRetCode 401, and the caller sends again.
 * @param filePathWithName  a readable file; a missing or unreadable one, or a directory, gives 103 before anything is
 *                          sent
 * @param pPostData         the JSON document with its NUL
 * @param ppRFResponse, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode  as in QVRFUTILSendRequest
 * @return as QVRFUTILSendRequest; 101 without a session on the newer generation; 272 when memory for the URL is out
 */
s32 QVRFUTILSendFileUploadRequest(const astring* pWebResourceUrl, const astring* filePathWithName,
                                  const astring* pPostData, astring** ppRFResponse, u32 pRFResponseINLen,
                                  u32* pRFResponseOUTLen, u16* pHttpRetCode);

/**
 * GET without session or token, 5 s at most, for what the BMC serves to everybody. The endpoint is the session
 * record's, read without a lock: do not call it while a session is being opened.
 * @param pURL  path on the BMC with its leading slash; one of more than 400 characters is logged as such and gives -1
 * @param ppResponseBuffer, pRFResponseINLen, pRFResponseOUTLen, pHttpRetCode  as in QVRFUTILSendRequest
 * @return 0 with any HTTP status; 100 buffer too small; 102 NULL argument; 103 an option failed; -1 the transfer
 *         failed, the answer has no headers, or out of memory
 */
s32 QVRFUTILSendRequestNoAuth(const astring* pURL, astring** ppResponseBuffer, u32 pRFResponseINLen,
                              u32* pRFResponseOUTLen, u16* pHttpRetCode);

/** One event of a subscription, allocated for its callback, which gives it and pEvent back with SMFreeMem. */
typedef struct _SSEEventData {
    s32      StatusCode;                 /**< 0: an event; 273: the stream broke, and no more events come */
    s32      EventPayloadSize;           /**< bytes of pEvent, its NUL not counted; 0 for a break */
    s32      ReceivedEventAvailableSize; /**< the same */
    void*    pCallerContext;             /**< from the subscription's context */
    astring* pEvent;                     /**< the bytes as they came, with a NUL behind; NULL for a break */
} SSEEventData;

/** What a subscription calls; the caller's, and to be kept until it is unregistered. */
typedef struct _QVRFUTILHttpCallbackContext {
    void* pCallerContext; /**< handed back in each event */
    /** Called on the subscription's own thread. No exception may leave it: C code of libcurl stands above it. */
    void (*pCallerCallBackFunction)(SSEEventData* pEvent);
} QVRFUTILHttpCallbackContext;

/**
 * Subscribes to an event stream of the BMC. Each piece of the stream that arrives, 16 KiB at most, is handed to the
 * callback as it came, pieces of 3 bytes and less (keep-alive, and whatever else is as short) left out: the library
 * neither joins the pieces of an event, nor parts the events in a piece, nor parses them. Whatever the HTTP status, the
 * body is the stream: the page of a 401 or 404 arrives as a piece with StatusCode 0. A broken stream is told once, with
 * status 273, also when memory is out; one that ends cleanly is not. Either way it stays registered until it is
 * unregistered. The session token is taken once, now: a stream that the BMC ends because the session expired is
 * registered again.
 * @param pWebResourceUrl  path on the BMC with its leading slash; a path of more than 400 characters is logged as such
 *                         and gives -1
 * @param[out] pQVRFUTILSSEhandle  receives the subscription; NULL after a failure
 * @return 0; 101 no session details; 102 NULL argument; 103 a libcurl call failed; 104 no session (newer generation);
 *         -1 out of memory, the stream failed at once, or its thread did not start; else the status of the token's
 *         decryption or of QVRFUTILCreateSession
 * Does not wait for the stream. Any thread may call it.
 */
s32 QVRFUTILRegisterSSE(const astring* pWebResourceUrl, QVRFUTILHttpCallbackContext* pQVRFUTILHttpCallbackContext,
                        void** pQVRFUTILSSEhandle);

/**
 * Ends a subscription and frees it; no callback runs after it returned. Takes a second or two.
 * @param pQVRFUTILSSEhandle  address of the subscription, which becomes NULL
 * @return 0; 102 for NULL; -1 when the subscription had no thread (it is freed all the same)
 * Not from the subscription's own callback.
 */
s32 QVRFUTILUnregisterSSE(void** pQVRFUTILSSEhandle);

#ifdef __cplusplus
}
#endif

#endif
