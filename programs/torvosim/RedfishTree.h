/** @file RedfishTree.h  The Redfish resources that are kept as documents: read, created, patched and deleted. */
#ifndef TORVOSIM_REDFISHTREE_H
#define TORVOSIM_REDFISHTREE_H

#include <map>
#include <optional>
#include <string>

#include "RedfishJson.h"

namespace torvosim {

/** Every operation is for any thread. */
class RedfishTree {
public:
    /** The resources that the simulator brings along. */
    void loadBuiltIn();
    /**
     * A tree of directories whose index.json files are the resources. The path of a resource is its "@odata.id", or,
     * without one, its directory below "/redfish/v1". @throws std::runtime_error naming the file that is wrong
     */
    void loadMockup(const std::string& directory);

    /** The document at @p path; nothing when there is none. */
    std::optional<Json> read(const std::string& path);
    /** Merges @p change into the document at @p path, if there is one: the BMC's own doing, held against nothing. */
    void merge(const std::string& path, const Json& change);

    // What a client asks for. The resource at @p path must be there.
    Response create(const std::string& path, Json json);
    /** Merges @p change into the document; else the answer that refuses it. */
    std::optional<Response> patch(const std::string& path, const Json& change);
    Response                remove(const std::string& path);
    /** The answer to a change that the document's own lists of allowed values do not allow. */
    std::optional<Response> refusalOf(const std::string& path, const Json& change);
    std::size_t             size();

private:
    using Documents = std::map<std::string, Json>;  // by path without trailing slash
    Guarded<Documents> documents_;
};

/** The built-in resources: a JSON array of objects that carry their "@odata.id". */
extern const char* const kBuiltInResources;

}  // namespace torvosim

#endif
