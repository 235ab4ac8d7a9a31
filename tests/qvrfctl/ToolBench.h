/** @file ToolBench.h  qvrfctl on the bench: the real program, a real simulator, tables of what is tried. */
#ifndef QVRFCTL_TEST_TOOLBENCH_H
#define QVRFCTL_TEST_TOOLBENCH_H

#include <gtest/gtest.h>
#include <signal.h>

#include "Cases.h"
#include "Child.h"

using cases::casesOf;

/** A simulator, and the tool that talks to it. */
class Bench {
public:
    explicit Bench(std::string ofGeneration, const Words& arguments = {})
        : generation(std::move(ofGeneration)), bmc(generation, arguments)
    {
    }

    Json        control(const Words& words) const { return bmc.control(words); }
    std::size_t openSessions() const { return control({"sessions"})["sessions"].size(); }
    /** Answers the next GET of @p path so, or the next few. */
    void answerOnce(const std::string& path, const std::string& body, const std::string& header = "A: b",
                    const char* times = "1") const
    {
        writeFile(place + "/raw", "HTTP/1.1 200 OK\r\n" + header +
                                      "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
        control({"raw", '@' + place + "/raw", "GET", path, times});
    }

    std::unique_ptr<Child> start(const Words& arguments, ChildOptions options = {}) const
    {
        Words command{QVRFCTL_PROGRAM, "--generation", generation};
        command.insert(command.end(), arguments.begin(), arguments.end());
        options.environment.emplace("QVPLATFORM_CONFIG", place + "/platform.cfg");
        return std::make_unique<Child>(command, options);
    }
    Outcome tool(const Words& arguments, const ChildOptions& options = {}) const
    {
        return start(arguments, options)->wait();
    }
    /** The document of a command that succeeds. */
    Json document(Words arguments) const
    {
        arguments.push_back("--json");
        const Outcome outcome = tool(arguments);
        EXPECT_EQ(outcome.exit, 0) << outcome.err;
        return Json::parse(outcome.out, nullptr, false);
    }

    std::string       generation;
    Torvosim          bmc;
    const std::string place = bmc.directory();
};

/** For what does not depend on the generation. */
class OnOneGeneration : public Bench, public testing::Test {
protected:
    OnOneGeneration() : Bench("old") {}
};

class OnEachGeneration : public Bench, public testing::TestWithParam<const char*> {
protected:
    OnEachGeneration() : Bench(GetParam()) {}
};

inline std::string generationName(const testing::TestParamInfo<const char*>& row)
{
    return row.param;
}

#endif
