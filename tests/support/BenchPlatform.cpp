/** @file BenchPlatform.cpp  Script, complaints and memory behind the platform's symbols. */
#include "BenchPlatform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace rig {
namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

/** Word by word; "**" is any word. Texts without it must be equal to the letter. */
bool matches(const std::string& awaited, const std::string& actual)
{
    if (awaited.find("**") == awaited.npos) return awaited == actual;
    using Word = std::istream_iterator<std::string>;
    std::istringstream a(awaited), b(actual);
    return std::equal(Word(a), Word(), Word(b), Word(),
                      [](const std::string& x, const std::string& y) { return x == "**" || x == y; });
}

std::string inWords(Channel channel, const std::string& request)
{
    constexpr const char* names[] = {"raw IPMI: ", "command line: ", "value of command: ", "user database set: "};
    return names[static_cast<int>(channel)] + request;
}

/** Whether nothing lies behind the request but what the last reply left there. */
bool endsLike(const IPMIReqRspEx& in, std::size_t length, const std::vector<u8>& last)
{
    for (std::size_t i = in.ReqPhaseBufLen; i < length; ++i)
        if (in.ReqRspBuffer[i] != 0 && (i >= last.size() || in.ReqRspBuffer[i] != last[i])) return false;
    return true;
}

/** What a raw request carries besides its bytes, and what lies behind them in the record. */
std::string aboutIpmi(const EsmIPMICmdIoctlReq& request, bool sameRecord, const std::vector<u8>& last)
{
    const IPMIReqRspEx& in     = request.Parameters.IRREx;
    std::size_t         length = QVHIPM_BUFFER_SIZE;
    while (length > 0 && in.ReqRspBuffer[length - 1] == 0) --length;
    std::string text = " (status " + std::to_string(request.Status) + ", reply " + std::to_string(in.RspPhaseBufLen);
    if (request.ReqType != 11 || in.RsSA != 32 || in.ChannelNum != 0)
        text += ", type " + std::to_string(request.ReqType) + ", to " + std::to_string(in.RsSA) + "/" +
                std::to_string(in.ChannelNum);
    if (!sameRecord) text += ", answered elsewhere";
    if (length > in.ReqPhaseBufLen)
        text += endsLike(in, length, last)
                    ? ", behind it what came last"
                    : ", behind it " + hexOf(in.ReqRspBuffer + in.ReqPhaseBufLen, length - in.ReqPhaseBufLen);
    return text + ")";
}

}  // namespace

std::string hexOf(const u8* bytes, std::size_t count)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string           text;
    for (std::size_t i = 0; i < count; ++i) text += {' ', digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    return text.substr(count != 0 ? 1 : 0);
}

void Exchange::put(std::size_t at, const std::vector<u8>& bytes)
{
    reply.resize(std::max(reply.size(), at + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), reply.begin() + static_cast<std::ptrdiff_t>(at));
}

Platform& Platform::instance()
{
    static Platform* const platform = new Platform;  // outlives every thread and static object that prints or frees
    return *platform;
}

void Platform::restart()
{
    Guard lock(guard_);
    static_cast<Settings&>(*this) = {};
    script_.clear();
    blocks_.clear();
    for (auto* lines : {&complaints_, &log_, &secrets_}) lines->clear();
    done_ = 0;
    lastReply_.clear();
    locked = 0;
}

Exchange& Platform::expect(Channel channel, const std::string& request)
{
    return script_.emplace_back(Exchange{channel, request});
}

/** The answer to what was just asked; nothing, and a complaint unless a failure was put in, when nobody awaits it. */
Exchange* Platform::next(Channel channel, const std::string& request)
{
    Exchange* const awaited = done_ < script_.size() ? &script_[done_] : nullptr;
    if (awaited != nullptr && awaited->channel == channel && matches(awaited->request, request)) {
        ++done_;
        return awaited;
    }
    if (failed().empty())
        complain("unexpected " + inWords(channel, request) + ", awaited " +
                 (awaited == nullptr ? "nothing more" : inWords(awaited->channel, awaited->request)));
    return nullptr;
}

