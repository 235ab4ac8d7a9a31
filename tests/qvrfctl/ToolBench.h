/** @file ToolBench.h  qvrfctl on the bench: the real program, a real simulator, one of either generation. */
#ifndef QVRFCTL_TEST_TOOLBENCH_H
#define QVRFCTL_TEST_TOOLBENCH_H

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "Child.h"

using Json = nlohmann::json;

inline std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/** Every test of it leaves the BMC without a session of its own. */
class ToolBench {
protected:
    explicit ToolBench(std::string generation) : generation_(std::move(generation)), bmc(generation_) {}

    std::vector<std::string> commandLine(const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> command{QVRFCTL_PROGRAM, "--generation", generation_};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }
    ChildOptions withPlatform(ChildOptions options = {}) const
    {
        options.environment.emplace("QVPLATFORM_CONFIG", bmc.configuration());
        return options;
    }
    Outcome tool(const std::vector<std::string>& arguments, const ChildOptions& options = {}) const
    {
        return run(commandLine(arguments), withPlatform(options));
    }
    /** The document of a command that succeeds. */
    Json document(std::vector<std::string> arguments) const
    {
        arguments.push_back("--json");
        const Outcome outcome = tool(arguments);
        EXPECT_EQ(outcome.exit, 0) << outcome.err;
        Json json = Json::parse(outcome.out, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << outcome.out;
        return json;
    }
    std::string sessions() const
    {
        return generation_ == "new" ? "/redfish/v1/SessionService/Sessions" : "/redfish/v1/Sessions";
    }

    std::string generation_;
    Torvosim    bmc;
};

/** For what does not depend on the generation. */
class OnOneGeneration : public ToolBench, public testing::Test {
protected:
    OnOneGeneration() : ToolBench("old") {}
};

class OnEachGeneration : public ToolBench, public testing::TestWithParam<const char*> {
protected:
    OnEachGeneration() : ToolBench(GetParam()) {}
};

inline std::string generationName(const testing::TestParamInfo<const char*>& row)
{
    return row.param;
}

#endif
