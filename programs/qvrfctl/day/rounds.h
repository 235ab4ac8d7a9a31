/** @file rounds.h  A command that only reads: once, or again and again, within a time. */
#ifndef QVRFCTL_DAY_ROUNDS_H
#define QVRFCTL_DAY_ROUNDS_H

#include <functional>
#include <string>

#include "../arguments.h"
#include "../output.h"
#include "screen.h"
#include "service.h"

namespace qvrfctl {

/** How a reading command is carried out; declared for each of them. */
struct Rounds {
    std::string system;
    unsigned    every   = 0;  ///< seconds between rounds; 0: one round
    unsigned    timeout = 0;  ///< seconds for all of it; 0: no limit
    Login       login   = Login::session;
};

/** --watch, --timeout and, where there is a choice, --system. @return --watch */
Argument declareRounds(Arguments arguments, Rounds& rounds, bool withSystem = true);
void     declareSystem(Arguments arguments, std::string& system);

/** @throws Failure(kExitUsage) with --watch: for what does not only read */
void checkOnce(const Rounds& rounds);

/**
 * Ends the process when the time is over, with the session closed, and with status 8. 0 seconds: what the options say,
 * else @p otherwise; 0 again: no limit. @p says: what is told then
 */
using Late = std::function<Failure(unsigned seconds)>;
void limit(const Context& context, unsigned seconds, unsigned otherwise = 0, const Late& says = {});
/** The same with status 0: what was shown by then is all that was asked for. */
void limitShowing(const Context& context, unsigned seconds);

using Reading = std::function<Value(Service&)>;
using Showing = std::function<void(Screen&, const Value&)>;
using Round   = std::function<void(Service&, Screen&)>;
/** Logs in, and carries out a round, or one after the other. */
void repeatRounds(const Context& context, const Rounds& rounds, const Round& round);
/** A terminal begins anew, elsewhere what comes stands below what was; the time first. Not for JSON. */
void beginAgain(Screen& screen);

/** Shows what a round without a session has read: the document with --json, else the text. */
using Show = std::function<void(const Json& document, const std::string& text)>;
/** Without a session, for what IPMI tells: a round, or one after the other. A round may show a part and then fail. */
void inRoundsWithoutSession(const Context& context, const Rounds& rounds,
                            const std::function<void(const Show&)>& round);

/** Logs in, reads, and shows what was read: the document with --json, else what @p show makes of it. */
void inRounds(const Context& context, const Rounds& rounds, const Reading& read, const Showing& show);

}  // namespace qvrfctl

#endif
