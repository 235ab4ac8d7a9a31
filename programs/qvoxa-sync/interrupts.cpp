/**
 * @file interrupts.cpp
 * The signal handler. It runs in the main thread, in the middle of whatever the library does, and does not go back
 * there: nothing is made anew behind its back. It calls nothing that takes a lock of the C library.
 */
#include "interrupts.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include "descriptor.h"
#include "updatelock.h"

namespace qvoxasync {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/** The words of "rm -rf", laid out before a signal comes. */
class RemoveCommand {
public:
    RemoveCommand(RemoveCommand&&) = default;  // not a copy: the words are pointed at
    explicit RemoveCommand(std::vector<std::string> paths) : words_(std::move(paths))
    {
        if (words_.empty()) return;
        words_.insert(words_.begin(), {"rm", "-rf", "--"});
        for (std::string& word : words_) argv_.push_back(word.data());
        argv_.push_back(nullptr);
    }
    void run() const noexcept
    {
        pid_t child = 0;
        if (argv_.empty() || ::posix_spawn(&child, "/bin/rm", nullptr, nullptr, argv_.data(), environ) != 0) return;
        while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
    }

private:
    std::vector<std::string> words_;
    std::vector<char*>       argv_;
};

struct Plan {
    RemoveCommand own;
    RemoveCommand underLock;
    std::string   lockFile;
};

std::atomic<const Plan*> g_plan{nullptr};

/** The name of a process's list of children, made without the C library's formatting. */
class ChildrenOf {
public:
    explicit ChildrenOf(pid_t pid) noexcept
    {
        append("/proc/");
        appendNumber(pid);
        append("/task/");
        appendNumber(pid);
        append("/children");
    }
    /** Calls @p each for every child. @return whether there is one */
    template <class Each>
    bool forEach(Each each) const noexcept
    {
        std::array<char, 512>     text;
        const qvtools::Descriptor list(::open(path_.data(), O_RDONLY | O_CLOEXEC));
        const ssize_t             length = list ? ::read(list.get(), text.data(), text.size()) : -1;
        bool                      any    = false;
        pid_t                     pid    = 0;
        for (ssize_t i = 0; i < length; ++i) {
            const char c = text[static_cast<std::size_t>(i)];
            if (c >= '0' && c <= '9') {
                pid = pid * 10 + (c - '0');
            } else if (pid > 0) {
                each(pid);
                any = true;
                pid = 0;
            }
        }
        return any;
    }

private:
    void append(const char* text) noexcept
    {
        while (*text != '\0') path_[size_++] = *text++;
    }
    void appendNumber(pid_t number) noexcept
    {
        if (number >= 10) appendNumber(number / 10);
        path_[size_++] = static_cast<char>('0' + number % 10);
    }

    std::array<char, 64> path_{};
    std::size_t          size_ = 0;
};

/** @return whether the main thread waits for a command */
bool passOn(int signal) noexcept
{
    siginfo_t ended{};
    if (::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0) return false;  // no child at all
    // A shell that ends before its command would leave it running: the command gets the signal in its stead.
    ChildrenOf(::getpid()).forEach([signal](pid_t shell) {
        if (!ChildrenOf(shell).forEach([signal](pid_t command) { ::kill(command, signal); })) ::kill(shell, signal);
    });
    return true;
}

void say(const char* text) noexcept
{
    if (::write(STDERR_FILENO, text, std::strlen(text)) < 0) return;
}

extern "C" void onEndingSignal(int signal)
{
    const int before = errno;
    if (passOn(signal)) {
        errno = before;
        return;
    }
    say("qvoxa-sync: interrupted: start it again to update\n");
    if (const Plan* plan = g_plan; plan != nullptr) {
        if (!otherHoldsLock(plan->lockFile.c_str())) plan->underLock.run();
        plan->own.run();
    }
    ::_exit(128 + signal);
}

extern "C" void onBrokenPipe(int) {}

void handle(int signal, void (*handler)(int)) noexcept
{
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
    action            = {};
    action.sa_handler = handler;
    action.sa_flags   = SA_RESTART;
    for (const int other : kEndingSignals) ::sigaddset(&action.sa_mask, other);  // one is enough
    ::sigaction(signal, &action, nullptr);
}

}  // namespace

void removeOnInterrupt(Leftovers leftovers)
{
    auto              plan   = std::make_unique<const Plan>(Plan{RemoveCommand(std::move(leftovers.own)),
                                                  RemoveCommand(std::move(leftovers.underLock)), leftovers.lockFile});
    const Plan* const before = g_plan.exchange(plan.release());
    delete before;  // NOLINT: a handler that saw it does not come back
    for (const int signal : kEndingSignals) handle(signal, onEndingSignal);
}

void surviveBrokenPipes() noexcept
{
    handle(SIGPIPE, onBrokenPipe);  // a handler and not SIG_IGN, which the installer would inherit
}

}  // namespace qvoxasync
