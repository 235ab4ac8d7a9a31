/** @file Stage.cpp  The words with which a scenario sets its stage. */
#include "Stage.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <utility>

#include "Arguments.h"
#include "Cases.h"
#include "LibraryState.h"
#include "OxaAutoUpdateUtils.h"
#include "PrivateHost.h"
#include "Wraps.h"
#include "qvrfutil.h"

namespace golden {
namespace {

namespace fs = std::filesystem;

constexpr char kOtherToken[] = "fedcba9876543210FEDCBA9876543210";
constexpr char kStreamHead[] =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";

bool g_linkTouched = false;  // by a case of this process

/** Words whose numbers are what the platform's symbols return. */
const std::map<std::string, std::vector<std::string>> kStatuses = {
    {"os-log", {"SMAppendToOSSysLog"}},
    {"signature", {"OSVerifyDigitalSignature"}},
    {"crypto", {"SMqvoxaPBKDF2Encrypt", "SMqvoxaPBKDF2Decrypt"}}};

std::string chunked(const std::string& text)
{
    char size[20];
    std::snprintf(size, sizeof size, "%zx\r\n", text.size());
    return size + text + "\r\n";
}

/** What the stand-in for encryption makes of a text. */
std::string sealed(const std::string& text)
{
    const std::vector<u8> bytes(text.rbegin(), text.rend());
    std::string           hex = rig::hexOf(bytes.data(), bytes.size());
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    return hex;
}

std::string takeHex(const Words& words, std::size_t& at)
{
    std::string hex;
    while (at + 1 < words.size() && words[at + 1].bare().size() == 2 && !words[at + 1].quoted)
        hex += words[++at].bare() + " ";
    return hex;
}

void answerIpmi(rig::Exchange& exchange, const Words& words, std::size_t& at)
{
    const std::string what = words[at].bare();
    if (what == "fails") return void(exchange.status = 1);
    const long n        = numberAt(words, ++at);
    const auto position = static_cast<std::size_t>(n);
    if (what == "completes") return void(exchange.reply[2] = static_cast<u8>(n));
    if (what == "leaves") return void(exchange.leftStatus = static_cast<s32>(n));
    if (what == "at") return exchange.put(position, cases::bytesOf(takeHex(words, at)));
    if (what != "text") throw std::runtime_error("an IPMI answer has no word " + what);
    const std::string& text = wordAt(words, ++at).value();
    exchange.put(position, {text.begin(), text.end()});
}

/** A form's boundary is random, and how long it is depends on libcurl's version. */
std::string withoutBoundary(const std::string& request)
{
    if (request.find("boundary=") == request.npos) return request;
    static const std::regex named("boundary=(-*[0-9A-Za-z]+)"), length("Content-Length: [0-9]+");
    std::smatch             found;
    std::regex_search(request, found, named);
    return std::regex_replace(std::regex_replace(request, std::regex(found[1].str()), "BOUNDARY"), length,
                              "Content-Length: of the form");
}

void noteRequest(const std::string& request)
{
    const std::size_t head = std::min(request.find("\r\n\r\n"), request.size());
    for (std::size_t at = 0, end = 0; at < head; at = end + 2) {
        end = std::min(request.find("\r\n", at), head);
        rig::note("> " + request.substr(at, end - at) + "\n");
    }
    const std::string body = request.substr(std::min(head + 4, request.size()));
    if (!body.empty()) rig::note("> " + inQuotes(body) + "\n");
}

}  // namespace

long numberAt(const Words& words, std::size_t at, long otherwise)
{
    return at < words.size() ? numberOf(words[at].bare()) : otherwise;
}

Stage::Stage(bool plain)
{
    bmc_.restart();
    rig::noFailures();
    for (const rig::Place place : {rig::Place::caller, rig::Place::worker}) rig::takeNotes(place);
    world()             = World{};
    world().plain       = plain;
    world().noteTraffic = [this] { noteRequests(); };
    resetLibrary();
    variables_ = {{"TOKEN", kToken},
                  {"SEALEDTOKEN", sealed(kToken)},
                  {"OTHER", kOtherToken},
                  {"SEALEDOTHER", sealed(kOtherToken)},
                  {"PWD", fs::current_path().string()}};
}

Stage::~Stage()
{
    rig::noFailures();
    QVRFUTILCleanUp();
    resetLibrary();
    for (const auto& [name, before] : environment_)
        before ? ::setenv(name.c_str(), before->c_str(), 1) : ::unsetenv(name.c_str());
    ::tzset();
    world().noteTraffic = nullptr;
    if (variables_.count("DIR") != 0) fs::remove_all(variables_["DIR"]);
}

bool Stage::take(const Words& words)
{
    const auto doing = doings().find(words[0].bare());
    if (doing != doings().end())
        doing->second(*this, words);
    else if (kStatuses.count(words[0].bare()) != 0)
        statuses(words);
    else
        return false;
    return true;
}

const std::map<std::string, Stage::Doing>& Stage::doings()
{
    static const std::map<std::string, Doing> all = {
        // The library's state.
        {"library", by<&Stage::library>},
        {"older", [](Stage&, const Words&) { giSServerNewGenAndAbove = FALSE; }},
        {"newer", [](Stage&, const Words&) { giSServerNewGenAndAbove = TRUE; }},
        {"renewing", [](Stage&, const Words&) { g_isRedfishSessionRequested = TRUE; }},
        {"session", [](Stage&, const Words&) { openSession(); }},
        {"record", [](Stage&, const Words& w) { setField(wordAt(w, 1).bare(), wordAt(w, 2).value()); }},
        {"version", [](Stage&, const Words& w) { wordAt(w, 1).value().copy(OxaUpdatedVersion, APM_VERSION_SIZE - 1); }},
        {"installation", [](Stage&, const Words& w) { assign(pOXAInstallPath, wordAt(w, 1).value()); }},
        {"execution", [](Stage&, const Words& w) { assign(pExecutionDirectory, wordAt(w, 1).value()); }},
        // The BMC and the platform.
        {"ipmi", by<&Stage::ipmi>},
        {"command", by<&Stage::exchange>},
        {"value", by<&Stage::exchange>},
        {"userset", by<&Stage::exchange>},
        {"set", by<&Stage::set>},
        {"discover", by<&Stage::discover>},
        {"https", by<&Stage::https>},
        {"package", by<&Stage::package>},
        {"login", by<&Stage::login>},
        {"slot", [](Stage& s, const Words& w) { s.slot_ = wordAt(w, 1).bare(); }},
        {"user",
         [](Stage& s, const Words& w) { s.bmc_.users[wordAt(w, 1).value()] = static_cast<u32>(numberAt(w, 2)); }},
        {"token",
         [](Stage& s, const Words& w) {
             s.bmc_.loginToken                                = wordAt(w, 1).value();
             s.bmc_.statuses["SMSecureGenerateBMCLoginToken"] = static_cast<s32>(numberAt(w, 2));
             s.bmc_.statuses["SMSecureGetBMCLoginToken"]      = static_cast<s32>(numberAt(w, 3));
             s.bmc_.untoldLogin                               = static_cast<std::size_t>(numberAt(w, 4));
         }},
        {"path",
         [](Stage& s, const Words& w) {
             s.bmc_.paths[{static_cast<u32>(numberAt(w, 1)), static_cast<u32>(numberAt(w, 2))}] = wordAt(w, 3).value();
         }},
        {"firmware", by<&Stage::firmware>},
        {"free-slot", [](Stage& s, const Words& w) { s.bmc_.freeSlot = static_cast<s32>(numberAt(w, 1)); }},
        {"lock-timeouts",
         [](Stage& s, const Words& w) {
             s.bmc_.nextStatuses["SMMutexLock"].assign(static_cast<std::size_t>(numberAt(w, 1)), 1);
         }},
        {"ks",
         [](Stage& s, const Words& w) {
             s.bmc_.nextStatuses["SMHOSMIExportLogKSL"].push_back(static_cast<s32>(numberAt(w, 1)));
         }},
        {"secret", [](Stage& s, const Words& w) { s.bmc_.mustBeWiped(wordAt(w, 1).value()); }},
        // The host.
        {"ipv6", [](Stage&, const Words& w) { world().ipv6Address = wordAt(w, 1).value(); }},
        {"system",
         [](Stage&, const Words& w) { world().commands[wordAt(w, 1).value()] = static_cast<int>(numberAt(w, 2)); }},
        {"child", [](Stage&, const Words& w) { world().childStatus = static_cast<int>(numberAt(w, 1)); }},
        {"station", [](Stage&, const Words& w) { world().station = wordAt(w, 1).value(); }},
        {"signals", [](Stage&, const Words& w) { world().signals = static_cast<int>(numberAt(w, 1)); }},
        {"clock", [](Stage&, const Words& w) { world().now = numberAt(w, 1); }},
        {"curl", [](Stage&, const Words& w) { world().curlVersion = static_cast<unsigned>(numberAt(w, 1)); }},
        {"status", [](Stage&, const Words& w) { world().httpStatus = numberAt(w, 1); }},
        {"environment", by<&Stage::environment>},
        {"directory", by<&Stage::directory>},
        {"file", by<&Stage::file>},
        {"private", by<&Stage::privately>},
        {"link", by<&Stage::link>},
        {"host", [](Stage&, const Words& w) { g_linkTouched = std::system(wordAt(w, 1).value().c_str()) == 0; }},
        {"deaf-network", [](Stage&, const Words&) { world().deaf = true; }},
    };
    return all;
}

void Stage::library(const Words& words)
{
    server(words.size() > 1 && words[1].bare() == "ipv6");
    std::string       address = "127.0.0.1", port = variables_.at("PORT");
    const rig::Inside inside(rig::Place::caller);  // so that its shell command does not run
    QVRFUTILInit(FALSE);
    QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
    rig::takeNotes(rig::Place::caller);
}

void Stage::ipmi(const Words& words)
{
    std::string request;
    std::size_t at = 1;
    for (; at < words.size() && words[at].bare() != "=>"; ++at) request += (at > 1 ? " " : "") + words[at].bare();
    rig::Exchange& exchange = bmc_.expect(rig::Channel::ipmi, request);
    while (++at < words.size()) answerIpmi(exchange, words, at);
}

/** A text for the BMC and its answer. */
void Stage::exchange(const Words& words)
{
    static const std::map<std::string, rig::Channel> channels = {
        {"command", rig::Channel::commandLine}, {"value", rig::Channel::value}, {"userset", rig::Channel::userSet}};
    rig::Exchange& exchange = bmc_.expect(channels.at(words[0].bare()), wordAt(words, 1).value());
    for (std::size_t at = 3; at < words.size(); ++at) {
        if (words[at].quoted)
            exchange.text = words[at].text;
        else if (words[at].bare() == "fails")
            exchange.status = static_cast<s32>(numberAt(words, ++at, 1));
    }
}

/** A command that sets one attribute of the account in the slot: `set username bob => fails 7`. */
void Stage::set(const Words& words)
{
    const Word&       word  = wordAt(words, 2);
    const std::string value = word.quoted && word.text.empty() ? "\"\"" : word.value();
    rig::Exchange&    exchange =
        bmc_.expect(rig::Channel::userSet, "vorsk set torvo.users." + slot_ + "." + words[1].bare() + " " + value);
    if (words.size() > 4) exchange.status = static_cast<s32>(numberAt(words, 5, 1));
}

void Stage::statuses(const Words& words)
{
    std::size_t at = 0;
    for (const std::string& symbol : kStatuses.at(words[0].bare()))
        bmc_.statuses[symbol] = static_cast<s32>(numberAt(words, ++at));
}

void Stage::firmware(const Words& words)
{
    bmc_.firmwareMajor                       = static_cast<s32>(numberAt(words, 1));
    bmc_.firmwareMinor                       = static_cast<s32>(numberAt(words, 2));
    bmc_.statuses["QVHIPMGetTorvoFwVersion"] = static_cast<s32>(numberAt(words, 3));
}

/** The exchanges in which an older generation tells firmware version, IPv4 address and port. */
void Stage::discover(const Words& words)
{
    static const std::map<std::string, std::vector<std::string>> exchanges = {
        {"firmware", {"ipmi C0 BF 01 => at 3 07 0A"}},
        {"ipv4",
         {"ipmi C0 D6 01 00 01 00 00 00 => at 7 00 10", "ipmi C0 D6 01 00 10 00 00 00 => text 10 \"127.0.0.1#4433\""}},
        {"version",
         {"ipmi C0 D6 01 05 02 00 00 00 00 => at 8 10 00", "ipmi C0 D6 01 05 10 00 00 00 10 => text 10 \"5.4.0.1\""}},
        {"port",
         {"ipmi 18 59 00 DE 00 00",
          "command \"vorsk get torvo.webserver.httpsport\" => "
          "\"[Key=torvo.WebServer.1]\\nHttpsPort=$PORT\\n\""}}};
    server();
    for (std::size_t i = 1; i < words.size(); ++i)
        for (const std::string& line : exchanges.at(words[i].bare())) take(wordsOf(line, variables_));
}

rig::TlsResponder& Stage::server(bool onIpv6)
{
    if (server_) return *server_;
    try {
        server_ = std::make_unique<rig::TlsResponder>(onIpv6);
    } catch (const std::exception&) {
        if (onIpv6) throw Skip("no IPv6 on loopback here");
        throw;
    }
    variables_["PORT"] = server_->port();
    return *server_;
}

void Stage::https(const Words& words)
{
    const std::string& kind = wordAt(words, 1).bare();
    if (kind == "closes" || kind == "silent") return server().answer({"", kind == "silent"});
    if (kind == "raw" || kind == "raw-open") return server().answer({wordAt(words, 2).value(), kind == "raw-open"});
    if (kind == "stream" || kind == "broken-stream") {
        std::string bytes = kStreamHead;
        for (std::size_t i = 2; i < words.size(); ++i) bytes += chunked(words[i].value());
        return server().answer({bytes + (kind == "stream" ? "0\r\n\r\n" : ""), false});
    }
    server().answer(static_cast<int>(numberAt(words, 1)), words.size() > 2 ? words[2].value() : "",
                    words.size() > 3 ? words[3].value() : "");
}

/** The files of an update package that lists itself, and then these words. */
void Stage::package(const Words& words)
{
    std::string list = "d  QD-Oxa-Zelmar-Web-LX-5.tar.gz\n";
    if (words.size() > 1) list += "d  QD-Oxa-Zelmar-Web-X64-5.exe\n";
    for (const std::string& body :
         {std::string("<xml/>"), list, std::string("key"), std::string("package"), std::string("signature")})
        server().answer(200, body);
    for (std::size_t i = 1; i < words.size(); ++i) server().answer(200, words[i].value());
}

/** The session service's answer to a login. */
void Stage::login(const Words& words)
{
    const std::string token = words.size() > 1 ? words[1].value() : kOtherToken;
    const std::string id    = words.size() > 2 ? words[2].value() : "8";
    server().answer(201, "{}",
                    "X-Auth-Token: " + token + "\r\nLocation: /redfish/v1/SessionService/Sessions/" + id + "\r\n");
}

void Stage::noteRequests()
{
    if (!server_) return;
    const rig::Paused paused;
    const auto        all = server_->requests();
    for (; requests_ < all.size(); ++requests_) noteRequest(withoutBoundary(all[requests_]));
    if (const std::size_t sent = server_->sent(); sent != sent_) {
        rig::note("< " + std::to_string(sent - sent_));
        sent_ = sent;
    }
}

void Stage::environment(const Words& words)
{
    const std::string name   = wordAt(words, 1).value();
    const char* const before = std::getenv(name.c_str());
    environment_.emplace(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
    ::setenv(name.c_str(), wordAt(words, 2).value().c_str(), 1);
    ::tzset();
    if (words.size() > 3) world().changing = {name, words[3].value()};
}

void Stage::directory(const Words& words)
{
    if (variables_.count("DIR") == 0) {
        char name[] = "/tmp/golden-XXXXXX";
        if (::mkdtemp(name) == nullptr) throw std::runtime_error("no temporary directory");
        variables_["DIR"] = name;
        directories_.push_back(name);
    }
    if (words.size() > 1) fs::create_directories(variables_["DIR"] + "/" + words[1].value());
}

void Stage::file(const Words& words)
{
    const fs::path path = fs::path(wordAt(words, 1).value());
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << wordAt(words, 2).value();
    if (words.size() > 3) ::chmod(path.c_str(), static_cast<mode_t>(numberAt(words, 3)));
}

/** A symbolic link, or a hard one; one without a path is an interface of the host. */
void Stage::link(const Words& words)
{
    const std::string& name = wordAt(words, 1).value();
    const fs::path     path = name[0] == '/' ? name : "/sys/class/net/" + name;
    fs::create_directories(path.parent_path());
    if (words.size() > 3) return fs::create_hard_link(wordAt(words, 2).value(), path);
    fs::create_symlink(wordAt(words, 2).value(), path);
}

void Stage::privately(const Words&)
{
    if (const std::string& why = privateHost(); !why.empty()) throw Skip(why);
    for (const char* path : {"/tmp/.AutoUpdate", "/tmp/.signature", "/opt/zelmar", "/sys/class"}) fs::remove_all(path);
    directories_ = {"/tmp", "/opt"};
    if (std::exchange(g_linkTouched, false)) renewLink();
}

}  // namespace golden
