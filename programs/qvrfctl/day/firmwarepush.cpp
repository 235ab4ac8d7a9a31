/** @file firmwarepush.cpp  Multipart push, push of the bare file, or a URL that the BMC fetches. */
#include "firmwarepush.h"

#include "change.h"

namespace qvrfctl {
namespace {

std::string applyTime(const std::string& word)
{
    return word.empty() ? word : word == "now" ? "Immediate" : "OnReset";
}

Reply accepted(const std::string& path, const Reply& reply)
{
    if (reply.http >= 400) throw Refusal({"POST", path}, reply);
    return reply;
}

Reply pushForm(Service& service, const std::string& path, const UpdateWords& words,
               const std::vector<std::string>& targets)
{
    Value parameters = Value::object();
    if (!targets.empty()) parameters.set("Targets", Value::texts(targets));
    if (!words.apply.empty()) parameters.set("@Redfish.OperationApplyTime", applyTime(words.apply));
    return accepted(path, service.push(path, words.file, parameters));
}

/** What the bare file is for stands in the service meanwhile; free again for others, also after a failure. */
class HeldTargets {
public:
    HeldTargets(Service& service, const Value& updates, const std::vector<std::string>& targets)
        : service_(service), path_(targets.empty() ? std::string() : updates.link())
    {
        if (path_.empty()) return;
        if (updates["HttpPushUriTargetsBusy"].isTrue())
            throw Failure(kExitLibrary, "somebody else is updating: the BMC's push targets are busy",
                          "try again later");
        patch(service_, path_, {{"HttpPushUriTargets", Value::texts(targets)}, {"HttpPushUriTargetsBusy", true}});
    }
    ~HeldTargets()
    {
        try {
            if (!path_.empty()) patch(service_, path_, {{"HttpPushUriTargetsBusy", false}});
        } catch (...) {
            // The BMC may restart for the update: its word about it is the task's.
        }
    }
    HeldTargets(HeldTargets&&) = delete;

private:
    Service&          service_;
    const std::string path_;
};

Reply pushFile(Service& service, const Value& updates, const std::string& path, const UpdateWords& words,
               const std::vector<std::string>& targets)
{
    if (!words.apply.empty())
        patch(service, updates.link(),
              {{"HttpPushUriOptions", Value{{"HttpPushUriApplyTime", Value{{"ApplyTime", applyTime(words.apply)}}}}}});
    const HeldTargets held(service, updates, targets);
    return accepted(path, service.push(path, words.file, Value()));
}

Reply fetch(Service& service, const Value& updates, const UpdateWords& words, const std::vector<std::string>& targets)
{
    const std::string scheme = words.url.substr(0, words.url.find("://"));
    Value             body{{"ImageURI", words.url}};
    std::string       protocol;
    for (const char c : scheme) protocol += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    body.set("TransferProtocol", protocol);
    if (!targets.empty()) body.set("Targets", Value::texts(targets));
    if (!words.apply.empty()) body.set("@Redfish.OperationApplyTime", applyTime(words.apply));
    return runAction(service, updates, "UpdateService.SimpleUpdate", body);
}

}  // namespace

Reply handOver(Service& service, const Value& updates, const UpdateWords& words,
               const std::vector<std::string>& targets)
{
    if (!words.url.empty()) return fetch(service, updates, words, targets);
    if (const auto form = updates["MultipartHttpPushUri"].link(); !form.empty())
        return pushForm(service, form, words, targets);
    if (const auto bare = updates["HttpPushUri"].link(); !bare.empty())
        return pushFile(service, updates, bare, words, targets);
    throw Failure(kExitLibrary, "this BMC takes no file by Redfish",
                  updates["Actions.#UpdateService.SimpleUpdate.target"].link().empty()
                      ? "use its web pages"
                      : "it fetches one itself: give --url in the place of a file");
}

}  // namespace qvrfctl
