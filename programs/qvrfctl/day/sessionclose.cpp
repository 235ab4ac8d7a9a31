/** @file sessionclose.cpp  qvrfctl session close: ends sessions of others, and lets the own one end by itself. */
#include <algorithm>

#include "../session.h"
#include "sessions.h"

namespace qvrfctl {
namespace {

Value found(const Value& rows, const std::string& id)
{
    std::vector<std::string> there;
    for (const Value& row : rows.items()) {
        if (row["id"].text() == id || row["path"].text() == id) return row;
        there.push_back(row["id"].text());
    }
    throw noSuch("session", id, there);
}

std::vector<Value> wanted(const Value& rows, const std::vector<std::string>& ids)
{
    std::vector<Value> all;
    for (const std::string& id : ids) all.push_back(found(rows, id));
    for (const Value& row : rows.items())
        if (ids.empty() && !row["own"].isTrue()) all.push_back(row);
    return all;
}

/** The own one is closed when the command ends. One that is gone meanwhile is what was wanted. */
void close(Service& service, const Value& row)
{
    const Order order{"DELETE", row["path"].text()};
    if (row["own"].isTrue()) return;
    const Reply reply = service.send(order);
    if (reply.http >= 400 && reply.http != 404) throw Refusal(order, reply);
}

}  // namespace

void closeSessions(const Context& context, const std::vector<std::string>& ids, bool others, bool yes)
{
    if (ids.empty() != others) throw wrongUsage("session close takes either IDs or --others");
    const bool asks = others && mustAsk(context, yes);
    Service    service(context, {}, Login::sessionOrToken);
    Screen     screen(context);
    const auto rows = wanted(sessionRows(service)["sessions"], ids);
    if (asks && !rows.empty()) ask("This ends " + std::to_string(rows.size()) + " sessions of others.");
    std::vector<std::string> closed;
    for (const Value& row : rows) {
        close(service, row);
        closed.push_back(row["id"].text());
    }
    if (screen.isJson()) return screen.document({{"closed", Value::texts(closed)}});
    screen.line("closed:", closed.empty() ? "none: there is no other" : listed(closed));
}

}  // namespace qvrfctl
