/** @file screen.cpp  Fits tables to the terminal and asks on it. */
#include "screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "../session.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kUsualWidth  = 80;
constexpr std::size_t kGap         = 2;
constexpr std::size_t kLabel       = 22;
constexpr std::size_t kNarrowLabel = 15;

std::size_t terminalWidth() noexcept
{
    winsize size{};
    if (::isatty(STDOUT_FILENO) != 1) return 0;
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
}

Colour colourOf(const std::string& health) noexcept
{
    const auto begins = [&](const char* word) {
        return health.compare(0, std::char_traits<char>::length(word), word) == 0;
    };
    return begins("Critical") ? Colour::red : begins("Warning") ? Colour::yellow : Colour::none;
}

bool isContinuation(char c) noexcept
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::string cut(const std::string& text, std::size_t width)
{
    if (widthOf(text) <= width) return text;
    std::size_t at = 0;
    for (std::size_t shown = 0; at < text.size(); ++at)
        if (!isContinuation(text[at]) && ++shown >= width) break;
    return text.substr(0, at) + "…";
}

std::string cellOf(const Column& column, const Value& row)
{
    return harmlessLine(orDash(column.text != nullptr ? column.text(row) : row[column.key].text()));
}

std::size_t lineLength(const std::vector<std::size_t>& widths)
{
    std::size_t length = 0;
    for (const std::size_t width : widths) length += width + kGap;
    return length - kGap;
}

/** The columns that stay: the highest ranks go until the line fits. */
std::vector<Column> fitting(std::vector<Column> columns, const std::vector<Value>& rows, std::size_t limit,
                            std::vector<std::size_t>& widths)
{
    for (;;) {
        widths.clear();
        for (const Column& column : columns) {
            std::size_t width = widthOf(column.title);
            for (const Value& row : rows) width = std::max(width, widthOf(cellOf(column, row)));
            widths.push_back(width);
        }
        if (limit == 0 || lineLength(widths) <= limit) return columns;
        const auto last = std::max_element(columns.begin(), columns.end(),
                                           [](const Column& a, const Column& b) { return a.rank < b.rank; });
        if (last->rank == 0) return columns;
        columns.erase(last);
    }
}

}  // namespace

Screen::Screen(const Context& context) : context_(context), width_(terminalWidth()) {}

bool Screen::isJson() const noexcept
{
    return context_.output.json();
}

void Screen::cells(const std::vector<std::string>& texts, const std::vector<std::size_t>& widths,
                   const std::vector<Column>& columns)
{
    std::size_t at = 0, end = texts.size();
    while (end > 0 && (texts[end - 1].empty() || texts[end - 1] == " ")) --end;
    for (std::size_t i = 0; i < end; ++i) {
        const bool        isLast = i + 1 == end;
        const std::size_t room   = width_ == 0 ? std::string::npos : width_ > at ? width_ - at : 1;
        const std::string text   = isLast ? cut(texts[i], room) : texts[i];
        const std::size_t blanks = widths[i] > widthOf(text) ? widths[i] - widthOf(text) : 0;
        if (columns[i].right) context_.output.write(std::string(blanks, ' '));
        context_.output.write(text, colourOf(text));
        if (!isLast) context_.output.write(std::string(kGap + (columns[i].right ? 0 : blanks), ' '));
        at += widths[i] + kGap;
    }
    context_.output.write("\n");
}

void Screen::table(const std::vector<Column>& all, const std::vector<Value>& rows)
{
    if (rows.empty() && isTerminal()) return context_.output.write("none\n");
    std::vector<std::size_t> widths;
    const auto               columns = fitting(all, rows, width_, widths);
    std::vector<std::string> texts;
    for (const Column& column : columns) texts.emplace_back(column.title);
    cells(texts, widths, columns);
    for (const Value& row : rows) {
        texts.clear();
        for (const Column& column : columns) texts.push_back(cellOf(column, row));
        cells(texts, widths, columns);
    }
}

void Screen::line(const std::string& label, const std::string& value, const std::string& health)
{
    const std::size_t wide = isNarrow() ? kNarrowLabel : kLabel;
    std::string       head = harmlessLine(label);
    head.append(widthOf(head) < wide ? wide - widthOf(head) : 1, ' ');
    const std::size_t at = widthOf(head);
    context_.output.write(head);
    context_.output.write(cut(harmlessLine(value), width_ == 0 ? std::string::npos : std::max(width_, at + 1) - at),
                          colourOf(health));
    context_.output.write("\n");
}

void Screen::write(const std::string& text)
{
    context_.output.write(text);
}
void Screen::document(const Value& value)
{
    context_.output.document(value.json());
}
void Screen::record(const Value& value)
{
    context_.output.record(value.json());
}
void Screen::flush()
{
    context_.output.flush();
}
void Screen::redraw()
{
    context_.output.clear();
}
void Screen::warning(const std::string& text) const
{
    context_.output.warning(text);
}
void Screen::note(const std::string& text) const
{
    context_.output.note(text);
}

bool mustAsk(const Context& context, bool yes)
{
    if (yes) return false;
    if (context.output.json() || ::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1)
        throw wrongUsage("this has to be confirmed, and there is nobody to ask", "give --yes to do it unasked");
    return true;
}

void ask(const std::string& question)
{
    std::cerr << harmless(question) << " Go on? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (!isSameWord(answer, "y") && !isSameWord(answer, "yes")) throw wrongUsage("not confirmed: nothing was changed");
}

std::size_t widthOf(const std::string& text) noexcept
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

}  // namespace qvrfctl
