/** @file peer.h  The far end of the wire, on a unix socket: does what a test says. */
#ifndef PEER_H
#define PEER_H

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <thread>

#include "Cases.h"
#include "frame.h"
#include "owners.h"
#include "qvtypes.h"
#include "vmwire.h"

using qvplatform::Bytes;
using qvplatform::Message;

inline Bytes bytesOf(const std::string& text)
{
    return cases::bytesOf<Bytes>(text);
}

/** What goes back for a request, and whether the peer then leaves. */
struct Answer {
    Bytes wire;
    bool  hangUp = false;
};

/** The reply to @p request: completion code and data. */
inline Message replyTo(const Message& request, const Bytes& data)
{
    Message reply{request.sequence, {static_cast<u8>(request.bytes[0] | 0x04), request.bytes[1]}};
    reply.bytes.insert(reply.bytes.end(), data.begin(), data.end());
    return reply;
}

class Peer {
public:
    using Handler = std::function<Answer(const Message&)>;

    Peer(const std::string& path, Handler handler)
        : handler_(std::move(handler)), listener_(listening(path)), wake_(::eventfd(0, EFD_CLOEXEC)), path_(path)
    {
        if (!listener_) throw std::runtime_error("cannot listen at " + path);
        thread_ = std::thread([this] {
            while (await(listener_.get(), POLLIN))
                serve(qvrf::Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)).get());
        });
    }
    ~Peer() { received(); }
    Peer(Peer&&) = delete;

    int requests() const { return requests_; }
    /** Ends it. @return everything that came over the wire */
    const Bytes& received()
    {
        ::eventfd_write(wake_.get(), 1);
        if (thread_.joinable()) thread_.join();
        ::unlink(path_.c_str());
        return received_;
    }
    static qvrf::Descriptor listening(const std::string& path)
    {
        qvrf::Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un      name{};
        name.sun_family = AF_UNIX;
        path.copy(name.sun_path, sizeof name.sun_path - 1);
        ::unlink(path.c_str());
        const bool bound = ::bind(made.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
        return bound && ::listen(made.get(), 4) == 0 ? std::move(made) : qvrf::Descriptor();
    }

private:
    /** True when @p socket is ready, false when the peer is to end. */
    bool await(int socket, short events)
    {
        std::array<pollfd, 2> watched{{{socket, events, 0}, {wake_.get(), POLLIN, 0}}};
        while (::poll(watched.data(), watched.size(), -1) < 0) continue;
        return watched[1].revents == 0;
    }
    void serve(int socket)
    {
        qvplatform::FrameDecoder decoder;
        for (u8 byte = 0; await(socket, POLLIN) && ::recv(socket, &byte, 1, 0) == 1;) {
            received_.push_back(byte);
            const auto message = decoder.take(byte);
            if (!message) continue;
            ++requests_;
            const Answer answer = handler_(*message);
            for (std::size_t done = 0; done < answer.wire.size() && await(socket, POLLOUT);) {
                const ssize_t sent =
                    ::send(socket, &answer.wire[done], answer.wire.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
                if (sent < 0 && errno != EAGAIN) return;
                if (sent > 0) done += static_cast<std::size_t>(sent);
            }
            if (answer.hangUp) return;
        }
    }

    const Handler     handler_;
    qvrf::Descriptor  listener_, wake_;
    const std::string path_;
    std::atomic<int>  requests_{0};
    Bytes             received_;
    std::thread       thread_;
};

/** A handler that keeps text transactions as vmwire.h says and asks @p verbs for status and reply. */
class TextBmc {
public:
    using Verbs = std::function<std::pair<s32, std::string>(vmwire::Verb, const std::string&)>;
    explicit TextBmc(Verbs verbs) : verbs_(std::move(verbs)) {}
    Answer operator()(const Message& request) { return {encodeMessage(replyTo(request, answer(request.bytes)))}; }

private:
    Bytes answer(const Bytes& request)
    {
        Bytes result = {vmwire::kCompletionOk};
        if (request[1] == vmwire::kOemWrite) text_.append(request.begin() + 8, request.end());
        if (request[1] == vmwire::kOemRead)
            qvplatform::append(result, std::exchange(text_, {}));  // no reply here is longer than a piece
        if (request[1] != vmwire::kOemRun) return result;
        const auto [status, reply] = verbs_(static_cast<vmwire::Verb>(request[6]), text_);
        for (int i = 0; i < 4; ++i) result.push_back(static_cast<u8>(static_cast<u32>(status) >> (8 * i)));
        result.insert(result.end(), {static_cast<u8>(reply.size()), 0});
        text_ = reply;
        return result;
    }

    Verbs       verbs_;
    std::string text_;  // of the one transaction at a time
};

#endif
