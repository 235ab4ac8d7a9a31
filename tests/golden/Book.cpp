/** @file Book.cpp  Bases, and differences from them. */
#include "Book.h"

#include <algorithm>
#include <cctype>
#include <regex>

namespace golden {
namespace {

using Tokens = std::vector<std::string>;

bool partOfWord(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

Tokens tokensOf(const std::string& text)
{
    Tokens all;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
        for (end = at + 1; partOfWord(text[at]) && end < text.size() && partOfWord(text[end]);) ++end;
        all.push_back(text.substr(at, end - at));
    }
    return all;
}

bool isTrace(const std::string& text)
{
    return text.rfind("4 ", 0) == 0;
}

/** The same thing with another value. */
bool replaces(const std::string& now, const std::string& before)
{
    const auto same = static_cast<std::size_t>(
        std::mismatch(now.begin(), now.end(), before.begin(), before.end()).first - now.begin());
    return same >= std::min<std::size_t>(10, before.size() / 2 + 1);
}

/** The longest common row of two runs; an item is like another whose values the case explains. */
class Alignment {
public:
    Alignment(const Items& run, const Items& base, const Values& values) : values_(values)
    {
        for (const Item& item : run) run_.push_back(tokensOf(item.text));
        for (const Item& item : base) base_.push_back(tokensOf(item.text));
        const std::size_t n = run.size(), m = base.size();
        score_.assign((n + 1) * (m + 1), 0);
        width_ = m + 1;
        for (std::size_t i = n; i-- > 0;)
            for (std::size_t j = m; j-- > 0;) {
                const int both = likeness(run[i], base[j], i, j);
                int&      here = at(i, j);
                here           = std::max(at(i + 1, j), at(i, j + 1));
                if (both > 0) here = std::max(here, both + at(i + 1, j + 1));
            }
        for (std::size_t i = 0, j = 0; i < n && j < m;) {
            const int both = likeness(run[i], base[j], i, j);
            if (both > 0 && at(i, j) == both + at(i + 1, j + 1))
                pairs.push_back({i++, j++});
            else
                at(i, j) == at(i + 1, j) ? ++i : ++j;
        }
        pairs.push_back({n, m});
    }

    std::vector<std::pair<std::size_t, std::size_t>> pairs;

private:
    int& at(std::size_t i, std::size_t j) { return score_[i * width_ + j]; }
    int  likeness(const Item& a, const Item& b, std::size_t i, std::size_t j) const
    {
        if (a.depth != b.depth) return 0;
        if (a.text == b.text) return 3;
        if (isTrace(a.text) && isTrace(b.text) && replaces(a.text, b.text)) return explained(i, j) ? 2 : 0;
        if (run_[i].size() != base_[j].size()) return 0;
        for (std::size_t k = 0; k < run_[i].size(); ++k)
            if (run_[i][k] != base_[j][k] && (values_.count(run_[i][k]) == 0 || !partOfWord(base_[j][k][0]))) return 0;
        return 2;
    }

    /** The same line of the log, with nothing in it that does not come from the case. */
    bool explained(std::size_t i, std::size_t j) const
    {
        return std::all_of(run_[i].begin(), run_[i].end(), [&](const std::string& token) {
            return !partOfWord(token[0]) || values_.count(token) != 0 ||
                   std::find(base_[j].begin(), base_[j].end(), token) != base_[j].end();
        });
    }

    const Values&       values_;
    std::vector<Tokens> run_, base_;
    std::vector<int>    score_;
    std::size_t         width_ = 0;
};

std::string briefly(const std::string& text)
{
    constexpr std::size_t kBrief = 24;
    return text.size() <= kBrief ? text : text.substr(0, std::max<std::size_t>(text.rfind(' ', kBrief), 8));
}

/** Only what the case does not explain of an item that stands for another: its first word, and from there to there. */
std::string onlyNew(const std::string& now, const std::string& before, const Values& values)
{
    const Tokens a = tokensOf(now), b = tokensOf(before);
    const auto   odd = [&](std::size_t i, const std::string& other) {
        return a[i] != other && (values.count(a[i]) == 0 || !partOfWord(a[i][0]));
    };
    if (a.size() != b.size()) return now;
    std::size_t from = 0, to = a.size();
    while (from < to && !odd(from, b[from])) ++from;
    while (to > from && !odd(to - 1, b[to - 1])) --to;
    from             = std::max<std::size_t>(from, 2) - 2;  // with the word before
    std::string text = a[0] + " .. ";
    for (std::size_t i = from; i < to; ++i) text += a[i];
    return text.size() < now.size() ? text : now;
}

/** What the BMC is asked is scripted: nothing else may be, and all of it must. */
bool isExchange(const std::string& text)
{
    static const std::regex symbols(
        "(QVHIPMCommand|QVHIPMVorskPassthru|QVHIPMVorskCmdPassthru|BMCUserSetValueInUserDB) .*");
    return std::regex_match(text, symbols);
}

/** What a run has beside its base, and what it lacks. */
class Difference {
public:
    Difference(const Items& run, const Items& base, const Values& values) : run_(run), base_(base), values_(values)
    {
        const auto  pairs = Alignment(run, base, values).pairs;
        std::size_t i = 0, j = 0;
        for (const auto& [nextRun, nextBase] : pairs)
            if (nextBase < base.size() && !isTrace(base[nextBase].text)) stops_ = nextBase + 1;
        for (const auto& [nextRun, nextBase] : pairs) {
            gap(i, nextRun, j, nextBase);
            i = nextRun + 1;
            j = nextBase + 1;
        }
    }

