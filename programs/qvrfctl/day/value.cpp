/** @file value.cpp  Looks into JSON without trusting any of it. */
#include "value.h"

#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "../jsontext.h"

namespace qvrfctl {
namespace {

using Json = nlohmann::ordered_json;

/**
 * Members as they come. The usual object looks for each among all before it, and a body of some hundred thousand takes
 * it minutes; where a name comes twice, the first counts.
 */
template <class Key, class Item, class Less, class Allocator>
struct Appended : nlohmann::ordered_map<Key, Item, Less, Allocator> {
    using Members = std::vector<std::pair<const Key, Item>, Allocator>;
    using nlohmann::ordered_map<Key, Item, Less, Allocator>::ordered_map;

    template <class Name>
    Item& operator[](Name&& name)
    {
        return Members::emplace_back(std::forward<Name>(name), Item()).second;
    }
};

/** What the library takes as a path of a request. */
constexpr std::size_t kLongestPath = 400;

const Json& null() noexcept
{
    static const Json value;
    return value;
}

bool isIndex(std::string_view word) noexcept
{
    return !word.empty() && word.size() < 6 && word.find_first_not_of("0123456789") == word.npos;
}

const Json* child(const Json& json, std::string_view name)
{
    if (json.is_array() && isIndex(name)) {
        const std::size_t index = std::stoul(std::string(name));
        return index < json.size() ? &json[index] : nullptr;
    }
    const auto found = json.is_object() ? json.find(std::string(name)) : json.end();
    return json.is_object() && found != json.end() ? &*found : nullptr;
}

/** A name may have dots itself: the longest that is there counts. */
const Json* descend(const Json& json, std::string_view path)
{
    for (auto end = path.size(); end != path.npos && end > 0; end = path.rfind('.', end - 1)) {
        const Json* const at = child(json, path.substr(0, end));
        if (at == nullptr) continue;
        if (end == path.size()) return at;
        if (const Json* const below = descend(*at, path.substr(end + 1))) return below;
    }
    return nullptr;
}

bool isPath(std::string_view text)
{
    const auto isPlain = [](char c) { return c > ' ' && c < '\x7f'; };
    return !text.empty() && text.front() == '/' && text.size() <= kLongestPath &&
           std::all_of(text.begin(), text.end(), isPlain);
}

}  // namespace

Value Value::of(Json&& json)
{
    const auto document = std::make_shared<const Json>(std::move(json));
    return {document, document.get()};
}

Value::Value(const char* text) : Value(of(Json(text))) {}
Value::Value(std::string text) : Value(of(Json(std::move(text)))) {}
Value::Value(bool flag) : Value(of(Json(flag))) {}
Value::Value(int number) : Value(of(Json(number))) {}
Value::Value(long long number) : Value(of(Json(number))) {}
Value::Value(double number) : Value(of(Json(number))) {}
Value::Value(const std::vector<Value>& items)
{
    Json all = Json::array();
    for (const Value& item : items) all.push_back(item.json());
    *this = of(std::move(all));
}
Value::Value(std::initializer_list<std::pair<const char*, Value>> members)
{
    Json all = Json::object();
    for (const auto& [name, value] : members) all[name] = value.json();
    *this = of(std::move(all));
}

Value Value::parse(std::string_view text)
{
    return isJson(text) ? of(Json(nlohmann::basic_json<Appended>::parse(text))) : Value();
}
Value Value::object()
{
    return of(Json::object());
}
Value Value::texts(const std::vector<std::string>& texts)
{
    return of(Json(texts));
}

Value Value::operator[](std::string_view path) const
{
    const Json* const found = at_ != nullptr ? descend(*at_, path) : nullptr;
    return found != nullptr ? Value(document_, found) : Value();
}
Value Value::firstOf(std::initializer_list<const char*> paths) const
{
    for (const char* const path : paths)
        if (const Value found = (*this)[path]; !found.isNull()) return found;
    return {};
}

const Json& Value::json() const noexcept
{
    return at_ != nullptr ? *at_ : null();
}
bool Value::isNull() const noexcept
{
    return json().is_null();
}
bool Value::isNumber() const noexcept
{
    return json().is_number();
}
bool Value::isObject() const noexcept
{
    return json().is_object();
}
bool Value::isList() const noexcept
{
    return json().is_array();
}
bool Value::isTrue() const noexcept
{
    return json().is_boolean() && json().get<bool>();
}
bool Value::isFalse() const noexcept
{
    return json().is_boolean() && !json().get<bool>();
}
double Value::number(double otherwise) const noexcept
{
    return isNumber() ? json().get<double>() : otherwise;
}

long long Value::count() const noexcept
{
    constexpr double kMost = 1e15;
    const double     told  = number();
    return told > 0 && told < kMost ? static_cast<long long>(told) : 0;
}

std::string Value::text(const std::string& otherwise) const
{
    if (json().is_string()) return json().get<std::string>();
    return json().is_number() || json().is_boolean() ? dump() : otherwise;
}

std::vector<Value> Value::items() const
{
    std::vector<Value> all;
    if (isList())
        for (const Json& item : json()) all.push_back({document_, &item});
    return all;
}
std::vector<std::pair<std::string, Value>> Value::members() const
{
    std::vector<std::pair<std::string, Value>> all;
    if (isObject())
        for (const auto& [name, member] : json().get_ref<const Json::object_t&>())
            all.emplace_back(name, Value(document_, &member));
    return all;
}

std::string Value::link() const
{
    const std::string path = isObject() ? (*this)["@odata.id"].text() : json().is_string() ? text() : std::string();
    return isPath(path) ? path : std::string();
}
bool Value::isReference() const
{
    return isObject() && json().size() == 1 && !link().empty();
}

std::string Value::dump() const
{
    return json().dump(-1, ' ', false, Json::error_handler_t::replace);
}

Value& Value::set(const char* name, const Value& value)
{
    Json changed  = isObject() ? json() : Json::object();
    changed[name] = value.json();
    return *this  = of(std::move(changed));
}

Value Value::without(std::string_view name) const
{
    Json kept = Json::object();
    if (isObject())
        for (const auto& member : json().get_ref<const Json::object_t&>())
            if (member.first != name) kept.get_ref<Json::object_t&>().push_back(member);
    return of(std::move(kept));
}

bool operator==(const Value& a, const Value& b)
{
    return a.json() == b.json();
}

bool isSameWord(std::string_view a, std::string_view b) noexcept
{
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string listed(const std::vector<std::string>& words, const char* between)
{
    std::string all;
    for (const std::string& word : words) all += (&word == &words.front() ? "" : between) + word;
    return all;
}

std::vector<std::string> textsOf(const Value& list)
{
    std::vector<std::string> all;
    for (const Value& item : list.items()) all.push_back(item.text());
    return all;
}

std::string lastSegment(const std::string& path)
{
    const auto end = path.find_last_not_of('/');
    if (end == path.npos) return {};
    const auto slash = path.rfind('/', end);
    const auto begin = slash == path.npos ? 0 : slash + 1;
    return path.substr(begin, end + 1 - begin);
}

}  // namespace qvrfctl
