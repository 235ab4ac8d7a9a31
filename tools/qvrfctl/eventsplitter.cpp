/** @file eventsplitter.cpp  Lines, fields, events. */
#include "eventsplitter.h"

#include <utility>

#include "jsontext.h"

namespace qvrfctl {
namespace {

constexpr std::string_view kLineEnds      = "\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isLineEnd(char c) noexcept
{
    return kLineEnds.find(c) != kLineEnds.npos;
}

bool isJsonBegun(std::string_view data) noexcept
{
    return !data.empty() && (data.front() == '{' || data.front() == '[');
}

/** An object or array that is all there: whatever follows it belongs to another event. */
bool isJsonWhole(std::string_view data)
{
    return isJsonBegun(data) && (data.back() == '}' || data.back() == ']') && isJson(data);
}

std::pair<std::string_view, std::string_view> takenApart(std::string_view line) noexcept
{
    const auto colon = line.find(':');
    if (colon == line.npos) return {line, {}};
    std::string_view value = line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    return {line.substr(0, colon), value};
}

}  // namespace

std::vector<StreamEvent> EventSplitter::take(std::string_view piece)
{
    Events events;
    if (piece.empty()) return events;
    if (!isLineEnd(piece.front()) && isLineWhole()) {
        endLine(events);
        endEvent(events);
    }
    if (lineLength_ == 0) startsPiece_ = true;
    while (!piece.empty()) {
        if (std::exchange(afterCr_, false) && piece.front() == '\n') {
            piece.remove_prefix(1);
            continue;
        }
        const auto end = piece.find_first_of(kLineEnds);
        extendLine(piece.substr(0, end));
        if (end == piece.npos) break;
        afterCr_ = piece[end] == '\r';
        piece.remove_prefix(end + 1);
        endLine(events);
    }
    return events;
}

std::vector<StreamEvent> EventSplitter::settle()
{
    Events events;
    if (isLineWhole()) endLine(events);
    if (lineLength_ == 0 && hasData_ && (!isJsonBegun(event_.data) || isJsonWhole(event_.data))) endEvent(events);
    return events;
}

void EventSplitter::extendLine(std::string_view text)
{
    lineLength_ += text.size();
    if (event_.data.size() + lineLength_ > mostBytes_) isTooLong_ = true;
    if (isTooLong_) {  // only its end is looked for from here on
        line_.clear();
        event_.data.clear();
    } else {
        line_ += text;
    }
}

void EventSplitter::endLine(Events& events)
{
    std::string_view line = line_;
    if (std::exchange(isFirstLine_, false) && line.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        line.remove_prefix(kByteOrderMark.size());
    if (lineLength_ == 0) {
        endEvent(events);
    } else if (!isTooLong_ && !line.empty()) {
        const auto [name, value] = takenApart(line);
        field(name, value, events);
    }
    line_.clear();
    lineLength_  = 0;
    startsPiece_ = false;
}

/** Whether the unfinished line is finished all the same: its end got lost with the event's. */
bool EventSplitter::isLineWhole() const
{
    const auto [name, value] = takenApart(line_);
    return name == "data" && !isTooLong_ && (!hasData_ || isRepeated(name)) && isJsonWhole(value);
}

/** Whether a line that began with a piece is the first of another event: the blank line before it got lost. */
bool EventSplitter::isRepeated(std::string_view name) const
{
    const bool isThere = name == "data" || (name == "id" && event_.id) || (name == "event" && event_.name);
    return startsPiece_ && hasData_ && isThere && isJsonWhole(event_.data);
}

void EventSplitter::field(std::string_view name, std::string_view value, Events& events)
{
    if (isRepeated(name)) endEvent(events);
    if (name == "data") {
        if (std::exchange(hasData_, true)) event_.data += '\n';
        event_.data += value;
    } else if (name == "id") {
        event_.id = value;
    } else if (name == "event") {
        event_.name = value;
    } else if (!name.empty() && name != "retry") {
        return;  // neither comment nor a known field
    }
    isStream_ = true;
}

void EventSplitter::endEvent(Events& events)
{
    if (isTooLong_)
        ++dropped_;
    else if (hasData_)
        events.push_back(std::move(event_));
    event_     = {};
    hasData_   = false;
    isTooLong_ = false;
}

}  // namespace qvrfctl
