/** @file oxarfutilHelperLx.cpp  Opens and closes sessions on the BMC's session service. */
#include "oxarfutilHelperLx.h"

#include <algorithm>
#include <cstring>

#include "curlLx.h"
#include "oxarfutilHelper.h"
#include "qvisocppsecurecompat.h"
#include "qvserver.h"
#include "qvstatus.h"
#include "shield.h"
#include "trace.h"

namespace {

using namespace qvrf;

constexpr char kCreate[] = "OSCreateRedfishSession";
constexpr char kDelete[] = "OSDeleteRedfishSession";

constexpr std::size_t kTokenLength    = 32;
constexpr std::size_t kIdSize         = 65;
constexpr std::size_t kMaxAddress     = 33;
constexpr std::size_t kMaxPort        = 6;
constexpr std::size_t kMaxPath        = 36;
constexpr std::size_t kMaxLoginToken  = 500;
constexpr std::size_t kDeleteUrlBound = 255;

const astring* collectionPath() noexcept
{
    return giSServerNewGenAndAbove ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions";
}

/** Runs @p body between the entry line and the exit line with its status. */
template <class Body>
s32 traced(const char* op, Body&& body) noexcept
{
    __SysDbgPrint4("%s: Entry.\n", op);
    const s32 status = shielded(op, s32{QVRFUTIL_OUT_OF_MEMORY}, std::forward<Body>(body));
    __SysDbgPrint4("%s: Exit with status: %d.\n", op, status);
    return status;
}

const astring* shown(const astring* text) noexcept
{
    return text != nullptr ? text : "(null)";
}

s32 checkCreateArguments(const astring* address, const astring* port, u8 oAuth, const astring* loginToken,
                         const astring* username, const astring* password) noexcept
{
    const astring* fault = nullptr;
    if (address == nullptr || port == nullptr)
        fault = "OSCreateRedfishSession: IpAddr or port input param(s) are NULL.\n";
    else if (oAuth != 0 && loginToken == nullptr)
        fault = "OSCreateRedfishSession: Invalid handle parameters (jwt)\n";
    else if (oAuth == 0 && (username == nullptr || password == nullptr))
        fault = "OSCreateRedfishSession: Invalid handle parameters (username,password)\n";
    if (fault == nullptr) return OXA_SUCCESS;
    __SysDbgPrint3("%s", fault);
    return QVRFUTIL_INVALID_PARAMETER;
}

/** The collection's URL. The newer generation's address brings its brackets along, whatever its IP version. */
SmOwned<astring> createUrl(const astring* address, const astring* port, astring v4) noexcept
{
    const astring*    path = collectionPath();
    const std::size_t sum  = strnlen(address, kMaxAddress) + strnlen(port, kMaxPort) + strnlen(path, kMaxPath);
    SmOwned<astring>  url  = smText(static_cast<u32>(sum + 12));
    if (!url) {
        __SysDbgPrint3("%s: malloc failed for Post Request URL.\n", kCreate);
        return url;
    }
    __SysDbgPrint4("%s IP version is: %c\n", kCreate, v4);
    const bool bare = v4 == '6' && !giSServerNewGenAndAbove;
    if (bare)
        sprintf_s(url.get(), sum + 12, "https://[%s]:%s%s", address, port, path);
    else
        sprintf_s(url.get(), sum + 11, "https://%s:%s%s", address, port, path);
    __SysDbgPrint4("%s URI: %s\n", kCreate, url.get());
    return url;
}

/** The login token as the first header line; the scheme's lower case is what the BMC's firmware was tested with. */
s32 appendBearer(HeaderList& headers, const astring* loginToken) noexcept
{
    SecretBuffer line(std::strlen("Authorization: Bearer ") + strnlen(loginToken, kMaxLoginToken) + 1);
    if (!line) {
        __SysDbgPrint3("OSCreateRedfishSession: malloc failed for pAuthHeader.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    if (sprintf_s(line.get(), line.size(), "Authorization: bearer %s", loginToken) < 0) {
        __SysDbgPrint3("OSCreateRedfishSession: the login token is longer than %zu characters.\n", kMaxLoginToken);
        return QVRFUTIL_FAILURE;
    }
    return headers.append(line.get()) ? s32{OXA_SUCCESS} : s32{QVRFUTIL_OUT_OF_MEMORY};
}

/** Where an answer of the session service goes. */
struct Reply {
    OwnedReceived header;
    OwnedReceived body;
};

/** The body is asked for no more than whether there is one. @return 0 or 272 */
s32 allocateReply(const char* op, Received::Content head, Reply& reply) noexcept
{
    reply.header = newReceived(head);
    if (!reply.header) {
        __SysDbgPrint3("%s: malloc failed for response header.\n", op);
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    reply.body = newReceived(Received::Content::unread);
    if (reply.body) return OXA_SUCCESS;
    __SysDbgPrint3("%s: malloc failed for response body.\n", op);
    return QVRFUTIL_OUT_OF_MEMORY;
}

bool setWriteFunction(const char* op, CURL* easy) noexcept
{
    return setOption(op, easy, QVRF_OPT(CURLOPT_WRITEFUNCTION), &curlRedfishResponseCallback);
}

bool setTransferOptions(const char* op, CURL* easy, const Reply& reply) noexcept
{
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const headerData = reply.header.get();
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const bodyData   = reply.body.get();
    return setOption(op, easy, QVRF_OPT(CURLOPT_HEADERDATA), headerData) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_WRITEDATA), bodyData) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_TIMEOUT), 100L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYPEER), 0L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYHOST), 0L);
}

