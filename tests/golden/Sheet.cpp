/** @file Sheet.cpp  Reads scenario files, and writes them with what happened. */
#include "Sheet.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <utility>

#include "Words.h"

namespace golden {
namespace {

constexpr std::size_t kWidth = 120;

std::string trimmed(const std::string& text)
{
    const std::size_t from = text.find_first_not_of(' ');
    return from == text.npos ? "" : text.substr(from, text.find_last_not_of(' ') - from + 1);
}

/** Where @p mark stands outside of quotes. */
std::size_t findOutside(const std::string& text, const std::string& mark, std::size_t from = 0)
{
    bool quoted = false;
    for (std::size_t i = from; i < text.size(); ++i) {
        if (!quoted && text.compare(i, mark.size(), mark) == 0) return i;
        if (text[i] == '"') quoted = !quoted;
        if (quoted && text[i] == '\\') ++i;
    }
    return text.npos;
}

std::vector<std::string> split(const std::string& text, const std::string& mark)
{
    std::vector<std::string> all;
    for (std::size_t at = 0;;) {
        const std::size_t end = findOutside(text, mark, at);
        all.push_back(trimmed(text.substr(at, end == text.npos ? end : end - at)));
        if (end == text.npos) return all;
        at = end + mark.size();
    }
}

std::string withoutResult(const std::string& line)
{
    return trimmed(line.substr(0, findOutside(line + " ", " -> ")));
}

/** Lines as they were meant: one that ends with a backslash goes on in the next. */
std::vector<std::string> wholeLines(const std::string& path)
{
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::vector<std::string> all;
    bool                     goesOn = false;
    for (std::string line; std::getline(in, line);) {
        if (goesOn)
            all.back() += line.substr(std::min(line.find_first_not_of(' '), line.size()));
        else
            all.push_back(line);
        goesOn = !all.back().empty() && all.back().back() == '\\';
        if (goesOn) all.back().pop_back();
    }
    return all;
}

void write(std::string& text, std::string line)
{
    while (line.size() > kWidth) {
        const std::size_t blank = line.rfind(' ', kWidth - 2);
        const std::size_t end   = blank == line.npos || blank < kWidth / 2 ? kWidth - 1 : blank + 1;
        text += line.substr(0, end) + "\\\n";
        line = "        " + line.substr(end);
    }
    if (!line.empty() && line.back() == '\\') throw std::runtime_error("a line that would go on: " + line);
    text += line + "\n";
}

bool isCall(const std::string& line)
{
    return startsWith(line, "call ") || startsWith(line, "walk ") || startsWith(line, "show ") ||
           startsWith(line, "output ") || startsWith(line, "releases");
}

std::string replaced(std::string text, const std::string& name, const std::string& value)
{
    replaceAll(text, name, value, true);
    return text;
}

/** A line of a template that names a column in which a row has a dash. */
bool leftOut(const std::string& line, const std::vector<std::string>& columns, const std::vector<std::string>& cells)
{
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (cells[i] == "-" && replaced(line, columns[i], "") != line && !isCall(line)) return true;
    return false;
}

class Reader {
public:
    explicit Reader(const std::string& path) : path_(path) {}

    Sheet read()
    {
        for (const std::string& line : wholeLines(path_)) take(line);
        return std::move(sheet_);
    }

private:
    void take(const std::string& line)
    {
        if (startsWith(line, "| ")) return base(line);
        recording_ = false;
        if (startsWith(line, "    ") || line.empty()) return variant(line);
        if (startsWith(line, "== ")) return void(sheet_.groups.emplace_back().title = line.substr(3));
        if (sheet_.groups.empty()) return sheet_.prelude.push_back(line);
        Group& group = sheet_.groups.back();
        if (startsWith(line, "-- ")) return header(group, line.substr(3));
        if (startsWith(line, "for ")) return variants(group, line);
        if (group.table) return row(group, line);
        group.lines.push_back(isCall(line) ? withoutResult(line) : line);
        if (startsWith(line, "walk ")) name_ = group.title;
    }
    static void header(Group& group, const std::string& line)
    {
        group.columns = split(withoutResult(line), " | ");
        group.columns.erase(group.columns.begin());
        group.table = true;
    }
    static void variants(Group& group, const std::string& line)
    {
        const std::size_t is = findOutside(line, " = ");
        group.names          = split(line.substr(4, is - 4), " ");
        group.variants.clear();
        for (const std::string& one : split(line.substr(is + 3), " | ")) group.variants.push_back(split(one, " "));
    }
    void row(Group& group, const std::string& line)
    {
        std::vector<std::string> cells = split(line.substr(0, findOutside(line, " -> ")) + " ", " | ");
        cells.resize(std::max(cells.size(), group.columns.size() + 1));
        if (cells.size() != group.columns.size() + 1) throw std::runtime_error("a row of another length: " + line);
        name_ = cells[0];
        cells.erase(cells.begin());
        group.rows.push_back({name_, cells});
        if (!group.names.empty()) name_ += ", " + group.variants[0][0];
        variant_ = 0;
    }
    void variant(const std::string& line)
    {
        if (line.empty() || sheet_.groups.empty() || sheet_.groups.back().rows.empty()) return;
        const Group&      group = sheet_.groups.back();
        const std::string value = withoutResult(line);
        for (std::size_t i = 0; i < group.variants.size(); ++i)
            if (group.variants[i][0] == value) variant_ = i;
        name_ = group.rows.back().title + ", " + value;
    }
    void base(const std::string& line)
    {
        if (!recording_) {
            const Group& group = sheet_.groups.back();
            const auto   last  = std::find_if(group.lines.rbegin(), group.lines.rend(),
                                              [](const std::string& each) { return startsWith(each, "walk "); });
            std::string  one   = last == group.lines.rend() ? throw std::runtime_error("a base of nothing") : *last;
            for (std::size_t i = 0; i < group.names.size(); ++i)
                one = replaced(one, group.names[i], group.variants[variant_].at(i));
            sheet_.bases.push_back({one.substr(5, one.find(' ', 5) - 5), name_, {}});
        }
        recording_ = true;
        if (!sheet_.bases.empty()) sheet_.bases.back().lines.push_back(line);
    }

