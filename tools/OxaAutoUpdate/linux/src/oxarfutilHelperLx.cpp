/** @file oxarfutilHelperLx.cpp  Opens and closes sessions on the BMC's session service. */
#include "oxarfutilHelperLx.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "curlLx.h"
#include "oxarfutilHelper.h"
#include "qvisocppsecurecompat.h"
#include "qvserver.h"
#include "qvstatus.h"
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

constexpr std::chrono::seconds kSeconds{100};

const astring* collectionPath() noexcept
{
    return giSServerNewGenAndAbove ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions";
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
s32 appendBearer(HeaderList& headers, const astring* loginToken, std::optional<SecretBuffer>& line) noexcept
{
    line.emplace(std::strlen("Authorization: Bearer ") + strnlen(loginToken, kMaxLoginToken) + 1);
    if (!*line) {
        __SysDbgPrint3("OSCreateRedfishSession: malloc failed for pAuthHeader.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    if (sprintf_s(line->get(), line->size(), "Authorization: bearer %s", loginToken) < 0) {
        __SysDbgPrint3("OSCreateRedfishSession: the login token is longer than %zu characters.\n", kMaxLoginToken);
        return QVRFUTIL_FAILURE;
    }
    return headers.append(kCreate, line->get()) ? s32{OXA_SUCCESS} : s32{QVRFUTIL_FAILURE};
}

/** Where an answer of the session service goes; given back from the last to the first. */
struct Reply {
    OwnedReceived header;
    OwnedReceived body;
};

/** Of the body it only matters whether there is one. @return 0 or 272 */
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
           setOption(op, easy, QVRF_OPT(CURLOPT_TIMEOUT), long{kSeconds.count()}) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYPEER), 0L) &&
           setOption(op, easy, QVRF_OPT(CURLOPT_SSL_VERIFYHOST), 0L);
}

bool readResponseCode(const char* op, CURL* easy, long& code) noexcept
{
    const CURLcode rc = responseCode(easy, code);
    logOption(op, "CURLINFO_RESPONSE_CODE", rc);
    return rc == CURLE_OK;
}

/** Posts the login with an empty body: without one named, libcurl would take it from standard input. */
bool setPost(CURL* easy, const astring* url) noexcept
{
    return setOption(kCreate, easy, QVRF_OPT(CURLOPT_URL), url) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POST), 1L) &&
           setOption(kCreate, easy, QVRF_OPT(CURLOPT_POSTFIELDS), "");
}

/** A header text that is made, as the log tells, and not sent: a login has no body whose type it could tell. */
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
        if (!headers.append(kCreate, line)) return QVRFUTIL_FAILURE;
    return setOption(kCreate, easy, QVRF_OPT(CURLOPT_HTTPHEADER), headers.get()) ? s32{OXA_SUCCESS}
                                                                                 : s32{QVRFUTIL_FAILURE};
}

/** The session service's handle (InitializeCurl in the log, whoever the caller is). */
EasyHandle InitializeCurl() noexcept
{
    EasyHandle easy = newEasyHandle();
    if (!easy) __SysDbgPrint3("InitializeCurl: curl_easy_init() failed.\n");
    return easy;
}

