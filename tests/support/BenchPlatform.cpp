/** @file BenchPlatform.cpp  Script, records and put-in failures behind the platform's symbols. */
#include "BenchPlatform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>

#include "LibraryCalls.h"

namespace bench {
namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

std::vector<std::string> words(const std::string& text)
{
    std::istringstream       in(text);
    std::vector<std::string> all;
    for (std::string word; in >> word;) all.push_back(word);
    return all;
}

std::vector<u8> bytesOf(const std::string& hex)
{
    std::vector<u8> bytes;
    for (const std::string& word : words(hex)) bytes.push_back(static_cast<u8>(std::stoul(word, nullptr, 16)));
    return bytes;
}

/** Word by word; "**" is any word. Texts without it must be equal to the letter. */
bool matches(const std::string& awaited, const std::string& actual)
{
    if (awaited.find("**") == awaited.npos) return awaited == actual;
    const auto a = words(awaited), b = words(actual);
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const std::string& x, const std::string& y) { return x == "**" || x == y; });
}

const char* nameOf(Channel channel)
{
    switch (channel) {
        case Channel::ipmi: return "raw IPMI";
        case Channel::commandLine: return "command line";
        case Channel::value: return "value of command";
        case Channel::userSet: return "user database set";
    }
    return "";
}

/** What a raw request carries besides its bytes, and what lies behind them in the record. */
std::string aboutIpmi(const EsmIPMICmdIoctlReq& request, bool sameRecord)
{
    const IPMIReqRspEx& in     = request.Parameters.IRREx;
    std::size_t         length = QVHIPM_BUFFER_SIZE;
    while (length > 0 && in.ReqRspBuffer[length - 1] == 0) --length;
    std::string text = "  type " + std::to_string(request.ReqType) + ", to " + std::to_string(in.RsSA) + "/" +
                       std::to_string(in.ChannelNum) + ", status " + std::to_string(request.Status) + ", reply " +
                       std::to_string(in.RspPhaseBufLen);
    if (!sameRecord) text += ", answered elsewhere";
    if (length > in.ReqPhaseBufLen)
        text += ", behind it " + hexOf(in.ReqRspBuffer + in.ReqPhaseBufLen, length - in.ReqPhaseBufLen);
    return text;
}

}  // namespace

