/** @file suggestion.cpp  Counts the slips of the hand between two words. */
#include "suggestion.h"

#include <algorithm>
#include <numeric>

namespace qvtools {
namespace {

/** Characters to insert, delete or change until @p a is @p b. */
std::size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal                  = row[j];
            row[j]                    = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest(const std::string& word, const std::vector<std::string>& known)
{
    std::string best;
    std::size_t least = std::min<std::size_t>(3, word.size() / 2 + 1);  // one slip in a short word, two in a longer
    for (const std::string& candidate : known)
        if (const std::size_t slips = distance(word, candidate); slips < least) {
            least = slips;
            best  = candidate;
        }
    return best;
}

}  // namespace qvtools
