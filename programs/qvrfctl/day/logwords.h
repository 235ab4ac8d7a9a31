/** @file logwords.h  The words of qvrfctl log, and its table. */
#ifndef QVRFCTL_DAY_LOGWORDS_H
#define QVRFCTL_DAY_LOGWORDS_H

#include <cstdint>

#include "rounds.h"

namespace qvrfctl {

struct LogWords {
    Rounds        rounds;
    std::string   log;
    std::string   severity;
    std::string   since;
    std::string   until;
    std::uint64_t most = 50;
    bool          all  = false;
    bool          yes  = false;
};

void showLogTable(Screen& screen, const std::vector<Value>& entries);

}  // namespace qvrfctl

#endif
