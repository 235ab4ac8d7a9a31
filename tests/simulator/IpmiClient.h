/** @file IpmiClient.h  A host's end of the VM serial protocol, written from the protocol, for looking at the simulator.
 */
#ifndef TESTS_SIMULATOR_IPMICLIENT_H
#define TESTS_SIMULATOR_IPMICLIENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class IpmiClient {
public:
    using Bytes = std::vector<std::uint8_t>;

    /** Connects to the Unix socket @p path, or to @p path of the form host:port. */
    explicit IpmiClient(const std::string& path);
    ~IpmiClient();
    IpmiClient(const IpmiClient&)            = delete;
    IpmiClient& operator=(const IpmiClient&) = delete;

    /**
     * One exchange. @p request begins with netFn << 2 and the command, as in a host's transfer buffer.
     * @return the reply from netFn on, as hexadecimal text; throws std::runtime_error when none came, or a broken one
     */
    std::string exchange(const std::string& requestHex);
    Bytes       exchangeBytes(const Bytes& request);

    void sendRaw(const Bytes& bytes);
    /** Bytes up to and with the next end byte; nothing when none came within @p timeoutMs or the peer left. */
    std::optional<Bytes> receiveRaw(int timeoutMs);

private:
    int          fd_  = -1;
    std::uint8_t seq_ = 0;
};

std::string       hexOf(const IpmiClient::Bytes& bytes);
IpmiClient::Bytes bytesOf(const std::string& hex);

#endif
