/** @file select.cpp  Picks members out of resources. */
#include "select.h"

#include <sstream>

#include "rounds.h"

namespace qvrfctl {
namespace {

std::vector<std::string> parts(const std::string& keys)
{
    std::vector<std::string> all;
    std::istringstream       text(keys);
    for (std::string key; std::getline(text, key, ',');)
        if (!key.empty()) all.push_back(key);
    return all;
}

Value expanded(Service& service, const std::string& path)
{
    Value first = service.page(path);
    if (!first["Members"].isList()) return first;
    return first.set("Members", service.members(path)).without("Members@odata.nextLink");
}

/** One line: the bare value of one key, tabs between those of several. */
std::string lineOf(const Value& resource, const std::vector<std::string>& keys)
{
    std::vector<std::string> values;
    for (const std::string& key : keys) {
        const Value value = resource[key];
        values.push_back(value.isObject() || value.isList() ? value.dump() : value.text());
    }
    return listed(values, "\t");
}

Value picked(const Value& resource, const std::vector<std::string>& keys)
{
    Value row{{"path", resource.link()}};
    for (const std::string& key : keys) row.set(key.c_str(), resource[key]);
    return row;
}

bool hasAny(const std::vector<Value>& resources, const std::vector<std::string>& keys)
{
    for (const Value& resource : resources)
        for (const std::string& key : keys)
            if (!resource[key].isNull()) return true;
    return false;
}

Value read(Service& service, const std::string& path, const std::vector<std::string>& keys, bool expand)
{
    const Value resource = expand ? expanded(service, path) : service.page(path);
    if (keys.empty()) return resource;
    const bool isCollection = resource["Members"].isList();
    const auto resources    = isCollection ? service.members(path) : std::vector<Value>{resource};
    if (!hasAny(resources, keys)) throw Failure(kExitLibrary, "there is no " + listed(keys) + " in " + path);
    std::vector<Value> rows;
    for (const Value& each : resources) rows.push_back(picked(each, keys));
    return {{"selected", rows}};
}

}  // namespace

void showSelected(const Context& context, const Rounds& rounds, const std::string& path, const std::string& keys,
                  bool expand)
{
    const auto names = parts(keys);
    const auto show  = [&](Screen& screen, const Value& document) {
        if (names.empty()) return screen.document(document);
        for (const Value& row : document["selected"].items()) screen.write(lineOf(row, names) + '\n');
    };
    inRounds(
        context, rounds, [&](Service& service) { return read(service, path, names, expand); }, show);
}

}  // namespace qvrfctl
