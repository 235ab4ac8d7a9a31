/** @file Child.cpp  Starts programs and simulators. */
#include "Child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

/** A file without a name: what a child writes is there for whoever looks, however much it is. */
int newFile(const std::string& content = {})
{
    const int     fd   = ::memfd_create("child", MFD_CLOEXEC);
    const ssize_t done = ::pwrite(fd, content.data(), content.size(), 0);
    return done == static_cast<ssize_t>(content.size()) ? fd : -1;
}

std::string contentOf(int fd)
{
    struct stat about {};
    ::fstat(fd, &about);
    std::string   text(static_cast<std::size_t>(about.st_size), '\0');
    const ssize_t count = ::pread(fd, text.data(), text.size(), 0);  // the offset is the child's
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

int newTerminal()
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    return ::grantpt(master) == 0 && ::unlockpt(master) == 0 ? master : -1;
}

/** What is there, or, with @p patience -1, until nobody has the terminal open any more. */
void drain(int terminal, int patience, std::string& text)
{
    std::array<char, 4096> piece;
    pollfd                 look{terminal, POLLIN, 0};
    for (ssize_t count; ::poll(&look, 1, patience) > 0 && (count = ::read(terminal, piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(count));
}

/** A pipe that nobody reads. */
int newClosedPipe()
{
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) == 0) ::close(ends[0]);
    return ends[1];
}

int standardOutput(ChildOptions::Output output, int terminal)
{
    if (output == ChildOptions::Output::kept) return newFile();
    if (output == ChildOptions::Output::closed) return newClosedPipe();
    if (output == ChildOptions::Output::full) return ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    return ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

[[noreturn]] void become(const Words& command, const ChildOptions& options, const std::array<int, 3>& standard)
{
    for (int fd = 0; fd < 3; ++fd) ::dup2(standard[static_cast<std::size_t>(fd)], fd);
    for (const auto& [name, value] : options.environment) ::setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    ::execv(words[0], words.data());
    ::_exit(127);
}

}  // namespace

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

Words split(const std::string& line)
{
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

Child::Child(const Words& command, const ChildOptions& options)
{
    const bool    onTerminal = options.output == ChildOptions::Output::terminal;
    const winsize size{24, options.columns, 0, 0};
    pty_         = onTerminal ? newTerminal() : -1;
    out_         = standardOutput(options.output, pty_);
    const int in = onTerminal ? ::dup(out_) : newFile(options.input);
    if (onTerminal && options.columns != 0) ::ioctl(pty_, TIOCSWINSZ, &size);
    if (onTerminal) static_cast<void>(::write(pty_, options.input.data(), options.input.size()) + 1);
    err_ = onTerminal ? out_ : newFile();
    pid_ = ::fork();
    if (pid_ == 0) become(command, options, {in, out_, err_});
    ::close(in);
    if (!onTerminal) return;
    ::close(out_);  // the terminal ends with the child
    out_ = err_ = -1;
}

Child::~Child()
{
    if (pid_ > 0) ::kill(pid_, SIGKILL);
    if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
    for (const int fd : {out_, err_, pty_}) ::close(fd);
}

void Child::signal(int number) const
{
    ::kill(pid_, number);
}

std::string Child::out() const
{
    if (pty_ >= 0) drain(pty_, 0, shown_);
    return pty_ >= 0 ? shown_ : contentOf(out_);
}

Outcome Child::wait()
{
    int status = 0;
    if (pty_ >= 0) drain(pty_, -1, shown_);
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), out(), contentOf(err_)};
}

Outcome run(const Words& command, const ChildOptions& options)
{
    return Child(command, options).wait();
}

Torvosim::Torvosim(const std::string& generation, const Words& arguments)
    : directory_(std::filesystem::temp_directory_path() / "qvrfctl.XXXXXX")
{
    if (::mkdtemp(directory_.data()) == nullptr) throw std::runtime_error("no temporary directory");
    const std::string ready = directory_ + "/ready";
    Words             command{TORVOSIM_PROGRAM, "--generation",  generation,     "--state-dir", directory_ + "/state",
                  "--write-config", configuration(), "--ready-file", ready};
    command.insert(command.end(), arguments.begin(), arguments.end());
    process_ = std::make_unique<Child>(command);
    if (!comesTrue([&] { return std::filesystem::exists(ready); }))
        throw std::runtime_error("the simulator does not start: " + process_->out());
}

Torvosim::~Torvosim()
{
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void Torvosim::stop()
{
    if (process_) process_->signal(SIGTERM);
    if (process_) process_->wait();
    process_.reset();
}

Json Torvosim::tell(const std::string& line) const
{
    sockaddr_un to{};
    to.sun_family = AF_UNIX;
    (directory_ + "/state/control.sock").copy(to.sun_path, sizeof to.sun_path - 1);
    const int         fd    = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const std::string words = line + '\n';
    std::string       text;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 &&
        ::write(fd, words.data(), words.size()) > 0)
        for (char c = 0; ::read(fd, &c, 1) == 1 && c != '\n';) text += c;
    ::close(fd);
    Json answer = Json::parse(text, nullptr, false);
    EXPECT_TRUE(answer.is_object() && answer.value("ok", false)) << line << ": " << text;
    return answer;
}

Json Torvosim::control(const Words& words) const
{
    std::ostringstream line;
    for (const std::string& word : words) line << std::quoted(word) << ' ';
    return tell(line.str());
}

std::string Torvosim::port() const
{
    return Json::parse(std::ifstream(directory_ + "/ready")).at("httpsPort").dump();
}
