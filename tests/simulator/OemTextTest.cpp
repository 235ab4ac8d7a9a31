/** @file OemTextTest.cpp  Command lines, users, login tokens and the KS log over OEM requests. */
#include "Desk.h"
#include "Tokens.h"
#include "ipmi/vmwire.h"

namespace {

using vmwire::Verb;

struct Result {
    std::int32_t status = -99;
    std::string  reply;
};

class OemText : public Desk {
protected:
    using Bytes = IpmiClient::Bytes;

    IpmiClient& host()
    {
        if (!host_) host_ = std::make_unique<IpmiClient>(sim().ipmiUnixPath());
        return *host_;
    }
    static void put(Bytes& bytes, std::uint32_t number, int count)
    {
        for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    }
    Bytes request(std::uint8_t command, std::uint32_t id)
    {
        Bytes bytes{vmwire::kOemNetFn << 2, command};
        put(bytes, id, 4);
        return bytes;
    }
    std::uint8_t write(std::uint32_t id, std::size_t offset, const std::string& text)
    {
        Bytes bytes = request(vmwire::kOemWrite, id);
        put(bytes, static_cast<std::uint32_t>(offset), 2);
        bytes.insert(bytes.end(), text.begin(), text.end());
        return host().exchangeBytes(bytes).at(2);
    }
    Bytes run(std::uint32_t id, Verb verb, std::size_t length)
    {
        Bytes bytes = request(vmwire::kOemRun, id);
        bytes.push_back(static_cast<std::uint8_t>(verb));
        put(bytes, static_cast<std::uint32_t>(length), 2);
        return host().exchangeBytes(bytes);
    }
    Bytes read(std::uint32_t id, std::size_t offset, std::size_t count)
    {
        Bytes bytes = request(vmwire::kOemRead, id);
        put(bytes, static_cast<std::uint32_t>(offset), 2);
        bytes.push_back(static_cast<std::uint8_t>(count));
        return host().exchangeBytes(bytes);
    }
    /** A whole transaction, in chunks of @p chunk. */
    Result transact(Verb verb, const std::string& text, std::size_t chunk = vmwire::kMaxChunk)
    {
        const std::uint32_t id = ++lastId_;
        for (std::size_t at = 0; at < text.size(); at += chunk) EXPECT_EQ(write(id, at, text.substr(at, chunk)), 0);
        const Bytes ran = run(id, verb, text.size());
        EXPECT_EQ(ran.at(2), 0);
        Result result;
        result.status            = static_cast<std::int32_t>(ran.at(3) | ran.at(4) << 8 | ran.at(5) << 16 |
                                                  static_cast<std::uint32_t>(ran.at(6)) << 24);
        const std::size_t length = ran.at(7) | static_cast<std::size_t>(ran.at(8)) << 8;
        while (result.reply.size() < length) {
            const Bytes piece = read(id, result.reply.size(), std::min(chunk, length - result.reply.size()));
            EXPECT_EQ(piece.at(2), 0);
            if (piece.at(2) != 0) break;
            result.reply.append(piece.begin() + 3, piece.end());
        }
        return result;
    }