    const std::string path_;
    Sheet             sheet_;
    std::string       name_;  // of the base that may follow
    std::size_t       variant_   = 0;
    bool              recording_ = false;
};

class Writer {
public:
    Writer(const std::string& file, Book& book, std::vector<std::string>& wrong)
        : file_(file), book_(book), wrong_(wrong)
    {
    }

    std::string write(const Sheet& sheet)
    {
        for (const std::string& line : sheet.prelude) golden::write(text_, line);
        for (const Group& group : sheet.groups) {
            golden::write(text_, "== " + group.title);
            group.table ? table(sheet, group) : single(sheet, group);
            if (!skipped.empty()) break;
        }
        return text_;
    }
    std::string skipped;

private:
    Outcome run(const Case& one)
    {
        values_.clear();
        for (const auto* lines : {&one.prelude, &one.lines})
            for (const std::string& line : *lines) addValues(values_, line);
        Outcome outcome = runCase(one);
        values_.insert(outcome.values.begin(), outcome.values.end());
        wrong_.insert(wrong_.end(), outcome.complaints.begin(), outcome.complaints.end());
        if (!outcome.skipped.empty()) skipped = one.title + ": skipped: " + outcome.skipped;
        return outcome;
    }

    /** What stands behind a call, and below it where it is a base. */
    struct Told {
        std::string              result;
        std::vector<std::string> base;
    };
    Told told(const Said& said, bool isBase, const std::string& title, const std::string& variant)
    {
        Told   all{" -> " + said.result, {}};
        Values values = values_;
        addValues(values, said.result);
        if (said.operation.empty()) return all;
        const Node   node = nodeWith(said);
        std::string& mine = mine_[said.operation + " " + variant];
        if (isBase) {
            mine     = title;
            all.base = book_.baseOf(node, values);
            book_.add(file_, said.operation, title, all.base);
            return all;
        }
        std::string mark = " | ", last;
        for (const std::string& one : book_.difference(said.operation, mine, node, values))
            all.result += std::exchange(mark, " / ") + withDitto(one, last);
        return all;
    }
    /** The name of an inner operation stands once in a row. */
    static std::string withDitto(const std::string& text, std::string& last)
    {
        static const std::regex named(R"(([34] )?(\[\w+\] ?)?([A-Za-z_]\w{7,})( ?:.*))");
        std::smatch             found;
        if (!std::regex_match(text, found, named)) return text;
        const bool again = std::exchange(last, found[2].str() + found[3].str()) == last;
        return again ? found[1].str() + "~" + found[4].str() : text;
    }
    static Node nodeWith(const Said& said)
    {
        Node node = nodeOf(said.operation, said.notes);
        for (const std::string& one : said.changes) node.inner.push_back({"", "= " + one, {}});
        return node;
    }

    void single(const Sheet& sheet, const Group& group)
    {
        const Outcome outcome = run(group.caseOf(sheet.prelude, 0, 0));
        std::size_t   next    = 0;
        for (const std::string& line : group.lines) {
            if (!isCall(line) || next == outcome.said.size()) {
                golden::write(text_, line);
                continue;
            }
            const Told all = told(outcome.said[next++], startsWith(line, "walk "), group.title, "");
            golden::write(text_, line + all.result);
            for (const std::string& one : all.base) golden::write(text_, one);
        }
    }

