/**
 * @file qvrfutil_inventory.hpp
 * Many resources over a few kept connections at once.
 *
 * @code
 *     for (const qvrfutil::Resource& drive : qvrfutil::readMembers(session, "/redfish/v1/Chassis/1/Drives").orThrow())
 *         puts(drive.text.c_str());
 * @endcode
 */
#ifndef QVRFUTIL_INVENTORY_HPP
#define QVRFUTIL_INVENTORY_HPP

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvrfutil.hpp"

namespace qvrfutil {

/** As many as the library keeps connections for; a BMC's web server has few threads itself. */
constexpr unsigned kInventoryConnections = 4;

struct Resource {
    std::string path;
    std::string text;  ///< JSON
};

namespace detail {

/** What the threads of one readAll() share: each takes the next path that nobody has. */
class Reading {
public:
    Reading(Session& session, std::vector<std::string> paths, RequestOptions options)
        : session_(session), paths_(std::move(paths)), options_(std::move(options)), answers_(paths_.size())
    {
    }

    void readOn()
    {
        for (std::size_t at = next_++; at < paths_.size(); at = next_++)
            answers_[at] = contained([&] { return session_.get(paths_[at], options_); }, outOfMemory);
        const Lock lock(mutex_);
        ++over_;
        changed_.notify_all();
    }
    void await(unsigned threads)
    {
        Lock lock(mutex_);
        changed_.wait(lock, [&] { return over_ == threads; });
    }
    std::vector<Result<Response>> answers()
    {
        std::vector<Result<Response>> all;
        for (auto& answer : answers_) all.push_back(*std::move(answer));
        return all;
    }

private:
    static Result<Response> outOfMemory()
    {
        Error error;
        error.status = QVRFUTIL_OUT_OF_MEMORY;
        return error;
    }

    Session&                                     session_;
    const std::vector<std::string>               paths_;
    const RequestOptions                         options_;
    std::vector<std::optional<Result<Response>>> answers_;
    std::atomic<std::size_t>                     next_{0};
    Mutex                                        mutex_;
    Condition                                    changed_;
    unsigned                                     over_ = 0;
};

}  // namespace detail

/** GETs of all @p paths; each answer, or why there is none, stands where its path does. */
inline std::vector<Result<Response>> readAll(Session& session, std::vector<std::string> paths,
                                             unsigned connections = kInventoryConnections, RequestOptions options = {})
{
    const auto wanted  = std::min<std::size_t>(connections, paths.size());
    const auto reading = std::make_shared<detail::Reading>(session, std::move(paths), std::move(options));
    unsigned   threads = 1;
    while (threads < wanted && detail::startThread([reading] { reading->readOn(); })) ++threads;
    reading->readOn();
    reading->await(threads);
    return reading->answers();
}

/** Whether the BMC puts members into their collection when it is asked for that. */
inline bool canExpand(Session& session)
{
    const Result<Response> root = session.get(detail::kServiceRoot);
    if (!root) return false;
    const detail::JsonView expand = detail::JsonView(root->body)["ProtocolFeaturesSupported"]["ExpandQuery"];
    return expand["NoLinks"].isTrue() && expand["Levels"].isTrue();
}

/**
 * A collection's members, whole: in a request or two where the BMC can expand, else over a few connections at once.
 * An error when one of them is not to be had; readAll() tells of each.
 */
inline Result<std::vector<Resource>> readMembers(Session& session, const std::string& path)
{
    std::vector<Resource> all;
    const auto            isWhole = [](const Resource& one) {
        return detail::isPath(one.path) && detail::JsonView(one.text)["@odata.type"].isText();
    };
    if (canExpand(session)) {
        const Result<std::vector<std::string>> texts =
            session.memberTexts(path + (path.find('?') == path.npos ? '?' : '&') + "$expand=.($levels=1)");
        for (const std::string& text : texts ? *texts : std::vector<std::string>())
            all.push_back({detail::JsonView(text)["@odata.id"].text(), text});
        if (texts && std::all_of(all.begin(), all.end(), isWhole)) return all;
        all.clear();
    }
    const Result<std::vector<std::string>> paths = session.members(path);
    if (!paths) return paths.error();
    std::vector<Result<Response>> answers = readAll(session, *paths);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        if (!answers[i]) return answers[i].error();
        if (!answers[i]->ok()) return detail::httpError("GET " + (*paths)[i], *answers[i]);
        all.push_back({(*paths)[i], std::move(answers[i]->body)});
    }
    return all;
}

}  // namespace qvrfutil

#endif
