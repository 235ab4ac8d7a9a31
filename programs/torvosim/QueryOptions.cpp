/** @file QueryOptions.cpp  $expand, $select, $skip, $top and pages, on any resource that is read. */
#include "QueryOptions.h"

#include <algorithm>
#include <map>

namespace torvosim {

// clang-format off
const QueryFeature kQueryFeatures[kQueryRows] = {
    {"no-links", "/ExpandQuery/NoLinks"}, {"expand-all", "/ExpandQuery/ExpandAll"}, {"links", "/ExpandQuery/Links"},
    {"levels", "/ExpandQuery/Levels"}, {"select", "/SelectQuery"}, {"top-skip", "/TopSkipQuery"},
    {"multiple", "/MultipleHTTPRequests"},
};
// clang-format on

namespace {

constexpr unsigned kMostLevels = 3;

using QueryWords = std::map<std::string, std::string>;

std::string decoded(std::string_view text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = text[i] == '%' ? parseHex(text.substr(i + 1, 2)) : std::nullopt;
        plain += byte && byte->size() == 1 ? static_cast<char>(byte->front()) : text[i];
        if (byte && byte->size() == 1) i += 2;
    }
    return plain;
}

/** Calls @p take with each piece of @p text between separators. */
template <class Take>
void forPieces(std::string_view text, char separator, Take take)
{
    while (!text.empty()) {
        const auto end = std::min(text.find(separator), text.size());
        take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

/** Those options of a target's query that begin with "$"; the others are nobody's. */
QueryWords optionsOf(std::string_view target)
{
    QueryWords options;
    const auto question = target.find('?');
    if (question == target.npos) return options;
    target.remove_prefix(question + 1);
    forPieces(target.substr(0, target.find('#')), '&', [&](std::string_view piece) {
        const auto  equals = std::min(piece.find('='), piece.size());
        std::string name   = decoded(piece.substr(0, equals));
        if (startsWith(name, "$")) options[std::move(name)] = decoded(piece.substr(std::min(equals + 1, piece.size())));
    });
    return options;
}

struct Expansion {
    bool     outside = false;  // links that stand beside "Links"
    bool     within  = false;  // links that stand in "Links"
    unsigned levels  = 1;
};

/** ".", "~" or "*", with "($levels=N)" or without. */
std::optional<Expansion> parseExpansion(const std::string& text)
{
    Expansion what;
    if (text.empty() || std::string(".~*").find(text[0]) == std::string::npos) return std::nullopt;
    what.outside = text[0] != '~';
    what.within  = text[0] != '.';
    if (text.size() == 1) return what;
    constexpr std::string_view before = "($levels=";
    const std::string_view     levels = std::string_view(text).substr(1);
    if (!startsWith(levels, before) || levels.back() != ')') return std::nullopt;
    const auto number = parseNumber(levels.substr(before.size(), levels.size() - before.size() - 1), kMostLevels);
    if (!number || *number == 0) return std::nullopt;
    what.levels = static_cast<unsigned>(*number);
    return what;
}

/** One answer's way from the resource that was read to what the query wants of it. */
class QueryStep {
public:
    QueryStep(const QueryManners& manners, QueryWords options, const ReadResource& read, Json& resource)
        : manners_(manners), options_(std::move(options)), read_(read), resource_(resource)
    {
    }

    std::optional<Response> run()
    {
        if (auto refusal = page()) return refusal;
        if (auto refusal = expand()) return refusal;
        select();
        return std::nullopt;
    }

private:
    bool offers(unsigned feature) const { return (manners_.offered >> feature & 1u) != 0; }
    /** The option's text, where the service offers the feature that it belongs to. */
    const std::string* option(const char* name, bool offered) const
    {
        const auto found = options_.find(name);
        return offered && found != options_.end() ? &found->second : nullptr;
    }
    static Response wrong(const std::string& name)
    {
        return errorResponse(400, "The value of the query option " + name + " is not one that it can have");
    }

    std::optional<Response> page();
    void                    cut(std::size_t first, std::size_t top);
    std::optional<Response> expand();
    void                    expandLinks(Json& node, const Expansion& what, unsigned levels, bool inLinks);
    void                    select();

    const QueryManners& manners_;
    QueryWords          options_;
    const ReadResource& read_;
    Json&               resource_;
};

std::optional<Response> QueryStep::page()
{
    if (!resource_.contains("Members") || !resource_["Members"].is_array()) return std::nullopt;
    std::uint64_t first = 0;
    std::uint64_t top   = SIZE_MAX;
    // The service's own option in its links to next pages; it counts on from there, whatever it offers to others.
    for (const auto& [name, number, offered] :
         {std::tuple("$skip", &first, offers(kTopSkip)), std::tuple("$top", &top, offers(kTopSkip)),
          std::tuple("$skiptoken", &first, true)}) {
        const std::string* text = option(name, offered);
        if (text == nullptr) continue;
        const auto value = parseNumber(*text, UINT32_MAX);
        if (!value) return wrong(name);
        *number = *value;
    }
    cut(first, top);
    return std::nullopt;
}

void QueryStep::cut(std::size_t first, std::size_t top)
{
    const Json        all   = resource_["Members"];
    const std::size_t begin = std::min<std::size_t>(first, all.size());
    const std::size_t want  = std::min(top, all.size() - begin);
    const std::size_t page  = manners_.pageSize;
    const std::size_t count = page == 0 ? want : std::min(want, page);
    resource_["Members"]    = Json(all.begin() + static_cast<std::ptrdiff_t>(begin),
                                   all.begin() + static_cast<std::ptrdiff_t>(begin + count));
    if (!resource_["Members"].is_array()) resource_["Members"] = Json::array();
    if (count == want) return;
    std::string next = ownPath(resource_) + "?$skiptoken=" + std::to_string(begin + count);
    if (options_.count("$top") != 0 && offers(kTopSkip)) next += "&$top=" + std::to_string(want - count);
    for (const char* kept : {"$expand", "$select"})
        if (options_.count(kept) != 0) next += '&' + std::string(kept) + '=' + options_[kept];
    resource_["Members@odata.nextLink"] = next;
}

std::optional<Response> QueryStep::expand()
{
    const std::string* text = option("$expand", offers(kNoLinks) || offers(kExpandAll) || offers(kLinks));
    if (text == nullptr) return std::nullopt;
    const auto what = parseExpansion(*text);
    if (!what) return wrong("$expand");
    const unsigned needs = !what->within ? kNoLinks : what->outside ? kExpandAll : kLinks;
    if (offers(needs)) expandLinks(resource_, *what, offers(kLevels) ? what->levels : 1, false);
    return std::nullopt;
}

void QueryStep::expandLinks(Json& node, const Expansion& what, unsigned levels, bool inLinks)
{
    const bool isLink = node.is_object() && node.size() == 1 && node.contains("@odata.id") &&
                        textOf(node, "@odata.id").find('#') == std::string::npos;
    if (isLink) {
        if (!(inLinks ? what.within : what.outside)) return;
        auto resource = read_(ownPath(node));
        if (!resource) return;
        node = std::move(*resource);
        if (levels > 1) expandLinks(node, what, levels - 1, false);
        return;
    }
    if (!node.is_structured()) return;
    for (auto it = node.begin(); it != node.end(); ++it)
        expandLinks(*it, what, levels, inLinks || (node.is_object() && it.key() == "Links"));
}

/** Moves what "Boot/BootSourceOverrideTarget" names from @p whole into @p picked. */
void pick(const Json& whole, std::string_view path, Json& picked)
{
    const auto        slash = path.find('/');
    const std::string name(path.substr(0, slash));
    if (!whole.is_object() || !whole.contains(name)) return;
    if (slash == path.npos) {
        picked[name] = whole[name];
    } else {
        pick(whole[name], path.substr(slash + 1), picked[name]);
    }
}

Json selected(const Json& whole, const std::string& list)
{
    Json picked = Json::object();
    for (const auto& [name, value] : whole.items())
        if (startsWith(name, "@odata.") || startsWith(name, "Members")) picked[name] = value;
    forPieces(list, ',', [&](std::string_view path) { pick(whole, path, picked); });
    return picked;
}

/** Of a collection whose members are handed out whole it is the members that are meant. */
void QueryStep::select()
{
    const std::string* list = option("$select", offers(kSelect));
    if (list == nullptr || !resource_.is_object()) return;
    const bool members = resource_.contains("Members") && resource_["Members"].is_array();
    if (!members || options_.count("$expand") == 0) resource_ = selected(resource_, *list);
    if (!members) return;
    for (Json& member : resource_["Members"])
        if (member.size() > 1) member = selected(member, *list);
}

}  // namespace

std::optional<unsigned> queryFeatureBits(std::string_view list)
{
    unsigned bits = 0;
    bool     good = true;
    forPieces(list, ',', [&](std::string_view name) {
        const auto* row = std::find_if(std::begin(kQueryFeatures), std::end(kQueryFeatures),
                                       [&](const QueryFeature& feature) { return name == feature.name; });
        good            = good && row != std::end(kQueryFeatures);
        if (good) bits |= 1u << (row - std::begin(kQueryFeatures));
    });
    return good ? std::optional(bits) : std::nullopt;
}

Json protocolFeatures(const QueryManners& manners)
{
    Json features = {{"FilterQuery", false}, {"OnlyMemberQuery", false}, {"ExcerptQuery", false}};
    for (unsigned row = 0; row < kQueryRows; ++row)
        features[Json::json_pointer(kQueryFeatures[row].pointer)] = (manners.offered >> row & 1u) != 0;
    if ((manners.offered >> kLevels & 1u) != 0) features["ExpandQuery"]["MaxLevels"] = kMostLevels;
    return features;
}

std::optional<Response> applyQuery(const QueryManners& manners, const std::string& target, const ReadResource& read,
                                   Json& resource)
{
    QueryWords options = optionsOf(target);
    if (manners.mode == QueryManners::Mode::refuse && !options.empty() && options.count("$skiptoken") == 0)
        return errorResponse(501, "The service does not take the query option " + options.begin()->first);
    if (manners.mode != QueryManners::Mode::obey) {
        QueryWords own;  // pages are the service's doing, not an option's
        if (options.count("$skiptoken") != 0) own["$skiptoken"] = options["$skiptoken"];
        options = std::move(own);
    }
    return QueryStep(manners, std::move(options), read, resource).run();
}

}  // namespace torvosim
