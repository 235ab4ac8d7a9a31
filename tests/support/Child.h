/** @file Child.h  Programs run by a test: started, talked to, waited for; the simulator among them. And their files. */
#ifndef CHILD_H
#define CHILD_H

#include <chrono>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

using Json  = nlohmann::json;
using Words = std::vector<std::string>;

std::string readFile(const std::string& path);
void        writeFile(const std::string& path, const std::string& text);
Words       split(const std::string& line);  ///< the words of a line
inline bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/** Waits until @p condition holds. @return false: it did not within a time that is too long for any machine */
template <class Condition>
bool comesTrue(Condition condition)
{
    for (int tries = 0; tries < 6000; ++tries, std::this_thread::sleep_for(std::chrono::milliseconds(5)))
        if (condition()) return true;
    return false;
}

struct ChildOptions {
    enum class Output { kept, full, closed, terminal };
    std::map<std::string, std::string> environment;             ///< on top of the test's own
    std::string                        input;                   ///< on standard input
    Output                             output  = Output::kept;  ///< terminal: all three, written ones in "out"
    unsigned short                     columns = 0;             ///< of the terminal
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

    /** Gives a control line, or its words. @return the answer; fails the test when it is refused */
    Json               tell(const std::string& line) const;
    Json               control(const Words& words) const;
    void               stop();
    const std::string& directory() const noexcept { return directory_; }
    std::string        configuration() const { return directory_ + "/platform.cfg"; }
    std::string        port() const;

private:
    std::string            directory_;
    std::unique_ptr<Child> process_;
};

#endif
