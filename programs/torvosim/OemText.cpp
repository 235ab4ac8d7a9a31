/** @file OemText.cpp  Text transactions over OEM requests. */
#include "OemText.h"

#include <string.h>

#include <algorithm>

#include "LogResources.h"
#include "VorskCommands.h"
#include "ipmi/vmwire.h"

namespace torvosim {

namespace {

std::uint32_t le32(const Bytes& data, std::size_t at)
{
    return le16(data, at) | static_cast<std::uint32_t>(le16(data, at + 2)) << 16;
}

OemReply refused(std::uint8_t completion, const char* why)
{
    return {{completion}, why};
}

constexpr std::size_t kIdBytes = 4;

}  // namespace

OemText::Transaction* OemText::find(std::uint32_t id)
{
    const auto found =
        std::find_if(transactions_.begin(), transactions_.end(), [id](const Transaction& t) { return t.id == id; });
    return found == transactions_.end() ? nullptr : &*found;
}

void OemText::forget(std::uint32_t id)
{
    transactions_.remove_if([id](const Transaction& t) { return t.id == id; });
}

OemReply OemText::write(const Bytes& data)
{
    constexpr std::size_t fixed = kIdBytes + 2;
    if (data.size() < fixed || data.size() > fixed + vmwire::kMaxChunk)
        return refused(vmwire::kCompletionLengthInvalid, "text write of a wrong length");
    const std::uint32_t id     = le32(data, 0);
    const std::size_t   offset = le16(data, kIdBytes);
    const std::size_t   count  = data.size() - fixed;
    if (offset + count > vmwire::kMaxText) return refused(vmwire::kCompletionOutOfRange, "text too long");

    std::lock_guard<std::mutex> lock(mutex_);
    Transaction*                transaction = find(id);
    if (transaction == nullptr) {
        if (transactions_.size() >= vmwire::kMaxTransactions) transactions_.pop_front();
        transaction     = &transactions_.emplace_back();
        transaction->id = id;
    }
    if (offset > transaction->text.size()) return refused(vmwire::kCompletionInvalidField, "text write with a gap");
    transaction->text.resize(std::max(transaction->text.size(), offset + count));
    std::copy(data.begin() + fixed, data.end(), transaction->text.begin() + static_cast<std::ptrdiff_t>(offset));
    return {{vmwire::kCompletionOk}, "text write of " + std::to_string(count) + " bytes"};
}

OemReply OemText::run(const Bytes& data)
{
    if (data.size() != kIdBytes + 3) return refused(vmwire::kCompletionLengthInvalid, "text run of a wrong length");
    const std::uint32_t id     = le32(data, 0);
    const std::uint8_t  verb   = data[kIdBytes];
    const std::size_t   length = le16(data, kIdBytes + 1);
    std::string         text;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        Transaction*                transaction = find(id);
        // A verb without text needs no write in front of it.
        if (length > (transaction == nullptr ? 0 : transaction->text.size()))
            return refused(vmwire::kCompletionInvalidField, "text run without its text");
        if (transaction != nullptr) text = transaction->text.substr(0, length);
        forget(id);
    }
    std::string        reply;
    std::string        trace;
    const std::int32_t status = perform(verb, text, reply, trace);
    explicit_bzero(text.data(), text.size());
    if (trace.empty()) return refused(vmwire::kCompletionInvalidField, "text run of an unknown verb");
    if (reply.size() > vmwire::kMaxText) reply.resize(vmwire::kMaxText);

    const auto replyLength = static_cast<std::uint16_t>(reply.size());
    const auto bits        = static_cast<std::uint32_t>(status);
    Bytes      answer{vmwire::kCompletionOk};
    for (int shift = 0; shift < 32; shift += 8) answer.push_back(static_cast<std::uint8_t>(bits >> shift));
    answer.push_back(static_cast<std::uint8_t>(replyLength));
    answer.push_back(static_cast<std::uint8_t>(replyLength >> 8));
    if (!reply.empty()) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (transactions_.size() >= vmwire::kMaxTransactions) transactions_.pop_front();
        transactions_.push_back({id, {}, std::move(reply)});
    }
    return {std::move(answer), trace + " = " + std::to_string(status)};
}

OemReply OemText::read(const Bytes& data)
{
    if (data.size() != kIdBytes + 3) return refused(vmwire::kCompletionLengthInvalid, "text read of a wrong length");
    const std::uint32_t id     = le32(data, 0);
    const std::size_t   offset = le16(data, kIdBytes);
    const std::size_t   count  = data[kIdBytes + 2];
    if (count == 0 || count > vmwire::kMaxChunk) return refused(vmwire::kCompletionLengthInvalid, "text read too long");

    std::lock_guard<std::mutex> lock(mutex_);
    Transaction*                transaction = find(id);
    if (transaction == nullptr || offset >= transaction->reply.size())
        return refused(vmwire::kCompletionOutOfRange, "text read of nothing");
    const std::string piece = transaction->reply.substr(offset, count);
    Bytes             answer{vmwire::kCompletionOk};
    answer.insert(answer.end(), piece.begin(), piece.end());
    if (offset + piece.size() == transaction->reply.size()) forget(id);
    return {std::move(answer), "text read of " + std::to_string(piece.size()) + " bytes"};
}

/** Leaves @p trace empty for an unknown verb. */
std::int32_t OemText::perform(std::uint8_t verb, const std::string& text, std::string& reply, std::string& trace)
{
    switch (static_cast<vmwire::Verb>(verb)) {
        case vmwire::Verb::commandLine: {
            CommandResult result = runVorskCommand(bmc_, text);
            trace                = "command line \"" + withoutPassword(text) + '"';
            reply                = std::move(result.output);
            return result.status;
        }
        case vmwire::Verb::userSet: {
            CommandResult result = runUserSet(bmc_, text);
            trace                = "user set \"" + withoutPassword(text) + '"';
            reply                = std::move(result.output);
            return result.status;
        }
        case vmwire::Verb::userSlot:
            trace = "slot of user \"" + text + '"';
            return static_cast<std::int32_t>(bmc_.users.slotOf(text));
        case vmwire::Verb::freeSlot: trace = "free user slot"; return static_cast<std::int32_t>(bmc_.users.freeSlot());
        case vmwire::Verb::ksLog:
            trace = "KS log export";
            if (!bmc_.ksLog.add(text)) return -1;
            tellOfKsEntry(bmc_);
            return 0;
        case vmwire::Verb::enrolToken: {
            const std::string problem = bmc_.tokens.enrol(text);
            trace                     = "login token ***" + (problem.empty() ? problem : " refused: " + problem);
            return problem.empty() ? 0 : -1;
        }
    }
    return 0;
}

}  // namespace torvosim
