/** @file texttransaction.cpp  Writing, running and reading a text transaction. */
#include "texttransaction.h"

#include <sys/random.h>

#include <atomic>
#include <thread>

#include "hipmstatus.h"

namespace qvplatform {
namespace {

constexpr std::uint8_t kRequest = vmwire::kOemNetFn << 2;

/** Where data begins in a reply: behind netFn, command and completion code. */
constexpr std::size_t kData = 3;

std::uint8_t octet(u32 value, int index)
{
    return static_cast<std::uint8_t>(value >> (8 * index));
}

u32 le32(const std::uint8_t* at)
{
    return at[0] | u32{at[1]} << 8 | u32{at[2]} << 16 | u32{at[3]} << 24;
}

u32 le16(const std::uint8_t* at)
{
    return at[0] | u32{at[1]} << 8;
}

/** One transaction: every request of it begins with the same id. */
class Transaction {
public:
    Transaction(const Exchange& exchange, u32 id, Clock::duration limit)
        : exchange_(exchange), id_(id), end_(Clock::now() + limit)
    {
    }

    TextReply run(vmwire::Verb verb, std::string_view text)
    {
        TextReply   reply;
        std::size_t length = 0;
        if (write(text) && start(verb, text.size(), reply.status, length)) read(length, reply.text);
        reply.result = result_;
        return reply;
    }

private:
    bool write(std::string_view text)
    {
        for (std::size_t offset = 0; offset < text.size(); offset += vmwire::kMaxChunk) {
            Bytes request = begin(vmwire::kOemWrite);
            addOffset(request, offset);
            append(request, text.substr(offset, vmwire::kMaxChunk));
            if (!send(request, 0)) return false;
        }
        return true;
    }

    bool start(vmwire::Verb verb, std::size_t size, s32& status, std::size_t& replyLength)
    {
        Bytes request = begin(vmwire::kOemRun);
        request.push_back(static_cast<std::uint8_t>(verb));
        addOffset(request, size);
        const auto reply = send(request, 6);
        if (!reply) return false;
        status      = static_cast<s32>(le32(reply->data() + kData));
        replyLength = le16(reply->data() + kData + 4);
        if (replyLength > vmwire::kMaxText) result_ = kRefused;
        return result_ == kDone;
    }

    bool read(std::size_t length, Bytes& text)
    {
        text.reserve(length);
        while (text.size() < length) {
            Bytes request = begin(vmwire::kOemRead);
            addOffset(request, text.size());
            const std::size_t wanted = std::min(length - text.size(), vmwire::kMaxChunk);
            request.push_back(static_cast<std::uint8_t>(wanted));
            const auto reply = send(request, 1);  // a piece of nothing would keep us asking for ever
            if (!reply) return false;
            const std::size_t got = std::min(reply->size() - kData, wanted);
            text.insert(text.end(), reply->begin() + kData, reply->begin() + static_cast<std::ptrdiff_t>(kData + got));
        }
        return true;
    }

    Bytes begin(std::uint8_t command) const
    {
        return {kRequest, command, octet(id_, 0), octet(id_, 1), octet(id_, 2), octet(id_, 3)};
    }

    static void addOffset(Bytes& request, std::size_t offset)
    {
        request.push_back(octet(static_cast<u32>(offset), 0));
        request.push_back(octet(static_cast<u32>(offset), 1));
    }

    /** The reply when it is good and carries @p leastData bytes; else result_ says what is wrong. */
    std::optional<Bytes> send(const Bytes& request, std::size_t leastData)
    {
        constexpr int kTries = 5;
        for (int attempt = 1;; ++attempt) {
            if (Clock::now() >= end_) return notReached("the time for it is over");
            auto reply = exchange_(request, end_);
            if (!reply) return notReached(nullptr);
            if ((*reply)[2] == vmwire::kCompletionTimeout) return notReached("the BMC does not answer its driver");
            // A busy BMC has done nothing yet, so that the same request may come again.
            if ((*reply)[2] == vmwire::kCompletionNodeBusy && attempt < kTries) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                continue;
            }
            if ((*reply)[2] == vmwire::kCompletionOk && reply->size() >= kData + leastData) return reply;
            reportFailure("text transaction", "the BMC refused it");
            result_ = kRefused;
            return std::nullopt;
        }
    }

    /** @param why  nullptr: the exchange has said it already */
    std::nullopt_t notReached(const char* why)
    {
        if (why != nullptr) reportFailure("text transaction", why);
        result_ = kNotReached;
        return std::nullopt;
    }

    const Exchange&         exchange_;
    const u32               id_;
    const Clock::time_point end_;
    s32                     result_ = kDone;
};

u32 newId()
{
    u32 id = 0;
    if (::getrandom(&id, sizeof id, 0) == static_cast<ssize_t>(sizeof id)) return id;
    static std::atomic<u32> next{0};  // an old kernel: distinct within this process at least
    return static_cast<u32>(Clock::now().time_since_epoch().count()) + ++next;
}

}  // namespace

TextReply runText(const Exchange& exchange, u32 id, vmwire::Verb verb, std::string_view text, Clock::duration limit)
{
    if (text.size() > vmwire::kMaxText) return {kInvalidArgument, 0, {}};
    return Transaction(exchange, id, limit).run(verb, text);
}

TextReply runText(vmwire::Verb verb, std::string_view text)
{
    const auto exchange = [](const Bytes& request, Clock::time_point latest) {
        return bmcChannel().exchange(request, latest);
    };
    return runText(exchange, newId(), verb, text);
}

}  // namespace qvplatform
