/** @file service.cpp  Reads resources through the session, and follows links. */
#include "service.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "../progress.h"
#include "../request.h"
#include "../tokenaccess.h"
#include "qvrfutil_inventory.hpp"

namespace qvrfctl {
namespace {

constexpr char kRoot[]      = "/redfish/v1";
constexpr int  kBusyTries   = 3;
constexpr int  kBusyWait    = 2;   // seconds, where the BMC does not say
constexpr int  kLongestWait = 60;  // a BMC that says more gets asked all the same
// Seconds that an image may take: some BMCs write it to their flash while they take it.
constexpr int         kPushTime           = 60;
constexpr int         kPushTimeOfMegabyte = 2;
constexpr std::size_t kMostPages          = 10000;
constexpr std::size_t kMostMessages       = 500;

const char* const kExpand = "$expand=.($levels=1)";

bool isBusy(int http) noexcept
{
    return http == 503 || http == 429;
}

/** To a question with '$': not understood, so it is asked without. */
bool isNotUnderstood(int http) noexcept
{
    return http == 400 || http == 404 || http == 405 || http == 500 || http == 501;
}

/** What to do, beside what the BMC says itself. */
const char* adviceFor(int http) noexcept
{
    switch (http) {
        case 401: return "the session is not accepted: 'qvrfctl doctor' finds out why";
        case 403:
            return "this session may not: try --privilege root where it has another; or the BMC has locked the "
                   "function";
        case 404: return "the BMC does not have it: 'qvrfctl tree' shows what it has";
        case 405:
        case 501: return "this BMC does not offer it by Redfish: use its web pages";
        case 409: return "not possible in the state that it is in";
        case 412:
        case 428: return "somebody else changes it: try again";
        default: return httpRow(http).advice;
    }
}

std::string textOf(const Reply& reply)
{
    const std::string message = messageOf(reply.body);
    return std::to_string(reply.http) + ' ' + httpRow(reply.http).reason + (message.empty() ? "" : ": " + message);
}

Request requestOf(const Order& order)
{
    Request request;
    request.path = order.path;
    request.body = order.body;
    for (const auto type :
         {QVRFUTIL_REQUEST_GET, QVRFUTIL_REQUEST_POST, QVRFUTIL_REQUEST_PATCH, QVRFUTIL_REQUEST_DELETE})
        if (order.method == std::string_view(methodName(type))) request.type = type;
    request.wantsHeaders = true;
    request.lines        = order.headers;
    return request;
}

/** The path of a link that may name the host as well. */
std::string pathOf(const std::string& location)
{
    const auto scheme = location.find("://");
    const auto slash  = scheme == location.npos ? 0 : location.find('/', scheme + 3);
    return slash == location.npos ? std::string() : Value(location.substr(slash)).link();
}

Reply replyOf(Answer&& answer)
{
    const auto headers = qvrfutil::parseHeaders(answer.headers);
    const auto header  = [&](const char* name) {
        const auto found = headers.find(name);
        return found == headers.end() ? std::string() : found->second;
    };
    return {answer.http, Value::parse(answer.body), header("ETag"), pathOf(header("Location")),
            std::atoi(header("Retry-After").c_str())};
}

}  // namespace

struct Service::State {
    Value                        root;
    std::map<std::string, Value> read;  // by path
    std::string                  wantedSystem;
    bool                         asksPlainly = false;  // a question with '$' was not understood: no other is asked
    Value                        missing     = Value::object();
};

// ---- requests ---------------------------------------------------------------------------------------------------

Refusal::Refusal(const Order& order, const Reply& reply)
    : Failure(kExitHttpError, std::string(order.method) + ' ' + order.path + ": HTTP " + textOf(reply),
              adviceFor(reply.http)),
      reply_(reply)
{
}

std::string messageOf(const Value& body)
{
    const Value error = body["error"];
    const Value info  = error["@Message.ExtendedInfo.0"];
    std::string text  = info["Message"].text(error["message"].text()).substr(0, kMostMessages);
    if (const auto about = textsOf(info["RelatedProperties"]); !about.empty()) text += " (" + listed(about) + ')';
    const std::string todo = info["Resolution"].text();
    if (!todo.empty() && todo != "None" && todo != "None.") text += " " + todo.substr(0, kMostMessages);
    return text;
}

Failure noSuch(const std::string& kind, const std::string& name, const std::vector<std::string>& there)
{
    return wrongUsage("there is no " + kind + " '" + name + '\'',
                      there.empty() ? "the BMC has none now" : "there is " + listed(there));
}

std::string idOf(const Value& resource)
{
    return resource["Id"].text(lastSegment(resource.link()));
}

Service::Service(const Context& context, const std::string& system, Login login)
    : context_(context), state_(std::make_unique<State>())
{
    logIn(login);
    state_->wantedSystem = system.empty() ? context.options.system : system;
    QVRFUTILKeepConnections(TRUE);  // what is read takes one TLS handshake, and not one a resource
    state_->root = read(kRoot);
}
Service::~Service() = default;

void Service::logIn(Login login)
try {
    session_ = std::make_unique<Session>(context_);
} catch (const NoSessionLeft&) {
    if (login != Login::sessionOrToken) throw;
    context_.output.warning("the BMC has no session left to give: each request is sent with a login token instead");
    token_ = std::make_unique<TokenAccess>(context_);
}

std::string Service::ownSession() const
{
    return session_ ? session_->record().SessionID : std::string();
}

Value Service::root()
{
    return state_->root;
}

Reply Service::sendOnce(const Order& order)
{
    return replyOf(token_ ? token_->send(requestOf(order)) : qvrfctl::send(*session_, requestOf(order)));
}

Reply Service::push(const std::string& path, const std::string& file, const Value& parameters)
{
    using qvrfutil::FormField;
    constexpr char          kBytes[]  = "application/octet-stream";
    constexpr std::uint64_t kMegabyte = 1024 * 1024;
    const std::uint64_t     size      = sizeOf(file);
    const Progress          progress(
                 file, [&] { return readOf(file); }, size);
    qvrfutil::Session&       layer = session_->layer();
    qvrfutil::RequestOptions options;
    options.limit = std::chrono::seconds(kPushTime + kPushTimeOfMegabyte * static_cast<int>(size / kMegabyte));
    auto answer =
        parameters.isNull()
            ? layer.sendFile(qvrfutil::Method::post, path, file, options.with(std::string("Content-Type: ") + kBytes))
            : layer.sendForm(
                  path,
                  {FormField::text("UpdateParameters", parameters.dump()), FormField::file("UpdateFile", file, kBytes)},
                  options);
    if (!answer)
        throw Failure(
            kExitLibrary,
            "sending " + file + " broke off (" + answer.error().meaning + "): whether it was taken is not known",
            "look at 'qvrfctl firmware' and 'qvrfctl task' before it is sent again");
    context_.output.note("POST " + path + ": HTTP " + std::to_string(answer->http));
    return replyOf({answer->http, std::move(answer->body), std::move(answer->rawHeaders)});
}

bool Service::isThere()
{
    const auto answer = session_->client().getOpen(kRoot);
    return answer && answer->ok();
}

Reply Service::send(const Order& order)
{
    Reply reply = sendOnce(order);
    for (int tries = 0; tries < kBusyTries && isBusy(reply.http) && order.method == std::string_view("GET"); ++tries) {
        const int wait = reply.retryAfter > 0 ? std::min(reply.retryAfter, kLongestWait) : kBusyWait;
        context_.output.note("the BMC is busy: asking again in " + std::to_string(wait) + " s");
        std::this_thread::sleep_for(std::chrono::seconds(wait));
        reply = sendOnce(order);
    }
    return reply;
}

Value Service::read(const std::string& path)
{
    if (const auto known = state_->read.find(path); known != state_->read.end()) return known->second;
    const Order order{"GET", path};
    const Reply reply = send(order);
    if (reply.http >= 400) throw Refusal(order, reply);
    if (!reply.body.isObject())
        throw Failure(kExitLibrary, "the BMC's answer to GET " + path + " is not a JSON object");
    return state_->read[path] = reply.body;
}

Value Service::readOr(const Value& link, const char* what)
try {
    return link.link().empty() ? Value() : link.isReference() || link.json().is_string() ? read(link.link()) : link;
} catch (const Refusal& refusal) {
    tellRefused(link, what, refusal);
    return {};
}

std::vector<Value> Service::membersOr(const Value& link, const char* what)
try {
    return link.link().empty() ? std::vector<Value>() : members(link.link());
} catch (const Refusal& refusal) {
    tellRefused(link, what, refusal);
    return {};
}

void Service::tellRefused(const Value& link, const char* what, const Refusal& refusal)
{
    const bool isGone = refusal.http() == 404;
    tellMissing(what, isGone ? "the BMC names " + link.link() + " but does not have it" : refusal.what());
}

void Service::tellMissing(const std::string& what, const std::string& reason)
{
    state_->missing.set(what.c_str(), reason);
    context_.output.warning("warning: no " + what + ": " + reason);
}

Value Service::missing() const
{
    return state_->missing;
}

void Service::forget()
{
    state_->read.clear();
    state_->missing = Value::object();
}

// ---- collections ------------------------------------------------------------------------------------------------

bool Service::offers(const char* query) const
{
    return !state_->asksPlainly && state_->root["ProtocolFeaturesSupported"][query].isTrue();
}

bool Service::expands() const
{
    return offers("ExpandQuery.NoLinks") || offers("ExpandQuery.ExpandAll");
}

/** @return null where the BMC does not expand after all */
Value Service::expanded(const std::string& path)
{
    std::string query = offers("ExpandQuery.Levels") ? kExpand : std::string(kExpand).substr(0, sizeof "$expand=." - 1);
    if (!offers("ExpandQuery.NoLinks")) query.replace(query.find('.'), 1, "*");
    const Order order{"GET", path + (path.find('?') == path.npos ? '?' : '&') + query};
    const Reply reply = send(order);
    if (reply.isOk() && reply.body.isObject()) return reply.body;
    if (!isNotUnderstood(reply.http)) throw Refusal(order, reply);
    state_->asksPlainly = true;
    return {};
}

Value Service::page(const std::string& path)
{
    if (const auto known = state_->read.find(path); known != state_->read.end()) return known->second;
    // The link to a next page has its question already.
    const Value page  = expands() && path.find('$') == path.npos ? expanded(path) : Value();
    const Value whole = page.isNull() ? read(path) : state_->read[path] = page;
    for (const Value& member : whole["Members"].items())
        if (!member.isReference() && !member.link().empty()) state_->read[member.link()] = member;
    return whole;
}

/** Those that are but links, over a few connections. One that fails is left to be asked for by itself. */
void Service::readAtOnce(const Value& members)
{
    constexpr std::size_t    kAtOnce = 16;  // one that hangs does not keep more than these waiting
    std::vector<std::string> paths;
    for (const Value& member : members.items())
        if (member.isReference() && state_->read.count(member.link()) == 0) paths.push_back(member.link());
    if (token_ || paths.size() < 2 || state_->root["ProtocolFeaturesSupported.MultipleHTTPRequests"].isFalse()) return;
    for (bool isAnswered = true; isAnswered && !paths.empty();) {
        const auto rest = paths.begin() + static_cast<std::ptrdiff_t>(std::min(paths.size(), kAtOnce));
        isAnswered      = takeAnswers({paths.begin(), rest});
        paths.erase(paths.begin(), rest);
    }
    session_->renewNote();
}

/** @return whether each was answered, whatever the answer */
bool Service::takeAnswers(const std::vector<std::string>& paths)
{
    bool       isAnswered = true;
    const auto answers    = qvrfutil::readAll(session_->layer(), paths);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        isAnswered = isAnswered && answers[i];
        if (!answers[i]) continue;
        context_.output.note("GET " + paths[i] + ": HTTP " + std::to_string(answers[i]->http));
        const Value body = answers[i]->ok() ? Value::parse(answers[i]->body) : Value();
        if (body.isObject()) state_->read[paths[i]] = body;
    }
    return isAnswered;
}

