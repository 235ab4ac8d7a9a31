/** @file KsLog.cpp  The BMC's KS log. */
#include "KsLog.h"

#include <algorithm>

namespace torvosim {

namespace {
constexpr std::size_t kMostEntries = 1000;
}

bool KsLog::add(std::string_view closedTexts)
{
    if (state_.with([](State& s) { return s.refusals > 0 && s.refusals-- > 0; })) return false;
    std::vector<std::string> texts;
    while (!closedTexts.empty()) {
        const auto end = closedTexts.find('\0');
        if (end == closedTexts.npos) return false;
        texts.emplace_back(closedTexts.substr(0, end));
        closedTexts.remove_prefix(end + 1);
    }
    if (texts.empty() || texts.front().empty()) return false;
    std::string id = std::move(texts.front());
    texts.erase(texts.begin());
    add(std::move(id), std::move(texts));
    return true;
}

void KsLog::add(std::string messageId, std::vector<std::string> arguments)
{
    state_.with([&](State& s) {
        if (s.entries.size() >= kMostEntries) s.entries.erase(s.entries.begin());
        s.entries.push_back({++s.added, std::time(nullptr), std::move(messageId), std::move(arguments)});
    });
}

void KsLog::refuse(unsigned count)
{
    state_.with([&](State& s) { s.refusals = count; });
}

void KsLog::clear()
{
    state_.with([](State& s) { s.entries.clear(); });
}

std::vector<KsEntry> KsLog::last(std::size_t count)
{
    return state_.with([&](State& s) {
        const auto first = s.entries.end() - static_cast<std::ptrdiff_t>(std::min(count, s.entries.size()));
        return std::vector<KsEntry>(first, s.entries.end());
    });
}

}  // namespace torvosim
