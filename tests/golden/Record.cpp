/** @file Record.cpp  From the lines that were noted to the operations that said them. */
#include "Record.h"

#include <regex>

#include "Words.h"

namespace golden {
namespace {

constexpr std::size_t kWidth    = 120;
const std::string     kCurlCode = "curl code ";

/** Entry and exit lines, with what stands before the name: "[AUFPI]". */
const std::regex kEntry(R"(4 (\[\w+\] ?)?(\w+) ?: ?[Ee]ntry\.?( |\\x20)*)");
const std::regex kExit(R"(4 (\[\w+\] ?)?(\w+) ?: ?[Ee]xit(, ?retcode=-?\d+| with status: (-?\d+|=))?\.?( |\\x20)*)");

class Builder {
public:
    explicit Builder(const std::string& operation) { open_.push_back({operation, "", {}}); }

    void take(const std::string& note)
    {
        std::smatch found;
        if (startsWith(note, kCurlCode))
            code_ = note.substr(kCurlCode.size());
        else if (std::regex_match(note, found, kEntry))
            open_.push_back({found[2], note.substr(2), {}});
        else if (std::regex_match(note, found, kExit) && isOpen(found[2]))
            close(found[2], note.substr(2));
        else
            add({"", shortened(withoutCode(note)), {}});
    }

    Node done()
    {
        while (open_.size() > 1) fold();
        Node& all = open_.front();
        if (all.inner.size() == 1 && all.inner[0].name == all.name) return all.inner[0];
        return all;
    }

private:
    bool isOpen(const std::string& name) const
    {
        for (std::size_t i = open_.size(); i-- > 1;)
            if (open_[i].name == name) return true;
        return false;
    }
    /** What ends without a line for it ends with what is around it. */
    void close(const std::string& name, const std::string& line)
    {
        while (open_.back().name != name) fold();
        const std::size_t at = line.find(name) + name.size();
        open_.back().text += " ..." + line.substr(at);
        fold();
    }
    void fold()
    {
        Node done = std::move(open_.back());
        open_.pop_back();
        add(std::move(done));
    }
    void add(Node node)
    {
        std::vector<Node>& all = open_.back().inner;
        if (isWriteFunction(node)) return received(node);
        if (!all.empty() && !node.name.empty() && node.name == all.back().name && node.inner.empty()) return;
        std::smatch found;
        // An option, and the line that tells it.
        if (!all.empty() && startsWith(all.back().text, "set ") && std::regex_match(node.text, found, kOption) &&
            startsWith(all.back().text + " ", "set " + found[1].str() + " "))
            return void(all.back().text.replace(0, 3, "opt"));
        if (startsWith(node.text, "< ")) return sent(std::stoul(node.text.substr(2)));
        all.push_back(std::move(node));
    }
    /** A line that tells the code that libcurl gave last says so: versions of libcurl differ in their codes. */
    std::string withoutCode(std::string note) const
    {
        static const std::regex code(R"((?:(?:Easy Perform|PERFORM|curl_easy_perform) failed with|curl code =) (\d+))");
        std::smatch             found;
        if (std::regex_search(note, found, code) && found[1] == code_)
            note.replace(static_cast<std::size_t>(found.position(1)), code_.size(), "$CURL");
        return note;
    }
    std::string shortened(const std::string& note) const
    {
        if (startsWith(note, "  ") && note.size() > 2 && std::isupper(static_cast<unsigned char>(note[2])) != 0)
            return "set " + note.substr(2);
        for (const std::string& tag : {std::string(), std::string("[AUFPI]"), std::string("[QVRFUTIL]")}) {
            const std::string name = tag + open_.back().name;
            if (note.size() > 2 && note.compare(2, name.size(), name) == 0 && (note[0] == '3' || note[0] == '4') &&
                (note[2 + name.size()] == ':' || note.compare(2 + name.size(), 2, " :") == 0))
                return note.substr(0, 2) + note.substr(2 + name.size());
        }
        return note;
    }

