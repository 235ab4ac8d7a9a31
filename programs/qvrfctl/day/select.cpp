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

void show(Screen& screen, const std::vector<Value>& resources, const std::vector<std::string>& keys)
{
    std::vector<Value> rows;
    for (const Value& resource : resources) rows.push_back(picked(resource, keys));
    if (screen.isJson()) return screen.document({{"selected", rows}});
    for (const Value& resource : resources) screen.write(lineOf(resource, keys) + '\n');
}

}  // namespace

void showSelected(const Context& context, const std::string& path, const std::string& keys, bool expand,
                  unsigned seconds)
{
    limit(context, seconds);
    Service     service(context);
    Screen      screen(context);
    const auto  names    = parts(keys);
    const Value resource = expand ? expanded(service, path) : service.page(path);
    if (names.empty()) return screen.document(resource);
    const bool isCollection = resource["Members"].isList();
    const auto resources    = isCollection ? service.members(path) : std::vector<Value>{resource};
    if (!hasAny(resources, names)) throw Failure(kExitLibrary, "there is no " + listed(names) + " in " + path);
    show(screen, resources, names);
}

}  // namespace qvrfctl
