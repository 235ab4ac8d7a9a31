/** @file ControlService.cpp  The control words over a Unix socket, both ends. */
#include "ControlService.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "Control.h"
#include "torvosim.h"

namespace torvosim {

namespace {

constexpr std::size_t kLongestLine = 1024 * 1024;

bool sendAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t sent = ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/** Reads more into @p text. @return false: the peer is done, or gone */
bool receive(int fd, std::string& text)
{
    std::array<char, 4096> buffer{};
    ssize_t                got = 0;
    do {
        got = ::recv(fd, buffer.data(), buffer.size(), 0);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(got));
    return text.size() <= kLongestLine;
}

/** Neither connecting nor sending nor receiving waits longer. */
void limitWaits(int fd, unsigned seconds)
{
    const timeval limit{static_cast<time_t>(seconds), 0};
    for (const int direction : {SO_SNDTIMEO, SO_RCVTIMEO})
        ::setsockopt(fd, SOL_SOCKET, direction, &limit, sizeof limit);
}

}  // namespace

void ControlService::serve(int fd)
{
    std::string text;
    while (receive(fd, text)) {
        for (auto end = text.find('\n'); end != text.npos; end = text.find('\n')) {
            const std::string answer = runControlLine(bmc_, std::string_view(text).substr(0, end));
            text.erase(0, end + 1);
            const bool sent = sendAll(fd, answer + '\n');
            announceStop(bmc_);
            if (!sent) return;
        }
    }
}

std::string controlOverSocket(const std::string& socketPath, const std::vector<std::string>& words,
                              unsigned timeoutSeconds)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        throw std::invalid_argument(socketPath + ": too long a socket path");
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    const Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    limitWaits(fd.get(), timeoutSeconds);
    if (!fd || ::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw NoAnswer(socketPath + ": " + std::strerror(errno));

    std::string answer;
    if (!sendAll(fd.get(), joinWords(words) + '\n')) throw NoAnswer(socketPath + ": the simulator is gone");
    while (answer.find('\n') == answer.npos)
        if (!receive(fd.get(), answer))
            throw NoAnswer(socketPath + ": no answer came within " + std::to_string(timeoutSeconds) + " s");
    answer.resize(answer.find('\n'));
    return answer;
}

}  // namespace torvosim
