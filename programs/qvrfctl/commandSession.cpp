/** @file commandSession.cpp  qvrfctl session: shows a session of its own. The token is never shown. */
#include <nlohmann/json.hpp>

#include "commands.h"
#include "day/rounds.h"
#include "day/sessions.h"

namespace qvrfctl {
namespace {

void showSession(const Context& context)
{
    const Session          session(context);
    const QVRFUTILSession& record = session.record();
    Output&                output = context.output;
    if (output.json()) {
        output.document({{"id", record.SessionID},
                         {"address", record.IPAddress},
                         {"port", record.Port},
                         {"user", record.UserName},
                         {"privilege", record.Privilege},
                         {"ipVersion", record.IPVersion},
                         {"generation", session.isNewer() ? "new" : "old"}});
        return;
    }
    output.write(labelled("session", record.SessionID) + labelled("address", record.IPAddress) +
                 labelled("port", record.Port) + labelled("user", record.UserName) +
                 labelled("privilege", record.Privilege) + labelled("IP version", std::to_string(record.IPVersion)) +
                 labelled("generation", session.isNewer() ? "new" : "old"));
}

}  // namespace

Action declareSession(Arguments arguments)
{
    auto rounds = std::make_shared<Rounds>();
    declareRounds(arguments, *rounds, false);
    rounds->login = Login::sessionOrToken;  // who has used all sessions up must see them
    struct Words {
        std::vector<std::string> ids;
        bool                     others = false;
        bool                     yes    = false;
    };
    auto            words = std::make_shared<Words>();
    const Arguments list  = arguments.mayBe("list", "list the sessions of the BMC");
    Arguments       close = arguments.mayBe("close", "end sessions");
    close.texts("ID", words->ids, "Ids of the sessions to end");
    close.flag("--others", words->others, "end all but the command's own");
    close.flag("--yes", words->yes, "do not ask whether to go on");
    return [rounds, words, list, close](const Context& context) {
        if (list.isNamed()) return inRounds(context, *rounds, sessionRows, showSessions);
        checkOnce(*rounds);
        limit(context, rounds->timeout);
        if (close.isNamed()) return closeSessions(context, words->ids, words->others, words->yes);
        showSession(context);
    };
}

}  // namespace qvrfctl
