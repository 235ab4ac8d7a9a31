/** @file Child.h  Programs run by a test: started, talked to, waited for; the simulator among them. */
#ifndef QVRFCTL_TEST_CHILD_H
#define QVRFCTL_TEST_CHILD_H

#include <map>
#include <memory>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct ChildOptions {
    enum class Output { kept, full, closed, terminal };
    std::map<std::string, std::string> environment;            ///< on top of the test's own
    std::string                        input;                  ///< on standard input
    Output                             output = Output::kept;  ///< terminal: of standard error too, both in "out"
};

struct Outcome {
    int         exit = -1;  ///< exit status; negative: the signal that ended it
    std::string out;
    std::string err;
};

/** A started program. Killed and waited for when the object goes. */
class Child {
public:
    explicit Child(const Words& command, const ChildOptions& options = {});
    ~Child();
    Child(const Child&) = delete;

    void        signal(int number) const;
    std::string out() const;  ///< what it has written by now
    Outcome     wait();

private:
    mutable std::string shown_;  ///< read from the terminal by now
    int                 pid_ = -1;
    int                 out_ = -1;
    int                 err_ = -1;
    int                 pty_ = -1;
};

Outcome run(const Words& command, const ChildOptions& options = {});

/** A simulator of its own: free endpoints, everything in a directory that goes with it. */
class Torvosim {
public:
    explicit Torvosim(const std::string& generation, const Words& arguments = {});
    ~Torvosim();
    Torvosim(const Torvosim&) = delete;

    /** Gives a control line's words. @return the answer; fails the test when it is refused */
    std::string        control(const Words& words) const;
    void               stop();
    const std::string& directory() const noexcept { return directory_; }
    std::string        configuration() const { return directory_ + "/platform.cfg"; }
    std::string        port() const;

private:
    std::string            directory_;
    std::unique_ptr<Child> process_;
};

#endif
