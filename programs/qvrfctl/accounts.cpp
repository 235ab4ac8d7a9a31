/** @file accounts.cpp  Reads the account collection and its members. */
#include "accounts.h"

#include <nlohmann/json.hpp>

#include "jsontext.h"
#include "request.h"

namespace qvrfctl {
namespace {

constexpr char kCollection[] = "/redfish/v1/AccountService/Accounts";

nlohmann::json readResource(Session& session, const std::string& path)
{
    const Request request{QVRFUTIL_REQUEST_GET, path, {}, false, {}};
    const Answer  answer = send(session, request);
    if (answer.http >= 400) throw httpFailure(request, answer);
    auto json = fromBmc(answer.body);
    if (!json.is_object()) throw Failure(kExitLibrary, "the BMC's answer to GET " + path + " is not a JSON object");
    return json;
}

std::string textOf(const nlohmann::json& json, const char* key)
{
    const auto member = json.find(key);
    return member != json.end() && member->is_string() ? member->get<std::string>() : std::string();
}

}  // namespace

std::vector<Account> readAccounts(Session& session)
{
    const nlohmann::json collection = readResource(session, kCollection);
    const auto           members    = collection.find("Members");
    std::vector<Account> accounts;
    if (members == collection.end() || !members->is_array()) return accounts;
    for (const nlohmann::json& member : *members) {
        if (!member.is_object()) continue;
        // Some firmware hands out the members themselves, most hand out links to them.
        const std::string    link    = textOf(member, "@odata.id");
        const bool           isLink  = !member.contains("UserName") && !link.empty() && link.front() == '/';
        const nlohmann::json account = isLink ? readResource(session, link) : member;
        const auto           enabled = account.find("Enabled");
        Account              row{textOf(account, "Id"), textOf(account, "UserName"), textOf(account, "RoleId"),
                    enabled != account.end() && enabled->is_boolean() && enabled->get<bool>()};
        if (!row.name.empty()) accounts.push_back(std::move(row));
    }
    return accounts;
}

}  // namespace qvrfctl
