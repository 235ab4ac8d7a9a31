/** @file MultipartReader.h  Takes a multipart/form-data body apart while it arrives. */
#ifndef TORVOSIM_MULTIPARTREADER_H
#define TORVOSIM_MULTIPARTREADER_H

#include <functional>
#include <string>

#include "Http.h"

namespace torvosim {

/** The boundary of a multipart/form-data content type; empty when it is another type or has none. */
std::string multipartBoundary(std::string_view contentType);
/** A parameter such as name or filename of a Content-Disposition value; empty when absent. */
std::string dispositionParameter(std::string_view disposition, std::string_view parameter);

class MultipartReader {
public:
    /** Hears of each part in turn: its headers, its data in pieces, its end. */
    struct Listener {
        virtual ~Listener()                     = default;
        virtual void partBegins(const Headers&) = 0;
        virtual void partData(std::string_view) = 0;
        virtual void partEnds()                 = 0;
    };

    MultipartReader(const std::string& boundary, Listener& listener);

    /** Takes more of the body. @return false: it is malformed, and nothing more is taken */
    bool feed(std::string_view bytes);
    /** Whether the closing boundary was seen. */
    bool complete() const noexcept { return state_ == State::epilogue; }

private:
    enum class State { delimiter, afterDelimiter, headers, data, epilogue, broken };

    bool step();
    bool takeHeaders();
    bool takeData();
    bool takeAfterDelimiter();

    std::string delimiter_;
    Listener&   listener_;
    std::string buffer_;
    State       state_ = State::delimiter;
};

}  // namespace torvosim

#endif
