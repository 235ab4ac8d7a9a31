/** @file QueryOptions.h  What a GET asks for behind the "?": $expand, $select, $skip, $top; and pages. */
#ifndef TORVOSIM_QUERYOPTIONS_H
#define TORVOSIM_QUERYOPTIONS_H

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "RedfishJson.h"

namespace torvosim {

/** How the service takes query options; tests change it while it runs. */
struct QueryManners {
    enum class Mode { obey, ignore, refuse };
    std::atomic<Mode>        mode{Mode::obey};
    std::atomic<unsigned>    offered{~0u};  ///< bit i: row i of kQueryFeatures
    std::atomic<std::size_t> pageSize{0};   ///< members of a collection at a time; 0: all
};

/** A feature that a service may offer, and where ProtocolFeaturesSupported tells of it. */
struct QueryFeature {
    const char* name;
    const char* pointer;
};
enum QueryFeatureRow : unsigned { kNoLinks, kExpandAll, kLinks, kLevels, kSelect, kTopSkip, kMultiple, kQueryRows };
extern const QueryFeature kQueryFeatures[kQueryRows];
/** The bits of "select,levels"; nothing for a name that no row has. */
std::optional<unsigned> queryFeatureBits(std::string_view list);
/** "ProtocolFeaturesSupported" of the service root. */
Json protocolFeatures(const QueryManners& manners);

using ReadResource = std::function<std::optional<Json>(const std::string& path)>;

/** @p resource as the query of @p target wants it, or the answer that refuses the query. */
std::optional<Response> applyQuery(const QueryManners& manners, const std::string& target, const ReadResource& read,
                                   Json& resource);

}  // namespace torvosim

#endif
