/** @file TaskTest.cpp  What takes the BMC longer: tasks, answers that say "later", many resources. */
#include "LayerBench.h"
#include "qvrfutil_inventory.hpp"
#include "qvrfutil_task.hpp"

namespace layertest {
namespace {

constexpr char kEcho[]    = "/test/echo";
constexpr char kSensors[] = "/redfish/v1/Chassis/System.Embedded.1/Sensors";
using Text                = const char*;

/** So many requests of a method and path that begin so came by now. */
int asked(const std::string& kind)
{
    int        all      = 0;
    const Json requests = tell("stats")["requests"];
    for (const auto& [what, count] : requests.items()) all += what.rfind(kind, 0) == 0 ? count.get<int>() : 0;
    return all;
}

class Later : public EachGeneration {
protected:
    Client  client;
    Session session{client};
};
INSTANTIATE_TEST_SUITE_P(Generations, Later, testing::Values("new"));

TEST_P(Later, ATaskIsWhereTheBmcSaysButOnTheBmc)
{
    constexpr Text                          task   = R"({"@odata.id":"/t/1","TaskState":"New"})";
    constexpr Text                          evil   = R"({"@odata.id":"@elsewhere/t","TaskState":"New"})";
    const std::tuple<u16, Text, Text, Text> rows[] = {{202, "/m/1", "", "/m/1"},
                                                      {202, "https://elsewhere:1/m/1", "", "/m/1"},
                                                      {202, "https://elsewhere", "", "-"},
                                                      {202, "@elsewhere", "", "-"},
                                                      {202, "/m/1", evil, "/m/1"},
                                                      {202, "/m/1", task, "/t/1"},
                                                      {200, "", task, "/t/1"},
                                                      {201, "/made", "{}", "-"},
                                                      {400, "/m/1", task, "-"}};
    for (const auto& [http, location, body, path] : rows) {
        const auto found = Task::of(session, {http, body, std::string("Location: ") + location + "\r\n\r\n"});
        EXPECT_EQ(found ? found->path() : "-", path) << http << location << body;
    }
}

TEST_P(Later, ATaskIsOverWhenTheBmcSaysSo)
{
    const std::tuple<Text, Text, TaskState, int> rows[] = {
        {"200 OK", R"({"TaskState":"Running","PercentComplete":40})", TaskState::running, 40},
        {"200 OK", R"({"TaskState":"Completed","PercentComplete":101})", TaskState::done, -1},
        {"200 OK", R"({"TaskState":"Completed","TaskStatus":"Critical"})", TaskState::failed, -1},
        {"200 OK", R"({"TaskState":"Exception","PercentComplete":-5})", TaskState::failed, -1},
        {"200 OK", R"({"TaskState":["Completed"]})", TaskState::running, -1},
        {"200 OK", R"({"TaskState":"\u001b[2J"})", TaskState::running, -1},
        {"200 OK", "", TaskState::done, -1},
        {"202 Accepted", "", TaskState::running, -1},
        {"302 Found\r\nLocation: /x", "", TaskState::failed, -1},
        {"404 Not Found", "", TaskState::gone, -1},
        {"503 Busy\r\nRetry-After: 9", "", TaskState::running, -1},
        {"503 Busy", "", TaskState::failed, -1}};
    for (const auto& [head, body, state, percent] : rows) {
        answer(kEcho, head, body);
        const TaskStatus status = Task(session, kEcho).ask().orThrow();
        EXPECT_EQ(status.state, state) << head << body;
        EXPECT_EQ(status.percent, percent) << head << body;
        EXPECT_FALSE(has(status.word, "\x1b"));
    }
}

TEST_P(Later, ATaskIsWaitedForWithinTheLimit)
{
    const Task   task(session, kEcho);
    int          told = 0;
    Cancellation cancellation;
    answer(kEcho, "202 Accepted\r\nRetry-After: 0", "", 3);
    EXPECT_EQ(task.wait(Duration(60000), [&](const TaskStatus&) { ++told; }).orThrow().state, TaskState::done);
    EXPECT_EQ(told, 4);
    for (const bool isLimited : {true, false}) {
        tell("cut 0 GET /test 2");  // the second time on a connection of its own
        EXPECT_EQ(bool(task.wait(Duration(isLimited ? 60000 : 0))), isLimited) << "the BMC may be restarting";
    }
    answer(kEcho, "202 Accepted\r\nRetry-After: 999999", "", 3);
    EXPECT_FALSE(task.wait(Duration(1500)));
    const auto pull = [&](const TaskStatus&) { cancellation.pull(); };
    EXPECT_EQ(task.wait(Duration(0), pull, &cancellation).error().reason, Reason::cancelled);
    const int before = asked("GET /test/echo");
    EXPECT_EQ(task.wait(Duration(0), {}, &cancellation).error().reason, Reason::cancelled);
    EXPECT_EQ(asked("GET /test/echo"), before) << "cancelled before";
}

TEST_P(Later, OnlyAGetIsSentAgainAndWithinItsLimits)
{
    const std::tuple<Method, Text, int, int> rows[] = {// the limit in ms, how often it is sent
                                                       {Method::get, "0", 0, 2},
                                                       {Method::get, "30", 20000, 1},
                                                       {Method::get, "999999", 0, 1},
                                                       {Method::get, "-1", 0, 1},
                                                       {Method::get, "Fri, 31 Dec 1999 23:59:59 GMT", 0, 1},
                                                       {Method::post, "0", 0, 1},
                                                       {Method::head, "0", 0, 1}};
    for (const auto& [method, after, limit, times] : rows) {
        const std::string kind = methodName(method) + std::string(" /test/echo");
        tell("stats reset");
        tell("status 429 " + kind + " 1");
        tell("add-header " + word(std::string("Retry-After: ") + after) + ' ' + kind + " 1");
        RequestOptions options;
        options.limit    = Duration(limit);
        options.patience = Duration(60000);
        EXPECT_EQ(session.request(method, kEcho, "{}", options).orThrow().http, times == 2 ? 200 : 429) << after;
        EXPECT_TRUE(comesTrue([&, wanted = times] { return asked(kind) == wanted; })) << kind << after;
    }
}

TEST_P(Later, ManyResourcesComeInTheirOrder)
{
    const auto all = readAll(session, {kEcho, "/redfish/v1/nope", "relative", "/test/bytes/3"}, 3);
    EXPECT_EQ(all.at(1)->http, 404);
    EXPECT_EQ(all.at(2).error().status, QVRFUTIL_INVALID_PARAMETER);
    EXPECT_EQ(all.at(3)->body, "ABC");
    const auto expected = session.members(kSensors).orThrow();
    for (const char* features : {"all", "ignore", "refuse", "none"}) {
        tell(std::string("features ") + features);
        tell("stats reset");
        std::vector<std::string> read;
        for (const Resource& one : readMembers(session, kSensors).orThrow())
            read.push_back(Json::parse(one.text)["Id"].is_string() ? one.path : "no resource");
        EXPECT_EQ(read, expected) << features;
        EXPECT_EQ(asked("GET " + expected.at(1)) == 0, features == std::string("all")) << "expanded by the BMC";
    }
    tell("status 500 GET " + expected.at(1));
    EXPECT_EQ(readMembers(session, kSensors).error().http, 500);
    tell("features all");
}

}  // namespace
}  // namespace layertest
