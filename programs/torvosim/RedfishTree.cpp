/** @file RedfishTree.cpp  The Redfish resources in memory. */
#include "RedfishTree.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace torvosim {

namespace {

using Json = nlohmann::json;

constexpr const char kRoot[] = "/redfish/v1";

struct Resource {
    Json          json;
    std::uint64_t version = 1;

    std::string etag() const { return "W/\"" + std::to_string(version) + '"'; }
    bool        isCollection() const { return json.contains("Members") && json["Members"].is_array(); }
};

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

Response resourceResponse(int status, const Resource& resource)
{
    Response response = jsonResponse(status, resource.json.dump());
    response.headers.emplace_back("ETag", resource.etag());
    return response;
}

}  // namespace

struct RedfishTree::State {
    std::mutex                      mutex;
    std::map<std::string, Resource> resources;  // by path without trailing slash

    void put(Json json, const std::string& where)
    {
        if (!json.is_object()) throw std::runtime_error(where + ": a resource is a JSON object");
        std::string path = where;
        if (json.contains("@odata.id") && json["@odata.id"].is_string())
            path = targetPath(json["@odata.id"].get<std::string>());
        resources[path] = {std::move(json)};
    }

    Response create(const std::string& path, Resource& collection, Json json);
    Response patch(Resource& resource, const Json& change);
    Response remove(const std::string& path);
    bool     isAction(const std::string& path) const;
};

Response RedfishTree::State::create(const std::string& path, Resource& collection, Json json)
{
    if (!json.is_object()) return errorResponse(400, "The body is not a JSON object");
    std::string id;
    if (json.contains("Id") && json["Id"].is_string()) id = json["Id"].get<std::string>();
    if (id.empty() || id.find('/') != id.npos) {
        unsigned number = 1;
        while (resources.count(path + '/' + std::to_string(number)) != 0) ++number;
        id = std::to_string(number);
    }
    const std::string own = path + '/' + id;
    if (resources.count(own) != 0) return errorResponse(409, "There is already a resource " + own);

    json["Id"]        = id;
    json["@odata.id"] = own;
    if (!json.contains("Name")) json["Name"] = id;
    Json& members = collection.json["Members"];
    members.push_back({{"@odata.id", own}});
    collection.json["Members@odata.count"] = members.size();
    ++collection.version;
    Response response = resourceResponse(201, resources[own] = {std::move(json)});
    response.headers.emplace_back("Location", own);
    return response;
}

Response RedfishTree::State::patch(Resource& resource, const Json& change)
{
    if (!change.is_object()) return errorResponse(400, "The body is not a JSON object");
    if (resource.isCollection()) return methodNotAllowed("GET, HEAD, POST");
    const Json id = resource.json.value("@odata.id", Json());
    resource.json.merge_patch(change);
    if (!id.is_null()) resource.json["@odata.id"] = id;  // a resource stays where it is
    ++resource.version;
    return resourceResponse(200, resource);
}

Response RedfishTree::State::remove(const std::string& path)
{
    const auto parent = resources.find(parentOf(path));
    if (parent == resources.end() || !parent->second.isCollection()) return methodNotAllowed("GET, HEAD, PATCH");
    Json&      members = parent->second.json["Members"];
    const auto isIt    = [&](const Json& member) { return member.value("@odata.id", "") == path; };
    members.erase(std::remove_if(members.begin(), members.end(), isIt), members.end());
    parent->second.json["Members@odata.count"] = members.size();
    ++parent->second.version;
    // What stood below goes with it.
    for (auto it = resources.lower_bound(path); it != resources.end() && startsWith(it->first, path);)
        it = isAtOrBelow(it->first, path) ? resources.erase(it) : std::next(it);
    Response gone;
    gone.status = 204;
    return gone;
}

/** Whether a resource above names @p path as the target of an action. */
bool RedfishTree::State::isAction(const std::string& path) const
{
    const auto actions = path.find("/Actions/");
    if (actions == path.npos) return false;
    const auto owner = resources.find(path.substr(0, actions));
    if (owner == resources.end() || !owner->second.json.contains("Actions")) return false;
    const Json& offered = owner->second.json["Actions"];
    return std::any_of(offered.begin(), offered.end(),
                       [&](const Json& action) { return action.is_object() && action.value("target", "") == path; });
}

RedfishTree::RedfishTree() : state_(std::make_unique<State>()) {}
RedfishTree::~RedfishTree() = default;

void RedfishTree::loadBuiltIn()
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    for (Json& resource : Json::parse(kBuiltInResources)) state_->put(std::move(resource), "built-in resource");
}

void RedfishTree::loadMockup(const std::string& directory)
{
    namespace fs = std::filesystem;
    std::lock_guard<std::mutex> lock(state_->mutex);
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (entry.path().filename() != "index.json") continue;
        const std::string file = entry.path().string();
        Json              json;
        try {
            json = Json::parse(readFile(file));
        } catch (const Json::parse_error& error) {
            throw std::runtime_error(file + ": " + error.what());
        }
        if (!json.is_object()) throw std::runtime_error(file + ": a resource is a JSON object");
        const std::string below = fs::relative(entry.path().parent_path(), directory).generic_string();
        state_->put(std::move(json), mockupPath(directory, below));
    }
    if (state_->resources.count(kRoot) == 0)
        throw std::runtime_error(directory + ": no index.json there is the service root /redfish/v1");
}

std::size_t RedfishTree::size()
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    return state_->resources.size();
}

void RedfishTree::refresh(const std::string& path, const std::string& live)
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    const auto                  found = state_->resources.find(path);
    if (found != state_->resources.end()) found->second.json.merge_patch(Json::parse(live));
}

Response RedfishTree::answer(const Request& request, const std::string& body)
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    if (request.path == "/redfish") return jsonResponse(200, R"({"v1":"/redfish/v1/"})");
    if (request.method == "POST" && state_->isAction(request.path)) {
        Response done;
        done.status = 204;
        return done;
    }
    const auto found = state_->resources.find(request.path);
    if (found == state_->resources.end()) return errorResponse(404, "There is no resource " + request.path);
    Resource& resource = found->second;

    if (request.method == "GET" || request.method == "HEAD") {
        if (request.header("If-None-Match") == resource.etag()) {
            Response same;
            same.status = 304;
            return same;
        }
        return resourceResponse(200, resource);
    }
    const std::string_view expected = request.header("If-Match");
    if (!expected.empty() && expected != "*" && expected != resource.etag())
        return errorResponse(412, "The resource has changed meanwhile");
    if (request.method == "DELETE") return state_->remove(request.path);
    if (request.method == "POST")
        return resource.isCollection() ? state_->create(request.path, resource, Json::parse(body, nullptr, false))
                                       : methodNotAllowed("GET, HEAD, PATCH");
    if (request.method == "PATCH") return state_->patch(resource, Json::parse(body, nullptr, false));
    return methodNotAllowed("GET, HEAD, POST, PATCH, DELETE");
}

}  // namespace torvosim
