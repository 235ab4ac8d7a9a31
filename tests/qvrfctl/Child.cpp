/** @file Child.cpp  Starts programs and simulators. */
#include "Child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

namespace {

using Pipe = std::array<int, 2>;

Pipe newPipe()
{
    Pipe ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    return ends;
}

[[noreturn]] void become(const std::vector<std::string>& command, const ChildOptions& options, int in, int out, int err)
{
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    for (const auto& [name, value] : options.environment) ::setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    ::execv(words[0], words.data());
    ::_exit(127);
}

/** Reads both to their ends. */
void drain(int out, int err, Outcome& outcome)
{
    std::array<pollfd, 2>       ends{pollfd{out, POLLIN, 0}, pollfd{err, POLLIN, 0}};
    std::array<std::string*, 2> texts{&outcome.out, &outcome.err};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        ::poll(ends.data(), ends.size(), -1);
        for (std::size_t i = 0; i < ends.size(); ++i) {
            if (ends[i].fd < 0 || ends[i].revents == 0) continue;
            std::array<char, 65536> piece;
            const ssize_t           count = ::read(ends[i].fd, piece.data(), piece.size());
            if (count > 0)
                texts[i]->append(piece.data(), static_cast<std::size_t>(count));
            else
                ends[i].fd = -1;
        }
    }
}

}  // namespace

Child::Child(const std::vector<std::string>& command, const ChildOptions& options)
{
    const Pipe in  = newPipe();
    const Pipe out = newPipe();
    const Pipe err = newPipe();
    int        to  = out[1];
    if (!options.outputFile.empty()) to = ::open(options.outputFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (!options.input.empty() && ::write(in[1], options.input.data(), options.input.size()) < 0)
        throw std::runtime_error("cannot write to the pipe");
    ::close(in[1]);
    if (options.outputClosed) ::close(out[0]);
    pid_ = ::fork();
    if (pid_ == 0) become(command, options, in[0], to, err[1]);
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    if (to != out[1]) ::close(to);
    out_ = options.outputClosed ? -1 : out[0];
    err_ = err[0];
}

Child::~Child()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    for (const int fd : {out_, err_})
        if (fd >= 0) ::close(fd);
}

void Child::signal(int number) const
{
    ::kill(pid_, number);
}

Outcome Child::wait()
{
    Outcome outcome;
    drain(out_, err_, outcome);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_         = -1;
    outcome.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return outcome;
}

Outcome run(const std::vector<std::string>& command, const ChildOptions& options)
{
    return Child(command, options).wait();
}

Torvosim::Torvosim(const std::string& generation, const std::vector<std::string>& arguments)
{
    std::string name = std::filesystem::temp_directory_path() / "qvrfctl.XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_                     = name;
    const std::string        ready = directory_ + "/ready.json";
    std::vector<std::string> command{TORVOSIM_PROGRAM, "--generation",        generation,
                                     "--state-dir",    directory_ + "/state", "--write-config",
                                     configuration(),  "--ready-file",        ready};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildOptions options;
    options.outputFile = directory_ + "/torvosim.log";
    process_           = std::make_unique<Child>(command, options);
    for (int tries = 0; !std::filesystem::exists(ready); ++tries) {
        if (tries == 1000) throw std::runtime_error("the simulator does not start: see " + options.outputFile);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

Torvosim::~Torvosim()
{
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void Torvosim::stop()
{
    if (!process_) return;
    process_->signal(SIGTERM);
    process_->wait();
    process_.reset();
}

std::string Torvosim::control(const std::vector<std::string>& words) const
{
    std::vector<std::string> command{TORVOSIM_PROGRAM, "ctl", "--socket", directory_ + "/state/control.sock"};
    command.insert(command.end(), words.begin(), words.end());
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.exit, 0) << outcome.out << outcome.err;
    return outcome.out;
}

std::string Torvosim::port() const
{
    return nlohmann::json::parse(std::ifstream(directory_ + "/ready.json")).at("httpsPort").dump();
}

std::size_t Torvosim::openSessions() const
{
    return nlohmann::json::parse(control({"sessions"})).at("sessions").size();
}