    std::unique_ptr<IpmiClient> host_;
    std::uint32_t               lastId_ = 0xA0A1AA00;  // special bytes of the wire travel as well
};

struct Line {
    const char* name;
    const char* command;
    bool        good;
    const char* reply;
};
class CommandLine : public OemText, public testing::WithParamInterface<Line> {};

TEST_P(CommandLine, IsAnswered)
{
    control("set agent 5.1.0.9");
    control("set port 443");
    const Result result = transact(Verb::commandLine, GetParam().command, 7);
    EXPECT_EQ(result.status == 0, GetParam().good);
    EXPECT_EQ(result.reply, GetParam().reply);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, CommandLine,
    testing::Values(
        Line{"WebServer", "vorsk get torvo.webserver.enable", true,
             "[Key=torvo.Embedded.1#WebServer.1]\nEnable=Enabled\n"},
        Line{"Redfish", "vorsk get torvo.redfish.enable", true, "[Key=torvo.Embedded.1#Redfish.1]\nEnable=Enabled\n"},
        Line{"Port", "vorsk get torvo.webserver.httpsport", true,
             "[Key=torvo.Embedded.1#WebServer.1]\nHttpsPort=443\n"},
        Line{"AgentVersion", "vorsk get torVO.serviceModule.ServiceModuleVersion", true,
             "[Key=torvo.Embedded.1#ServiceModule.1]\nServiceModuleVersion=5.1.0.9\n"},
        Line{"Set", "vorsk set torvo.webserver.enable Disabled", true, "Object value modified successfully\n"},
        Line{"SetNonsense", "vorsk set torvo.webserver.enable Perhaps", false, "ERROR: invalid value.\n"},
        Line{"SetReadOnly", "vorsk set torvo.webserver.httpsport 1", false, "ERROR: read-only attribute.\n"},
        Line{"Unknown", "vorsk get torvo.nonsense", false, "ERROR: unknown attribute.\n"},
        Line{"PasswordIsNotTold", "vorsk get torvo.users.2.password", false,
             "ERROR: no such user attribute, or one that is not told.\n"},
        Line{"OtherProgram", "rm -rf /", false, "ERROR: unknown command.\n"}),
    [](const auto& c) { return std::string(c.param.name); });

TEST_F(OemText, KeepsUsersInTheirSlots)
{
    EXPECT_EQ(transact(Verb::userSlot, "root").status, 2);
    EXPECT_EQ(transact(Verb::userSlot, "agent").status, 0);
    EXPECT_EQ(transact(Verb::freeSlot, "").status, 3);
    for (const char* line : {"vorsk set torvo.users.3.username agent", "vorsk set torvo.users.3.password p w\"&",
                             "vorsk set torvo.users.3.privilege 0x1ff", "vorsk set torvo.users.3.enable 1"})
        EXPECT_EQ(transact(Verb::userSet, line).status, 0) << line;
    EXPECT_EQ(transact(Verb::userSlot, "agent").status, 3);
    EXPECT_EQ(transact(Verb::freeSlot, "").status, 4);
    EXPECT_EQ(logInWithPassword("agent", "p w\"&").status, 201);
    EXPECT_EQ(logInWithPassword("agent", "p w").status, 401);

    EXPECT_EQ(transact(Verb::userSet, "vorsk set torvo.users.3.enable 0").status, 0);
    EXPECT_EQ(logInWithPassword("agent", "p w\"&").status, 401);
    EXPECT_EQ(transact(Verb::userSet, "vorsk set torvo.users.3.username \"\"").status, 0);
    EXPECT_EQ(transact(Verb::freeSlot, "").status, 3);
}

TEST_F(OemText, RefusesWritesToTheUserDatabase)
{
    for (const char* line : {"vorsk set torvo.users.2.username me", "vorsk set torvo.users.17.username me",
                             "vorsk set torvo.users.0.username me", "vorsk set torvo.users.3.colour red",
                             "vorsk set torvo.users.3.enable 2", "vorsk set torvo.users.3.privilege 0x200",
                             "vorsk set torvo.webserver.enable Disabled", "vorsk set torvo.users.3.username"})
        EXPECT_NE(transact(Verb::userSet, line).status, 0) << line;
    control("refuse-users 1");
    EXPECT_NE(transact(Verb::userSet, "vorsk set torvo.users.3.username me").status, 0);
    EXPECT_EQ(transact(Verb::userSet, "vorsk set torvo.users.3.username me").status, 0);
}

TEST_F(OemText, HasNoFreeSlotWhenAllAreTaken)
{
    for (int slot = 3; slot <= 16; ++slot)
        EXPECT_EQ(transact(Verb::userSet,
                           "vorsk set torvo.users." + std::to_string(slot) + ".username u" + std::to_string(slot))
                      .status,
                  0);
    EXPECT_EQ(transact(Verb::freeSlot, "").status, 0);
}

TEST_F(OemText, LogsToTheKsLog)
{
    EXPECT_EQ(transact(Verb::ksLog, std::string("OXA0034\0updated\0005.2.0\0root\0", 27)).status, 0);
    EXPECT_NE(transact(Verb::ksLog, "OXA0034").status, 0) << "nothing closes the text";
    control("kslog-refuse 1");
    EXPECT_NE(transact(Verb::ksLog, std::string("OXA0035\0", 8)).status, 0);
    const Json entries = control("kslog")["entries"];
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0]["id"], "OXA0034");
    EXPECT_EQ(entries[0]["arguments"], Json::array({"updated", "5.2.0", "root"}));
    logIn();
    const Json shown = Json::parse(get("/redfish/v1/Managers/Torvo.Embedded.1/LogServices/KsLog/Entries").body);
    EXPECT_EQ(shown["Members"][0]["MessageId"], "OXA0034");
}

