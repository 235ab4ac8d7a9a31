/** @file Child.h  A program run by a test: started, talked to, waited for. */
#ifndef QVRFCTL_TEST_CHILD_H
#define QVRFCTL_TEST_CHILD_H

#include <map>
#include <memory>
#include <string>
#include <vector>

struct ChildOptions {
    std::map<std::string, std::string> environment;           ///< on top of the test's own
    std::string                        input;                 ///< on standard input; up to what a pipe holds
    std::string                        outputFile;            ///< standard output goes there; empty: it is captured
    bool                               outputClosed = false;  ///< nobody reads standard output
};

struct Outcome {
    int         exit = -1;  ///< exit status; negative: the signal that ended it
    std::string out;
    std::string err;
};

/** A started program. Killed and waited for when the object goes. */
class Child {
public:
    explicit Child(const std::vector<std::string>& command, const ChildOptions& options = {});
    ~Child();
    Child(const Child&)            = delete;
    Child& operator=(const Child&) = delete;

    void signal(int number) const;
    /** Reads its output to the end and waits. */
    Outcome wait();

private:
    int pid_ = -1;
    int out_ = -1;
    int err_ = -1;
};

Outcome run(const std::vector<std::string>& command, const ChildOptions& options = {});

/** A simulator of its own for a test: free endpoints, everything in a directory that goes with it. */
class Torvosim {
public:
    explicit Torvosim(const std::string& generation, const std::vector<std::string>& arguments = {});
    ~Torvosim();
    Torvosim(const Torvosim&)            = delete;
    Torvosim& operator=(const Torvosim&) = delete;

    /** Gives a control line's words. @return the answer; fails the test when it is refused */
    std::string        control(const std::vector<std::string>& words) const;
    void               stop();
    const std::string& directory() const noexcept { return directory_; }
    std::string        configuration() const { return directory_ + "/platform.cfg"; }
    std::string        port() const;
    std::size_t        openSessions() const;

private:
    std::string            directory_;
    std::unique_ptr<Child> process_;
};

#endif