    std::vector<std::string> told;

private:
    void gap(std::size_t i, std::size_t end, std::size_t j, std::size_t last)
    {
        const std::size_t        at = j;
        std::vector<std::string> missing;
        std::vector<bool>        paired(end - i);
        const std::size_t        first = told.size();
        for (std::size_t k = i; k < end; ++k) {
            told.push_back(run_[k].text);
            failed_ = failed_ || told.back().rfind("3 ", 0) == 0;
        }
        for (; j < last; ++j) {
            std::size_t k = i;
            while (k < end && (paired[k - i] || !replaces(run_[k].text, base_[j].text))) ++k;
            if (k < end)
                paired[k - i] = true, told[first + k - i] = onlyNew(run_[k].text, base_[j].text, values_);
            else if (!isExchange(base_[j].text) && (!failed_ || !isTrace(base_[j].text)))
                missing.push_back(briefly(base_[j].text));
        }
        for (std::size_t k = end; k-- > i;)
            if (!paired[k - i] && isExchange(run_[k].text))
                told.erase(told.begin() + static_cast<std::ptrdiff_t>(first + k - i));
        if (missing.empty() || (failed_ && at >= stops_)) return;  // a failure is where a run stops
        told.push_back("-" + missing.front());
        if (missing.size() > 1) told.back() += last == base_.size() ? " .." : " ...";
    }

