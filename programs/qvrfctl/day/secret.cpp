/** @file secret.cpp  Takes a password from the terminal or a file; never from the command line or the environment. */
#include "secret.h"

#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "../failure.h"
#include "descriptor.h"

namespace qvrfctl {
namespace {

constexpr std::size_t kLongest = 1024;

/** A terminal that does not show what is typed, and does so again at the end. */
class Terminal {
public:
    Terminal() : fd_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY))
    {
        if (!fd_ || ::tcgetattr(fd(), &before_) != 0)
            throw wrongUsage("there is no terminal to ask for the password", "give --password-file or --generate");
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(fd(), TCSAFLUSH, &silent);
    }
    ~Terminal() { ::tcsetattr(fd(), TCSAFLUSH, &before_); }
    Terminal(Terminal&&) = delete;

    int  fd() const noexcept { return fd_.get(); }
    void say(const std::string& text) const { static_cast<void>(::write(fd(), text.data(), text.size()) + 1); }

private:
    qvtools::Descriptor fd_;
    termios             before_{};
};

/** Up to the line's end, by bytes: nothing of it stays in a buffer. */
Secret lineOf(int fd)
{
    std::string line;
    line.reserve(kLongest);
    for (char c = 0; line.size() < kLongest && ::read(fd, &c, 1) == 1 && c != '\n';) line += c;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return Secret(std::move(line));
}

}  // namespace

void wipe(std::string& text) noexcept
{
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

void Secret::wipe() noexcept
{
    qvrfctl::wipe(text_);
}

Secret askPassword(const std::string& user)
{
    const Terminal terminal;
    terminal.say("Password for " + user + ": ");
    Secret first = lineOf(terminal.fd());
    terminal.say("\nThe same again: ");
    const Secret second = lineOf(terminal.fd());
    terminal.say("\n");
    if (first.text() != second.text()) throw wrongUsage("the two passwords differ: nothing was changed");
    return first;
}

Secret passwordFrom(const std::string& file)
{
    if (file == "-") return lineOf(STDIN_FILENO);
    const qvtools::Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened) throw wrongUsage("cannot read the password from " + file + ": " + ::strerror(errno));
    return lineOf(opened.get());
}

std::string quoted(const std::string& text)
{
    std::string all = "\"";
    all.reserve(6 * text.size() + 2);  // never moved: no copy is left behind
    for (const char c : text) {
        char code[8];
        if (c == '"' || c == '\\')
            (all += '\\') += c;
        else if (static_cast<unsigned char>(c) < 0x20)
            all.append(code, static_cast<std::size_t>(std::snprintf(code, sizeof code, "\\u%04x", c)));
        else
            all += c;
    }
    return all += '"';
}

}  // namespace qvrfctl
