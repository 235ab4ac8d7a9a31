/** @file tree.cpp  qvrfctl tree: what the BMC has, by its links. */
#include <functional>
#include <set>

#include "../endpoint.h"
#include "day.h"
#include "rounds.h"

namespace qvrfctl {
namespace {

constexpr unsigned kMostReads = 1000;
constexpr unsigned kDepth     = 3;
constexpr char     kRoot[]    = "/redfish/v1";

struct Words {
    Rounds      rounds;
    std::string path  = kRoot;
    unsigned    depth = kDepth;
};

/** Where links lead back, or to what only its maker understands. */
bool isLeftOut(const std::string& name)
{
    return name == "Links" || name == "Oem" || name == "Actions" || name.find('@') != name.npos;
}

/** The paths below @p value, in the order of its members. */
void linksIn(const Value& value, std::vector<std::string>& paths)
{
    const auto add = [&](const Value& member) {
        const std::string path = member.isObject() ? member.link() : std::string();
        if (path.empty()) return linksIn(member, paths);
        paths.push_back(path);
    };
    for (const Value& item : value.items()) add(item);
    for (const auto& [name, member] : value.members())
        if (!isLeftOut(name)) add(member);
}

/** "ComputerSystem" of "#ComputerSystem.v1_16_0.ComputerSystem". */
std::string typeOf(const Value& resource)
{
    const std::string type = resource["@odata.type"].text();
    const auto        dot  = type.rfind('.');
    return dot == type.npos ? type : type.substr(dot + 1);
}

class Walk {
public:
    Walk(Service& service, Screen& screen, unsigned depth) : service_(service), screen_(screen), depth_(depth) {}

    void run(const std::string& path, unsigned depth = 0)
    {
        if (!seen_.insert(withoutSlash(path)).second || isFull()) return;
        const Value resource = read(path);
        show(path, resource, depth);
        if (depth >= depth_ || typeOf(resource) == "LogEntryCollection") return;
        std::vector<std::string> paths;
        linksIn(resource, paths);
        for (const std::string& below : paths)
            if (below.find('#') == below.npos) run(below, depth + 1);
    }

    std::size_t found() const noexcept { return seen_.size(); }

private:
    static std::string withoutSlash(const std::string& path)
    {
        return path.size() > 1 && path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    }

    bool isFull()
    {
        if (reads_ < kMostReads) return false;
        if (!isTold_)
            screen_.warning("warning: " + std::to_string(kMostReads) + " resources were read: the rest is left out");
        return isTold_ = true;
    }

    /** A resource that may not be read, or is not there, is a line all the same. */
    Value read(const std::string& path)
    try {
        ++reads_;
        status_ = 200;
        return service_.page(path);
    } catch (const Refusal& refusal) {
        if (path == kRoot || seen_.size() == 1) throw;
        status_ = refusal.http();
        return {};
    }

    void show(const std::string& path, const Value& resource, unsigned depth)
    {
        const std::string health = resource["Status.Health"].text();
        if (screen_.isJson())
            return screen_.record({{"path", path},
                                   {"type", status_ == 200 ? Value(typeOf(resource)) : Value()},
                                   {"name", resource["Name"]},
                                   {"health", resource["Status.Health"]},
                                   {"status", status_}});
        if (!screen_.isTerminal()) return screen_.write(path + '\n');
        const std::string name = depth == 0 ? path : lastSegment(path);
        const std::string type = screen_.isNarrow() ? "" : "  " + typeOf(resource);
        const std::string text = status_ == 200 ? resource["Name"].text() : "HTTP " + std::to_string(status_);
        screen_.line(std::string(2 * depth, ' ') + name, (text == name ? "" : text) + type + "  " + health, health);
    }

    Service&              service_;
    Screen&               screen_;
    unsigned              depth_;
    std::set<std::string> seen_;
    unsigned              reads_  = 0;
    int                   status_ = 200;
    bool                  isTold_ = false;
};

void run(const Context& context, const Words& words)
{
    checkPath(words.path);
    repeatRounds(context, words.rounds, [&](Service& service, Screen& screen) {
        if (words.rounds.every != 0 && !screen.isJson()) beginAgain(screen);
        Walk(service, screen, words.depth).run(words.path);
    });
}

}  // namespace

Action declareTree(Arguments arguments)
{
    auto words = std::make_shared<Words>();
    arguments.text("PATH", words->path, "where to begin").showsDefault();
    arguments.count("--depth", words->depth, "how many links deep to go").showsDefault();
    declareRounds(arguments, words->rounds, false);
    return [words](const Context& context) { run(context, *words); };
}

}  // namespace qvrfctl
