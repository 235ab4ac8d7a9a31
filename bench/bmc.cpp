/** @file bmc.cpp  The BMC to measure against, and the session with it. */
#include "bmc.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "owners.h"
#include "qvrfutil.h"
#include "smsecure.h"

namespace bench {

namespace {

constexpr auto kLook = std::chrono::milliseconds(5);

qvrf::Descriptor connectTo(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error(path + ": too long for a socket");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    qvrf::Descriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd || ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error(path + ": nobody listens");
    return fd;
}

}  // namespace

Bmc::Bmc(const Words& options)
{
    const std::string      config = scratch_.path() + "/platform.cfg";
    const qvrf::Descriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    Words                  words{sibling("torvosim"),
                "--https-address",
                "127.0.0.1",
                "--state-dir",
                stateDir(),
                "--ipmi-unix",
                scratch_.path() + "/ipmi.sock",
                "--control-socket",
                controlPath(),
                "--session-limit",
                "64",
                "--ready-file",
                scratch_.path() + "/ready.json",
                "--write-config",
                config};
    words.insert(words.end(), options.begin(), options.end());
    process_ = start(words, nowhere.get());
    awaitReady();
    ::setenv("QVPLATFORM_CONFIG", config.c_str(), 1);
    for (const char* bundle : {"REQUESTS_CA_BUNDLE", "CURL_CA_BUNDLE"}) ::unsetenv(bundle);  // nobody checks here
}

Bmc::~Bmc()
{
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
}

void Bmc::awaitReady()
{
    for (;;) {
        std::ifstream ready(scratch_.path() + "/ready.json");  // renamed into its place when it is complete
        if (ready) {
            port_ = std::to_string(nlohmann::json::parse(ready)["httpsPort"].get<int>());
            return;
        }
        if (::waitpid(process_, nullptr, WNOHANG) != 0) throw std::runtime_error("torvosim did not start");
        std::this_thread::sleep_for(kLook);
    }
}

std::string Bmc::control(const std::string& line) const
{
    const qvrf::Descriptor fd   = connectTo(controlPath());
    const std::string      text = line + '\n';
    if (::send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("torvosim is gone");
    std::string answer;
    char        piece[4096];
    while (answer.find('\n') == answer.npos) {
        const ssize_t got = ::recv(fd.get(), piece, sizeof piece, 0);
        if (got <= 0) throw std::runtime_error("torvosim gave no answer");
        answer.append(piece, static_cast<std::size_t>(got));
    }
    if (!nlohmann::json::parse(answer)["ok"].get<bool>()) throw std::runtime_error(line + ": " + answer);
    return answer;
}

void Bmc::awaitStreams(unsigned count) const
{
    while (nlohmann::json::parse(control("stats"))["streamsOpen"].get<unsigned>() != count)
        std::this_thread::sleep_for(kLook);
}

Agent::Agent(const std::string& port)
{
    std::string address = "127.0.0.1", number = port, user = "root", privilege = "root";
    QVRFUTILInit(FALSE);
    QVRFUTILSetIPAddress(address.data(), number.data(), FALSE);
    if (const s32 st = QVRFUTILCreateSession(user.data(), privilege.data(), 4); st != 0) {
        QVRFUTILCleanUp();
        throw std::runtime_error("the session was refused with " + std::to_string(st));
    }
}

Agent::~Agent()
{
    std::string user = "root";
    QVRFUTILDeleteSession(user.data(), 4);
}

std::string Agent::token() const
{
    char     plain[SMSECURE_PLAIN_SIZE + 1] = {};
    astring* output                         = plain;
    if (SMqvoxaPBKDF2Decrypt(g_RedfishSession.pb64Key, g_RedfishSession.pb64Text, &output) != 0)
        throw std::runtime_error("the session's token cannot be read");
    return plain;
}

}  // namespace bench
