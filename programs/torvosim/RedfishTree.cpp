/** @file RedfishTree.cpp  The Redfish resources that are kept as documents. */
#include "RedfishTree.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace torvosim {

namespace {

constexpr const char kRoot[]          = "/redfish/v1";
constexpr const char kAllowedValues[] = "@Redfish.AllowableValues";

bool isCollection(const Json& document)
{
    return document.contains("Members") && document["Members"].is_array();
}

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

/** Where the file of directory @p below lies in the service: mockups begin at "/", "/redfish" or the service root. */
std::string mockupPath(const std::string& directory, const std::string& below)
{
    const std::string path = below == "." ? std::string() : '/' + below;
    if (isAtOrBelow(path, "/redfish")) return path;
    const bool atRedfish = std::filesystem::exists(directory + "/v1/index.json");
    return (atRedfish ? "/redfish" : kRoot) + path;
}

Json mockupDocument(const std::string& file)
{
    Json json;
    try {
        json = Json::parse(readFile(file));
    } catch (const Json::parse_error& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
    if (!json.is_object()) throw std::runtime_error(file + ": a resource is a JSON object");
    return json;
}

/** An Id for a new member of the collection at @p path: the one that was asked for, or the first free number. */
std::string newId(const std::map<std::string, Json>& documents, const std::string& path, const Json& json)
{
    const std::string asked = textOf(json, "Id");
    if (!asked.empty() && asked.find('/') == asked.npos) return asked;
    unsigned number = 1;
    while (documents.count(path + '/' + std::to_string(number)) != 0) ++number;
    return std::to_string(number);
}

void setMembers(Json& collection, Json members)
{
    collection["Members@odata.count"] = members.size();
    collection["Members"]             = std::move(members);
}

/** The first property of @p change whose value the document does not allow, by what it says itself; else empty. */
std::string notAllowed(const Json& document, const Json& change, const std::string& above = {})
{
    for (const auto& [name, value] : change.items()) {
        if (value.is_object() && document.contains(name)) {
            const std::string inner = notAllowed(document[name], value, above + name + '/');
            if (!inner.empty()) return inner;
        }
        const auto allowed = document.is_object() ? document.find(name + kAllowedValues) : document.end();
        if (!document.is_object() || allowed == document.end() || !allowed->is_array()) continue;
        if (std::find(allowed->begin(), allowed->end(), value) == allowed->end()) return above + name;
    }
    return {};
}

std::optional<Response> refused(const Json& document, const Json& change)
{
    if (!change.is_object()) return errorResponse(400, "The body is not a JSON object");
    const std::string wrong = notAllowed(document, change);
    if (wrong.empty()) return std::nullopt;
    return badProperty(wrong, "The value of the property " + wrong + " is not in the list of allowed values");
}

}  // namespace

void RedfishTree::loadBuiltIn()
{
    documents_.with([](Documents& all) {
        for (const Json& document : Json::parse(kBuiltInResources)) all[ownPath(document)] = document;
    });
}

void RedfishTree::loadMockup(const std::string& directory)
{
    namespace fs = std::filesystem;
    documents_.with([&](Documents& all) {
        for (const auto& entry : fs::recursive_directory_iterator(directory)) {
            if (entry.path().filename() != "index.json") continue;
            Json              json  = mockupDocument(entry.path().string());
            const std::string below = fs::relative(entry.path().parent_path(), directory).generic_string();
            const std::string own   = ownPath(json);
            all[own.empty() ? mockupPath(directory, below) : own] = std::move(json);
        }
        if (all.count(kRoot) == 0)
            throw std::runtime_error(directory + ": no index.json there is the service root /redfish/v1");
    });
}

std::size_t RedfishTree::size()
{
    return documents_.with([](Documents& all) { return all.size(); });
}

std::optional<Json> RedfishTree::read(const std::string& path)
{
    return documents_.with([&](Documents& all) -> std::optional<Json> {
        const auto found = all.find(path);
        if (found == all.end()) return std::nullopt;
        return found->second;
    });
}

void RedfishTree::merge(const std::string& path, const Json& change)
{
    documents_.with([&](Documents& all) {
        const auto found = all.find(path);
        if (found != all.end()) found->second.merge_patch(change);
    });
}

Response RedfishTree::create(const std::string& path, Json json)
{
    if (!json.is_object()) return errorResponse(400, "The body is not a JSON object");
    return documents_.with([&](Documents& all) {
        Json& collection = all[path];
        if (!isCollection(collection)) return methodNotAllowed("GET, HEAD, PATCH");
        const std::string id  = newId(all, path, json);
        const std::string own = path + '/' + id;
        if (all.count(own) != 0) return errorResponse(409, "There is already a resource " + own);
        json["Id"]        = id;
        json["@odata.id"] = own;
        if (!json.contains("Name")) json["Name"] = id;
        Json members = collection["Members"];
        members.push_back(linkTo(own));
        setMembers(collection, std::move(members));
        Response response = resourceResponse(201, all[own] = std::move(json));
        response.headers.emplace_back("Location", own);
        return response;
    });
}

std::optional<Response> RedfishTree::patch(const std::string& path, const Json& change)
{
    return documents_.with([&](Documents& all) -> std::optional<Response> {
        Json& document = all[path];
        if (isCollection(document)) return methodNotAllowed("GET, HEAD, POST");
        if (auto refusal = refused(document, change)) return refusal;
        const Json id = document.value("@odata.id", Json());
        document.merge_patch(change);
        if (!id.is_null()) document["@odata.id"] = id;  // a resource stays where it is
        return std::nullopt;
    });
}

Response RedfishTree::remove(const std::string& path)
{
    return documents_.with([&](Documents& all) {
        const auto parent = all.find(parentOf(path));
        if (parent == all.end() || !isCollection(parent->second)) return methodNotAllowed("GET, HEAD, PATCH");
        Json       members = parent->second["Members"];
        const auto isIt    = [&](const Json& member) { return ownPath(member) == path; };
        members.erase(std::remove_if(members.begin(), members.end(), isIt), members.end());
        setMembers(parent->second, std::move(members));
        // What stood below goes with it.
        for (auto it = all.lower_bound(path); it != all.end() && startsWith(it->first, path);)
            it = isAtOrBelow(it->first, path) ? all.erase(it) : std::next(it);
        return noContent();
    });
}

std::optional<Response> RedfishTree::refusalOf(const std::string& path, const Json& change)
{
    return refused(read(path).value_or(Json::object()), change);
}

}  // namespace torvosim
