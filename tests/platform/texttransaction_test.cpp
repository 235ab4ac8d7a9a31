/** @file texttransaction_test.cpp  Texts in pieces, and BMCs that answer nonsense. */
#include "texttransaction.h"

#include <gmock/gmock.h>

#include "hipmstatus.h"

using namespace qvplatform;
using testing::ElementsAre;

namespace {

constexpr u32 kId = 0x04030201;

/** Answers from a list and remembers what was asked. */
class Script {
public:
    explicit Script(std::vector<std::optional<Bytes>> replies) : replies_(std::move(replies)) {}

    TextReply run(vmwire::Verb verb, std::string_view text, Clock::duration limit = std::chrono::minutes(1))
    {
        return runText(
            [this](const Bytes& request, Clock::time_point) -> std::optional<Bytes> {
                requests.push_back(request);
                if (requests.size() > replies_.size() || !replies_[requests.size() - 1]) return std::nullopt;
                Bytes reply{static_cast<u8>(request[0] | 4), request[1]};
                reply.insert(reply.end(), replies_[requests.size() - 1]->begin(), replies_[requests.size() - 1]->end());
                return reply;
            },
            kId, verb, text, limit);
    }

    std::vector<Bytes> requests;

private:
    const std::vector<std::optional<Bytes>> replies_;
};

TEST(TextTransaction, TravelsAsWritten)
{
    Script     script({Bytes{0x00}, Bytes{0x00, 0xFE, 0xFF, 0xFF, 0xFF, 0x02, 0x00}, Bytes{0x00, 'o', 'k'}});
    const auto reply = script.run(vmwire::Verb::commandLine, "hi");
    EXPECT_EQ(reply.result, kDone);
    EXPECT_EQ(reply.status, -2);
    EXPECT_EQ(asText(reply.text), "ok");
    EXPECT_THAT(script.requests,
                ElementsAre(Bytes{0xC8, 0x01, 1, 2, 3, 4, 0, 0, 'h', 'i'}, Bytes{0xC8, 0x02, 1, 2, 3, 4, 0x01, 2, 0},
                            Bytes{0xC8, 0x03, 1, 2, 3, 4, 0, 0, 2}));
}

TEST(TextTransaction, GoesInPiecesBothWays)
{
    Bytes first(129, 'a'), second(73, 'b');
    first[0] = second[0] = 0;
    Script     script({Bytes{0}, Bytes{0}, Bytes{0, 0, 0, 0, 0, 200, 0}, first, second});
    const auto reply = script.run(vmwire::Verb::commandLine, std::string(130, 'x'));
    EXPECT_EQ(asText(reply.text), std::string(128, 'a') + std::string(72, 'b'));
    ASSERT_EQ(script.requests.size(), 5U);
    EXPECT_EQ(script.requests[0].size(), 8U + 128U);
    EXPECT_EQ(script.requests[1], (Bytes{0xC8, 0x01, 1, 2, 3, 4, 128, 0, 'x', 'x'}));
    EXPECT_EQ(script.requests[4], (Bytes{0xC8, 0x03, 1, 2, 3, 4, 128, 0, 72}));
}

TEST(TextTransaction, WithoutTextIsRunAtOnce)
{
    Script script({Bytes{0, 7, 0, 0, 0, 0, 0}});
    EXPECT_EQ(script.run(vmwire::Verb::freeSlot, "").status, 7);
    EXPECT_EQ(script.requests.size(), 1U);
}

TEST(TextTransaction, AsksABusyBmcAgain)
{
    Script script({Bytes{0xC0}, Bytes{0xC0}, Bytes{0, 3, 0, 0, 0, 0, 0}});
    EXPECT_EQ(script.run(vmwire::Verb::freeSlot, "").status, 3);
}

TEST(TextTransaction, DoesNotAskABusyBmcForEver)
{
    Script script(std::vector<std::optional<Bytes>>(100, Bytes{0xC0}));
    EXPECT_EQ(script.run(vmwire::Verb::freeSlot, "").result, kRefused);
    EXPECT_LT(script.requests.size(), 100U);
}

TEST(TextTransaction, HasOneDeadlineAsAWhole)
{
    Script script(std::vector<std::optional<Bytes>>(100, Bytes{0}));
    EXPECT_EQ(script.run(vmwire::Verb::commandLine, std::string(4096, 'x'), Clock::duration::zero()).result,
              kNotReached);
    EXPECT_TRUE(script.requests.empty());
}

TEST(TextTransaction, ThatIsTooLongIsNotSent)
{
    Script script({});
    EXPECT_EQ(script.run(vmwire::Verb::commandLine, std::string(vmwire::kMaxText + 1, 'x')).result, kInvalidArgument);
    EXPECT_TRUE(script.requests.empty());
}

struct FailureCase {
    const char*                       name;
    std::vector<std::optional<Bytes>> replies;
    s32                               result;
};

class FailedTransaction : public testing::TestWithParam<FailureCase> {};

TEST_P(FailedTransaction, SaysSoAndStops)
{
    Script script(GetParam().replies);
    EXPECT_EQ(script.run(vmwire::Verb::commandLine, "hi").result, GetParam().result);
    EXPECT_EQ(script.requests.size(), GetParam().replies.size());
}

INSTANTIATE_TEST_SUITE_P(
    Replies, FailedTransaction,
    testing::Values(FailureCase{"NoneToWrite", {std::nullopt}, kNotReached},
                    FailureCase{"NoneToRun", {Bytes{0}, std::nullopt}, kNotReached},
                    FailureCase{"NoneToRead", {Bytes{0}, Bytes{0, 0, 0, 0, 0, 1, 0}, std::nullopt}, kNotReached},
                    FailureCase{"DriverAnswersForASilentBmc", {Bytes{0xC3}}, kNotReached},
                    FailureCase{"WriteRefused", {Bytes{0xC9}}, kRefused},
                    FailureCase{"RunRefused", {Bytes{0}, Bytes{0xC1}}, kRefused},
                    FailureCase{"RunCutShort", {Bytes{0}, Bytes{0, 0, 0, 0, 0, 1}}, kRefused},
                    FailureCase{"ReplyTooLong", {Bytes{0}, Bytes{0, 0, 0, 0, 0, 0x01, 0x10}}, kRefused},
                    FailureCase{"EmptyPiece", {Bytes{0}, Bytes{0, 0, 0, 0, 0, 1, 0}, Bytes{0}}, kRefused}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
