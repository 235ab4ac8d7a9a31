/** @file Scenario.cpp  Takes scenario files apart and runs a case: its calls, what they did, what they left. */
#include "Scenario.h"

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Leftovers.h"
#include "LibraryCalls.h"
#include "LibraryState.h"
#include "Operations.h"
#include "Stage.h"
#include "smsupport.h"

namespace golden {
namespace {

template <class Condition>
bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    return condition();
}

/** A subscriber that counts what it is told and writes it down. */
class Listener {
public:
    QVRFUTILHttpCallbackContext context{
        this, [](SSEEventData* event) { static_cast<Listener*>(event->pCallerContext)->take(event); }};
    QVRFUTILHttpCallbackContext deaf{this, nullptr};

    std::size_t events() const { return events_; }

private:
    void take(SSEEventData* event)
    {
        const rig::Paused paused;
        rig::note("event " + std::to_string(event->StatusCode) + ", " + std::to_string(event->EventPayloadSize) + "/" +
                  std::to_string(event->ReceivedEventAvailableSize) + " bytes " +
                  (event->pEvent == nullptr ? "none" : inQuotes(event->pEvent)));
        SMFreeMem(event->pEvent);
        SMFreeMem(event);
        ++events_;
    }

    std::atomic<std::size_t> events_{0};
};

class Run {
public:
    Run(const Case& one, unsigned failing, bool plain) : case_(one), failing_(failing), withoutTls_(plain) {}
    Run(Run&&) = delete;

    Outcome run()
    {
        const Leftovers leftovers;
        {
            Stage stage(withoutTls_);
            stage_ = &stage;
            perform();
            unregister();
            const bool free = outcome_.walked && !outcome_.walked->failed.empty();  // after a failure much is not asked
            expected_       = !free && outcome_.skipped.empty();
        }
        for (const std::string& what : rig::platform().complaints(expected_)) complain(what);
        for (const std::string& what : leftovers.found()) complain(what);
        return std::move(outcome_);
    }

private:
    void perform()
    try {
        for (const std::string& line : case_.prelude) perform(line);
        for (const std::string& line : case_.lines) perform(line);
    } catch (const Skip& skip) {
        outcome_.skipped = skip.what();
    } catch (const std::exception& e) {
        complain(std::string(e.what()));
    }

    void perform(const std::string& line)
    {
        const Words words = line.rfind('#', 0) == 0 ? Words{} : wordsOf(line, stage_->variables());
        for (const Word& word : words) addValues(outcome_.values, plain(word.value()));
        if (words.empty() || stage_->take(words)) return;
        const auto found = doings().find(words[0].bare());
        if (found == doings().end()) throw std::runtime_error("unknown word: " + line);
        (this->*found->second)(words);
    }

    void unregister()
    {
        rig::noFailures();
        for (auto& [name, handle] : handles_)
            if (handle != nullptr) QVRFUTILUnregisterSSE(&handle), complain("a subscription was left: " + name);
    }

    void complain(const std::string& what) { outcome_.complaints.push_back(case_.title + ": " + what); }

    using Doing = void (Run::*)(const Words&);
    static const std::map<std::string, Doing>& doings()
    {
        static const std::map<std::string, Doing> all = {
            {"call", &Run::call},     {"walk", &Run::walk},     {"statuses", &Run::statuses},
            {"silent", &Run::silent}, {"fail", &Run::fail},     {"fail-worker", &Run::fail},
            {"await", &Run::await},   {"logged", &Run::logged}, {"requested", &Run::requested},
            {"show", &Run::show},     {"output", &Run::output}, {"releases", &Run::releases}};
        return all;
    }

    void call(const Words& words)
    {
        const std::string& name   = wordAt(words, 1).bare();
        Call               call   = callOf(words);
        const auto         before = visibleState();
        const auto         files  = stage_->files();
        const mode_t       mask   = ::umask(0);  // the modes shall be the library's own
        rig::takeReleases();
        try {
            operation(name)(call);
        } catch (const std::bad_alloc&) {
            complain("an exception left " + name);
        }
        ::umask(mask);
        if (name.find("Unregister") != name.npos) noteStream();
        status_ = call.number;
        outcome_.said.push_back({name, plain(call.status), {}, {}});
        for (const std::string& line : call.shown) outcome_.said.back().result += " " + plain(line);
        transcribe(rig::takeNotes(rig::Place::caller), "");
        if (stage_->bmc().threads == 0) transcribe(rig::takeNotes(rig::Place::worker), "worker ");
        for (const auto& [variable, value] : visibleState())
            if (value != before.at(variable)) changed(variable + " " + value);
        changedFiles(files, stage_->files());
    }
    Call callOf(const Words& words)
    {
        Call call;
        call.words.assign(words.begin() + 2, words.end());
        call.handles  = &handles_;
        call.listener = &listener_.context;
        call.deaf     = &listener_.deaf;
        return call;
    }
    static const Operation& operation(const std::string& name)
    {
        const auto found = operations().find(name);
        if (found == operations().end()) throw std::runtime_error("unknown operation: " + name);
        return found->second;
    }
    /** What a subscription's thread asked for. */
    void noteStream()
    {
        const rig::Inside inside(rig::Place::worker);
        stage_->noteRequests();
    }
    void transcribe(const std::vector<std::string>& notes, const std::string& prefix)
    {
        std::string before;
        for (const std::string& note : notes) {
            // How often a loop waits for the kernel is the kernel's affair.
            if (std::exchange(before, note) == note && note.rfind("nanosleep ", 0) == 0) continue;
            outcome_.said.back().notes.push_back(prefix + withoutStatus(plain(note)));
        }
    }
    /** What an operation says it returns is what it returns. */
    std::string withoutStatus(const std::string& note) const
    {
        for (const char* says : {"eturning with status = ", "Exit with status: "}) {
            const std::size_t at = note.find(says), value = at + std::strlen(says);
            if (at == note.npos || std::atol(note.c_str() + value) != status_) continue;
            return note.substr(0, value) + "=" +
                   note.substr(std::min(note.find_first_not_of("-0123456789", value), note.size()));
        }
        return note;
    }
    std::string plain(const std::string& text) const { return lineOf(text, stage_->variables()); }
    void        changed(const std::string& what) { outcome_.said.back().changes.push_back(plain(what)); }
    void changedFiles(const std::map<std::string, std::string>& before, const std::map<std::string, std::string>& after)
    {
        newFiles_ = 0;
        for (const auto& [path, mode] : after) {
            const auto old = before.find(path);
            if (old == before.end()) ++newFiles_, changed("new " + mode + " " + path);
            if (old != before.end() && old->second != mode) changed("now " + mode + " " + path);
        }
        for (const auto& [path, mode] : before)
            if (after.count(path) == 0) changed("no more " + path);
    }

