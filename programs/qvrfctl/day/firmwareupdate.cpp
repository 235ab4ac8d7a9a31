/** @file firmwareupdate.cpp  An update from the file to what the inventory says afterwards: that decides. */
#include "firmwareupdate.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "firmware.h"
#include "firmwarepush.h"
#include "rounds.h"
#include "task.h"

namespace qvrfctl {
namespace {

constexpr unsigned kLimit = 60 * 60;

/** The size of the file. @throws Failure where it cannot be read */
long long sizeOfFile(const std::string& name)
{
    const auto  cannot = [&](const char* why) { return wrongUsage("cannot read " + name + ": " + why); };
    struct stat about {};
    if (::stat(name.c_str(), &about) != 0) throw cannot(std::strerror(errno));
    if (!S_ISREG(about.st_mode)) throw cannot("it is not a file");
    if (::access(name.c_str(), R_OK) != 0) throw cannot(std::strerror(errno));
    return about.st_size;
}

/** What the command line alone shows to be wrong. */
void checkWords(const UpdateWords& words)
{
    if (words.file.empty() == words.url.empty()) throw wrongUsage("firmware update takes either a file or --url");
    const auto scheme = words.url.find("://");
    if (words.url.empty()) return;
    if (scheme == words.url.npos) throw wrongUsage("'" + words.url + "' is no URL");
    const auto host = words.url.substr(scheme + 3, words.url.find('/', scheme + 3) - scheme - 3);
    if (host.find('@') != host.npos)
        throw wrongUsage("a URL with a user and a password would stand in the BMC's logs", "serve the image without");
}

class Update {
public:
    Update(const Context& context, const UpdateWords& words, long long bytes)
        : words_(words), bytes_(bytes), screen_(context), service_(context)
    {
    }

    void run(bool asks)
    {
        const Value updates = updateService(service_);
        check(updates);
        before_            = Value(firmwareRows(service_));
        const auto targets = targetPaths();
        if (asks) ask(question());
        const Reply reply = handOver(service_, updates, words_, targets);
        taken_            = acceptedBy(reply);
        if (reply.http == 202 && !words_.noWait) end_ = waitForTask(service_, taken_, "update", true);
        if (!words_.noWait) compare();
        show();
        if (!words_.noWait) throwUnlessDone(reply.http == 202);
    }

private:
    void check(const Value& updates) const
    {
        const Value most = updates["MaxImageSizeBytes"];
        if (updates["ServiceEnabled"].isFalse()) throw Failure(kExitLibrary, "the BMC's update service is disabled");
        if (most.isNumber() && most.number() > 0 && static_cast<double>(bytes_) > most.number())
            throw wrongUsage(words_.file + " has " + std::to_string(bytes_) + " bytes: this BMC takes " + most.text());
    }

    std::vector<std::string> targetPaths() const
    {
        std::vector<std::string> paths, there;
        for (const std::string& target : words_.targets) {
            const Value row = rowOf(before_, target);
            if (row.isNull()) {
                for (const Value& each : before_.items()) there.push_back(each["id"].text());
                throw noSuch("firmware", target, there);
            }
            if (row["updateable"].isFalse()) throw Failure(kExitLibrary, target + " cannot be updated on this BMC");
            paths.push_back(row["path"].text());
        }
        return paths;
    }

    static Value rowOf(const Value& rows, const std::string& id)
    {
        for (const Value& row : rows.items())
            if (row["id"].text() == id) return row;
        return {};
    }

    std::string question() const
    {
        std::vector<std::string> targets;
        for (const std::string& id : words_.targets)
            targets.push_back(id + ", now " + rowOf(before_, id)["version"].text("unknown"));
        return "This updates " + (targets.empty() ? "what the image is for" : listed(targets, "; ")) + " with " +
               (words_.url.empty() ? words_.file + " (" + std::to_string(bytes_) + " bytes)." : words_.url + '.');
    }

    bool isTarget(const std::string& id) const
    {
        for (const std::string& target : words_.targets)
            if (target == id) return true;
        return false;
    }

    /** What has another version, and, where nothing has, what was to get one. */
    void compare()
    {
        service_.forget();
        const Value        after = readThroughRestart(service_, [this] { return Value(firmwareRows(service_)); });
        std::vector<Value> all;
        for (const Value& row : after.items()) {
            const Value old = rowOf(before_, row["id"].text())["version"];
            const bool  is  = old != row["version"];
            isChanged_      = isChanged_ || is;
            if (is || isTarget(row["id"].text()))
                all.push_back({{"id", row["id"]}, {"before", old}, {"after", row["version"]}});
            if (!is && isTarget(row["id"].text())) noteRestart(row["related"].text());
        }
        changed_ = Value(all);
    }

    void noteRestart(const std::string& related)
    {
        if (!related.empty() && related == service_.system().link()) restart_ = "server";
        if (!related.empty() && related == service_.manager().link()) restart_ = "bmc";
    }

    void show()
    {
        if (screen_.isJson())
            return screen_.document({{"file", words_.file.empty() ? words_.url : words_.file},
                                     {"bytes", bytes_},
                                     {"task", taken_.task.empty() ? taken_.monitor : taken_.task},
                                     {"state", end_["state"]},
                                     {"messages", end_["messages"].isList() ? end_["messages"] : Value::list()},
                                     {"changed", changed_},
                                     {"restart", isChanged_ || restart_.empty() ? Value() : Value(restart_)}});
        screen_.line("sent:", words_.url.empty() ? words_.file + ", " + std::to_string(bytes_) + " bytes" : words_.url);
        if (words_.noWait) screen_.line("task:", orDash(taken_.task.empty() ? taken_.monitor : taken_.task));
        if (!end_.isNull()) showTask(screen_, end_);
        for (const Value& row : changed_.items()) screen_.line(row["id"].text() + ':', textOf(row));
        if (changed_.items().empty() && isDone(end_))
            screen_.line("versions:", "as before: the new one may need a restart of the server or of the BMC");
        screen_.flush();
    }

    std::string textOf(const Value& row) const
    {
        const std::string was = row["before"].text("none"), is = row["after"].text("none");
        if (was != is) return was + " -> " + is;
        return is + (restart_.empty()
                         ? ", as before"
                         : "; restart the " + std::string(restart_ == "bmc" ? "BMC" : restart_) + " for the new one");
    }

    /** A task that failed has failed, and one that is gone has done it only where the inventory says so. */
    void throwUnlessDone(bool hadTask) const
    {
        if (!hadTask || (end_["state"].isNull() && isChanged_)) return;
        throwIfFailed(end_);
    }

    const UpdateWords& words_;
    const long long    bytes_;
    Screen             screen_;
    Service            service_;
    Value              before_;
    Accepted           taken_;
    Value              end_;
    Value              changed_ = Value::list();
    std::string        restart_;
    bool               isChanged_ = false;
};

}  // namespace

void updateFirmware(const Context& context, const UpdateWords& words)
{
    checkWords(words);
    const long long bytes = words.url.empty() ? sizeOfFile(words.file) : 0;
    const bool      asks  = mustAsk(context, words.yes);
    limit(context, words.timeout, kLimit);
    Update(context, words, bytes).run(asks);
}

}  // namespace qvrfctl
