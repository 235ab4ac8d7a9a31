/** @file RedfishTree.h  The Redfish resources: read, created, patched and deleted in memory. */
#ifndef TORVOSIM_REDFISHTREE_H
#define TORVOSIM_REDFISHTREE_H

#include <memory>
#include <string>

#include "Http.h"

namespace torvosim {

class RedfishTree {
public:
    RedfishTree();
    ~RedfishTree();

    /** The resources that the simulator brings along. */
    void loadBuiltIn();
    /**
     * A tree of directories whose index.json files are the resources. The path of a resource is its "@odata.id", or,
     * without one, its directory below "/redfish/v1". @throws std::runtime_error naming the file that is wrong
     */
    void loadMockup(const std::string& directory);

    /** Answers GET, HEAD, POST, PATCH and DELETE. Any thread. */
    Response answer(const Request& request, const std::string& body);
    /** Puts the members of the JSON object @p live into the resource at @p path, if there is one; its ETag stays. */
    void        refresh(const std::string& path, const std::string& live);
    std::size_t size();

private:
    struct State;
    std::unique_ptr<State> state_;
};

/** The built-in resources: a JSON array of objects that carry their "@odata.id". */
extern const char* const kBuiltInResources;

}  // namespace torvosim

#endif
