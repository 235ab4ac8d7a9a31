/** @file SessionTest.cpp  Client and Session against a simulator. */
#include <atomic>
#include <filesystem>

#include "LayerBench.h"

namespace layertest {
namespace {

constexpr char kChassis[] = "/redfish/v1/Chassis";
constexpr char kSystem[]  = "/redfish/v1/Systems/System.Embedded.1";
constexpr char kReset[]   = "/redfish/v1/Systems/System.Embedded.1/Actions/ComputerSystem.Reset";

class Layer : public EachGeneration {};
INSTANTIATE_TEST_SUITE_P(Generations, Layer, testing::Values("new", "old"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(Layer, FindsTheBmcAndItsGeneration)
{
    Client client;
    EXPECT_EQ(client.generation(), isNewer() ? Generation::newer : Generation::older);
    EXPECT_EQ(client.endpoint()->port, bmc.port());
    const Json root = client.getOpen("/redfish/v1").orThrow().json();
    EXPECT_EQ(root["Links"]["Sessions"]["@odata.id"] == "/redfish/v1/Sessions", !isNewer());
    EXPECT_TRUE(client.discover().firmware.value);
    EXPECT_TRUE(client.setUser("monitor", "Secret-7", "ro"));
    EXPECT_EQ(Session(client).accounts().orThrow().at(1).role, "ReadOnly");
    EXPECT_TRUE(client.deleteUser("monitor"));
    EXPECT_EQ(Session(client).accounts().orThrow().size(), 1u);
    ClientOptions atOnce;
    atOnce.settle = Duration(0);
    EXPECT_THROW(Client{atOnce}, Failure) << "a second one at a time";
}

TEST_P(Layer, TakesABmcThatDoesNotAnswerYetForTheNewer)
{
    tell("cut 0 GET /redfish");
    Client client;
    tell("clear");
    const auto session = Session::open(client);
    EXPECT_EQ(session ? (*session)->record().IPVersion : 0, isNewer() ? 4 : 0) << "asked over IPv6, too";
}

TEST_P(Layer, CarriesOutEveryMethodAndClosesItsSession)
{
    Client client;
    {
        Session session(client);
        EXPECT_EQ(session.patch(kSystem, R"({"AssetTag":"rack 7"})").orThrow().http, 200);
        EXPECT_EQ(session.json(kSystem).orThrow()["AssetTag"], "rack 7");
        const Response made = session.post(kChassis, R"({"Id":"new"})").orThrow();
        EXPECT_EQ(made.http, 201);
        EXPECT_EQ(session.remove(made.header("lOCATION")).orThrow().http, 204);
        EXPECT_EQ(session.get("/test/bytes/300000").orThrow().body.size(), 300000u);
        EXPECT_EQ(session.json("/redfish/v1/nope").error().http, 404);
        EXPECT_FALSE(Session::open(client)) << "a second one at a time";
        EXPECT_EQ(openSessions(), 1u);
    }
    EXPECT_EQ(openSessions(), 0u);
    Session again(client);  // after the end of the first, which ended the library's frame too
    EXPECT_TRUE(again.get(kSystem));
}

TEST_P(Layer, SendsOnceMoreWhatAnEndedSessionRefused)
{
    std::vector<std::string> told;
    ClientOptions            options;
    options.onRenewal = [&](const std::string& what) { told.push_back(what); };
    Client  client(options);
    Session session(client);
    for (const Method method : {Method::get, Method::post, Method::patch, Method::remove}) {
        tell("expire");
        tell(std::string("status 401 ") + methodName(method) + " /test 1");  // where the BMC asks for no session
        const Response answer = session.request(method, "/test/echo", "{}").orThrow();
        EXPECT_TRUE(answer.renewed);
        EXPECT_EQ(answer.json()["method"], methodName(method));
        const auto kind = std::string(methodName(method)) + " /test/echo 200";
        EXPECT_TRUE(comesTrue([&] { return answered(kind) == 1; }));
        EXPECT_EQ(told.back(), std::string(methodName(method)) + " /test/echo");
    }
    tell("expire");
    const std::string file = bmc.directory() + "/file";
    std::ofstream(file) << "abc";
    EXPECT_EQ(session.upload("/redfish/v1/UpdateService/MultipartUpload", file, "{}").orThrow().json()["Size"], 3);
}

TEST_P(Layer, WalksTheMembersOverAllPages)
{
    Client     client;
    Session    session(client);
    const auto pages = [&](const std::string& next) {
        const std::string members = R"([{"@odata.id":"/a"},{"@odata.id":"no path"},{"@odata.id":"/b"}])";
        answer("/redfish/v1/Systems", "200 OK",
               R"({"Members":)" + members + R"(,"Members@odata.nextLink":")" + next + "\"}");
        return session.members("/redfish/v1/Systems");
    };
    auto expected = session.members(kChassis).orThrow();
    expected.insert(expected.begin(), {"/a", "/b"});
    EXPECT_EQ(pages(kChassis).orThrow(), expected);
    EXPECT_FALSE(pages("/redfish/v1/Systems")) << "pages in a circle";
    EXPECT_FALSE(pages("elsewhere"));
    EXPECT_EQ(session.accounts().orThrow().at(0).name, "root");
}

TEST_P(Layer, LeavesASessionToABmcThatDoesNotAnswer)
{
    Client  client;
    Session session(client);
    tell("delay 4000 DELETE * 1");
    const Done closed = session.close(Duration(50));
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error().status, OXA_BMC_SESSION_DELETION_FAILED);
    EXPECT_TRUE(session.close()) << "closed once, waited for once";
    EXPECT_TRUE(comesTrue([] { return openSessions() == 0; })) << "the BMC answered in the end";
}

TEST_P(Layer, SurvivesAStormOfExpiries)
{
    Client                   client;
    Session                  session(client);
    std::atomic<bool>        over{false};
    std::atomic<int>         accepted{0}, others{0}, renewed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            while (!over) {
                const Result<Response> answer = session.post(kReset);
                others += answer ? answer->http != 204 : answer.error().http != 401;  // it met two ends in a row
                accepted += answer ? 1 : 0;
                renewed += answer && answer->renewed ? 1 : 0;
            }
        });
    for (int i = 0; i < 40; ++i) {
        const int before = renewed;
        tell("expire");
        EXPECT_TRUE(comesTrue([&] { return renewed > before; }));
    }
    over = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(others, 0);
    const auto kind = std::string("POST ") + kReset + " 204";
    EXPECT_TRUE(comesTrue([&] { return answered(kind) >= accepted; }));
    EXPECT_EQ(answered(kind), accepted) << "what was accepted was sent once";
    EXPECT_EQ(openSessions(), 1u);
}

}  // namespace
}  // namespace layertest
