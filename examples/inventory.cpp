/**
 * @file inventory.cpp
 * Reads the whole tree of the BMC's resources and prints a line for each: its path, type and health.
 *
 *     inventory [PATH]
 */
#include <cstdio>
#include <deque>
#include <set>

#include "qvrfutil_json.hpp"

using qvrfutil::Json;

/** Every "@odata.id" in @p value is a link; what stands behind a "#" is a part of the same resource. */
static void collectLinks(const Json& value, std::deque<std::string>& links)
{
    for (const auto& [key, member] : value.items())
        if (key == "@odata.id" && member.is_string())
            links.push_back(member.get<std::string>().substr(0, member.get<std::string>().find('#')));
        else if (key == "Members@odata.nextLink" && member.is_string())
            links.push_back(member);
        else if (member.is_structured())
            collectLinks(member, links);
}

int main(int argc, char** argv)
try {
    qvrfutil::Client        client;           // finds the BMC and its generation
    qvrfutil::Session       session(client);  // renewed when the BMC ends it, closed in any case
    std::deque<std::string> links{argc > 1 ? argv[1] : "/redfish/v1"};
    std::set<std::string>   seen;
    for (; !links.empty(); links.pop_front()) {
        const std::string path = links.front();
        if (path.rfind("/redfish/", 0) != 0 || !seen.insert(path).second) continue;
        const auto resource = session.json(path);
        if (!resource) std::fprintf(stderr, "%s\n", resource.error().text().c_str());
        if (!resource) continue;
        const Json status = resource->value("Status", Json::object());
        std::printf("%s\t%s\t%s\n", path.c_str(), resource->value("@odata.type", "?").c_str(),
                    status.is_object() ? status.value("Health", "-").c_str() : "-");
        collectLinks(*resource, links);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