TEST_F(OemText, EnrolsSoundTokensOnly)
{
    EXPECT_EQ(transact(Verb::enrolToken, loginToken(sim(), "agent")).status, 0);
    EXPECT_NE(transact(Verb::enrolToken, loginToken(sim(), "agent", -10)).status, 0) << "expired";
    EXPECT_NE(transact(Verb::enrolToken, loginToken(sim(), "agent", 60, std::string(32, 'k'))).status, 0)
        << "other key";
    EXPECT_NE(transact(Verb::enrolToken, unsignedToken("agent")).status, 0);
    EXPECT_NE(transact(Verb::enrolToken, "nonsense").status, 0);
    EXPECT_EQ(control("stats")["tokensEnrolled"], 1);
}

TEST_F(OemText, HoldsToTheProtocolsBounds)
{
    EXPECT_EQ(write(1, 0, std::string(vmwire::kMaxChunk, 'x')), vmwire::kCompletionOk);
    EXPECT_EQ(write(1, 0, std::string(vmwire::kMaxChunk + 1, 'x')), vmwire::kCompletionLengthInvalid);
    EXPECT_EQ(write(1, vmwire::kMaxText, "x"), vmwire::kCompletionOutOfRange);
    EXPECT_EQ(write(1, 500, "x"), vmwire::kCompletionInvalidField) << "a gap";
    EXPECT_EQ(run(1, Verb::commandLine, 1000).at(2), vmwire::kCompletionInvalidField) << "longer than was written";
    EXPECT_EQ(run(77, Verb::commandLine, 5).at(2), vmwire::kCompletionInvalidField) << "never written";
    EXPECT_EQ(run(2, static_cast<Verb>(0x7F), 0).at(2), vmwire::kCompletionInvalidField);
    EXPECT_EQ(read(77, 0, 10).at(2), vmwire::kCompletionOutOfRange);
}

TEST_F(OemText, ForgetsTheOldestOfTooManyTransactions)
{
    const std::string text = "vorsk get torvo.redfish.enable";
    for (std::uint32_t id = 1; id <= vmwire::kMaxTransactions + 1; ++id) EXPECT_EQ(write(id, 0, text), 0);
    EXPECT_EQ(run(1, Verb::commandLine, text.size()).at(2), vmwire::kCompletionInvalidField);
    EXPECT_EQ(run(2, Verb::commandLine, text.size()).at(2), vmwire::kCompletionOk);
    EXPECT_EQ(read(2, 0, vmwire::kMaxChunk).at(2), vmwire::kCompletionOk);
    EXPECT_EQ(read(2, 0, vmwire::kMaxChunk).at(2), vmwire::kCompletionOutOfRange) << "read to its end, so forgotten";
}

TEST_F(OemText, LeavesNoSecretInTheTrace)
{
    const std::string token = loginToken(sim(), "agent");
    transact(Verb::enrolToken, token);
    transact(Verb::userSet, "vorsk set torvo.users.3.password Swordfish7");
    transact(Verb::commandLine, "vorsk set torvo.users.3.password Swordfish7");
    const std::string trace = control("trace 1000").dump();
    EXPECT_THAT(trace, testing::HasSubstr("torvo.users.3.password ***"));
    EXPECT_THAT(trace, testing::Not(testing::HasSubstr("Swordfish7")));
    EXPECT_THAT(trace, testing::Not(testing::HasSubstr(token.substr(0, 20))));
    EXPECT_THAT(trace, testing::Not(testing::HasSubstr("53 77 6f 72 64"))) << "nor in hexadecimal";
}

}  // namespace
