/**
 * @file service.h  The Redfish service behind a session: resources by their links, collections with all their pages.
 */
#ifndef QVRFCTL_DAY_SERVICE_H
#define QVRFCTL_DAY_SERVICE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../failure.h"
#include "value.h"

namespace qvrfctl {

struct Context;
class Session;
class TokenAccess;

/** How a service is reached. */
enum class Login {
    session,
    sessionOrToken,  ///< where the BMC has no session left to give, a login token with each request
};

/** What is asked of the BMC beyond a GET. */
struct Order {
    const char*              method = "GET";
    std::string              path;
    std::string              body    = {};
    std::vector<std::string> headers = {};
};

struct Reply {
    int         http = 0;
    Value       body;
    std::string etag;      ///< as it came
    std::string location;  ///< the path in it
    int         retryAfter = 0;

    bool isOk() const noexcept { return http >= 200 && http < 300; }
};

/** The BMC answered with a status of 400 and above. */
class Refusal : public Failure {
public:
    Refusal(const Order& order, const Reply& reply);
    int          http() const noexcept { return reply_.http; }
    const Reply& reply() const noexcept { return reply_; }

private:
    Reply reply_;
};

/** The paths of a resource that is one among several. */
struct Choice {
    const char* title;        ///< "system"
    const char* option;       ///< "--system"
    std::string wanted = {};  ///< its Id, or the last part of its path; empty: the only one
};

/**
 * Nothing but /redfish/v1 is known by its path: everything else is found by links. What is read is kept until
 * forget(), so that a resource to which two links lead is read once.
 */
class Service {
public:
    /** Finds the BMC, logs in and reads the service root. @throws Failure */
    explicit Service(const Context& context, const std::string& system = {}, Login login = Login::session);
    ~Service();
    Service(Service&&) = delete;

    const Context& context() const noexcept { return context_; }
    /** Not with Login::sessionOrToken: there may be none. */
    Session&    session() noexcept { return *session_; }
    std::string ownSession() const;  ///< the Id of its session; empty: it has none
    Value       root();

    /** Sends; a GET that meets a busy BMC is sent again when it says so. Any HTTP status is an answer. */
    Reply send(const Order& order);
    /** POST of a form of "UpdateParameters" and the file, or of the file alone where @p parameters are null. */
    Reply push(const std::string& path, const std::string& file, const Value& parameters);
    /** Whether the service answers, to nobody in particular. */
    bool isThere();
    /** GET, kept. @throws Refusal */
    Value read(const std::string& path);
    /** The resource that @p link leads to. One that cannot be read is null, a warning and an entry of missing(). */
    Value readOr(const Value& link, const char* what);
    /** The members of a collection, over all pages; with one request a page where the BMC expands. @throws Refusal */
    std::vector<Value> members(const std::string& collection);
    /** The same, as readOr(): one that cannot be read has no members. */
    std::vector<Value> membersOr(const Value& link, const char* what);
    /** The same page by page, until @p take has enough and returns false. */
    void pages(const std::string& page, const std::function<bool(const std::vector<Value>& members)>& take);
    /** A page as it came, members expanded where the BMC does that. */
    Value page(const std::string& path);
    /** The members of a page or list; those that are but links are read. */
    std::vector<Value> resolved(const Value& members);
    bool               offers(const char* query) const;  ///< a member of ProtocolFeaturesSupported that is true
    bool               expands() const;

    Value              system();   ///< the only one, or the one that was asked for. @throws Failure
    Value              manager();  ///< the system's BMC; null where there is none
    std::vector<Value> chassis();  ///< the system's; all where it names none
    /** What is read next is asked for anew. */
    void forget();
    /** What could not be read, by name, with the reason. */
    Value missing() const;
    void  tellMissing(const std::string& what, const std::string& reason);

private:
    struct State;
    void  logIn(Login login);
    Value chosen(const std::string& collection, const Choice& choice);
    Reply sendOnce(const Order& order);
    void  tellRefused(const Value& link, const char* what, const Refusal& refusal);
    Value expanded(const std::string& path);
    void  readAtOnce(const Value& members);
    bool  takeAnswers(const std::vector<std::string>& paths);

    const Context&               context_;
    std::unique_ptr<Session>     session_;
    std::unique_ptr<TokenAccess> token_;  ///< in the place of the session
    std::unique_ptr<State>       state_;
};

/** The first message of an error body, with what it is about and what to do: never a secret that was sent. */
std::string messageOf(const Value& body);
/** For a name that is none of @p there: "there is no log 'x'", and those that there are. */
Failure noSuch(const std::string& kind, const std::string& name, const std::vector<std::string>& there);
/** A resource's "Id", or the last part of its path. */
std::string idOf(const Value& resource);

}  // namespace qvrfctl

#endif