    /** A write function that said no more than what it got. */
    static bool isWriteFunction(const Node& node)
    {
        if (node.name.find("ResponseCallback") == node.name.npos) return false;
        for (const Node& line : node.inner)
            if (!startsWith(line.text, "4 : ") && !startsWith(line.text, "4 pResponse is")) return false;
        return true;
    }
    void received(const Node& node)
    {
        static const std::regex size(R"(4 : (?:tempResponseSize|respSize):(\d+)\.)"), sum(R"(4 : CumrespSize:(\d+)\.)");
        std::smatch             found;
        std::size_t             got = 0;
        bool                    odd = false;
        for (const Node& line : node.inner) {
            if (std::regex_match(line.text, found, size)) got = std::stoul(found[1]);
            if (line.text == "4 pResponse is null.") collected_ = 0;
        }
        collected_ += got;
        for (const Node& line : node.inner)
            if (std::regex_match(line.text, found, sum)) odd = odd || std::stoul(found[1]) != collected_;
        received_ += got;
        std::vector<Node>& all  = open_.back().inner;
        const std::string  text = odd ? "receives, and adds up wrongly" : "receives";
        if (all.empty() || all.back().text != text) all.push_back({"", text, {}});
    }
    /** What the service sent with it must have come. */
    void sent(std::size_t bytes)
    {
        std::vector<Node>& all = open_.back().inner;
        for (std::size_t i = all.size(); i-- > 0;)
            if (all[i].text == "receives") {
                all[i].text +=
                    received_ == bytes ? " all" : " " + std::to_string(received_) + " of " + std::to_string(bytes);
                break;
            }
        received_ = 0;
    }

    static const std::regex kOption;
    std::vector<Node>       open_;
    std::size_t             collected_ = 0, received_ = 0;
    std::string             code_;  // that libcurl gave last
};

const std::regex Builder::kOption(R"(4 : The curl API set CURLOPT_(\w+) succeeded\.)");

/** What merges with its like in one line of a file, and the word before it. */
std::string runOf(const Item& item)
{
    for (const char* word : {"opt ", "set ", "> "})
        if (startsWith(item.text, word)) return word;
    return "";
}

}  // namespace

std::string nameInEntry(const std::string& text)
{
    std::smatch       found;
    const std::string line = "4 " + text.substr(0, text.find(" ..."));
    return std::regex_match(line, found, kEntry) ? found[2].str() : "";
}

Node nodeOf(const std::string& operation, const std::vector<std::string>& notes)
{
    const std::string worker = "worker ";
    Builder           caller(operation), other("worker");
    bool              works = false;
    for (const std::string& note : notes) {
        if (!startsWith(note, worker)) {
            caller.take(note);
            continue;
        }
        works = true;
        other.take(note.substr(worker.size()));
    }
    Node all = caller.done();
    if (works) {
        Node thread = other.done();
        if (thread.name != "worker") thread = {"worker", "", {thread}};
        thread.text = "a thread";
        all.inner.push_back(thread);
    }
    return all;
}

std::vector<std::string> linesOf(const Items& items)
{
    std::vector<std::string> lines;
    std::string              run;
    std::size_t              depth = 0;
    for (const Item& item : items) {
        const std::string kind   = runOf(item);
        const std::string part   = item.text.substr(kind.size());
        const bool        begins = kind == "> " && part.find(" HTTP/") != part.npos;
        if (!kind.empty() && kind == run && depth == item.depth && !begins &&
            lines.back().size() + 3 + part.size() <= kWidth) {
            lines.back() += " ; " + part;
        } else {
            lines.push_back("| " + std::string(2 * item.depth, ' ') + item.text);
        }
        run   = kind;
        depth = item.depth;
    }
    return lines;
}

Items itemsOf(const std::vector<std::string>& lines)
{
    Items items;
    for (const std::string& line : lines) {
        const std::size_t at    = line.find_first_not_of(' ', 2);
        const std::size_t depth = at == line.npos ? 0 : (at - 2) / 2;
        std::string       rest  = at == line.npos ? "" : line.substr(at);
        const std::string kind  = runOf({depth, rest});
        for (std::size_t end; !kind.empty() && (end = rest.find(" ; ")) != rest.npos;) {
            items.push_back({depth, rest.substr(0, end)});
            rest = kind + rest.substr(end + 3);
        }
        items.push_back({depth, rest});
    }
    return items;
}

}  // namespace golden
