/** @file ProgramTest.cpp  The program: its files, its control client and its end. */
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Desk.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Json   = nlohmann::json;

std::string textOf(const fs::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Program : public testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "torvosim-test-XXXXXX").string();
        dir_                = ::mkdtemp(pattern.data());
    }
    void TearDown() override
    {
        if (running_ > 0) {
            ::kill(running_, SIGKILL);
            wait(running_);
        }
        fs::remove_all(dir_);
    }
    /** Starts the program; its output goes to a file of that name in the scratch directory. */
    pid_t spawn(std::vector<std::string> arguments, const std::string& output)
    {
        arguments.insert(arguments.begin(), TORVOSIM_PROGRAM);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        const std::string          path = (dir_ / output).string();
        posix_spawn_file_actions_t files;
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawn_file_actions_addopen(&files, 1, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::posix_spawn_file_actions_adddup2(&files, 1, 2);
        pid_t pid = -1;
        EXPECT_EQ(::posix_spawn(&pid, TORVOSIM_PROGRAM, &files, nullptr, argv.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&files);
        return pid;
    }
    static int wait(pid_t pid)
    {
        int status = 0;
        ::waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /** Runs it to its end. @return exit status */
    int run(const std::vector<std::string>& arguments, std::string* output = nullptr)
    {
        const int status = wait(spawn(arguments, "output"));
        if (output != nullptr) *output = textOf(dir_ / "output");
        return status;
    }
    /** Starts a simulator and waits until it is ready. */
    void start(std::vector<std::string> arguments)
    {
        const std::string ready = (dir_ / "ready.json").string();
        arguments.insert(arguments.end(), {"--ready-file", ready, "--write-config", (dir_ / "platform.cfg").string()});
        running_            = spawn(arguments, "summary");
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!fs::exists(ready) && std::chrono::steady_clock::now() < deadline && ::kill(running_, 0) == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_TRUE(fs::exists(ready)) << textOf(dir_ / "summary");
        ready_ = Json::parse(textOf(ready));
    }
    int finish() { return wait(std::exchange(running_, -1)); }

    fs::path dir_;
    pid_t    running_ = -1;
    Json     ready_;
};

TEST_F(Program, ServesUntilATerminationSignal)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        start({"--ipmi-tcp", "127.0.0.1:0", "--generation", "old"});
        EXPECT_THAT(
            textOf(dir_ / "platform.cfg"),
            testing::AllOf(testing::HasSubstr("hipm.endpoint=unix:" + ready_["ipmiUnix"].get<std::string>() + "\n"),
                           testing::HasSubstr("secure.tokenkey=" + ready_["tokenKey"].get<std::string>() + "\n")));
        EXPECT_THAT(textOf(dir_ / "summary"), testing::HasSubstr("HTTPS    https://127.0.0.1:"));
        HttpCall request{"GET", "https://127.0.0.1:" + std::to_string(ready_["httpsPort"].get<int>()) + "/redfish/v1"};
        EXPECT_EQ(perform(request).status, 200);
        EXPECT_THAT(IpmiClient(ready_["ipmiTcp"]).exchange("18 01"), testing::StartsWith("1C 01 00"));
        ::kill(running_, signal);
        EXPECT_EQ(finish(), 0);
        EXPECT_FALSE(fs::exists(ready_["stateDir"].get<std::string>()));
        fs::remove(dir_ / "ready.json");
    }
}

TEST_F(Program, IsControlledByItsOtherSelf)
{
    start({"--set", "agent=1.2 3", "--control", "status 418 GET /test", "--trace", (dir_ / "trace").string()});
    const std::string socket = ready_["control"];
    std::string       output;
    EXPECT_EQ(run({"ctl", "--socket", socket, "get", "agent"}, &output), 0);
    EXPECT_EQ(Json::parse(output)["facts"]["agent"], "1.2 3");
    EXPECT_EQ(run({"ctl", "--socket", socket, "faults"}, &output), 0);
    EXPECT_EQ(Json::parse(output)["faults"].size(), 1u);
    EXPECT_EQ(run({"ctl", "--socket", socket, "no-such-word"}, &output), 1);
    EXPECT_EQ(run({"ctl", "--socket", socket, "raw", "HTTP/1.1 200 OK\\r\\n\\r\\n-- \"x\"", "*", "*", "1"}, &output),
              0);
    HttpCall request{"GET", "https://127.0.0.1:" + std::to_string(ready_["httpsPort"].get<int>()) + "/redfish/v1"};
    EXPECT_EQ(perform(request).body, "-- \"x\"");
    EXPECT_EQ(run({"ctl", "--socket", socket, "stop"}, &output), 0);
    EXPECT_EQ(finish(), 0);
    EXPECT_THAT(textOf(dir_ / "trace"), testing::HasSubstr("https GET /redfish/v1"));
    EXPECT_EQ(run({"ctl", "--socket", socket, "stop"}, &output), 1) << "nobody is there any more";
}

TEST_F(Program, TellsWhatIsWrongWithItsCommandLine)
{
    std::string output;
    EXPECT_EQ(run({"--help"}, &output), 0);
    EXPECT_THAT(output,
                testing::AllOf(testing::HasSubstr("--https-port"), testing::HasSubstr("ipmi-silent NETFN CMD")));
    EXPECT_NE(run({"--no-such-option"}, &output), 0);
    EXPECT_EQ(run({"--set", "agent"}, &output), 1);
    EXPECT_THAT(output, testing::HasSubstr("FACT=VALUE"));
    EXPECT_EQ(run({"--tls-min", "2.0"}, &output), 1);
    EXPECT_THAT(output, testing::HasSubstr("no TLS version"));
}

}  // namespace