std::size_t Platform::logged(const std::string& part) const
{
    Guard lock(guard_);
    return static_cast<std::size_t>(
        std::count_if(log_.begin(), log_.end(), [&](const std::string& line) { return line.find(part) != line.npos; }));
}

std::vector<std::string> Platform::complaints(bool scriptBinds) const
{
    Guard                    lock(guard_);
    std::vector<std::string> all = complaints_;
    for (std::size_t i = done_; scriptBinds && i < script_.size(); ++i)
        all.push_back("did not take place: " + inWords(script_[i].channel, script_[i].request));
    if (!blocks_.empty()) all.push_back(std::to_string(blocks_.size()) + " blocks were not given back");
    if (threads != 0) all.push_back("threads still run");
    if (locked != 0) all.push_back("a mutex is still locked");
    return all;
}

void Platform::complain(const std::string& what)
{
    Guard lock(guard_);
    complaints_.push_back(what);
}

void* Platform::allocate(u32 size)
{
    Guard lock(guard_);
    void* block = std::malloc(size);
    if (!block) return nullptr;
    std::memset(block, 0xA5, size);  // not zeroed, and whoever relies on it shall see
    blocks_.emplace(block, size);
    acquired(block, "SMAllocMem");
    return block;
}

astring* Platform::newText(const std::string& text)
{
    auto* copy = static_cast<astring*>(allocate(static_cast<u32>(text.size() + 1)));
    if (copy) std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void Platform::release(void* memory)
{
    {
        Guard lock(guard_);
        // Memory of malloc and strdup was never in.
        if (const auto block = blocks_.find(memory); block != blocks_.end()) {
            const std::string_view bytes(static_cast<const char*>(memory), block->second);
            for (const std::string& secret : secrets_)
                if (bytes.find(secret) != bytes.npos) complain("a block was given back with \"" + secret + "\" in it");
            blocks_.erase(block);
        }
    }
    released(memory);
    std::free(memory);
}

void Platform::print(const std::string& line)
{
    note(line);
    Guard lock(guard_);
    log_.push_back(line);
}

booln Platform::ipmi(EsmIPMICmdIoctlReq* request, EsmIPMICmdIoctlReq* response)
{
    const IPMIReqRspEx& in  = request->Parameters.IRREx;
    const std::string   hex = hexOf(in.ReqRspBuffer, std::min<std::size_t>(in.ReqPhaseBufLen, QVHIPM_BUFFER_SIZE));
    note("QVHIPMCommand " + hex + aboutIpmi(*request, request == response, lastReply_));
    if (fails("QVHIPMCommand")) return 0;

    Guard           lock(guard_);
    Exchange* const answer = next(Channel::ipmi, hex);
    if (!answer || answer->status != 0) return 0;
    // Like any platform: lengths that do not fit are refused, and a reply is cut to what was asked for.
    if (in.ReqPhaseBufLen > QVHIPM_BUFFER_SIZE || in.RspPhaseBufLen > QVHIPM_BUFFER_SIZE) return 0;

    std::vector<u8> reply = answer->reply;
    reply[0]              = static_cast<u8>(in.ReqRspBuffer[0] | 0x04);
    reply[1]              = in.ReqRspBuffer[1];
    reply.resize(std::min<std::size_t>(reply.size(), in.RspPhaseBufLen));
    if (response != request) *response = *request;
    lastReply_ = reply;
    std::copy(reply.begin(), reply.end(), response->Parameters.IRREx.ReqRspBuffer);
    if (answer->leftStatus) response->Status = *answer->leftStatus;
    return 1;
}

s32 Platform::text(Channel channel, const char* symbol, const astring* command, std::optional<std::string>& reply)
{
    if (rig::statusOf(symbol, command) != 0) return 1;
    Guard           lock(guard_);
    Exchange* const answer = next(channel, command);
    // After a failure was put in, the user database takes what undoes things; nothing else answers.
    if (!answer) return !failed().empty() && channel == Channel::userSet ? 0 : 1;
    reply = answer->text;
    return answer->status;
}

s32 Platform::statusOf(const std::string& symbol)
{
    Guard lock(guard_);
    auto& next = nextStatuses[symbol];
    if (next.empty()) return statuses[symbol];
    const s32 status = next.front();
    next.pop_front();
    return status;
}

}  // namespace rig
