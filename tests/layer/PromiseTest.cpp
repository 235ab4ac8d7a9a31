/** @file PromiseTest.cpp  What docs/qvrfutil-hpp.md promises of sessions, requests and files. */
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <filesystem>

#include "LayerBench.h"
#include "TlsResponder.h"

bool diskFails = false;

/** In the place of the C library's: a disk that cannot keep what it took. */
extern "C" int fsync(int fd)
{
    errno = EIO;
    return diskFails ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}

namespace layertest {
namespace {

constexpr char kSystem[] = "/redfish/v1/Systems/System.Embedded.1";
constexpr char kEcho[]   = "/test/echo";

class Promise : public EachGeneration {
protected:
    static ClientOptions telling(std::function<void(const std::string&)> listener)
    {
        ClientOptions options;
        options.onRenewal = std::move(listener);
        return options;
    }
    std::string sessions() const { return isNewer() ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions"; }
    int         logins() const { return answered("POST " + sessions() + " 201"); }
};
INSTANTIATE_TEST_SUITE_P(Generations, Promise, testing::Values("new", "old"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(Promise, TheTokenGoesToTheBmcAlone)
{
    rig::TlsResponder elsewhere;
    Client            client;
    Session           session(client);
    for (const std::string& path :
         {std::string("@127.0.0.1:" + elsewhere.port() + "/a"), std::string("relative"), std::string(),
          std::string("/a b"), std::string("/a\r\nX-Evil: 1"), '/' + std::string(400, 'a')}) {
        StreamOptions options;
        options.path = path.empty() ? "x" : path;
        EventStream stream(session, options);
        EXPECT_FALSE(stream.next());
        EXPECT_EQ(stream.error()->status, QVRFUTIL_INVALID_PARAMETER);
        EXPECT_TRUE(has(session.get(path).error().text(), "(QVRFUTIL_INVALID_PARAMETER): the path does not")) << path;
        EXPECT_EQ(client.getOpen(path).error().status, QVRFUTIL_INVALID_PARAMETER);
        EXPECT_FALSE(session.members(path));
        EXPECT_EQ(session.upload(path, bmc.configuration(), "{}").error().status, QVRFUTIL_INVALID_PARAMETER);
        EXPECT_FALSE(session.download(path, bmc.directory() + "/none"));
    }
    EXPECT_TRUE(elsewhere.requests().empty());
}

TEST_P(Promise, AClosedSessionStaysClosed)
{
    Client                   client;
    Session                  session(client);
    std::atomic<bool>        over{false};
    std::atomic<int>         refused{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([&] {
            while (!over) refused += session.get(kSystem) ? 0 : 1;
        });
    for (int i = 0; i < 3; ++i) tell("expire");
    static_cast<void>(session.close());  // which fails where the BMC has just ended it
    EXPECT_TRUE(comesTrue([&] { return refused > 20; }));
    over = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(session.get(kSystem).error().status, QVRFUTIL_NO_SESSION_DETAILS);
    EXPECT_TRUE(comesTrue([] { return openSessions() == 0; }));
}

TEST_P(Promise, AResourceThatRefusesCostsNoSession)
{
    Client  client;
    Session session(client);
    tell("status 401 GET /test/echo");
    for (int i = 0; i < 5; ++i) {
        const auto answer = session.get(kEcho);
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error().http, 401);
    }
    EXPECT_TRUE(session.get(kSystem)) << "the session itself is as good as ever";
    EXPECT_TRUE(comesTrue([] { return openSessions() == 1; })) << "the ones before were deleted";
    const int before = logins();
    tell("status 401 GET /redfish/v1/SSE");
    EventStream stream(session);
    EXPECT_FALSE(stream.next());
    EXPECT_EQ(stream.error()->http, 401);
    EXPECT_EQ(logins(), before + 1);
}

TEST_P(Promise, NobodyWaitsForAnothersRequest)
{
    Client       client;
    Session      session(client);
    Cancellation cancellation;
    tell("delay 60000 GET /test/bytes 1");
    std::optional<Error> slow;
    std::thread          neighbour([&] {
        RequestOptions options;
        options.cancellation = &cancellation;
        slow                 = session.get("/test/bytes/1", options).error();
    });
    tell("expire");
    EXPECT_TRUE(session.get(kSystem).orThrow().renewed) << "a renewal beside it";
    EXPECT_TRUE(client.getOpen("/redfish/v1"));
    cancellation.pull();
    neighbour.join();
    EXPECT_EQ(slow->reason, Reason::cancelled);
    tell("clear");
}

TEST_P(Promise, WhoeverMeetsTheSameRefusedRenewalSharesIt)
{
    {
        Client            client;
        Session           session(client);
        std::atomic<int>  ready{0}, failures{0};
        std::atomic<bool> go{false};
        tell("expire");
        tell("delay 2000 POST " + sessions());
        tell("status 503 POST " + sessions());
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i)
            threads.emplace_back([&] {
                for (++ready; !go;) std::this_thread::yield();
                const auto answer = session.get(kSystem);
                failures += !answer && answer.error().doing == "renew the session" ? 1 : 0;
            });
        EXPECT_TRUE(comesTrue([&] { return ready == 8; }));
        go = true;
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(failures, 8);
        // The older generation's login tries the other IP version once more by itself.
        EXPECT_LT(answered("POST " + sessions() + " 503"), 8);
        tell("clear");
        EXPECT_TRUE(session.get(kSystem)) << "and the next one tries again";
    }
    EXPECT_TRUE(comesTrue(Client::isSettled));
    EXPECT_EQ(logins(), 2) << "no thread had a renewal of its own in store";
}

TEST_P(Promise, AListenerMaySendRequestsAndThrow)
{
    Session* current = nullptr;
    int      told    = 0;
    Client   client(telling([&](const std::string&) {
        ++told;
        EXPECT_TRUE(current->get(kSystem)) << "of the same ended session";
        throw std::runtime_error("of the listener's own");
    }));
    Session  session(client);
    current = &session;
    tell("expire");
    EXPECT_TRUE(session.get(kSystem).orThrow().renewed);
    EXPECT_EQ(told, 1);
}

#if defined(__has_feature)
constexpr bool kHasAddressSanitizer = __has_feature(address_sanitizer);
#elif defined(__SANITIZE_ADDRESS__)
constexpr bool kHasAddressSanitizer = true;
#else
constexpr bool kHasAddressSanitizer = false;
#endif
// Its allocator locks each class of sizes, and a child that is forked meanwhile waits in malloc for that lock for good.
constexpr int kBesideForks = kHasAddressSanitizer ? 0 : 4;

TEST_P(Promise, AForkedChildOwnsNothing)
{
    Client                   client;
    Session                  session(client);
    EventStream              stream(session);
    std::atomic<bool>        over{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kBesideForks; ++i)
        threads.emplace_back([&] {
            while (!over) EXPECT_TRUE(session.get(kSystem));
        });
    int childrensLogins = 0;
    for (int i = 0; i < 10; ++i) {
#ifndef __SANITIZE_THREAD__  // which knows no threads behind a fork: a child has no session of its own then
        ++childrensLogins;
#endif
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            bool isRight = !session.get(kSystem) && !client.getOpen("/redfish/v1") && !stream.next();
            {
                const Session     left(std::move(session));  // leaves its scope here
                const EventStream leftToo(std::move(stream));
            }
            client.~Client();
            if (childrensLogins > 0) {
                Client own;
                isRight = isRight && Session(own).get(kSystem);
            }
            _exit(isRight ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "14 is SIGALRM: it hung";
        EXPECT_TRUE(session.get(kSystem)) << "the parent's session lives on";
    }
    over = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(logins(), 1 + childrensLogins) << "no renewal: nobody logged the parent out";
}

/** What an answer of a status makes of a file that had "old" in it. */
struct Download {
    const char* head;
    const char* range;
    bool        succeeds;
    const char* left;
};

TEST_P(Promise, AFileIsReplacedByItsBodyAlone)
{
    Client            client;
    Session           session(client);
    const std::string file = bmc.directory() + "/file", link = bmc.directory() + "/link",
                      pipe = bmc.directory() + "/pipe";
    const Download rows[]  = {{"302 Found", nullptr, false, "old"},
                              {"202 Accepted", nullptr, false, "old"},
                              {"206 Partial Content", nullptr, false, "old"},
                              {"404 Not Found", nullptr, true, "old"},
                              {"206 Partial Content", "Range: bytes=0-2", true, "new"},
                              {"200 OK", nullptr, true, "new"}};
    for (const std::string& left : {file, link, pipe}) std::filesystem::remove(left);
    ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
    for (const auto& [head, range, succeeds, left] : rows) {
        std::ofstream(file) << "old";
        std::ofstream(file + ".1.part") << "left by a process that was killed";
        chmod(file.c_str(), 04751);
        answer(kEcho, head, "new");
        RequestOptions options;
        if (range != nullptr) options.with(range);
        EXPECT_EQ(bool(session.download(kEcho, link, {}, options)), succeeds) << head;
        EXPECT_EQ(readFile(file), left) << head;
        EXPECT_FALSE(std::filesystem::exists(file + ".1.part"));
        struct stat about {};
        EXPECT_EQ(stat(file.c_str(), &about), 0);
        EXPECT_EQ(about.st_mode & 07777, left == std::string("new") ? 0751u : 04751u) << "no more than the permissions";
    }
    EXPECT_TRUE(std::filesystem::is_symlink(link)) << "one's own is followed";
    diskFails = true;
    EXPECT_EQ(session.download(kEcho, file).error().system, EIO);
    EXPECT_EQ(readFile(file), "new") << "and no echo";
    diskFails       = false;
    const auto full = session.download(kEcho, "/dev/full");
    ASSERT_FALSE(full);
    EXPECT_EQ(full.error().system, geteuid() == 0 || !full.error().system ? ENOSPC : full.error().system);
    EXPECT_EQ(session.download(kEcho, bmc.directory() + "/none/file").error().system, ENOENT);
    EXPECT_EQ(session.upload(kEcho, bmc.directory() + "/none", "{}").error().system, ENOENT);
    if (geteuid() != 0) GTEST_SKIP() << "only root can lay out another user's files";
    mkfifo(pipe.c_str(), 0666);
    for (const std::string& foreign : {file, pipe, link}) {
        EXPECT_EQ(lchown(foreign.c_str(), 12345, 12345), 0);
        EXPECT_EQ(session.download(kEcho, foreign).error().system, EPERM) << foreign;
    }
}

TEST_P(Promise, AResultIsNotMistaken)
{
    Client                 client;
    Session                session(client);
    const Result<Response> fine = session.get(kSystem), missing = session.get("relative");
    EXPECT_THROW(static_cast<void>(fine.error()), Failure);
    EXPECT_THROW(static_cast<void>(missing->http), Failure);
    EXPECT_EQ(session.patch(kSystem, Json{{"AssetTag", "rack 8"}}).orThrow().http, 200);
    EXPECT_EQ(session.json(kSystem).orThrow()["AssetTag"], "rack 8");
    EXPECT_EQ(session.patch(kSystem, Json{{"AssetTag", "\xff"}}).error().status, QVRFUTIL_INVALID_PARAMETER);
    Session moved(std::move(session));
    EXPECT_TRUE(moved.get(kSystem));
    EXPECT_FALSE(session.get(kSystem));
}

TEST_P(Promise, ARequestCarriesWhatItsCallerWants)
{
    Client         client;
    Session        session(client);
    const Response seen = session.get(kSystem).orThrow();
    for (const int http : {200, 412}) {  // by then somebody has changed it
        const std::string tag = std::string("rack ") + GetParam() + std::to_string(http);
        EXPECT_EQ(session.patch(kSystem, Json{{"AssetTag", tag}}, RequestOptions().ifMatch(seen)).orThrow().http, http);
    }
    const std::string file = bmc.directory() + "/image";
    std::ofstream(file) << "image bytes";
    u64            sent = 0;
    RequestOptions watched;
    watched.onProgress = [&](const Progress& progress) {
        sent = progress.sent;
        EXPECT_EQ(connections([](int fd) { return (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0; }), 0) << "inheritable";
    };
    const Json form =
        session
            .sendForm(kEcho, {FormField::text("UpdateParameters", "{}"), FormField::file("UpdateFile", file)}, watched)
            .orThrow()
            .json();
    for (const char* part : {"name=\"UpdateParameters\"", "name=\"UpdateFile\"; filename=\"image\"", "image bytes"})
        EXPECT_TRUE(has(form["body"], part)) << part;
    EXPECT_GT(sent, 11u);
    const Json put =
        session.sendFile(Method::put, kEcho, file, RequestOptions().with("Content-Type: text/x")).orThrow().json();
    EXPECT_EQ(put["method"], "PUT");
    EXPECT_EQ(put["body"], "image bytes");
    tell("delay 60000 GET /test 1");
    RequestOptions hasty;
    hasty.limit = Duration(200);
    EXPECT_EQ(session.get(kEcho, hasty).error().reason, Reason::timeLimit);
    RequestOptions small;
    small.room = 100;
    EXPECT_EQ(session.get("/test/bytes/101", small).error().reason, Reason::tooLong);
    EXPECT_TRUE(session.get("/test/bytes/100", small));
    const Error changed = session.post(kEcho, "{}", small).error();
    EXPECT_EQ(changed.http, 200);
    EXPECT_TRUE(has(changed.text(), "it was carried out")) << changed.text();
    EXPECT_EQ(session.get(kEcho, RequestOptions().with("X-Auth-Token: mine")).error().status,
              QVRFUTIL_INVALID_PARAMETER);
}

TEST_P(Promise, ALoginThatComesTooLateIsClosedAgain)
{
    Client client;
    tell("delay 1500 POST " + sessions() + " 1");
    Login hasty;
    hasty.limit = Duration(100);
    EXPECT_FALSE(Session::open(client, hasty));
    EXPECT_TRUE(comesTrue([&] { return logins() == 1 && openSessions() == 0; }));
}

}  // namespace
}  // namespace layertest