bool readResponseCode(const char* op, CURL* easy, long& code) noexcept
{
    const CURLcode rc = responseCode(easy, code);
    logOption(op, "CURLINFO_RESPONSE_CODE", rc);
    return rc == CURLE_OK;
}

/** Posts the login: an empty body, said to libcurl in so many words, or it would take one from standard input. */
bool setPost(CURL* easy, const astring* url) noexcept
{
    return setOption(kCreate, easy, QVRF_OPT(CURLOPT_URL), url) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POST), 1L) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POSTFIELDS), "") &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POSTFIELDSIZE), 0L);
}

/** A header text that is made and not sent: a login of the BMC has no body, so it must not say what the body is. */
SmOwned<astring> contentHeader() noexcept
{
    constexpr std::size_t kSize = sizeof "Content-Type: application/json";
    SmOwned<astring>      text  = smText(kSize);
    if (text)
        sprintf_s(text.get(), kSize, "%s", "Content-Type: application/json");
    else
        __SysDbgPrint3("%s: malloc failed for pContentHdr.\n", kCreate);
    return text;
}

s32 setLoginHeaders(CURL* easy, HeaderList& headers) noexcept
{
    // The empty ones keep libcurl from adding its own.
    for (const char* line : {"Accept: application/json", "Content-Type:", "Transfer-Encoding:"})
        if (!headers.append(line)) return QVRFUTIL_OUT_OF_MEMORY;
    return setOption(kCreate, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()) ? s32{OXA_SUCCESS}
                                                                                 : s32{QVRFUTIL_FAILURE};
}

/** The session service's handle (InitializeCurl in the log, whoever the caller is). */
EasyHandle InitializeCurl(const char* op) noexcept
{
    EasyHandle easy = newEasyHandle(op);
    if (!easy) __SysDbgPrint3("InitializeCurl: curl_easy_init() failed.\n");
    return easy;
}