    const Items & run_, &base_;
    const Values& values_;
    std::size_t   stops_  = 0;  ///< behind this item the base says no more than this run does
    bool          failed_ = false;
};

std::vector<std::string> differenceOf(const Items& run, const Items& base, const Values& values)
{
    return Difference(run, base, values).told;
}

/** A difference within an inner operation, with that one's name; what has a name already keeps it. */
std::string named(const std::string& operation, const std::string& difference)
{
    const std::size_t colon = difference.find(": ");
    const bool logged = difference.size() > 2 && (difference[0] == '3' || difference[0] == '4') && difference[1] == ' ';
    if (logged) {
        const bool own = difference[2] == ':' || difference.compare(2, 2, " :") == 0;
        return own ? difference.substr(0, 2) + operation + difference.substr(2) : difference;
    }
    const bool has = colon != difference.npos && colon > 8 && difference.find(' ') == colon + 1;
    return has ? difference : operation + ": " + difference;
}

/** With the names alone of the operations that are written out within. */
Items folded(const Items& items)
{
    Items all(items.begin(), items.begin() + (items.empty() ? 0 : 1));
    for (std::size_t i = 1; i < items.size(); ++i) {
        const std::string name = nameInEntry(items[i].text);
        all.push_back({items[i].depth, name.empty() ? items[i].text : name});
        for (const std::size_t depth = items[i].depth;
             !name.empty() && i + 1 < items.size() && items[i + 1].depth > depth;)
            ++i;
    }
    return all;
}

/** What a call leaves changed is told of the whole call alone. */
bool isChange(const Item& item)
{
    return item.text.rfind("= ", 0) == 0;
}

std::size_t lengthOf(const std::vector<std::string>& texts)
{
    std::size_t all = 0;
    for (const std::string& text : texts) all += text.size() + 3;
    return all;
}

}  // namespace

void addValues(Values& values, const std::string& text)
{
    for (std::string& token : tokensOf(text))
        if (partOfWord(token[0])) values.insert(std::move(token));
}

void Book::add(const std::string& file, const std::string& operation, const std::string& title,
               const std::vector<std::string>& lines, bool fresh)
{
    auto&       all   = bases_[operation];
    const Items whole = itemsOf(lines), items = folded(whole);
    const auto  same = std::find_if(all.begin(), all.end(),
                                    [&](const Base& one) { return one.home && one.file == file && one.title == title; });
    if (same == all.end())
        all.push_back({file, title, true, fresh, items});
    else
        same->items = items;
    addInner(file, whole, fresh);
}

/** Operations that are no case's own are written out where they are met first. */
void Book::addInner(const std::string& file, const Items& items, bool fresh)
{
    for (std::size_t i = 1; i < items.size(); ++i) {
        const std::string name = nameInEntry(items[i].text);
        if (name.empty()) continue;
        auto&      all = bases_[name];
        const auto old = std::find_if(all.begin(), all.end(), [&](const Base& one) { return one.file == file; });
        if (old != all.end() && (old->home || old->fresh || !fresh)) continue;
        if (old != all.end()) all.erase(old);
        Items own = {{0, items[i].text}};
        for (std::size_t k = i + 1; k < items.size() && items[k].depth > items[i].depth; ++k)
            own.push_back({items[k].depth - items[i].depth, items[k].text});
        all.push_back({file, "within", false, fresh, folded(own)});
    }
}

std::vector<const Book::Base*> Book::basesOf(const std::string& operation) const
{
    std::vector<const Base*> all;
    const auto               found = bases_.find(operation);
    if (found == bases_.end()) return all;
    const Base* met = nullptr;
    for (const Base& one : found->second) {
        if (one.home) all.push_back(&one);
        if (!one.home && (!writing_ || one.fresh || one.file < own_) && (met == nullptr || one.file < met->file))
            met = &one;
    }
    if (all.empty() && met != nullptr) all.push_back(met);
    std::stable_sort(all.begin(), all.end(), [](const Base* a, const Base* b) { return a->file < b->file; });
    return all;
}

/** What such an operation tells on its way is held by its own cases. */
bool Book::hasOwnCases(const std::string& operation) const
{
    const auto found = bases_.find(operation);
    return found != bases_.end() &&
           std::any_of(found->second.begin(), found->second.end(), [](const Base& one) { return one.home; });
}

Items Book::flat(const Node& node, std::size_t depth, const Values& values) const
{
    Items all;
    if (!node.text.empty()) all.push_back({depth++, node.text});
    for (const Node& one : node.inner) {
        if (one.name.empty()) {
            all.push_back({depth, one.text});
            continue;
        }
        const Items items = inner(one, depth, values);
        all.insert(all.end(), items.begin(), items.end());
    }
    return all;
}

/** An inner operation: its name when it did what a base of its says, else how it differed, or all of it. */
Items Book::inner(const Node& node, std::size_t depth, const Values& values) const
{
    const Items                    whole = flat(node, 0, values);
    bool                           known = false;
    const std::vector<std::string> told  = closest(node.name, "", whole, values, known, true);
    Items                          all   = {{depth, node.name}};
    for (const std::string& one : told)
        if (!isTrace(one) || !hasOwnCases(node.name)) all.push_back({depth + 1, named(node.name, one)});
    if (known) return all;
    all.clear();
    for (const Item& item : whole) all.push_back({item.depth + depth, item.text});
    return all;
}

std::vector<std::string> Book::closest(const std::string& operation, const std::string& mine, const Items& items,
                                       const Values& values, bool& known, bool within) const
{
    std::vector<std::string> best;
    const auto               bases = basesOf(operation);
    bool                     plain = true;
    const bool anyMine = std::any_of(bases.begin(), bases.end(), [&](const Base* one) { return one->title == mine; });
    for (const Base* one : bases) {
        Items base = one->items;
        if (within) base.erase(std::remove_if(base.begin(), base.end(), isChange), base.end());
        std::vector<std::string> now = differenceOf(items, base, values);
        if (anyMine ? one->title != mine : one != bases.front()) now.insert(now.begin(), "like " + one->title);
        if (plain || lengthOf(now) < lengthOf(best)) best = now;
        plain = false;
    }
    known = !bases.empty();
    return best;
}

std::vector<std::string> Book::baseOf(const Node& run, const Values& values)
{
    writing_                             = true;
    const std::vector<std::string> lines = linesOf(flat(run, 0, values));
    writing_                             = false;
    return lines;
}

std::vector<std::string> Book::difference(const std::string& operation, const std::string& mine, const Node& run,
                                          const Values& values)
{
    bool                           known = false;
    const Items                    items = flat(run, 0, values);
    const std::vector<std::string> told  = closest(operation, mine, items, values, known, false);
    if (known) return told;
    std::vector<std::string> all;
    for (const Item& item : items) all.push_back(item.text);
    return all;
}

}  // namespace golden
