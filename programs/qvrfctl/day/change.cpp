/** @file change.cpp  Sends what changes something; again only where the BMC refused it as a whole. */
#include "change.h"

namespace qvrfctl {
namespace {

constexpr int kPreconditionFailed   = 412;
constexpr int kPreconditionRequired = 428;

class Patch {
public:
    Patch(Service& service, const std::string& path, const std::string& body, const Holds& holds)
        : service_(service), path_(path), body_(body), holds_(holds)
    {
    }

    Reply run()
    {
        look();
        Reply reply = send();
        if (reply.http == kPreconditionRequired && look()) reply = send();
        if (reply.http == kPreconditionFailed && look()) reply = send();
        // Some compare a weak tag by the letter, and so never find it the same.
        if (reply.http == kPreconditionFailed && tag_.substr(0, 2) == "W/") {
            tag_.erase(0, 2);
            reply = send();
        }
        if (reply.http >= 400) throw Refusal({"PATCH", path_}, reply);
        return reply;
    }

private:
    /** @return whether there is a tag, and what the user was shown still holds */
    bool look()
    {
        const Reply reply = service_.send({"GET", path_});
        tag_              = reply.etag.empty() ? reply.body["@odata.etag"].text() : reply.etag;
        return !tag_.empty() && (!holds_ || holds_(reply.body));
    }

    Reply send()
    {
        Order order{"PATCH", path_, body_.text()};
        if (!tag_.empty()) order.headers.push_back("If-Match: " + tag_);
        Reply reply = service_.send(order);
        wipe(order.body);
        return reply;
    }

    Service&          service_;
    const std::string path_;
    const Secret      body_;
    const Holds&      holds_;
    std::string       tag_;
};

}  // namespace

Reply runAction(Service& service, const Value& resource, const char* action, const Value& parameters)
{
    const std::string target = resource[std::string("Actions.#") + action + ".target"].link();
    if (target.empty())
        throw Failure(kExitLibrary, resource.link() + " does not offer the action " + action,
                      "this BMC does not do it by Redfish");
    const Order order{"POST", target, parameters.dump()};
    const Reply reply = service.send(order);
    if (reply.http >= 400) throw Refusal(order, reply);
    return reply;
}

Reply patch(Service& service, const std::string& path, const Value& change, const Holds& holds)
{
    return Patch(service, path, change.dump(), holds).run();
}

Reply patchText(Service& service, const std::string& path, const Secret& change)
{
    return Patch(service, path, change.text(), {}).run();
}

std::optional<std::vector<std::string>> allowedValues(Service& service, const Value& action,
                                                      const std::string& parameter)
{
    const Value told = action[parameter + "@Redfish.AllowableValues"];
    if (told.isList()) return textsOf(told);
    const std::string info = action["@Redfish.ActionInfo"].text();
    if (info.empty()) return std::nullopt;
    const Value about = service.readOr(Value(info), "allowed values");
    for (const Value& each : about["Parameters"].items())
        if (each["Name"].text() == parameter && each["AllowableValues"].isList())
            return textsOf(each["AllowableValues"]);
    return std::nullopt;
}

std::optional<std::string> sameOf(const std::vector<std::string>& words, const std::string& word)
{
    for (const std::string& each : words)
        if (isSameWord(each, word)) return each;
    return std::nullopt;
}

}  // namespace qvrfctl