    void table(const Sheet& sheet, const Group& group)
    {
        if (!group.names.empty()) writeVariants(group);
        for (const std::string& line : group.lines) golden::write(text_, line);
        std::string header = "-- title";
        for (const std::string& column : group.columns) header += " | " + column;
        golden::write(text_, header);
        for (std::size_t i = 0; i < group.rows.size() && skipped.empty(); ++i) row(sheet, group, i);
    }
    void writeVariants(const Group& group)
    {
        std::string line = "for", mark = " = ";
        for (const std::string& name : group.names) line += " " + name;
        for (const auto& values : group.variants) {
            line += std::exchange(mark, " | ");
            for (const std::string& value : values) line += (&value == &values[0] ? "" : " ") + value;
        }
        golden::write(text_, line);
    }
    void row(const Sheet& sheet, const Group& group, std::size_t index)
    {
        const Row&  row  = group.rows[index];
        std::string line = row.title;
        for (const std::string& cell : row.cells) line += " | " + cell;
        std::vector<Told> before;
        for (std::size_t i = 0; i < group.variants.size(); ++i) {
            const std::string       variant = group.names.empty() ? "" : group.variants[i][0];
            const std::vector<Told> all     = toldOf(sheet, group, index, i, variant);
            const bool              same    = i > 0 && all[0].base.empty() && resultOf(all) == resultOf(before);
            if (i > 0 && !same) write(std::exchange(line, "   "), before);
            if (line[0] == ' ') line += " " + variant;
            before = all;
        }
        write(line, before);
    }
    std::vector<Told> toldOf(const Sheet& sheet, const Group& group, std::size_t index, std::size_t i,
                             const std::string& variant)
    {
        const bool        walks   = std::any_of(group.lines.begin(), group.lines.end(),
                                                [](const std::string& one) { return startsWith(one, "walk "); });
        const Outcome     outcome = run(group.caseOf(sheet.prelude, index, i));
        const std::string title   = group.rows[index].title + (variant.empty() ? "" : ", " + variant);
        std::vector<Told> all;
        for (const Said& said : outcome.said) {
            all.push_back(told(said, walks && index == 0 && &said == &outcome.said[0], title, variant));
            for (std::size_t k = 0; k < group.names.size(); ++k)
                all.back().result = withName(all.back().result, group.variants[i][k], group.names[k], k == 0);
        }
        if (all.empty()) throw std::runtime_error(title + ": calls nothing");
        return all;
    }
    /** What all variants have in common reads alike: the first of their values, unless a number, and $status. */
    static std::string withName(std::string text, const std::string& cell, const std::string& name, bool first)
    {
        const std::string value = cell[0] == '"' ? cell.substr(1, cell.size() - 2) : cell;
        if (name == "$status" && startsWith(text + " ", " -> " + value + " ")) text.replace(4, value.size(), name);
        if (!first || value.find_first_not_of("-0123456789") == value.npos) return text;
        replaceAll(text, value, name);
        return text;
    }
    static std::string resultOf(const std::vector<Told>& all)
    {
        std::string text;
        for (const Told& one : all) text += one.result;
        return text;
    }
    void write(const std::string& line, const std::vector<Told>& all)
    {
        golden::write(text_, line + resultOf(all));
        for (const Told& one : all)
            for (const std::string& base : one.base) golden::write(text_, base);
    }

    const std::string                  file_;
    Book&                              book_;
    std::vector<std::string>&          wrong_;
    Values                             values_;
    std::map<std::string, std::string> mine_;  ///< the last base of each operation in this file
    std::string                        text_;
};

}  // namespace

Case Group::caseOf(const std::vector<std::string>& prelude, std::size_t row, std::size_t variant) const
{
    Case one{title, prelude, {}};
    if (table) one.title += ": " + rows[row].title;
    if (!names.empty()) one.title += ", " + variants[variant][0];
    for (std::string line : lines) {
        if (line.rfind('#', 0) == 0 || (table && leftOut(line, columns, rows[row].cells)) ||
            leftOut(line, names, variants[variant]))
            continue;
        for (std::size_t i = 0; i < columns.size(); ++i) line = replaced(line, columns[i], rows[row].cells[i]);
        for (std::size_t i = 0; i < names.size(); ++i) line = replaced(line, names[i], variants[variant].at(i));
        for (const std::string& part : split(line, " ; "))
            if (!part.empty()) one.lines.push_back(part);
    }
    return one;
}

Sheet readSheet(const std::string& path)
{
    return Reader(path).read();
}

std::string textOf(const Sheet& sheet, const std::string& file, Book& book, std::vector<std::string>& wrong,
                   std::string& skipped)
{
    Writer      writer(file, book, wrong);
    std::string text = writer.write(sheet);
    skipped          = writer.skipped;
    return text;
}

}  // namespace golden