s32 judgeLogin(Received& header, const Received& body, long code, astring** token, astring** id) noexcept
{
    if (header.empty() || !headIsWhole(header)) {
        __SysDbgPrint3("OSCreateRedfishSession: No header data, bad response.\n");
        return QVRFUTIL_FAILURE;
    }
    if (body.empty()) __SysDbgPrint4("OSCreateRedfishSession: No response data.\n");
    header.pResponse[header.responseSize - 1] = '\0';  // was the line feed of the closing blank line
    __SysDbgPrint4("OSCreateRedfishSession: Header %s.\n", header.pResponse);
    if (code != 201) {
        __SysDbgPrint3("OSCreateRedfishSession: HTTP Response code = %ld.\n", code);
        // Callers tell "no more sessions" from other refusals by the HTTP status itself.
        return code == 503 ? s32{503} : s32{QVRFUTIL_FAILURE};
    }
    __SysDbgPrint4("OSCreateRedfishSession: HTTP Response code = %ld.\n", code);
    __SysDbgPrint4("%s:Calling GetTokenSSID \n", kCreate);
    const s32 status = GetTokenSSID(header.pResponse, token, id);
    if (status != OXA_SUCCESS) {
        __SysDbgPrint3("%s : GetTokenSSID failed with status = %d.\n", kCreate, status);
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("%s : GetTokenSSID retured status = %d.\n", kCreate, status);
    return OXA_SUCCESS;
}

s32 createSession(const astring* address, const astring* port, astring v4, const astring* loginToken,
                  const astring* username, const astring* password, u8 oAuth, astring** token, astring** id)
{
    __SysDbgPrint4("%s: IP address: %s\n", kCreate, shown(address));
    if (s32 st = checkCreateArguments(address, port, oAuth, loginToken, username, password); st != OXA_SUCCESS)
        return st;
    const SmOwned<astring> url = createUrl(address, port, v4);
    if (!url) return QVRFUTIL_OUT_OF_MEMORY;

    const EasyHandle easy = InitializeCurl(kCreate);
    if (!easy) return QVRFUTIL_FAILURE;
    if (!setOption(kCreate, easy.get(), QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_FAILURE;

    __SysDbgPrint4("OSCreateRedfishSession: userName=%s, password=%s.\n", shown(username), shown(password));
    // A login token is the one credential that the BMC's older and newer firmware both take from the host; a user name
    // and password are refused here rather than sent.
    if (loginToken == nullptr || oAuth == 0) {
        __SysDbgPrint3("OSCreateRedfishSession: invalid values for Session creation.\n");
        return QVRFUTIL_FAILURE;
    }
    HeaderList headers;
    if (s32 st = appendBearer(headers, loginToken); st != OXA_SUCCESS) return st;
    if (!setWriteFunction(kCreate, easy.get())) return QVRFUTIL_FAILURE;
    Reply reply;
    if (s32 st = allocateReply(kCreate, Received::Content::secretHead, reply); st != OXA_SUCCESS) return st;
    if (!setTransferOptions(kCreate, easy.get(), reply)) return QVRFUTIL_FAILURE;
    scopeLinkLocal(kCreate, easy.get(), address);
    if (!setPost(easy.get(), url.get())) return QVRFUTIL_FAILURE;
    const SmOwned<astring> content = contentHeader();
    if (!content) return QVRFUTIL_OUT_OF_MEMORY;
    if (s32 st = setLoginHeaders(easy.get(), headers); st != OXA_SUCCESS) return st;

    long code = 0;
    if (perform(kCreate, easy, "Easy Perform") != CURLE_OK || !readResponseCode(kCreate, easy.get(), code))
        return QVRFUTIL_FAILURE;
    if (s32 st = judgeLogin(*reply.header, *reply.body, code, token, id); st != OXA_SUCCESS) return st;
    if (token != nullptr && id != nullptr) {
        __SysDbgPrint4("The Session ID is: %s\n", *id);
        __SysDbgPrint4("The Token is: %s\n", *token);
    } else {
        __SysDbgPrint3("%s : pRFSSID or pRFSsnToken is NULL.\n", kCreate);
    }
    return OXA_SUCCESS;
}

/** Older and newer firmware both take the session's URL with the address in brackets as soon as the number is 6. */
bool deleteUrl(astring* url, const astring* address, const astring* port, u8 v4, const astring* id) noexcept
{
    const char* const path = collectionPath();
    const int length       = v4 == 6 ? sprintf_s(url, kDeleteUrlBound, "https://[%s]:%s%s/%s", address, port, path, id)
                                     : sprintf_s(url, kDeleteUrlBound, "https://%s:%s%s/%s", address, port, path, id);
    __SysDbgPrint4("%s URI: %s\n", kDelete, url);
    return length > 0;
}

bool sendDelete(const EasyHandle& handle, const astring* url, const HeaderList& headers, long& code) noexcept
{
    CURL* const easy = handle.get();
    return setOption(kDelete, easy, QVRF_OPT(CURLOPT_URL), url) &&
           setOption(kDelete, easy, CURLOPT_CUSTOMREQUEST, "CURLOPT_CUSTOMREQUEST-DELETE", "DELETE") &&
           setOption(kDelete, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()) &&
           perform(kDelete, handle, "PERFORM") == CURLE_OK && readResponseCode(kDelete, easy, code);
}

s32 deleteSession(const astring* address, const astring* port, u8 v4, const astring* token, const astring* sessionId)
{
    __SysDbgPrint4("IP version is: %c\n", v4);
    if (address == nullptr || port == nullptr || token == nullptr || sessionId == nullptr) {
        __SysDbgPrint3("OSDeleteRedfishSession: input param(s) are NULL.\n");
        return QVRFUTIL_INVALID_PARAMETER;
    }
    astring id[kIdSize] = {};
    strncpy_s(id, sizeof id, sessionId, strnlen(sessionId, sizeof id - 1));

    Reply reply;
    if (s32 st = allocateReply(kDelete, Received::Content::head, reply); st != OXA_SUCCESS) return st;
    const EasyHandle easy = newEasyHandle(kDelete);
    if (!easy) {
        __SysDbgPrint3("OSDeleteRedfishSession: curl_easy_init() failed.\n");
        return QVRFUTIL_FAILURE;
    }
    if (!setOption(kDelete, easy.get(), QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_FAILURE;

    SecretBuffer line(std::strlen("X-AUTH-TOKEN: ") + kTokenLength + 1);
    if (!line) {
        __SysDbgPrint3("OSDeleteRedfishSession: malloc failed for pAuthHeader.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    const int tokenLength = static_cast<int>(strnlen(token, kTokenLength));
    sprintf_s(line.get(), line.size(), "X-AUTH-TOKEN: %.*s", tokenLength, token);
    HeaderList headers;
    if (!headers.append(line.get())) return QVRFUTIL_OUT_OF_MEMORY;
    __SysDbgPrint4("pAuthHeader: %s\n", line.get());

    if (!setWriteFunction(kDelete, easy.get()) || !setTransferOptions(kDelete, easy.get(), reply))
        return QVRFUTIL_FAILURE;
    const SmOwned<astring> url = smText(kDeleteUrlBound);
    if (!url) {
        __SysDbgPrint3("OSDeleteRedfishSession: malloc failed for pdelReq.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    long code = 0;
    if (!deleteUrl(url.get(), address, port, v4, id)) return QVRFUTIL_FAILURE;
    scopeLinkLocal(kDelete, easy.get(), address);
    if (!sendDelete(easy, url.get(), headers, code)) return QVRFUTIL_FAILURE;

    // A reply without headers or without a body, such as 204, counts as success whatever its code: the session is
    // gone or was never there, and callers rely on being able to forget it.
    if (reply.header->empty()) {
        __SysDbgPrint4("OSDeleteRedfishSession: No response header.\n");
        return OXA_SUCCESS;
    }
    if (reply.body->empty()) {
        __SysDbgPrint4("OSDeleteRedfishSession: No response body.\n");
        return OXA_SUCCESS;
    }
    return code == 200 ? s32{OXA_SUCCESS} : s32{QVRFUTIL_FAILURE};
}

}  // namespace

extern "C" s32 OSCreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                                      const astring* username, const astring* password, u8 oAuth, astring** pRFSsnToken,
                                      astring** pRFSsnID)
{
    return traced(kCreate, [&] {
        return createSession(IpAddr, port, v4, pJWT, username, password, oAuth, pRFSsnToken, pRFSsnID);
    });
}

extern "C" s32 OSDeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken,
                                      u32 /*rfTokenLen*/, const astring* sessionID)
{
    return traced(kDelete, [&] { return deleteSession(IpAddr, port, v4, rfToken, sessionID); });
}

extern "C" s32 OXACreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                                       const astring* username, const astring* password, u8 oAuth,
                                       astring** pRFSsnToken, astring** pRFSsnID)
{
    return traced("OXACreateRedfishSession", [&] {
        return OSCreateRedfishSession(IpAddr, port, v4, pJWT, username, password, oAuth, pRFSsnToken, pRFSsnID);
    });
}

extern "C" s32 OXADeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken,
                                       u32 rfTokenLen, const astring* sessionID)
{
    return traced("OXADeleteRedfishSession",
                  [&] { return OSDeleteRedfishSession(IpAddr, port, v4, rfToken, rfTokenLen, sessionID); });
}

extern "C" size_t curlRedfishResponseCallback(void* ptr, size_t size, size_t nmemb, void* userdata)
{
    __SysDbgPrint4("%s : Entry.\n", "curlRedfishResponseCallback");
    auto&             to    = *static_cast<QVRFUTIL_REDFISH_RESPONSE_RECEIVED*>(userdata);
    const std::size_t bytes = size * nmemb;
    if (to.pResponse == nullptr) __SysDbgPrint4("pResponse is null.\n");
    if (!append(to, ptr, bytes)) {
        __SysDbgPrint3("curlRedfishResponseCallback: Out Of Memory\n");
        return 0;
    }
    __SysDbgPrint4("curlRedfishResponseCallback: respSize:%zu.\n", bytes);
    __SysDbgPrint4("curlRedfishResponseCallback: CumrespSize:%zu.\n", to.responseSize);
    __SysDbgPrint4("curlRedfishResponseCallback: Exit.\n");
    return bytes;
}
