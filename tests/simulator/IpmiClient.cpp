/** @file IpmiClient.cpp  A host's end of the VM serial protocol. */
#include "IpmiClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <numeric>
#include <stdexcept>

namespace {
constexpr int kReplyWaitMs = 10000;
}  // namespace

std::string hexOf(const IpmiClient::Bytes& bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", unsigned{byte});
        text += digits;
    }
    if (!text.empty()) text.pop_back();
    return text;
}

IpmiClient::Bytes bytesOf(const std::string& hex)
{
    IpmiClient::Bytes bytes;
    for (const char* at = hex.c_str(); *at != '\0';) {
        char* end = nullptr;
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(at, &end, 16)));
        at = *end == ' ' ? end + 1 : end;
    }
    return bytes;
}

IpmiClient::IpmiClient(const std::string& path)
{
    int rc = -1;
    if (path.front() == '/') {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        rc  = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    } else {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port   = htons(static_cast<std::uint16_t>(std::stoi(path.substr(path.rfind(':') + 1))));
        ::inet_pton(AF_INET, path.substr(0, path.rfind(':')).c_str(), &address.sin_addr);
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        rc  = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    if (rc != 0) throw std::runtime_error("no connection to " + path);
}

IpmiClient::~IpmiClient()
{
    ::close(fd_);
}

void IpmiClient::sendRaw(const Bytes& bytes)
{
    if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the simulator took no bytes");
}

std::optional<IpmiClient::Bytes> IpmiClient::receiveRaw(int timeoutMs)
{
    Bytes bytes;
    for (;;) {
        pollfd readable{fd_, POLLIN, 0};
        if (::poll(&readable, 1, timeoutMs) <= 0) return std::nullopt;
        std::uint8_t byte = 0;
        if (::recv(fd_, &byte, 1, 0) != 1) return std::nullopt;
        bytes.push_back(byte);
        if (byte == 0xA0 || byte == 0xA1) return bytes;
    }
}

IpmiClient::Bytes IpmiClient::exchangeBytes(const Bytes& request)
{
    Bytes message{++seq_};
    message.insert(message.end(), request.begin(), request.end());
    message.push_back(static_cast<std::uint8_t>(-std::accumulate(message.begin(), message.end(), 0)));
    Bytes wire;
    for (const std::uint8_t byte : message) {
        const bool special = byte == 0xA0 || byte == 0xA1 || byte == 0xAA;
        if (special) wire.push_back(0xAA);
        wire.push_back(special ? static_cast<std::uint8_t>(byte | 0x10) : byte);
    }
    wire.push_back(0xA0);
    sendRaw(wire);

    const auto answer = receiveRaw(kReplyWaitMs);
    if (!answer) throw std::runtime_error("silence");
    Bytes reply;
    for (std::size_t i = 0; i + 1 < answer->size(); ++i)
        reply.push_back((*answer)[i] == 0xAA ? static_cast<std::uint8_t>((*answer)[++i] & 0xEF) : (*answer)[i]);
    if (std::accumulate(reply.begin(), reply.end(), 0) % 256 != 0) throw std::runtime_error("wrong checksum");
    if (reply.size() < 4 || reply.front() != seq_) throw std::runtime_error("not the reply to the request");
    return {reply.begin() + 1, reply.end() - 1};
}

std::string IpmiClient::exchange(const std::string& requestHex)
{
    return hexOf(exchangeBytes(bytesOf(requestHex)));
}
