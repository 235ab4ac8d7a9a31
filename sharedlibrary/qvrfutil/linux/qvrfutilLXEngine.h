/**
 * @file qvrfutilLXEngine.h
 * The engine of the authenticated requests. An operation is a row of what tells it apart (Method) and a call of
 * sendRequest with what its caller wants (Request); a row decides everything, the engine asks for no method by name.
 *
 * A new operation adds a row and an exported function that fills a Request. Header lines of its caller's and a time
 * limit of its own are members of Request, empty and the usual one by default: requests that do not use them keep
 * their options and the order of these.
 */
#ifndef QVRFUTILLXENGINE_H
#define QVRFUTILLXENGINE_H

#include "qvrfutilLXResponse.h"
#include "qvrfutilLXSession.h"

namespace qvrf {

/** What tells the methods apart; the defaults are what most of them share. Each text takes the method's name. */
struct Method {
    const char*     op          = nullptr;                  ///< its name in the log
    const char*     customVerb  = nullptr;                  ///< nullptr: libcurl's own verb
    const char*     customName  = "CURLOPT_CUSTOMREQUEST";  ///< how setting that verb is logged
    bool            speaksJson  = true;                     ///< Accept and Content-type around the token
    bool            hasBody     = false;                    ///< and it must not be NULL
    bool            mayKeep     = false;                    ///< may go over a connection that is kept
    bool            wholeStatus = false;                    ///< compares the status with 401 before it is cut to u16
    SessionRules    session{};                              ///< how it gets at the session
    RenewalRefusals refusals{};                             ///< after a 401
    const char*     missing    = nullptr;  ///< any of the three pointers is NULL; nullptr: a text for each
    const char*     urlLine    = nullptr;  ///< takes a second %s, the URL
    const char*     bodyLine   = nullptr;  ///< takes only the body
    const char*     statusLine = nullptr;  ///< takes a second %lld, the whole status
    const char*     answerLine = nullptr;  ///< takes a second %s, what is handed back
};

/** One request as the caller put it. */
struct Request {
    const astring*        path;
    const astring*        body;
    Answer                answer;
    booln                 headersWanted;
    astring**             headers;
    const astring*        file;                   ///< nullptr: the answer's body goes to the caller's buffer
    const astring* const* moreHeaders = nullptr;  ///< lines behind the usual ones; nullptr behind the last of them
    std::chrono::seconds  limit       = kRequestSeconds;  ///< for the whole transfer
};

/** Runs @p request from the check of its arguments to its last log line. @return the operation's status */
s32 sendRequest(const Method& method, const Request& request) noexcept;

}  // namespace qvrf

#endif
