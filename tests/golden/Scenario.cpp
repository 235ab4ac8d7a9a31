/** @file Scenario.cpp  The interpreter of scenario files. */
#include "Scenario.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <stdexcept>
#include <thread>

#include "BenchPlatform.h"
#include "LibraryCalls.h"
#include "Listener.h"
#include "Operations.h"
#include "OxaAutoUpdateUtils.h"
#include "PrivateHost.h"
#include "TlsResponder.h"
#include "Wraps.h"
#include "qvrfutil.h"

namespace golden {
namespace {

namespace fs = std::filesystem;

constexpr char kToken[]      = "0123456789abcdef0123456789ABCDEF";
constexpr char kOtherToken[] = "fedcba9876543210FEDCBA9876543210";
constexpr char kStreamHead[] =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";

struct Skip : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A field of the session record, as transcripts name it. */
struct Field {
    const char* name;
    std::size_t offset, size;
};
#define FIELD(name)                                                           \
    {                                                                         \
#name, offsetof(QVRFUTILSession, name), sizeof(QVRFUTILSession::name) \
    }
constexpr Field kTexts[] = {FIELD(Port),     FIELD(IPAddress), FIELD(SessionID), FIELD(EncryptedSessionToken),
                            FIELD(pb64Text), FIELD(pb64Key),   FIELD(UserName),  FIELD(Privilege)};

astring* fieldOf(const Field& field)
{
    return reinterpret_cast<astring*>(&g_RedfishSession) + field.offset;
}

/** Everything that the library shows of itself, for the differences that a call makes. */
std::map<std::string, std::string> visibleState()
{
    std::map<std::string, std::string> all;
    for (const Field& field : kTexts)
        all[std::string("record ") + field.name] = inQuotes({fieldOf(field), ::strnlen(fieldOf(field), field.size)});
    all["record isOAuth"]              = std::to_string(g_RedfishSession.isOAuth);
    all["record IPVersion"]            = std::to_string(g_RedfishSession.IPVersion);
    all["record pb64KeyLen"]           = std::to_string(g_RedfishSession.pb64KeyLen);
    all["giSServerNewGenAndAbove"]     = std::to_string(giSServerNewGenAndAbove);
    all["g_isRedfishSessionRequested"] = std::to_string(g_isRedfishSessionRequested);
    all["g_SessionCreationLock"]       = g_SessionCreationLock == nullptr ? "none" : "a lock";
    all["OxaUpdatedVersion"] =
        inQuotes(std::string(OxaUpdatedVersion, ::strnlen(OxaUpdatedVersion, sizeof OxaUpdatedVersion)));
    all["g_sEnabledUSBNIC"] = std::to_string(g_sEnabledUSBNIC);
    all["installationType"] = std::to_string(installationType);
    return all;
}

std::set<std::string> filesBelow(const std::string& directory)
{
    std::set<std::string> all;
    if (directory.empty()) return all;
    for (const auto& entry : fs::recursive_directory_iterator(directory))
        all.insert(entry.path().string().substr(directory.size()));
    return all;
}

std::size_t openDescriptors()
{
    const auto all = fs::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::string chunked(const std::string& text)
{
    char size[20];
    std::snprintf(size, sizeof size, "%zx\r\n", text.size());
    return size + text + "\r\n";
}

class Run {
public:
    Run(const Case& one, unsigned failing) : case_(one), failing_(failing) {}
    Run(Run&&) = delete;

    Outcome run()
    {
        prepare();
        try {
            for (const std::string& line : case_.prelude) perform(line);
            for (const std::string& line : case_.lines) {
                outcome_.text.push_back(line);
                perform(line);
            }
        } catch (const Skip& skip) {
            outcome_.skipped = skip.what();
        } catch (const std::exception& e) {
            complain(std::string(e.what()));
        }
        finish();
        return std::move(outcome_);
    }

private:
    using Words = std::vector<Word>;

    // --- A case begins and ends.
    void prepare()
    {
        bmc_.restart();
        bench::noFailures();
        bench::takeNotes(bench::Place::caller);
        bench::takeNotes(bench::Place::worker);
        world()                     = World{};
        world().noteTraffic         = [this] { noteRequests(); };
        g_RedfishSession            = QVRFUTILSession{};
        giSServerNewGenAndAbove     = FALSE;
        g_isRedfishSessionRequested = FALSE;
        installationType            = -1;
        g_sEnabledUSBNIC            = 0;
        std::memset(OxaUpdatedVersion, 0, APM_VERSION_SIZE);
        variables_["TOKEN"] = kToken;
        variables_["OTHER"] = kOtherToken;
        variables_["PWD"]   = fs::current_path().string();
        descriptors_        = openDescriptors();
        held_               = bench::held();
    }

    void finish()
    {
        bench::noFailures();
        for (auto& [name, handle] : handles_)
            if (handle != nullptr) QVRFUTILUnregisterSSE(&handle), complain("a subscription was left: " + name);
        QVRFUTILCleanUp();
        giveBack(pExecutionDirectory);
        giveBack(pOXAInstallPath);
        for (const auto& [name, before] : environment_)
            before ? ::setenv(name.c_str(), before->c_str(), 1) : ::unsetenv(name.c_str());
        ::tzset();
        server_.reset();
        if (!directory_.empty()) fs::remove_all(directory_);
        if (outcome_.walked) outcome_.walked->held = bench::held() == held_ ? "" : bench::held();
        const bool free = outcome_.walked && !outcome_.walked->failed.empty();  // after a failure much is never asked
        for (const std::string& what : bmc_.complaints(!free && outcome_.skipped.empty())) complain(what);
        if (openDescriptors() != descriptors_) complain("descriptors stay open");
    }

    static void giveBack(astring*& text) { SMFreeMem(std::exchange(text, nullptr)); }
    void        complain(const std::string& what) { outcome_.complaints.push_back(case_.title + ": " + what); }

    // --- Lines.
    void perform(const std::string& line)
    {
        const Words words = line.rfind('#', 0) == 0 ? Words{} : wordsOf(line, variables_);
        if (words.empty()) return;
        const auto found = commands().find(words[0].bare());
        if (found == commands().end()) throw std::runtime_error("unknown word: " + line);
        (this->*found->second)(words);
    }

    using Command = void (Run::*)(const Words&);
    static const std::map<std::string, Command>& commands()
    {
        static const std::map<std::string, Command> all = {{"older", &Run::older},
                                                           {"newer", &Run::newer},
                                                           {"requested", &Run::requested},
                                                           {"logged", &Run::logged},
                                                           {"private", &Run::privately},
                                                           {"link", &Run::link},
                                                           {"fail-worker", &Run::fail},
                                                           {"installation", &Run::installation},
                                                           {"execution", &Run::execution},
                                                           {"library", &Run::library},
                                                           {"session", &Run::session},
                                                           {"record", &Run::record},
                                                           {"renewing", &Run::renewing},
                                                           {"ipmi", &Run::ipmi},
                                                           {"command", &Run::text},
                                                           {"value", &Run::text},
                                                           {"userset", &Run::text},
                                                           {"user", &Run::user},
                                                           {"free-slot", &Run::settings},
                                                           {"token", &Run::token},
                                                           {"crypto", &Run::settings},
                                                           {"firmware", &Run::settings},
                                                           {"lock-timeouts", &Run::settings},
                                                           {"https", &Run::https},
                                                           {"login", &Run::login},
                                                           {"discover", &Run::discover},
                                                           {"ipv6", &Run::ipv6},
                                                           {"system", &Run::system},
                                                           {"child", &Run::child},
                                                           {"clock", &Run::clock},
                                                           {"curl", &Run::curl},
                                                           {"fail", &Run::fail},
                                                           {"file", &Run::file},
                                                           {"directory", &Run::directory},
                                                           {"path", &Run::path},
                                                           {"secret", &Run::secret},
                                                           {"version", &Run::version},
                                                           {"await", &Run::await},
                                                           {"statuses", &Run::statuses},
                                                           {"silent", &Run::silent},
                                                           {"call", &Run::call},
                                                           {"walk", &Run::walk},
                                                           {"show", &Run::show},
                                                           {"ks", &Run::ks},
                                                           {"quiet", &Run::quiet},
                                                           {"os-log", &Run::settings},
                                                           {"signature", &Run::settings},
                                                           {"environment", &Run::environment}};
        return all;
    }

    static long number(const Words& words, std::size_t at, long otherwise = 0)
    {
        return at < words.size() ? numberOf(words[at].bare()) : otherwise;
    }

    // --- The library's state.
    void        older(const Words&) { giSServerNewGenAndAbove = FALSE; }
    void        newer(const Words&) { giSServerNewGenAndAbove = TRUE; }
    void        installation(const Words& words) { assign(pOXAInstallPath, words.at(1).value()); }
    void        execution(const Words& words) { assign(pExecutionDirectory, words.at(1).value()); }
    static void assign(astring*& global, const std::string& text)
    {
        giveBack(global);
        global = static_cast<astring*>(SMAllocMem(4096));
        std::strcpy(global, text.c_str());
    }
    void library(const Words& words)
    {
        server(words.size() > 1 && words[1].bare() == "ipv6");
        std::string         address = "127.0.0.1", port = variables_.at("PORT");
        const bench::Inside inside(bench::Place::caller);  // so that its shell command does not run
        QVRFUTILInit(FALSE);
        QVRFUTILSetIPAddress(address.data(), port.data(), FALSE);
        bench::takeNotes(bench::Place::caller);
    }
    /** Puts a session into the record, as opening one would. */
    void session(const Words&)
    {
        astring  output[SMSECURE_OUTPUT_SIZE];
        astring *text = nullptr, *key = nullptr;
        SMqvoxaPBKDF2Encrypt(kToken, 32, output, &text, &key);
        put("pb64Text", text);
        put("pb64Key", key);
        put("EncryptedSessionToken", output);
        put("SessionID", "7");
        put("UserName", "root");
        put("Privilege", "root");
        g_RedfishSession.isOAuth = TRUE;
        SMFreeMem(text);
        SMFreeMem(key);
    }
    void record(const Words& words)
    {
        if (words.at(1).bare() == "isOAuth")
            g_RedfishSession.isOAuth = static_cast<booln>(number(words, 2));
        else
            put(words.at(1).bare(), words.at(2).value());
    }
    void put(const std::string& name, const std::string& text)
    {
        for (const Field& field : kTexts) {
            if (name != field.name) continue;
            std::memset(fieldOf(field), 0, field.size);
            text.copy(fieldOf(field), field.size - 1);
            return;
        }
        throw std::runtime_error("the record has no field " + name);
    }
    void renewing(const Words&) { g_isRedfishSessionRequested = TRUE; }
    void version(const Words& words) { words.at(1).value().copy(OxaUpdatedVersion, APM_VERSION_SIZE - 1); }

    // --- What the BMC answers.
    void ipmi(const Words& words)
    {
        std::string request;
        std::size_t at = 1;
        for (; at < words.size() && words[at].bare() != "=>"; ++at) request += (at > 1 ? " " : "") + words[at].bare();
        bench::Exchange& exchange = bmc_.expect(bench::Channel::ipmi, request);
        while (++at < words.size()) answerIpmi(exchange, words, at);
    }
    static std::string takeHex(const Words& words, std::size_t& at)
    {
        std::string hex;
        while (at + 1 < words.size() && words[at + 1].bare().size() == 2 && !words[at + 1].quoted)
            hex += words[++at].bare() + " ";
        return hex;
    }
    static void putText(bench::Exchange& exchange, std::size_t at, const std::string& text)
    {
        exchange.put(at, {text.begin(), text.end()});
    }
    static void answerIpmi(bench::Exchange& exchange, const Words& words, std::size_t& at)
    {
        const std::string what = words[at].bare();
        if (what == "fails") return void(exchange.status = 1);
        const long n = number(words, ++at);
        if (what == "completes")
            exchange.reply[2] = static_cast<u8>(n);
        else if (what == "leaves")
            exchange.leftStatus = static_cast<s32>(n);
        else if (what == "text")
            putText(exchange, static_cast<std::size_t>(n), words.at(++at).value());
        else if (what == "at")
            exchange.put(static_cast<std::size_t>(n), bench::bytesOf(takeHex(words, at)));
        else
            throw std::runtime_error("an IPMI answer has no word " + what);
    }
    void text(const Words& words)
    {
        static const std::map<std::string, bench::Channel> channels = {{"command", bench::Channel::commandLine},
                                                                       {"value", bench::Channel::value},
                                                                       {"userset", bench::Channel::userSet}};
        bench::Exchange& exchange = bmc_.expect(channels.at(words[0].bare()), words.at(1).value());
        for (std::size_t at = 3; at < words.size(); ++at) {
            if (words[at].quoted)
                exchange.text = words[at].text;
            else if (words[at].bare() == "fails")
                exchange.status = static_cast<s32>(number(words, ++at, 1));
        }
    }
    void user(const Words& words) { bmc_.users[words.at(1).value()] = static_cast<u32>(number(words, 2)); }
    void token(const Words& words)
    {
        bmc_.loginToken = words.at(1).value();
        setting({words.begin() + 1, words.end()}, {&Settings::generateStatus, &Settings::getStatus});
    }
    using Settings = bench::Settings;
    /** A word whose numbers are the platform's. */
    void setting(const Words& words, const std::vector<s32 Settings::*>& members)
    {
        for (std::size_t i = 0; i < members.size(); ++i) bmc_.*members[i] = static_cast<s32>(number(words, i + 1));
    }
    void settings(const Words& words)
    {
        static const std::map<std::string, std::vector<s32 Settings::*>> all = {
            {"free-slot", {&Settings::freeSlot}},
            {"lock-timeouts", {&Settings::lockTimeouts}},
            {"os-log", {&Settings::osLogStatus}},
            {"signature", {&Settings::signatureStatus}},
            {"crypto", {&Settings::encryptStatus, &Settings::decryptStatus}},
            {"firmware", {&Settings::firmwareMajor, &Settings::firmwareMinor, &Settings::firmwareStatus}}};
        setting(words, all.at(words[0].bare()));
    }
    void path(const Words& words)
    {
        bmc_.paths[{static_cast<u32>(number(words, 1)), static_cast<u32>(number(words, 2))}] = words.at(3).value();
    }
    void ks(const Words& words) { bmc_.ksLogStatuses.push_back(static_cast<s32>(number(words, 1))); }
    void secret(const Words& words) { bmc_.mustBeWiped(words.at(1).value()); }

    /** The exchanges in which an older generation tells firmware version, IPv4 address and port. */
    void discover(const Words& words)
    {
        for (const Word& word : words) {
            if (word.bare() == "firmware") perform("ipmi C0 BF 01 => at 3 07 0A");
            if (word.bare() == "ipv4") {
                perform("ipmi C0 D6 01 00 01 00 00 00 => at 7 00 10");
                perform("ipmi C0 D6 01 00 10 00 00 00 => text 10 \"127.0.0.1#4433\"");
            }
            if (word.bare() == "port") {
                server();
                perform("ipmi 18 59 00 DE 00 00");
                perform(
                    "command \"vorsk get torvo.webserver.httpsport\" => "
                    "\"[Key=torvo.WebServer.1]\\nHttpsPort=$PORT\\n\"");
            }
        }
    }

    // --- Its HTTPS service.
    bench::TlsResponder& server(bool onIpv6 = false)
    {
        if (server_) return *server_;
        try {
            server_ = std::make_unique<bench::TlsResponder>(onIpv6);
        } catch (const std::exception& e) {
            if (onIpv6) throw Skip("no IPv6 on loopback here");
            throw;
        }
        variables_["PORT"] = server_->port();
        return *server_;
    }

    void https(const Words& words)
    {
        const Word& kind = words.at(1);
        if (kind.bare() == "closes") return server().answer({"", false});
        if (kind.bare() == "silent") return server().answer({"", true});
        if (kind.bare() == "raw") return server().answer({words.at(2).value(), false});
        if (kind.bare() == "stream" || kind.bare() == "broken-stream") {
            std::string bytes = kStreamHead;
            for (std::size_t i = 2; i < words.size(); ++i) bytes += chunked(words[i].value());
            return server().answer({bytes + (kind.bare() == "stream" ? "0\r\n\r\n" : ""), false});
        }
        server().answer(static_cast<int>(number(words, 1)), words.size() > 2 ? words[2].value() : "",
                        words.size() > 3 ? words[3].value() : "");
    }
    /** The session service's answer to a login. */
    void login(const Words& words)
    {
        const std::string token = words.size() > 1 ? words[1].value() : kOtherToken;
        const std::string id    = words.size() > 2 ? words[2].value() : "8";
        server().answer(201, "{}",
                        "X-Auth-Token: " + token + "\r\nLocation: /redfish/v1/SessionService/Sessions/" + id + "\r\n");
    }
    /** A form's boundary is random, and how long it is depends on libcurl's version. */
    static std::string withoutBoundary(const std::string& request)
    {
        static const std::regex named("boundary=(-*[0-9A-Za-z]+)"), length("Content-Length: [0-9]+");
        std::smatch             found;
        if (!std::regex_search(request, found, named)) return request;
        return std::regex_replace(std::regex_replace(request, std::regex(found[1].str()), "BOUNDARY"), length,
                                  "Content-Length: of the form");
    }
    void noteRequests()
    {
        if (!server_) return;
        const auto all = server_->requests();
        for (; requests_ < all.size(); ++requests_) {
            const std::string request = withoutBoundary(all[requests_]);
            const std::size_t head    = std::min(request.find("\r\n\r\n"), request.size());
            for (std::size_t at = 0; at < head;) {
                const std::size_t end = std::min(request.find("\r\n", at), head);
                bench::note("> " + request.substr(at, end - at) + "\n");
                at = end + 2;
            }
            bench::note("> " + inQuotes(request.substr(std::min(head + 4, request.size()))) + "\n");
        }
    }

    // --- The host.
    void ipv6(const Words& words) { world().ipv6Address = words.at(1).value(); }
    void system(const Words& words) { world().commands[words.at(1).value()] = static_cast<int>(number(words, 2)); }
    void child(const Words& words) { world().childStatus = static_cast<int>(number(words, 1)); }
    void clock(const Words& words) { world().now = number(words, 1); }
    void curl(const Words& words) { world().curlVersion = static_cast<unsigned>(number(words, 1)); }
    void environment(const Words& words)
    {
        const std::string name   = words.at(1).value();
        const char* const before = std::getenv(name.c_str());
        environment_.emplace(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
        ::setenv(name.c_str(), words.at(2).value().c_str(), 1);
        ::tzset();
    }
    void fail(const Words& words)
    {
        const bench::Place place = words[0].bare() == "fail" ? bench::Place::caller : bench::Place::worker;
        bench::failNamed(words.at(1).value(), static_cast<unsigned>(number(words, 2, 1)), place,
                         static_cast<int>(number(words, 3, 5)));
    }
    void directory(const Words& words)
    {
        if (directory_.empty()) {
            char name[] = "/tmp/golden-XXXXXX";
            if (::mkdtemp(name) == nullptr) throw std::runtime_error("no temporary directory");
            directory_        = name;
            variables_["DIR"] = name;
        }
        if (words.size() > 1) fs::create_directories(directory_ + "/" + words[1].value());
    }
    void file(const Words& words)
    {
        const fs::path path = fs::path(words.at(1).value());
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << words.at(2).value();
        if (words.size() > 3) ::chmod(path.c_str(), static_cast<mode_t>(number(words, 3)));
    }

    // --- Calls.
    /** Without the trace lines: how many there are depends on how the network cuts a long body. */
    void quiet(const Words&) { quiet_ = true; }
    void call(const Words& words)
    {
        ++outcome_.calls;
        const auto operation = operations().find(words.at(1).bare());
        if (operation == operations().end()) throw std::runtime_error("unknown operation: " + words[1].bare());
        Call call;
        call.words.assign(words.begin() + 2, words.end());
        call.handles      = &handles_;
        call.listener     = &listener_.context;
        call.deaf         = &listener_.deaf;
        const auto before = visibleState();
        try {
            operation->second(call);
        } catch (const std::bad_alloc&) {
            complain("an exception left " + words[1].bare());
        }
        if (words[1].bare().find("Unregister") != std::string::npos) {
            const bench::Inside inside(bench::Place::worker);
            noteRequests();
        }
        status_ = call.number;
        transcribe(bench::takeNotes(bench::Place::caller), "");
        if (bmc_.liveThreads() == 0) transcribe(bench::takeNotes(bench::Place::worker), "worker ");
        write("= " + call.status);
        for (const std::string& line : call.shown) write("= " + line);
        for (const auto& [name, value] : visibleState())
            if (value != before.at(name)) write("= " + name + " " + value);
    }
    void transcribe(const std::vector<std::string>& notes, const std::string& prefix)
    {
        for (const std::string& note : notes) {
            errorLogged_ = errorLogged_ || note.rfind("3 ", 0) == 0;
            if (!quiet_ || note.rfind("4 ", 0) != 0) write(prefix + note);
        }
    }
    void write(const std::string& line) { outcome_.text.push_back("| " + lineOf(line, variables_)); }

    /** A call, whose calls into the world fail one by one when the walk asks for it. */
    void walk(const Words& words)
    {
        Walked walked;
        walked.operation = words.at(1).bare();
        errorLogged_     = false;
        const auto files = filesBelow(directory_);
        if (failing_ != 0) bench::failNth(failing_, bench::Place::caller);
        call(words);
        walked.failed      = bench::failed();
        walked.status      = status_;
        walked.statuses    = statuses_;
        walked.mayBeSilent = silent_;
        walked.errorLogged = errorLogged_;
        for (const std::string& path : filesBelow(directory_))
            if (files.count(path) == 0) walked.filesLeft.insert(path);
        bench::noFailures();
        outcome_.walked = walked;
    }
    void statuses(const Words& words)
    {
        for (std::size_t i = 1; i < words.size(); ++i) statuses_.insert(number(words, i));
    }
    void silent(const Words& words)
    {
        for (std::size_t i = 1; i < words.size(); ++i) silent_.insert(words[i].value());
    }
    void await(const Words& words)
    {
        if (failing_ != 0 && status_ != 0) return;
        if (!listener_.await(static_cast<std::size_t>(number(words, 1)))) complain("an event did not come");
    }
    /** Waits until the HTTPS service has seen so many requests: only then a stream was looked at for certain. */
    void requested(const Words& words)
    {
        const auto count = static_cast<std::size_t>(number(words, 1));
        if (failing_ != 0 && status_ != 0) return;
        if (!eventually([&] { return server().requests().size() >= count; })) complain("a request did not come");
    }
    /** Waits for the n-th such line of the log: of what the other thread does there may be no other sign. */
    void logged(const Words& words)
    {
        const auto there = [&] {
            return bmc_.logged(words.at(1).value()) >= static_cast<std::size_t>(number(words, 2, 1));
        };
        if (failing_ != 0 && status_ != 0) return;
        if (!eventually(there)) complain("not logged: " + words[1].value());
    }
    template <class Condition>
    static bool eventually(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
        return condition();
    }
    void privately(const Words&)
    {
        if (const std::string& why = privateHost(); !why.empty()) throw Skip(why);
        for (const char* path : {"/tmp/.AutoUpdate", "/tmp/.signature", "/opt/zelmar", "/sys/class"})
            fs::remove_all(path);
    }
    /** An entry of /sys/class/net. */
    void link(const Words& words)
    {
        fs::create_directories("/sys/class/net");
        fs::create_symlink(words.at(2).value(), "/sys/class/net/" + words.at(1).value());
    }
    void show(const Words& words)
    {
        std::ifstream     in(words.at(1).value(), std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(in), {}};
        write("= file " + words[1].value() + " " + (in.is_open() ? inQuotes(content) : "is not there"));
    }

    const Case&                                       case_;
    const unsigned                                    failing_;
    bench::Platform&                                  bmc_ = bench::Platform::instance();
    Outcome                                           outcome_;
    Variables                                         variables_;
    std::unique_ptr<bench::TlsResponder>              server_;
    std::size_t                                       requests_ = 0;
    std::map<std::string, void*>                      handles_;
    Listener                                          listener_;
    std::string                                       directory_;
    std::map<std::string, std::optional<std::string>> environment_;
    std::size_t                                       descriptors_ = 0;
    std::string                                       held_;
    long                                              status_      = 0;
    bool                                              errorLogged_ = false;
    bool                                              quiet_       = false;
    std::set<long>                                    statuses_;
    std::set<std::string>                             silent_;
};

}  // namespace

Outcome runCase(const Case& one, unsigned failing)
{
    return Run(one, failing).run();
}

File readFile(const std::string& path)
{
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    File file;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("| ", 0) == 0 || line == "|") continue;
        if (line.rfind("== ", 0) == 0)
            file.cases.push_back({line.substr(3), file.prelude, {}});
        else
            (file.cases.empty() ? file.prelude : file.cases.back().lines).push_back(line);
    }
    return file;
}

}  // namespace golden
