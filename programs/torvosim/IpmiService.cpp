/** @file IpmiService.cpp  IPMI over Unix and TCP sockets. */
#include "IpmiService.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "ipmi/vmwire.h"

namespace torvosim {

namespace {

constexpr std::uint8_t kProtocolVersion = 1;

bool sendAll(int fd, const Bytes& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t rc = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (rc < 0 && errno == EINTR) continue;
        if (rc <= 0) return false;
        sent += static_cast<std::size_t>(rc);
    }
    return true;
}

/** Replaces the right reply data with what the faults ask for. */
void spoil(Bytes& data, const IpmiFaults& faults)
{
    if (faults.completion) data = {*faults.completion};
    if (faults.data) data = *faults.data;
    if (faults.keepBytes && data.size() > *faults.keepBytes) data.resize(*faults.keepBytes);
    data.resize(data.size() + faults.extraBytes, 0x5A);
}

}  // namespace

std::string IpmiService::listenTcp(const std::string& hostPort)
{
    const auto [host, port]    = splitHostPort(hostPort);
    Descriptor        listener = torvosim::listenTcp(host, port);
    const std::string shown    = host.find(':') == host.npos ? host : '[' + host + ']';
    const std::string bound    = shown + ':' + std::to_string(boundPort(listener.get()));
    server_.add(std::move(listener));
    return bound;
}

void IpmiService::serve(int fd)
{
    VmFrameReader                  reader;
    std::array<std::uint8_t, 1024> buffer{};
    for (;;) {
        const ssize_t got = ::recv(fd, buffer.data(), buffer.size(), 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        for (ssize_t i = 0; i < got; ++i) {
            const std::size_t droppedBefore = reader.dropped();
            const auto        frame         = reader.take(buffer[static_cast<std::size_t>(i)]);
            if (reader.dropped() != droppedBefore) {
                ++bmc_.stats.ipmiFramesDropped;
                bmc_.trace.line("ipmi broken frame dropped");
            }
            if (!frame) continue;
            if (!(frame->isMessage ? answerMessage(fd, frame->message) : answerDevice(fd, frame->deviceCommand)))
                return;
        }
    }
}

bool IpmiService::answerMessage(int fd, const IpmiMessage& request)
{
    ++bmc_.stats.ipmiMessages;
    const IpmiFaults faults = bmc_.faults.take(request.netFn, request.command);
    if (faults.delayMs != 0) {
        pollfd gone{fd, POLLRDHUP, 0};  // stopping ends the wait
        ::poll(&gone, 1, static_cast<int>(faults.delayMs));
    }
    // A completion code on request means that the command was not carried out.
    IpmiReply reply =
        faults.completion ? IpmiReply{{}, "fault", request.netFn == vmwire::kOemNetFn} : commands_.answer(request);
    spoil(reply.data, faults);

    const std::string asked = hexText({static_cast<std::uint8_t>(request.netFn << 2 | request.lun), request.command}) +
                              ' ' +
                              (reply.secret ? '<' + std::to_string(request.data.size()) + '>' : hexText(request.data));
    const std::string said = faults.silent    ? std::string("silence")
                             : faults.garbage ? "garbage " + hexText(*faults.garbage)
                             : reply.secret && !reply.data.empty()
                                 ? hexText({reply.data[0]}) + " <" + std::to_string(reply.data.size() - 1) + '>'
                                 : hexText(reply.data);
    bmc_.trace.line("ipmi " + asked + " -> " + said + "  (" + reply.name + ')');

    if (faults.silent) return true;
    if (faults.garbage) return sendAll(fd, *faults.garbage);
    if (!reply.deviceCommand.empty() && !sendAll(fd, encodeDeviceCommand(reply.deviceCommand))) return false;
    return sendAll(fd, encodeMessage({request.seq, static_cast<std::uint8_t>(request.netFn | 1), request.lun,
                                      request.command, std::move(reply.data)}));
}

bool IpmiService::answerDevice(int fd, const Bytes& command)
{
    bmc_.trace.line("ipmi device command " + hexText(command));
    // Each end tells its version; the peer's capabilities are its own affair and get no answer.
    if (command[0] != vmwire::kDeviceVersion) return true;
    return sendAll(fd, encodeDeviceCommand({vmwire::kDeviceVersion, kProtocolVersion}));
}

}  // namespace torvosim
