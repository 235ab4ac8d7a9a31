/**
 * @file qvrfutil_events.hpp
 * Server-sent events out of the bytes of a stream, however those were cut. C++17, needs nothing
 * but the standard library.
 *
 * @code
 *     qvrfutil::EventParser parser;
 *     while (read(piece))
 *         for (const qvrfutil::StreamItem& item : parser.take(piece))
 *             if (item.isEvent()) puts(item.data.c_str());
 * @endcode
 *
 * The same bytes give the same events, in whatever pieces they come: nothing here looks at the clock, at a connection
 * or at where a piece ends. What arrives over a connection is the affair of EventStream (qvrfutil_stream.hpp).
 */
#ifndef QVRFUTIL_EVENTS_HPP
#define QVRFUTIL_EVENTS_HPP

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvrfutil {

/** Why something of a stream may be missing. */
enum class Loss {
    none,         ///< no loss: the item is an event
    reconnected,  ///< the stream ended or broke, and another one was begun
    tooLong,      ///< an event above the cap was left out
    silence,      ///< nothing came for longer than the caller allows; the stream is begun anew
    outOfMemory,  ///< a piece of the stream could not be kept
};

/** One event, or the news that there is a gap between the events around it. */
struct StreamItem {
    Loss                       loss = Loss::none;
    std::optional<std::string> name;    ///< field "event"; without one it is a "message" by the standard
    std::optional<std::string> id;      ///< the event's own
    std::string                data;    ///< its lines with line feeds between them
    std::string                lastId;  ///< of a gap: the last identifier before it, empty when none was told

    bool isEvent() const noexcept { return loss == Loss::none; }
};
using StreamItems = std::vector<StreamItem>;

inline StreamItem gap(Loss loss, std::string lastId)
{
    StreamItem item;
    item.loss   = loss;
    item.lastId = std::move(lastId);
    return item;
}

/**
 * Lines end with LF, CR LF or CR; a blank line ends an event; comments are left out, and so is an event without data.
 * One object a connection, or restart() in between; not for two threads at once.
 */
class EventParser {
public:
    static constexpr std::size_t kMostBytes = 1024u * 1024;

    /** @param mostBytes  an event with more bytes is left out and told as a gap; memory stays below twice that */
    explicit EventParser(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

    /** @return what ends with @p piece: events, and gaps for those that were too long */
    StreamItems take(std::string_view piece)
    {
        StreamItems items;
        while (!piece.empty()) takeSome(piece, items);
        return items;
    }

    /** The next byte is the first of another stream. The last identifier and the retry time stay. */
    void restart()
    {
        clearEvent();
        line_.clear();
        lineLength_  = 0;
        afterCr_     = false;
        isFirstLine_ = true;
        isStream_    = false;
    }

    /** Whether a part of an event came whose end has not come. */
    bool isWithinEvent() const noexcept { return hasField_ || lineLength_ > 0; }
    /** Whether a field or a comment of an event stream came: a page of another kind has none. */
    bool isStream() const noexcept { return isStream_; }
    /** The last identifier that the stream told; an event without one leaves it as it is. */
    const std::string& lastId() const noexcept { return lastId_; }
    /** The pause before a new connection that the BMC asked for. */
    std::optional<std::chrono::milliseconds> retry() const noexcept { return retry_; }

private:
    static constexpr std::string_view kLineEnds      = "\r\n";
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

    /** Up to and with one line end, or all of it. */
    void takeSome(std::string_view& piece, StreamItems& items)
    {
        if (std::exchange(afterCr_, false) && piece.front() == '\n') {
            piece.remove_prefix(1);
            return;
        }
        const auto end = piece.find_first_of(kLineEnds);
        extendLine(piece.substr(0, end));
        if (end == piece.npos) {
            piece = {};
            return;
        }
        afterCr_ = piece[end] == '\r';
        piece.remove_prefix(end + 1);
        endLine(items);
    }

    void extendLine(std::string_view text)
    {
        lineLength_ += text.size();
        if (!isTooLong_ && event_.data.size() + lineLength_ > mostBytes_) beTooLong(text);
        if (!isTooLong_) {
            line_ += text;
            return;
        }
        line_       = {};  // only its end is looked for from here on
        event_.data = {};
    }

    /** Its line is never looked at as a whole; how it begins tells whether this is an event stream at all. */
    void beTooLong(std::string_view rest)
    {
        constexpr std::size_t kLongestName = 16;
        const std::string     beginning    = line_.substr(0, kLongestName) + std::string(rest.substr(0, kLongestName));
        for (const char* field : {"data:", "event:", "id:", ":"})
            if (beginning.rfind(field, 0) == 0) isStream_ = true;
        isTooLong_ = true;
    }

    void endLine(StreamItems& items)
    {
        std::string_view line = line_;
        if (std::exchange(isFirstLine_, false) && line.substr(0, kByteOrderMark.size()) == kByteOrderMark)
            line.remove_prefix(kByteOrderMark.size());
        if (lineLength_ == 0)
            endEvent(items);
        else if (!isTooLong_ && !line.empty())
            takeField(line);
        line_.clear();
        lineLength_ = 0;
    }

    void takeField(std::string_view line)
    {
        const auto       colon = line.find(':');
        std::string_view value = colon == line.npos ? std::string_view() : line.substr(colon + 1);
        if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
        isStream_ = setField(line.substr(0, colon), value) || isStream_;
    }

    /** @return whether the field is one of an event stream */
    bool setField(std::string_view name, std::string_view value)
    {
        if (name.empty()) return true;  // a comment
        if (name == "retry") return setRetry(value);
        if (name == "data") {
            if (std::exchange(hasData_, true)) event_.data += '\n';
            event_.data += value;
        } else if (name == "id") {
            if (value.find('\0') == value.npos) event_.id = value;
        } else if (name == "event") {
            event_.name = value;
        } else {
            return false;
        }
        hasField_ = true;
        return true;
    }

    bool setRetry(std::string_view value)
    {
        constexpr std::size_t kMostDigits = 9;
        if (value.empty() || value.size() > kMostDigits || value.find_first_not_of("0123456789") != value.npos)
            return true;
        retry_ = std::chrono::milliseconds(std::stol(std::string(value)));
        return true;
    }

    void endEvent(StreamItems& items)
    {
        if (event_.id) lastId_ = *event_.id;
        if (isTooLong_)
            items.push_back(gap(Loss::tooLong, lastId_));
        else if (hasData_)
            items.push_back(std::move(event_));
        clearEvent();
    }

    void clearEvent()
    {
        event_     = {};
        hasData_   = false;
        hasField_  = false;
        isTooLong_ = false;
    }

    std::size_t                              mostBytes_;
    StreamItem                               event_;
    bool                                     hasField_  = false;
    bool                                     hasData_   = false;
    bool                                     isTooLong_ = false;
    std::string                              line_;             // as far as it fits
    std::size_t                              lineLength_  = 0;  // all of it
    bool                                     afterCr_     = false;
    bool                                     isFirstLine_ = true;
    bool                                     isStream_    = false;
    std::string                              lastId_;
    std::optional<std::chrono::milliseconds> retry_;
};

}  // namespace qvrfutil

#endif
