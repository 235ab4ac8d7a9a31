/** @file scriptedpeer.cpp  A listening thread and the text transactions of a BMC. */
#include "scriptedpeer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstring>
#include <stdexcept>

using qvplatform::Bytes;
using qvplatform::Message;

namespace {

/** True when @p socket is ready, false when the peer is to end. */
bool await(int socket, short events, int wake)
{
    std::array<pollfd, 2> watched{{{socket, events, 0}, {wake, POLLIN, 0}}};
    while (::poll(watched.data(), watched.size(), -1) < 0) continue;
    return watched[1].revents == 0;
}

u32 number(const Bytes& bytes, std::size_t at, int size)
{
    u32 value = 0;
    for (int i = size - 1; i >= 0; --i) value = value << 8 | bytes.at(at + static_cast<std::size_t>(i));
    return value;
}

}  // namespace

void Line::raw(const Bytes& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size() && await(socket_, POLLOUT, wake_)) {
        const ssize_t sent = ::send(socket_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN) return;
        if (sent > 0) done += static_cast<std::size_t>(sent);
    }
}

Message replyTo(const Message& request, const Bytes& data)
{
    Message reply{request.sequence, {static_cast<u8>(request.bytes[0] | 0x04), request.bytes[1]}};
    reply.bytes.insert(reply.bytes.end(), data.begin(), data.end());
    return reply;
}

void Line::reply(const Message& request, const Bytes& data)
{
    raw(qvplatform::encodeMessage(replyTo(request, data)));
}

ScriptedPeer::ScriptedPeer(const std::string& path, Handler handler)
    : path_(path),
      handler_(std::move(handler)),
      listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      wake_(::eventfd(0, EFD_CLOEXEC))
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    ::unlink(path.c_str());
    if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        ::listen(listener_.get(), 4) != 0)
        throw std::runtime_error("cannot listen at " + path);
    thread_ = std::thread([this] { run(); });
}

ScriptedPeer::~ScriptedPeer()
{
    const std::uint64_t one = 1;
    if (::write(wake_.get(), &one, sizeof one) != sizeof one) std::abort();
    thread_.join();
    ::unlink(path_.c_str());
}

Bytes ScriptedPeer::received()
{
    const std::lock_guard<std::mutex> held(mutex_);
    return received_;
}

void ScriptedPeer::run()
{
    while (await(listener_.get(), POLLIN, wake_.get())) {
        {
            const qvrf::Descriptor caller(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (!caller) continue;
            ++connections_;
            serve(caller.get());
        }
        const std::lock_guard<std::mutex> held(mutex_);
        ++hangUps_;
        hungUp_.notify_all();
    }
}

void ScriptedPeer::awaitHangUps(int count)
{
    std::unique_lock<std::mutex> held(mutex_);
    hungUp_.wait(held, [&] { return hangUps_ >= count; });
}

void ScriptedPeer::serve(int socket)
{
    qvplatform::FrameDecoder decoder;
    Line                     line(socket, wake_.get());
    std::array<u8, 512>      piece;
    while (line.open() && await(socket, POLLIN, wake_.get())) {
        const ssize_t got = ::recv(socket, piece.data(), piece.size(), 0);
        if (got <= 0) return;
        {
            const std::lock_guard<std::mutex> held(mutex_);
            received_.insert(received_.end(), piece.begin(), piece.begin() + got);
        }
        for (ssize_t i = 0; i < got && line.open(); ++i) {
            const auto message = decoder.take(piece[static_cast<std::size_t>(i)]);
            if (!message) continue;
            ++requests_;
            handler_(line, *message);
        }
    }
}

void TextBmc::operator()(Line& line, const Message& request)
{
    line.reply(request, answer(request.bytes));
}

Bytes TextBmc::answer(const Bytes& request)
{
    if (request[0] != vmwire::kOemNetFn << 2) return {vmwire::kCompletionInvalidCmd};
    std::string& text   = texts_[number(request, 2, 4)];
    Bytes        result = {vmwire::kCompletionOk};
    if (request[1] == vmwire::kOemWrite) {
        if (number(request, 6, 2) != text.size()) return {vmwire::kCompletionOutOfRange};
        text.append(request.begin() + 8, request.end());
    } else if (request[1] == vmwire::kOemRun) {
        if (number(request, 7, 2) != text.size()) return {vmwire::kCompletionLengthInvalid};
        const auto [status, reply] = verbs_(static_cast<vmwire::Verb>(request[6]), text);
        for (int i = 0; i < 4; ++i) result.push_back(static_cast<u8>(static_cast<u32>(status) >> (8 * i)));
        result.push_back(static_cast<u8>(reply.size()));
        result.push_back(static_cast<u8>(reply.size() >> 8));
        text = reply;
    } else {
        qvplatform::append(result, std::string_view(text).substr(number(request, 6, 2), request[8]));
    }
    return result;
}
