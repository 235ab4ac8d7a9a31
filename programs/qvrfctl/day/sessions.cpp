/** @file sessions.cpp  qvrfctl session list: who is logged in to the BMC. */
#include "sessions.h"

#include "../session.h"

namespace qvrfctl {
namespace {

std::string sinceText(const Value& session)
{
    return timeText(session["since"].text());
}

std::string ownText(const Value& session)
{
    return session["own"].isTrue() ? "own" : " ";
}

std::string linkOf(Service& service)
{
    const std::string link = service.root()["Links.Sessions"].link();
    if (!link.empty()) return link;
    return service.readOr(service.root()["SessionService"], "session service")["Sessions"].link();
}

}  // namespace

Value readSessions(Service& service)
{
    const std::string link = linkOf(service);
    return link.empty() ? Value() : service.readOr(Value(link), "sessions");
}

Value sessionRows(Service& service)
{
    const std::string  own        = service.ownSession();
    const std::string  collection = sessionCollection(service);
    std::vector<Value> rows;
    for (const Value& session : service.members(collection))
        rows.push_back(
            {{"id", idOf(session)},
             {"user", session["UserName"]},
             {"from", session["ClientOriginIPAddress"]},
             {"type", session["SessionType"]},
             {"since", session["CreatedTime"]},
             {"own", !own.empty() && (lastSegment(session.link()) == lastSegment(own) || idOf(session) == own)},
             {"path", session.link()}});
    return {{"sessions", rows}};
}

std::string sessionCollection(Service& service)
{
    const std::string link = linkOf(service);
    if (link.empty()) throw Failure(kExitLibrary, "this BMC tells no sessions by Redfish");
    return link;
}

void showSessions(Screen& screen, const Value& document)
{
    screen.table({{"ID", "id"},
                  {"USER", "user"},
                  {"FROM", "from"},
                  {"TYPE", "type", 3},
                  {"SINCE", "since", 2, false, sinceText},
                  {"", "own", 0, false, ownText}},
                 document["sessions"].items());
}

}  // namespace qvrfctl
