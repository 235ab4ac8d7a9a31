/** @file eventsplitter.h  Takes the events out of a server-sent event stream that arrives in pieces of any size. */
#ifndef QVRFCTL_EVENTSPLITTER_H
#define QVRFCTL_EVENTSPLITTER_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvrfctl {

struct StreamEvent {
    std::optional<std::string> name;  ///< field "event"
    std::optional<std::string> id;
    std::string                data;  ///< its lines with line feeds between them
};

/**
 * Lines end with LF, CR LF or CR; a blank line ends an event; comments are left out, and so is an event without data.
 *
 * Of the stream the library hands over no piece of three bytes or less, and a BMC may well send the line ends behind an
 * event as such a piece. Such an event is taken as finished when the next one begins, or when settle() says so.
 */
class EventSplitter {
public:
    static constexpr std::size_t kMostBytes = 1024u * 1024;

    /** @param mostBytes  a longer event is dropped and counted */
    explicit EventSplitter(std::size_t mostBytes = kMostBytes) : mostBytes_(mostBytes) {}

    /** @return the events that end with @p piece or with its beginning */
    std::vector<StreamEvent> take(std::string_view piece);
    /** To be called when nothing came for a while. @return the event whose end got lost, if there is one */
    std::vector<StreamEvent> settle();

    /** Whether something of an event waits for its end. */
    bool isWithinEvent() const noexcept { return hasData_ || lineLength_ > 0; }
    /** Whether a field or a comment of an event stream came: other answers have none. */
    bool        isStream() const noexcept { return isStream_; }
    std::size_t dropped() const noexcept { return dropped_; }

private:
    using Events = std::vector<StreamEvent>;
    void extendLine(std::string_view text);
    void endLine(Events& events);
    void field(std::string_view name, std::string_view value, Events& events);
    bool isLineWhole() const;
    bool isRepeated(std::string_view name) const;
    void endEvent(Events& events);

    std::size_t mostBytes_;
    StreamEvent event_;
    bool        hasData_   = false;
    bool        isTooLong_ = false;
    std::string line_;             // as far as it fits
    std::size_t lineLength_  = 0;  // all of it
    bool        afterCr_     = false;
    bool        startsPiece_ = false;  // the line began where the piece did
    bool        isFirstLine_ = true;
    bool        isStream_    = false;
    std::size_t dropped_     = 0;
};

}  // namespace qvrfctl

#endif
