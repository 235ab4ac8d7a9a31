/** @file oxarfutilHelperLx.cpp  Opens and closes sessions on the BMC's session service. */
#include "oxarfutilHelperLx.h"

#include <algorithm>

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

bool setTransferOptions(const char* op, CURL* easy, Received& header, Received& body) noexcept
{
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const headerData = &header;
    QVRFUTIL_REDFISH_RESPONSE_RECEIVED* const bodyData   = &body;
    return setOption(op, easy, QVRF_OPT(CURLOPT_WRITEFUNCTION), &curlRedfishResponseCallback) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_HEADERDATA), headerData) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_WRITEDATA), bodyData) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_TIMEOUT), 100L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYPEER), 0L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYHOST), 0L);
}

bool readResponseCode(const char* op, CURL* easy, long& code) noexcept
{
    const bool read = responseCode(easy, code);
    logOption(op, "CURLINFO_RESPONSE_CODE", read ? CURLE_OK : CURLE_BAD_FUNCTION_ARGUMENT);
    return read;
}

/** Posts the login: an empty body, said to libcurl in so many words, or it would take one from standard input. */
bool postLogin(CURL* easy, const astring* url, HeaderList& headers, long& code) noexcept
{
    return setOption(kCreate, easy, QVRF_OPT(CURLOPT_URL), url) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POST), 1L) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POSTFIELDS), "") &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POSTFIELDSIZE), 0L) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()) &&
           perform(kCreate, easy, "Easy Perform") == CURLE_OK && readResponseCode(kCreate, easy, code);
}

s32 judgeLogin(Received& header, const Received& body, long code, astring** token, astring** id) noexcept
{
    if (header.empty()) {
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
    const s32 status = tokenAndSessionId(header.pResponse, token, id);
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

    const EasyHandle easy = newEasyHandle(kCreate);
    if (!easy) {
        __SysDbgPrint3("InitializeCurl: curl_easy_init() failed.\n");
        return QVRFUTIL_FAILURE;
    }
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
    // The empty ones keep libcurl from adding its own.
    for (const char* line : {"Accept: application/json", "Content-Type:", "Transfer-Encoding:"})
        if (!headers.append(line)) return QVRFUTIL_OUT_OF_MEMORY;

    Received header(Received::Content::secret);
    Received body;
    long     code = 0;
    if (!setTransferOptions(kCreate, easy.get(), header, body) || !postLogin(easy.get(), url.get(), headers, code))
        return QVRFUTIL_FAILURE;
    if (s32 st = judgeLogin(header, body, code, token, id); st != OXA_SUCCESS) return st;
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

bool sendDelete(CURL* easy, const astring* url, const HeaderList& headers, long& code) noexcept
{
    return setOption(kDelete, easy, QVRF_OPT(CURLOPT_URL), url) &&
           setOption(kDelete, easy, CURLOPT_CUSTOMREQUEST, "CURLOPT_CUSTOMREQUEST-DELETE", "DELETE") &&
           setOption(kDelete, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()) &&
           perform(kDelete, easy, "PERFORM") == CURLE_OK && readResponseCode(kDelete, easy, code);
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

    Received header, body;
    if (!setTransferOptions(kDelete, easy.get(), header, body)) return QVRFUTIL_FAILURE;
    const SmOwned<astring> url = smText(kDeleteUrlBound);
    if (!url) {
        __SysDbgPrint3("OSDeleteRedfishSession: malloc failed for pdelReq.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    long code = 0;
    if (!deleteUrl(url.get(), address, port, v4, id) || !sendDelete(easy.get(), url.get(), headers, code))
        return QVRFUTIL_FAILURE;

    // A reply without headers or without a body, such as 204, counts as success whatever its code: the session is
    // gone or was never there, and callers rely on being able to forget it.
    if (header.empty()) {
        __SysDbgPrint4("OSDeleteRedfishSession: No response header.\n");
        return OXA_SUCCESS;
    }
    if (body.empty()) {
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
