/** @file MultipartReader.cpp  Takes a multipart/form-data body apart while it arrives. */
#include "MultipartReader.h"

namespace torvosim {

namespace {
constexpr std::size_t kMostHeaderBytes = 16 * 1024;
constexpr char        kLineEnd[]       = "\r\n";
}  // namespace

std::string dispositionParameter(std::string_view disposition, std::string_view parameter)
{
    for (auto semicolon = disposition.find(';'); semicolon != disposition.npos; semicolon = disposition.find(';')) {
        disposition       = trimmed(disposition.substr(semicolon + 1));
        const auto equals = disposition.find('=');
        if (equals == disposition.npos) break;
        if (!equalsIgnoreCase(trimmed(disposition.substr(0, equals)), parameter)) continue;
        std::string_view value = disposition.substr(equals + 1);
        if (!value.empty() && value.front() == '"') return std::string(value.substr(1, value.find('"', 1) - 1));
        return std::string(trimmed(value.substr(0, value.find(';'))));
    }
    return {};
}

std::string multipartBoundary(std::string_view contentType)
{
    constexpr std::string_view type = "multipart/form-data";
    if (!equalsIgnoreCase(contentType.substr(0, type.size()), type)) return {};
    return dispositionParameter(contentType, "boundary");
}

MultipartReader::MultipartReader(const std::string& boundary, Listener& listener)
    : delimiter_(std::string(kLineEnd) + "--" + boundary), listener_(listener), buffer_(kLineEnd)
{
    // The first delimiter may stand at the very beginning: the line end put in front makes it look like the others.
}

bool MultipartReader::feed(std::string_view bytes)
{
    if (state_ == State::broken) return false;
    if (state_ == State::epilogue) return true;
    buffer_ += bytes;
    while (step()) {
    }
    return state_ != State::broken;
}

/** @return false: more bytes are needed, or none are wanted any more */
bool MultipartReader::step()
{
    switch (state_) {
        case State::delimiter: {
            const auto found = buffer_.find(delimiter_);
            if (found == buffer_.npos) {
                if (buffer_.size() > delimiter_.size()) buffer_.erase(0, buffer_.size() - delimiter_.size());
                return false;
            }
            buffer_.erase(0, found + delimiter_.size());
            state_ = State::afterDelimiter;
            return true;
        }
        case State::afterDelimiter: return takeAfterDelimiter();
        case State::headers: return takeHeaders();
        case State::data: return takeData();
        case State::epilogue:
        case State::broken: return false;
    }
    return false;
}

bool MultipartReader::takeAfterDelimiter()
{
    if (buffer_.size() < 2) return false;
    if (startsWith(buffer_, "--")) {
        state_ = State::epilogue;
        buffer_.clear();
        return false;
    }
    state_ = startsWith(buffer_, kLineEnd) ? State::headers : State::broken;
    return state_ == State::headers;
}

bool MultipartReader::takeHeaders()
{
    // The line end of the delimiter line is still there: a part without headers ends at once.
    const auto end = buffer_.find("\r\n\r\n");
    if (end == buffer_.npos) {
        if (buffer_.size() > kMostHeaderBytes) state_ = State::broken;
        return false;
    }
    Headers          headers;
    std::string_view lines = std::string_view(buffer_).substr(0, end);
    while (!lines.empty()) {
        const auto             lineEnd = lines.find(kLineEnd);
        const std::string_view line    = lines.substr(0, lineEnd);
        const auto             colon   = line.find(':');
        if (colon != line.npos)
            headers.emplace_back(std::string(trimmed(line.substr(0, colon))),
                                 std::string(trimmed(line.substr(colon + 1))));
        lines = lineEnd == lines.npos ? std::string_view() : lines.substr(lineEnd + 2);
    }
    buffer_.erase(0, end + 4);
    state_ = State::data;
    listener_.partBegins(headers);
    return true;
}

bool MultipartReader::takeData()
{
    const auto found = buffer_.find(delimiter_);
    if (found != buffer_.npos) {
        if (found != 0) listener_.partData(std::string_view(buffer_).substr(0, found));
        listener_.partEnds();
        buffer_.erase(0, found + delimiter_.size());
        state_ = State::afterDelimiter;
        return true;
    }
    // What could be the beginning of a delimiter stays.
    const std::size_t kept = delimiter_.size() - 1;
    if (buffer_.size() > kept) {
        listener_.partData(std::string_view(buffer_).substr(0, buffer_.size() - kept));
        buffer_.erase(0, buffer_.size() - kept);
    }
    return false;
}

}  // namespace torvosim
