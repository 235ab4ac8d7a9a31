/** @file KsLog.h  The BMC's KS log: messages that the host's agent exports to it. */
#ifndef TORVOSIM_KSLOG_H
#define TORVOSIM_KSLOG_H

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "Support.h"

namespace torvosim {

struct KsEntry {
    std::uint64_t            number = 0;
    std::int64_t             time   = 0;
    std::string              messageId;
    std::vector<std::string> arguments;
};

class KsLog {
public:
    /** Logs "id NUL argument NUL ..."; false when the text is not of that form or the log refuses. */
    bool add(std::string_view closedTexts);
    void add(std::string messageId, std::vector<std::string> arguments);
    /** The next @p count exports are refused. */
    void refuse(unsigned count);
    void clear();
    /** The newest @p count entries, oldest first. */
    std::vector<KsEntry> last(std::size_t count);

private:
    struct State {
        std::vector<KsEntry> entries;
        std::uint64_t        added    = 0;
        unsigned             refusals = 0;
    };
    Guarded<State> state_;
};

}  // namespace torvosim

#endif
