/** @file tokenaccess.cpp  Makes a login token, sends it, and wipes it. */
#include "tokenaccess.h"

#include <string.h>

#include "oxarfutilHelper.h"
#include "qvstatus.h"
#include "smsupport.h"

namespace qvrfctl {
namespace {

constexpr u16 kUnauthorized = 401;

WebProbe probeOf(const qvrfutil::Client& client)
{
    const qvrfutil::Endpoint endpoint = *client.endpoint();
    return WebProbe({endpoint.address, endpoint.port, endpoint.isIpv6()}, client.link().interface.value.value_or(""));
}

Failure notTaken()
{
    return Failure(kExitNoSession, "the BMC has no session left to give, and takes no login token in the place of one",
                   "wait until it ends idle sessions by itself, or end some on its web pages");
}

}  // namespace

TokenAccess::TokenAccess(const Context& context) : context_(context), access_(context), web_(probeOf(access_.client()))
{
}

std::string TokenAccess::authorization() const
{
    constexpr char kScheme[] = "Authorization: Bearer ";
    astring*       token     = nullptr;
    u32            length    = 0;
    std::string    privilege = context_.options.privilege;
    const s32      status    = GenerateOAuthToken(context_.options.user.c_str(), privilege.data(), &token, &length);
    std::string    line;
    line.reserve(sizeof kScheme + length);  // never moved: no copy is left behind
    if (status == OXA_SUCCESS) line.append(kScheme).append(token, length);
    if (token != nullptr) ::explicit_bzero(token, length);
    SMFreeMem(token);
    if (status != OXA_SUCCESS) throw sessionFailure(status);
    return line;
}

Answer TokenAccess::send(const Request& request) const
{
    const std::string what = std::string(methodName(request.type)) + ' ' + request.path;
    std::string       line = authorization();
    WebAnswer         web  = web_.request(methodName(request.type), request.path, line);
    ::explicit_bzero(line.data(), line.size());
    if (!web.problem.empty()) throw Failure(kExitNoSession, what + ": no answer: " + web.problem);
    if (web.http == kUnauthorized) throw notTaken();
    context_.output.note(what + ": HTTP " + std::to_string(web.http) + ", with a login token");
    Answer answer;
    answer.http = static_cast<u16>(web.http);
    answer.body = std::move(web.body);
    return answer;
}

}  // namespace qvrfctl