s32 checkLoginAnswer(CURL* easy, const Received& header, const Received& body) noexcept
{
    if (header.empty()) {
        __SysDbgPrint3("OSCreateRedfishSession: No header data, bad response.\n");
        return QVRFUTIL_FAILURE;
    }
    if (!body.empty()) return OXA_SUCCESS;
    if (!headIsWhole(header) && endedInHead(easy)) {
        __SysDbgPrint3("OSCreateRedfishSession: the answer ended among its header lines.\n");
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("OSCreateRedfishSession: No response data.\n");
    return OXA_SUCCESS;
}

s32 judgeLogin(Received& header, long code, astring** token, astring** id) noexcept
{
    header.pResponse[header.responseSize - 1] = '\0';  // was the line feed of the closing blank line
    __SysDbgPrint4("OSCreateRedfishSession: Header %s.\n", header.pResponse);
    if (code != 201) {
        __SysDbgPrint3("OSCreateRedfishSession: HTTP Response code = %d.\n", static_cast<int>(code));
        // Callers tell "no more sessions" from other refusals by the HTTP status itself.
        return code == 503 ? s32{503} : s32{QVRFUTIL_FAILURE};
    }
    __SysDbgPrint4("OSCreateRedfishSession: HTTP Response code = %d.\n", static_cast<int>(code));
    __SysDbgPrint4("%s:Calling GetTokenSSID \n", kCreate);
    const s32 status = GetTokenSSID(header.pResponse, token, id);
    if (status != OXA_SUCCESS) {
        __SysDbgPrint3("%s : GetTokenSSID failed with status = %d.\n", kCreate, status);
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("%s : GetTokenSSID retured status = %d.\n", kCreate, status);
    return OXA_SUCCESS;
}

/** One login under way, and all that it takes; given back from the last to the first. */
struct LoginExchange {
    SmOwned<astring>            url;
    SmOwned<astring>            content;
    std::optional<SecretBuffer> bearer;
    Reply                       reply;
    EasyHandle                  easy;
    HeaderList                  headers;
};

/**
 * A login token is the one credential that the BMC's older and newer firmware both take from the host; a user name and
 * password are refused here rather than sent.
 */
s32 checkCredentials(const astring* loginToken, const astring* username, const astring* password, u8 oAuth) noexcept
{
    __SysDbgPrint4("OSCreateRedfishSession: userName=%s, password=%s.\n", shown(username), shown(password));
    if (loginToken != nullptr && oAuth != 0) return OXA_SUCCESS;
    __SysDbgPrint3("OSCreateRedfishSession: invalid values for Session creation.\n");
    return QVRFUTIL_FAILURE;
}

s32 prepareLogin(LoginExchange& login, const astring* address, const astring* loginToken) noexcept
{
    CURL* const easy = login.easy.get();
    if (s32 st = appendBearer(login.headers, loginToken, login.bearer); st != OXA_SUCCESS) return st;
    if (!setWriteFunction(kCreate, easy)) return QVRFUTIL_FAILURE;
    if (s32 st = allocateReply(kCreate, Received::Content::secretHead, login.reply); st != OXA_SUCCESS) return st;
    if (!setTransferOptions(kCreate, easy, login.reply) || !leadToBmc(kCreate, easy, address) ||
        !setPost(easy, login.url.get()))
        return QVRFUTIL_FAILURE;
    login.content = contentHeader();
    return login.content ? setLoginHeaders(easy, login.headers) : s32{QVRFUTIL_OUT_OF_MEMORY};
}

bool sendLogin(LoginExchange& login, long& code) noexcept
{
    const Collecting collecting(*login.reply.header, *login.reply.body);
    return perform(kCreate, login.easy, kSeconds, "Easy Perform") == CURLE_OK &&
           readResponseCode(kCreate, login.easy.get(), code);
}

void logOutputs(astring* const* token, astring* const* id) noexcept
{
    if (token == nullptr || id == nullptr) {
        __SysDbgPrint3("%s : pRFSSID or pRFSsnToken is NULL.\n", kCreate);
        return;
    }
    __SysDbgPrint4("The Session ID is: %s\n", *id);
    __SysDbgPrint4("The Token is: %s\n", *token);
}

s32 createSession(const astring* address, const astring* port, astring v4, const astring* loginToken,
                  const astring* username, const astring* password, u8 oAuth, astring** token, astring** id) noexcept
{
    __SysDbgPrint4("%s: IP address: %s\n", kCreate, shown(address));
    if (s32 st = checkCreateArguments(address, port, oAuth, loginToken, username, password); st != OXA_SUCCESS)
        return st;
    LoginExchange login;
    login.url = createUrl(address, port, v4);
    if (!login.url) return QVRFUTIL_OUT_OF_MEMORY;
    login.easy = InitializeCurl();
    if (!login.easy || !setOption(kCreate, login.easy.get(), QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_FAILURE;
    if (s32 st = checkCredentials(loginToken, username, password, oAuth); st != OXA_SUCCESS) return st;
    if (s32 st = prepareLogin(login, address, loginToken); st != OXA_SUCCESS) return st;
    long code = 0;
    if (!sendLogin(login, code)) return QVRFUTIL_FAILURE;
    Received& header = *login.reply.header;
    if (s32 st = checkLoginAnswer(login.easy.get(), header, *login.reply.body); st != OXA_SUCCESS) return st;
    if (s32 st = judgeLogin(header, code, token, id); st != OXA_SUCCESS) return st;
    logOutputs(token, id);
    return OXA_SUCCESS;
}

/** One logout under way, and all that it takes; given back from the last to the first. */
struct LogoutExchange {
    std::optional<SecretBuffer> tokenLine;
    SmOwned<astring>            url;
    Reply                       reply;
    EasyHandle                  easy;
    HeaderList                  headers;
};

/** At most 32 characters of the token are sent. */
s32 appendToken(LogoutExchange& logout, const astring* token) noexcept
{
    const std::size_t length = strnlen(token, kTokenLength);
    logout.tokenLine.emplace(std::strlen("X-AUTH-TOKEN: ") + length + 1);
    SecretBuffer& line = *logout.tokenLine;
    if (!line) {
        __SysDbgPrint3("OSDeleteRedfishSession: malloc failed for pAuthHeader.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    sprintf_s(line.get(), line.size(), "X-AUTH-TOKEN: %.*s", static_cast<int>(length), token);
    if (!logout.headers.append(kDelete, line.get())) return QVRFUTIL_FAILURE;
    __SysDbgPrint4("pAuthHeader: %s\n", line.get());
    return OXA_SUCCESS;
}

/** Older and newer firmware both take the session's URL with the address in brackets as soon as the number is 6. */
s32 buildDeleteUrl(LogoutExchange& logout, const astring* address, const astring* port, u8 v4,
                   const astring* sessionId) noexcept
{
    logout.url = smText(kDeleteUrlBound);
    if (!logout.url) {
        __SysDbgPrint3("OSDeleteRedfishSession: malloc failed for pdelReq.\n");
        return QVRFUTIL_OUT_OF_MEMORY;
    }
    astring id[kIdSize] = {};
    strncpy_s(id, sizeof id, sessionId, strnlen(sessionId, sizeof id - 1));
    const char* const format = v4 == 6 ? "https://[%s]:%s%s/%s" : "https://%s:%s%s/%s";
    if (sprintf_s(logout.url.get(), kDeleteUrlBound, format, address, port, collectionPath(), id) < 0) {
        __SysDbgPrint3("%s: the session's URL is longer than %zu characters.\n", kDelete, kDeleteUrlBound - 1);
        return QVRFUTIL_FAILURE;
    }
    __SysDbgPrint4("%s URI: %s\n", kDelete, logout.url.get());
    return OXA_SUCCESS;
}

bool sendDelete(LogoutExchange& logout, const astring* address, long& code) noexcept
{
    CURL* const      easy = logout.easy.get();
    const Collecting collecting(*logout.reply.header, *logout.reply.body);
    return leadToBmc(kDelete, easy, address) && setOption(kDelete, easy, QVRF_OPT(CURLOPT_URL), logout.url.get()) &&
           setOption(kDelete, easy, CURLOPT_CUSTOMREQUEST, "CURLOPT_CUSTOMREQUEST-DELETE", "DELETE") &&
           setOption(kDelete, easy, QVRF_OPT(CURLOPT_HTTPHEADER), logout.headers.get()) &&
           perform(kDelete, logout.easy, kSeconds, "PERFORM") == CURLE_OK && readResponseCode(kDelete, easy, code);
}

/**
 * A reply without headers or without a body, such as 204, counts as success whatever its code: the session is gone or
 * was never there, and callers rely on being able to forget it.
 */
s32 judgeLogout(const Reply& reply, long code) noexcept
{
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

s32 deleteSession(const astring* address, const astring* port, u8 v4, const astring* token,
                  const astring* sessionId) noexcept
{
    __SysDbgPrint4("IP version is: %c\n", v4);
    if (address == nullptr || port == nullptr || token == nullptr || sessionId == nullptr) {
        __SysDbgPrint3("OSDeleteRedfishSession: input param(s) are NULL.\n");
        return QVRFUTIL_INVALID_PARAMETER;
    }
    LogoutExchange logout;
    if (s32 st = allocateReply(kDelete, Received::Content::head, logout.reply); st != OXA_SUCCESS) return st;
    logout.easy = newEasyHandle();
    if (!logout.easy) {
        __SysDbgPrint3("OSDeleteRedfishSession: curl_easy_init() failed.\n");
        return QVRFUTIL_FAILURE;
    }
    CURL* const easy = logout.easy.get();
    if (!setOption(kDelete, easy, QVRF_OPT(CURLOPT_SSLVERSION), 0L)) return QVRFUTIL_FAILURE;
    if (s32 st = appendToken(logout, token); st != OXA_SUCCESS) return st;
    if (!setWriteFunction(kDelete, easy) || !setTransferOptions(kDelete, easy, logout.reply)) return QVRFUTIL_FAILURE;
    if (s32 st = buildDeleteUrl(logout, address, port, v4, sessionId); st != OXA_SUCCESS) return st;
    long code = 0;
    return sendDelete(logout, address, code) ? judgeLogout(logout.reply, code) : s32{QVRFUTIL_FAILURE};
}

}  // namespace

extern "C" s32 OSCreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                                      const astring* username, const astring* password, u8 oAuth, astring** pRFSsnToken,
                                      astring** pRFSsnID)
{
    return traced(kCreate, kStatusTrace, [&] {
        return createSession(IpAddr, port, v4, pJWT, username, password, oAuth, pRFSsnToken, pRFSsnID);
    });
}

extern "C" s32 OSDeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken,
                                      u32 /*rfTokenLen*/, const astring* sessionID)
{
    return traced(kDelete, kStatusTrace, [&] { return deleteSession(IpAddr, port, v4, rfToken, sessionID); });
}

extern "C" s32 OXACreateRedfishSession(const astring* IpAddr, const astring* port, astring v4, const astring* pJWT,
                                       const astring* username, const astring* password, u8 oAuth,
                                       astring** pRFSsnToken, astring** pRFSsnID)
{
    return traced("OXACreateRedfishSession", kStatusTrace, [&] {
        return OSCreateRedfishSession(IpAddr, port, v4, pJWT, username, password, oAuth, pRFSsnToken, pRFSsnID);
    });
}

extern "C" s32 OXADeleteRedfishSession(const astring* IpAddr, const astring* port, u8 v4, const astring* rfToken,
                                       u32 rfTokenLen, const astring* sessionID)
{
    return traced("OXADeleteRedfishSession", kStatusTrace,
                  [&] { return OSDeleteRedfishSession(IpAddr, port, v4, rfToken, rfTokenLen, sessionID); });
}

extern "C" size_t curlRedfishResponseCallback(void* ptr, size_t size, size_t nmemb, void* userdata)
{
    const qvrf::Uncancelled uncancelled;
    __SysDbgPrint4("%s : Entry.\n", "curlRedfishResponseCallback");
    auto&             to    = *static_cast<QVRFUTIL_REDFISH_RESPONSE_RECEIVED*>(userdata);
    const std::size_t bytes = size * nmemb;
    if (to.pResponse == nullptr) __SysDbgPrint4("pResponse is null.\n");
    if (!append("curlRedfishResponseCallback", to, ptr, bytes)) {
        __SysDbgPrint3("curlRedfishResponseCallback: Out Of Memory\n");
        return 0;
    }
    __SysDbgPrint4("curlRedfishResponseCallback: respSize:%ld.\n", static_cast<long>(bytes));
    __SysDbgPrint4("curlRedfishResponseCallback: CumrespSize:%ld.\n", static_cast<long>(to.responseSize));
    __SysDbgPrint4("curlRedfishResponseCallback: Exit.\n");
    return bytes;
}
