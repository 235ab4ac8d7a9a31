/** @file texttransaction.h  A text handed to the BMC, run and answered, in pieces that fit every driver. */
#ifndef TEXTTRANSACTION_H
#define TEXTTRANSACTION_H

#include <functional>
#include <string_view>

#include "channel.h"
#include "qvtypes.h"
#include "vmwire.h"

namespace qvplatform {

/** Sends one request; nothing when there was no reply until @p latest, or earlier. */
using Exchange = std::function<std::optional<Bytes>(const Bytes& request, Clock::time_point latest)>;

struct TextReply {
    s32   result = 0;  ///< kDone, kNotReached, kRefused or kInvalidArgument (hipmstatus.h)
    s32   status = 0;  ///< what the verb came to
    Bytes text;
};

/** The time of a whole transaction: 4096 bytes each way to a BMC that takes its five seconds for
 * every piece are minutes. */
constexpr std::chrono::seconds kTextLimit{30};

/** @param id  tells this transaction from those of other threads and processes */
TextReply runText(const Exchange& exchange, u32 id, vmwire::Verb verb, std::string_view text,
                  Clock::duration limit = kTextLimit);

/** The same over the process's channel, with an id of its own. */
TextReply runText(vmwire::Verb verb, std::string_view text);

}  // namespace qvplatform

#endif
