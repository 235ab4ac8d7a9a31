/** @file scriptedpeer.h  The far end of the wire, on a unix socket: does what a test says. */
#ifndef SCRIPTEDPEER_H
#define SCRIPTEDPEER_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "frame.h"
#include "owners.h"
#include "qvtypes.h"
#include "vmwire.h"

/** What a handler may do with the connection that a message came over. */
class Line {
public:
    Line(int socket, int wake) : socket_(socket), wake_(wake) {}
    /** Bytes as they are; gives up when the peer is told to end. */
    void raw(const qvplatform::Bytes& bytes);
    /** The reply to @p request: completion code and data. */
    void reply(const qvplatform::Message& request, const qvplatform::Bytes& data);
    void hangUp() { open_ = false; }
    bool open() const { return open_; }

private:
    const int socket_;
    const int wake_;
    bool      open_ = true;
};

/** Reply bytes to a request: what Line::reply sends. */
qvplatform::Message replyTo(const qvplatform::Message& request, const qvplatform::Bytes& data);

class ScriptedPeer {
public:
    using Handler = std::function<void(Line&, const qvplatform::Message&)>;

    ScriptedPeer(const std::string& path, Handler handler);
    ~ScriptedPeer();
    ScriptedPeer(ScriptedPeer&&) = delete;

    int requests() const { return requests_; }
    int connections() const { return connections_; }
    /** Waits until @p count connections were closed at this end. */
    void awaitHangUps(int count);
    /** Everything that came over the wire. */
    qvplatform::Bytes received();

private:
    void run();
    void serve(int socket);

    const std::string       path_;
    const Handler           handler_;
    qvrf::Descriptor        listener_;
    qvrf::Descriptor        wake_;
    std::atomic<int>        requests_{0};
    std::atomic<int>        connections_{0};
    std::mutex              mutex_;
    std::condition_variable hungUp_;
    int                     hangUps_ = 0;
    qvplatform::Bytes       received_;
    std::thread             thread_;
};

/** A handler that keeps text transactions as vmwire.h says and asks @p verbs for status and reply. */
class TextBmc {
public:
    using Verbs = std::function<std::pair<s32, std::string>(vmwire::Verb, const std::string&)>;
    explicit TextBmc(Verbs verbs) : verbs_(std::move(verbs)) {}
    void operator()(Line& line, const qvplatform::Message& request);

private:
    qvplatform::Bytes answer(const qvplatform::Bytes& request);

    Verbs                      verbs_;
    std::map<u32, std::string> texts_;
};

#endif