std::string hexOf(const u8* bytes, std::size_t count)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string           text;
    for (std::size_t i = 0; i < count; ++i) {
        if (i) text += ' ';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

Exchange& Exchange::preset(s32 status)
{
    return preset_ = status, *this;
}
Exchange& Exchange::replyLength(u32 bytes)
{
    return replyLength_ = bytes, *this;
}
Exchange& Exchange::leavesStatus(s32 status)
{
    return leftStatus_ = status, *this;
}
Exchange& Exchange::completes(u8 code)
{
    return reply_[2] = code, *this;
}
Exchange& Exchange::answersAt(std::size_t at, const std::string& hex)
{
    return put(at, bytesOf(hex)), *this;
}
Exchange& Exchange::answersText(const std::string& text, std::size_t at)
{
    return put(at, std::vector<u8>(text.begin(), text.end())), *this;
}
Exchange& Exchange::answersBe16(std::size_t at, u32 number)
{
    return put(at, {static_cast<u8>(number >> 8), static_cast<u8>(number)}), *this;
}
Exchange& Exchange::answersLe16(std::size_t at, u32 number)
{
    return put(at, {static_cast<u8>(number), static_cast<u8>(number >> 8)}), *this;
}
Exchange& Exchange::replies(std::string text)
{
    return text_ = std::move(text), *this;
}
Exchange& Exchange::repliesNothing()
{
    return text_.reset(), *this;
}
Exchange& Exchange::fails(s32 status)
{
    return status_ = status, *this;
}

void Exchange::put(std::size_t at, const std::vector<u8>& bytes)
{
    reply_.resize(std::max(reply_.size(), at + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), reply_.begin() + static_cast<std::ptrdiff_t>(at));
}

struct Platform::State {
    std::deque<Exchange>     script;
    std::size_t              done = 0;
    std::vector<std::string> complaints;
    std::vector<std::string> calls;
    std::vector<IpmiRequest> ipmiRequests;
    std::vector<u32>         allocations;
    std::vector<LogLine>     log;
    std::vector<OsLogEntry>  osLog;
    std::vector<KsLogEntry>  ksLog;
    std::vector<std::string> signatureCheck;
    std::map<void*, u32>     blocks;  // with their sizes
    std::vector<std::string> secrets;
    u32                      failAllocation = 0;  // counts down; 0: none
    u32                      failCall       = 0;
    std::string              failedCall;
    int                      mutexes = 0;
    int                      threads = 0;
    int                      locked  = 0;
};

Platform::Platform() : state_(std::make_unique<State>()) {}
Platform::~Platform() = default;

Platform& Platform::instance()
{
    static Platform* const platform = new Platform;  // outlives every thread and static object that prints or frees
    return *platform;
}

void Platform::restart()
{
    Guard     lock(guard_);
    const int mutexes = state_->mutexes;  // a library's mutex may live across tests
    const int threads = state_->threads;
    state_            = std::make_unique<State>();
    state_->mutexes   = mutexes;
    state_->threads   = threads;
    users             = {};
    token             = {};
    crypto            = {};
    firmware          = {};
    paths.clear();
    ksLogStatuses.clear();
    signatureStatus = osLogStatus = 0;
    lockTimeouts                  = 0;
}

Exchange& Platform::await(Channel channel, const std::string& request)
{
    Guard lock(guard_);
    return state_->script.emplace_back(channel, request);
}

/** The answer to what was just asked. Nothing when it was not awaited, which fails the test unless a failure was put
 * in. */
Exchange* Platform::next(Channel channel, const std::string& request)
{
    State&     s       = *state_;
    const bool binding = s.failedCall.empty() && bench::failed().empty();
    if (s.done < s.script.size()) {
        Exchange& awaited = s.script[s.done];
        if (awaited.channel_ == channel && matches(awaited.request_, request)) {
            ++s.done;
            return &awaited;
        }
        if (binding)
            complain("unexpected " + std::string(nameOf(channel)) + ": " + request + ", awaited " +
                     nameOf(awaited.channel_) + ": " + awaited.request_);
    } else if (binding) {
        complain("unexpected " + std::string(nameOf(channel)) + ": " + request + ", awaited nothing more");
    }
    return nullptr;
}

void Platform::failAllocation(u32 nth)
{
    Guard lock(guard_);
    state_->failAllocation = nth;
}

void Platform::failCall(u32 nth)
{
    Guard lock(guard_);
    state_->failCall = nth;
    state_->failedCall.clear();
}

std::string Platform::failedCall() const
{
    return Guard(guard_), state_->failedCall;
}

bool Platform::failsNow(const char* symbol)
{
    if (fails(symbol)) return true;
    Guard lock(guard_);
    if (state_->failCall == 0 || --state_->failCall != 0) return false;
    state_->failedCall = symbol;
    return true;
}

std::vector<std::string> Platform::calls() const
{
    return Guard(guard_), state_->calls;
}
std::vector<std::string> Platform::callsOf(const std::string& symbol) const
{
    std::vector<std::string> all = calls();
    all.erase(std::remove_if(all.begin(), all.end(),
                             [&](const std::string& call) { return call.substr(0, call.find(' ')) != symbol; }),
              all.end());
    return all;
}
std::vector<IpmiRequest> Platform::ipmiRequests() const
{
    return Guard(guard_), state_->ipmiRequests;
}
std::vector<u32> Platform::allocations() const
{
    return Guard(guard_), state_->allocations;
}
std::vector<LogLine> Platform::log() const
{
    return Guard(guard_), state_->log;
}
std::vector<OsLogEntry> Platform::osLog() const
{
    return Guard(guard_), state_->osLog;
}
std::vector<KsLogEntry> Platform::ksLog() const
{
    return Guard(guard_), state_->ksLog;
}
std::vector<std::string> Platform::signatureCheck() const
{
    return Guard(guard_), state_->signatureCheck;
}
std::size_t Platform::liveBlocks() const
{
    return Guard(guard_), state_->blocks.size();
}
std::size_t Platform::liveMutexes() const
{
    return Guard(guard_), static_cast<std::size_t>(state_->mutexes);
}
std::size_t Platform::liveThreads() const
{
    return Guard(guard_), static_cast<std::size_t>(state_->threads);
}

std::size_t Platform::heldMutexes() const
{
    return Guard(guard_), static_cast<std::size_t>(state_->locked);
}

bool Platform::logged(Level level, const std::string& line) const
{
    Guard lock(guard_);
    return std::any_of(state_->log.begin(), state_->log.end(),
                       [&](const LogLine& l) { return l.level == level && l.text == line; });
}

std::string Platform::missing() const
{
    Guard       lock(guard_);
    std::string text;
    for (std::size_t i = state_->done; i < state_->script.size(); ++i)
        text += std::string("  ") + nameOf(state_->script[i].channel_) + ": " + state_->script[i].request_ + "\n";
    return text;
}

void Platform::record(const std::string& call)
{
    note(call);
    Guard lock(guard_);
    state_->calls.push_back(call);
}

void Platform::complain(const std::string& what)
{
    state_->complaints.push_back(what);
}

std::vector<std::string> Platform::takeComplaints()
{
    return Guard(guard_), std::exchange(state_->complaints, {});
}

void* Platform::allocate(u32 size, bool scripted)
{
    if (scripted && failsNow("SMAllocMem")) return nullptr;
    Guard lock(guard_);
    if (scripted) {
        state_->allocations.push_back(size);
        if (state_->failAllocation != 0 && --state_->failAllocation == 0) return nullptr;
    }
    void* block = std::malloc(size);
    if (!block) return nullptr;
    std::memset(block, 0xA5, size);  // not zeroed, and whoever relies on it shall see
    state_->blocks.emplace(block, size);
    return block;
}

astring* Platform::newText(const std::string& text)
{
    auto* copy = static_cast<astring*>(allocate(static_cast<u32>(text.size() + 1), false));
    if (copy) std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void Platform::release(void* memory)
{
    {
        Guard lock(guard_);
        // Memory of malloc and strdup was never in.
        if (const auto block = state_->blocks.find(memory); block != state_->blocks.end()) {
            const std::string_view bytes(static_cast<const char*>(memory), block->second);
            for (const std::string& secret : state_->secrets)
                if (bytes.find(secret) != bytes.npos) complain("a block was given back with \"" + secret + "\" in it");
            state_->blocks.erase(block);
        }
    }
    std::free(memory);
}

void Platform::mustBeWiped(std::string secret)
{
    Guard lock(guard_);
    state_->secrets.push_back(std::move(secret));
}

void Platform::print(Level level, std::string text)
{
    note((level == Level::error ? "3 " : "4 ") + text);
    Guard lock(guard_);
    state_->log.push_back({level, std::move(text)});
}

booln Platform::ipmi(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    const IPMIReqRspEx& in     = request->Parameters.IRREx;
    const std::size_t   length = std::min<std::size_t>(in.ReqPhaseBufLen, QVHIPM_BUFFER_SIZE);
    const std::string   hex    = hexOf(in.ReqRspBuffer, length);
    record("QVHIPMCommand " + hex);
    note(aboutIpmi(*request, request == response));
    const bool failing = failsNow("QVHIPMCommand");

    Guard lock(guard_);
    state_->ipmiRequests.push_back({request->Status,
                                    request->ReqType,
                                    in.RsSA,
                                    in.ChannelNum,
                                    in.ReqPhaseBufLen,
                                    in.RspPhaseBufLen,
                                    {in.ReqRspBuffer, in.ReqRspBuffer + QVHIPM_BUFFER_SIZE},
                                    request == response});
    if (failing) return 0;
    Exchange* answer = next(Channel::ipmi, hex);
    if (!answer) return 0;
    if (answer->preset_.value_or(request->Status) != request->Status) complain("Status of " + hex);
    if (answer->replyLength_.value_or(in.RspPhaseBufLen) != in.RspPhaseBufLen) complain("reply length of " + hex);
    // Like any platform: lengths that do not fit are refused, and a reply is cut to what was asked for.
    if (in.ReqPhaseBufLen > QVHIPM_BUFFER_SIZE || in.RspPhaseBufLen > QVHIPM_BUFFER_SIZE) return 0;
    if (answer->status_ != 0) return 0;

    std::vector<u8> reply = answer->reply_;
    reply[0]              = static_cast<u8>(in.ReqRspBuffer[0] | 0x04);
    reply[1]              = in.ReqRspBuffer[1];
    reply.resize(std::min<std::size_t>(reply.size(), in.RspPhaseBufLen));
    if (response != request) *response = *request;
    std::copy(reply.begin(), reply.end(), response->Parameters.IRREx.ReqRspBuffer);
    if (answer->leftStatus_) response->Status = *answer->leftStatus_;
    return 1;
}

s32 Platform::text(Channel channel, const char* symbol, const astring* command, std::optional<std::string>& reply)
{
    record(std::string(symbol) + " " + command);
    if (failsNow(symbol)) return 1;
    Guard     lock(guard_);
    Exchange* answer = next(channel, command);
    // After a failure was put in, the user database takes what undoes things; nothing else answers.
    const bool failure = !state_->failedCall.empty() || !bench::failed().empty();
    if (!answer) return failure && channel == Channel::userSet ? 0 : 1;
    reply = answer->text_;
    return answer->status_;
}

bool Platform::takesTimeout()
{
    Guard lock(guard_);
    if (lockTimeouts == 0) return false;
    --lockTimeouts;
    return true;
}

s32 Platform::nextKsLogStatus()
{
    Guard lock(guard_);
    if (ksLogStatuses.empty()) return 0;
    const s32 status = ksLogStatuses.front();
    ksLogStatuses.pop_front();
    return status;
}

void Platform::keep(OsLogEntry entry)
{
    Guard lock(guard_);
    state_->osLog.push_back(std::move(entry));
}

void Platform::keep(KsLogEntry entry)
{
    Guard lock(guard_);
    state_->ksLog.push_back(std::move(entry));
}

void Platform::keepSignatureCheck(std::vector<std::string> texts)
{
    Guard lock(guard_);
    state_->signatureCheck = std::move(texts);
}

void Platform::countHeld(int change)
{
    Guard lock(guard_);
    state_->locked += change;
}

void Platform::countMutex(int change)
{
    Guard lock(guard_);
    state_->mutexes += change;
}

void Platform::countThread(int change)
{
    Guard lock(guard_);
    state_->threads += change;
}

}  // namespace bench
