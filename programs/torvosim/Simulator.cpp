/** @file Simulator.cpp  Puts the BMC's services together, starts and stops them. */
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Bmc.h"
#include "Control.h"
#include "ControlService.h"
#include "HttpsService.h"
#include "IpmiService.h"
#include "Router.h"
#include "torvosim.h"

namespace torvosim {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kKeyDigits = 64;  // 256 bits

/** The key as both ends use it: the file's text without its line end. */
std::string readKey(const std::string& path)
{
    std::string key = readFile(path);
    if (!key.empty() && key.back() == '\n') key.pop_back();
    if (!key.empty() && key.back() == '\r') key.pop_back();
    if (key.empty()) throw std::runtime_error(path + ": the token key is empty");
    return key;
}

/** Keys and sockets go there: nobody else may lead it elsewhere or put something in their places. */
void checkIsOurs(const std::string& directory)
{
    struct stat found {};
    const bool  known = ::lstat(directory.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
    if (!known || found.st_uid != ::geteuid() || (found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw std::runtime_error("state directory " + directory +
                                 ": it is a link, belongs to somebody else, or others can write to it");
}

bool isV4(const std::string& address)
{
    return address.find(':') == address.npos;
}

}  // namespace

struct Simulator::Impl {
    explicit Impl(Options options) : bmc(std::move(options)), router(bmc), https(bmc, router), ipmi(bmc), control(bmc)
    {
        bmc.stopEvent         = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        bmc.sessionDeleteBody = bmc.options.sessionDeleteBody;
    }

    void makeStateDir();
    void loadState();
    void listen();
    void tellFacts();

    Bmc            bmc;
    Router         router;
    HttpsService   https;
    IpmiService    ipmi;
    ControlService control;
    bool           ownStateDir = false;
    std::mutex     stopping;
    bool           stopped = false;
    std::string    ipmiUnix, ipmiTcp, controlPath, tokenKey, certificate;
};

void Simulator::Impl::makeStateDir()
{
    bmc.stateDir = bmc.options.stateDir;
    if (bmc.stateDir.empty()) {
        const char* base    = ::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/torvosim-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("state directory " + pattern + ": " + std::strerror(errno));
        bmc.stateDir = pattern;
        ownStateDir  = true;
        return;
    }
    // Its paths are told to programs that run elsewhere.
    bmc.stateDir = std::filesystem::absolute(bmc.stateDir).string();
    if (::mkdir(bmc.stateDir.c_str(), 0700) != 0 && errno != EEXIST)
        throw std::runtime_error("state directory " + bmc.stateDir + ": " + std::strerror(errno));
    checkIsOurs(bmc.stateDir);
}

void Simulator::Impl::loadState()
{
    const Options& o = bmc.options;
    if (!o.trace.empty()) bmc.trace.open(o.trace);
    if (o.mockupDir.empty()) {
        bmc.tree.loadBuiltIn();
    } else {
        bmc.tree.loadMockup(o.mockupDir);
    }
    tokenKey = o.tokenKeyFile;
    if (tokenKey.empty()) {
        tokenKey = bmc.stateDir + "/token.key";
        writeFile(tokenKey, randomHex(kKeyDigits) + '\n', 0600);
    }
    bmc.tokens.configure(readKey(tokenKey), o.loginsPerToken);
    bmc.sessions.configure(o.sessionLimit, o.sessionTimeoutSeconds, o.newGeneration);
    bmc.users.setRoot(o.rootPassword);
    bmc.events.setInterval(o.eventIntervalMs);
}

void Simulator::Impl::listen()
{
    const Options& o = bmc.options;
    if (o.linkName.empty()) {
        https.listen();
    } else {
        bmc.link = std::make_unique<Link>(o.linkName, o.linkNamespace);
        bmc.link->atFarEnd([this] { https.listen(); });
    }
    certificate = bmc.stateDir + "/certificate.pem";
    writeFile(certificate, https.certificatePem());
    const std::string ipmiPath = o.ipmiUnix.empty() ? bmc.stateDir + "/ipmi.sock" : o.ipmiUnix;
    ipmi.listenUnix(ipmiPath);
    ipmiUnix = ipmiPath;  // ours from here on, and ours to remove
    if (!o.ipmiTcp.empty()) ipmiTcp = ipmi.listenTcp(o.ipmiTcp);
    const std::string path = o.controlSocket.empty() ? bmc.stateDir + "/control.sock" : o.controlSocket;
    control.listen(path);
    controlPath = path;
}

/** What the BMC says about itself is true unless a test wants it otherwise. */
void Simulator::Impl::tellFacts()
{
    bmc.facts.with([&](Facts& facts) {
        facts.httpsPort = https.port();
        findFact("usbnic.ipv6")->write(facts, "::1");
        bool v4Known = false;
        for (const std::string& address : https.addresses()) {
            if (!isV4(address)) {
                findFact("usbnic.ipv6")->write(facts, address);
            } else if (!v4Known) {
                v4Known = findFact("usbnic.ipv4")->write(facts, address);
            }
        }
    });
    for (const std::string& line : bmc.options.controlLines) {
        const Json answer = Json::parse(runControlLine(bmc, line));
        if (!answer["ok"].get<bool>())
            throw std::invalid_argument("control line '" + line + "': " + answer["error"].get<std::string>());
    }
}

Simulator::Simulator(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}
Simulator::~Simulator()
{
    stop();
}

void Simulator::start()
{
    impl_->makeStateDir();
    impl_->loadState();
    impl_->listen();
    impl_->tellFacts();
    impl_->https.start();
    impl_->ipmi.start();
    impl_->control.start();
}

void Simulator::stop() noexcept
{
    std::lock_guard<std::mutex> lock(impl_->stopping);
    if (std::exchange(impl_->stopped, true)) return;
    impl_->control.stop();
    impl_->ipmi.stop();
    impl_->https.stop();
    if (impl_->bmc.link) impl_->bmc.link->remove();
    for (const std::string& path : {impl_->ipmiUnix, impl_->controlPath})
        if (!path.empty()) ::unlink(path.c_str());
    if (impl_->ownStateDir) {
        std::error_code ignored;
        std::filesystem::remove_all(impl_->bmc.stateDir, ignored);
    }
}

std::string Simulator::control(std::string_view line)
{
    std::string answer = runControlLine(impl_->bmc, line);
    announceStop(impl_->bmc);
    return answer;
}
bool Simulator::stopRequested() const noexcept
{
    return impl_->bmc.stopRequested;
}
int Simulator::stopDescriptor() const noexcept
{
    return impl_->bmc.stopEvent.get();
}

std::uint16_t Simulator::httpsPort() const
{
    return impl_->https.port();
}
const std::vector<std::string>& Simulator::httpsAddresses() const
{
    return impl_->https.addresses();
}
const std::string& Simulator::ipmiUnixPath() const
{
    return impl_->ipmiUnix;
}
const std::string& Simulator::ipmiTcp() const
{
    return impl_->ipmiTcp;
}
const std::string& Simulator::controlPath() const
{
    return impl_->controlPath;
}
const std::string& Simulator::stateDir() const
{
    return impl_->bmc.stateDir;
}
const std::string& Simulator::tokenKeyPath() const
{
    return impl_->tokenKey;
}
const std::string& Simulator::certificatePath() const
{
    return impl_->certificate;
}

std::string Simulator::readyJson() const
{
    return Json{{"httpsPort", httpsPort()},   {"httpsAddresses", httpsAddresses()},
                {"ipmiUnix", ipmiUnixPath()}, {"ipmiTcp", ipmiTcp()},
                {"control", controlPath()},   {"stateDir", stateDir()},
                {"tokenKey", tokenKeyPath()}, {"certificate", certificatePath()},
                {"pid", ::getpid()},          {"link", impl_->bmc.options.linkName}}
        .dump();
}

std::string Simulator::platformConfig() const
{
    return "hipm.endpoint=unix:" + ipmiUnixPath() + "\nsecure.tokenkey=" + tokenKeyPath() + '\n';
}

}  // namespace torvosim
