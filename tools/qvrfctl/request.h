/** @file request.h  One request through the library, sent again when its buffer was small or its session had ended. */
#ifndef QVRFCTL_REQUEST_H
#define QVRFCTL_REQUEST_H

#include <chrono>
#include <string>

#include "session.h"

namespace qvrfctl {

/** The operation of the library that carries a request. */
enum class Road {
    session,  ///< QVRFUTILSendRequest
    upload,   ///< QVRFUTILSendFileUploadRequest
    open,     ///< QVRFUTILSendRequestNoAuth
};

struct Request {
    QVRFUTILRequestType type = QVRFUTIL_REQUEST_GET;
    std::string         path;
    std::string         body;  ///< POST and PATCH; of an upload, the document about its file
    bool                wantsHeaders = false;
    std::string         file;  ///< GET: receives the answer's body; empty: it is handed back. Upload: what is sent
    Road                road = Road::session;
};

struct Answer {
    u16                       http = 0;
    std::string               body;
    std::string               headers;  ///< as received, status line and closing blank line among them
    std::chrono::milliseconds elapsed{0};
    bool                      renewed = false;  ///< the session had ended: this is the second answer
};

const char* methodName(QVRFUTILRequestType type) noexcept;

/** @throws Failure for everything but an HTTP status */
Answer send(Session& session, const Request& request);
/** The same with nobody logged in, for Road::open. */
Answer send(const Context& context, const OpenAccess&, const Request& request);

/** The failure that an HTTP status of 400 and above is. */
Failure httpFailure(const Request& request, const Answer& answer);

}  // namespace qvrfctl

#endif
