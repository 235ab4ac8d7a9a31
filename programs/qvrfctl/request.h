/**
 * @file request.h  One request through the layer, as the command line words it, and its answer as the tool shows it.
 */
#ifndef QVRFCTL_REQUEST_H
#define QVRFCTL_REQUEST_H

#include <chrono>
#include <string>
#include <vector>

#include "session.h"

namespace qvrfctl {

/** How a request is carried. */
enum class RequestKind {
    withSession,     ///< with the session; a GET may go into a file
    upload,          ///< a file and a document about it
    withoutSession,  ///< without a session
};

struct Request {
    QVRFUTILRequestType      type = QVRFUTIL_REQUEST_GET;
    std::string              path;
    std::string              body;  ///< POST and PATCH; of an upload, the document about its file
    bool                     wantsHeaders = false;
    std::string              file;  ///< GET: receives the answer's body; empty: it is handed back. Upload: what is sent
    RequestKind              kind  = RequestKind::withSession;
    std::vector<std::string> lines = {};  ///< headers of the request, whole lines
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
/** The same with nobody logged in, for RequestKind::withoutSession. */
Answer send(const Context& context, const OpenAccess& access, const Request& request);

/** The failure that an HTTP status of 400 and above is. */
Failure httpFailure(const Request& request, const Answer& answer);

}  // namespace qvrfctl

#endif