    /** A call, whose calls into the world fail one by one when the walk asks for it. */
    void walk(const Words& words)
    {
        if (failing_ != 0) rig::failNth(failing_, rig::Place::caller);
        call(words);
        outcome_.walked = {wordAt(words, 1).bare(), status_, statuses_, silent_, newFiles_, rig::failed()};
        rig::noFailures();
    }
    /** What "silent" adds belongs to them. */
    void statuses(const Words& words)
    {
        statuses_.clear(), silent_.clear();
        for (std::size_t i = 1; i < words.size(); ++i) statuses_.insert(numberAt(words, i));
    }
    void silent(const Words& words)
    {
        for (std::size_t i = 1; i < words.size(); ++i) silent_.insert(words[i].value());
    }
    void fail(const Words& words)
    {
        const rig::Place place = words[0].bare() == "fail" ? rig::Place::caller : rig::Place::worker;
        rig::failNamed(wordAt(words, 1).value(), static_cast<unsigned>(numberAt(words, 2, 1)), place,
                       static_cast<int>(numberAt(words, 3, 5)));
    }

    // --- What other threads do has come when this is so; after a failure it may never come.
    template <class Condition>
    void wait(const std::string& otherwise, Condition condition)
    {
        if (failing_ != 0 && status_ != 0) return;
        if (!eventually(condition)) complain(otherwise);
    }
    void await(const Words& words)
    {
        wait("an event did not come",
             [&] { return listener_.events() >= static_cast<std::size_t>(numberAt(words, 1)); });
    }
    /** Waits until the HTTPS service has seen so many requests: only then a stream was looked at for certain. */
    void requested(const Words& words)
    {
        const auto count = static_cast<std::size_t>(numberAt(words, 1));
        wait("a request did not come", [&] { return stage_->server().requests().size() >= count; });
    }
    /** Waits for the n-th such line of the log: of what the other thread does there may be no other sign. */
    void logged(const Words& words)
    {
        const std::string& line  = wordAt(words, 1).value();
        const auto         count = static_cast<std::size_t>(numberAt(words, 2, 1));
        wait("not logged: " + line, [&] { return stage_->bmc().logged(line) >= count; });
    }

    /** What a command of the host prints. */
    void output(const Words& words)
    {
        FILE* const pipe = ::popen(wordAt(words, 1).value().c_str(), "r");
        std::string all;
        for (int c; pipe != nullptr && (c = std::fgetc(pipe)) != EOF;) all += static_cast<char>(c);
        if (pipe != nullptr) ::pclose(pipe);
        outcome_.said.push_back({"", plain(inQuotes(all)), {}, {}});
    }
    /** What the last call gave back, in order. */
    void releases(const Words&) { outcome_.said.push_back({"", rig::takeReleases(), {}, {}}); }
    void show(const Words& words)
    {
        const std::string& path = wordAt(words, 1).value();
        std::ifstream      in(path, std::ios::binary);
        const std::string  content{std::istreambuf_iterator<char>(in), {}};
        outcome_.said.push_back({"", plain(in.is_open() ? inQuotes(content) : "is not there"), {}, {}});
    }
    const Case&                  case_;
    const unsigned               failing_;
    const bool                   withoutTls_;
    Stage*                       stage_ = nullptr;
    Outcome                      outcome_;
    std::map<std::string, void*> handles_;
    Listener                     listener_;
    long                         status_   = 0;
    std::size_t                  newFiles_ = 0;
    bool                         expected_ = true;
    std::set<long>               statuses_;
    std::set<std::string>        silent_;
};

}  // namespace

Outcome runCase(const Case& one, unsigned failing, bool plain)
{
    return Run(one, failing, plain).run();
}

}  // namespace golden