std::vector<Value> Service::resolved(const Value& members)
{
    std::vector<Value> all;
    readAtOnce(members);
    for (const Value& member : members.items()) {
        const Value read = member.isReference() ? readOr(member, lastSegment(member.link()).c_str()) : member;
        if (read.isObject()) all.push_back(read);
    }
    return all;
}

void Service::pages(const std::string& first, const std::function<bool(const std::vector<Value>&)>& take)
{
    std::set<std::string> seen;
    for (std::string path = first; !path.empty();) {
        if (!seen.insert(path).second || seen.size() > kMostPages)
            throw Failure(kExitLibrary, "the pages of " + first + " have no end", "report it to the BMC's maker");
        const Value page = this->page(path);
        if (!take(resolved(page["Members"]))) return;
        path = page["Members@odata.nextLink"].link();
    }
}

std::vector<Value> Service::members(const std::string& collection)
{
    std::vector<Value> all;
    pages(collection, [&](const std::vector<Value>& members) {
        all.insert(all.end(), members.begin(), members.end());
        return true;
    });
    return all;
}

// ---- the system, its BMC, its chassis ---------------------------------------------------------------------------

Value Service::chosen(const std::string& collection, const Choice& choice)
{
    std::vector<std::string> names;
    const auto               all = members(collection);
    for (const Value& each : all) {
        if (choice.wanted.empty() && all.size() == 1) return each;
        if (!choice.wanted.empty() && (idOf(each) == choice.wanted || lastSegment(each.link()) == choice.wanted))
            return each;
        names.push_back(idOf(each));
    }
    if (names.empty()) throw Failure(kExitLibrary, std::string("the BMC tells no ") + choice.title);
    if (!choice.wanted.empty()) throw noSuch(choice.title, choice.wanted, names);
    throw wrongUsage(std::string("the BMC has several: name a ") + choice.title + " with " + choice.option,
                     "there is " + listed(names));
}

Value Service::system()
{
    const std::string systems = root()["Systems"].link();
    if (systems.empty()) throw Failure(kExitLibrary, "the BMC tells no systems");
    return chosen(systems, {"system", "--system", state_->wantedSystem});
}

Value Service::manager()
{
    const Value link = system()["Links.ManagedBy.0"];
    if (!link.link().empty()) return readOr(link, "manager");
    const Value managers = readOr(root()["Managers"], "managers")["Members"];
    return managers.items().size() == 1 ? readOr(managers["0"], "manager") : Value();
}

std::vector<Value> Service::chassis()
{
    const Value links = system()["Links.Chassis"];
    if (links.items().size() == 1 || (!links.items().empty() && !expands())) return resolved(links);
    const std::string all = root()["Chassis"].link();
    if (all.empty()) return resolved(links);
    std::vector<Value> members = this->members(all);
    const auto         isOther = [&](const Value& chassis) {
        const auto own = links.items();
        return !own.empty() &&
               std::none_of(own.begin(), own.end(), [&](const Value& link) { return link.link() == chassis.link(); });
    };
    members.erase(std::remove_if(members.begin(), members.end(), isOther), members.end());
    return members;
}

}  // namespace qvrfctl
