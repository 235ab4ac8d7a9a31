/** @file DayTest.cpp  qvrfctl's commands of every day against a simulator: rows of day.txt, a table a command. */
#include <filesystem>

#include "ToolBench.h"

namespace {

/** For the service that others laid out: its resources, a row each, as a mock-up. */
Words mockupFor(const std::string& table)
{
    const std::string place = std::filesystem::absolute("mockup");
    if (table != "other service") return {};
    for (const Words& row : cases::rowsOf(DAY_CASES, "resources of the other service")) {
        std::filesystem::create_directories(place + row[0]);
        writeFile(place + row[0] + "/index.json", row[1]);
    }
    return {"--mockup", place};
}

class Day : public Bench, public testing::TestWithParam<const char*> {
protected:
    Day() : Bench("old", mockupFor(GetParam())) {}

    std::size_t requests() const
    {
        std::size_t all   = 0;
        const Json  stats = control({"stats"})["requests"];
        for (const auto& [name, count] : stats.items()) all += count.get<std::size_t>();
        return all;
    }
    static Words parts(const std::string& cell)
    {
        Words all;
        for (std::size_t at = 0, end = 0; end != cell.npos; at = end + 3)
            end = cell.find(" & ", at), all.push_back(cell.substr(at, end - at));
        return all;
    }
    /** "!": not so. */
    static bool says(const std::string& text, const std::string& part)
    {
        return part[0] == '!' ? !has(text, part.substr(1)) : has(text, part);
    }
    /** "$": a command of the shell, in the simulator's directory. */
    void prepare(const std::string& line) const
    {
        if (line[0] == '$')
            EXPECT_EQ(std::system(("cd " + place + " && " + line.substr(1)).c_str()), 0) << line;
        else if (line != "-")
            bmc.tell(line);
    }
    /** "@40:n power off": on a terminal of 40 columns, where "n" is typed. */
    Outcome outcomeOf(Words command) const
    {
        ChildOptions options{{{"TZ", "UTC"}, {"XDG_CONFIG_HOME", place}, {"NO_COLOR", "1"}}, {}};
        if (command[0][0] != '@') return tool(command, options);
        options.output  = ChildOptions::Output::terminal;
        options.columns = static_cast<unsigned short>(std::stoi(command[0].substr(1)));
        options.input   = command[0].substr(command[0].find(':') + 1) + '\n';
        return tool({command.begin() + 1, command.end()}, options);
    }

    void hold(const Words& row) const
    {
        for (const std::string& line : parts(row[0])) prepare(line);
        const std::size_t before  = requests();
        const Outcome     outcome = outcomeOf(split(row[1]));
        const std::string said    = outcome.out + outcome.err;
        EXPECT_EQ(std::to_string(outcome.exit), row[2]) << row[1] << ": " << said;
        EXPECT_LE(requests() - before, std::stoul(row[3])) << row[1];
        for (const std::string& part : parts(row[4]))
            EXPECT_TRUE(says(said, part)) << row[1] << ": " << part << "\n" << said;
    }
};
INSTANTIATE_TEST_SUITE_P(Commands, Day,
                         testing::Values("status", "sensors", "log", "power", "boot", "sessions", "pieces", "changes",
                                         "firmware", "users", "settings", "terminals", "other service"),
                         [](const auto& row) {
                             std::string name = row.param;
                             name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
                             return name;
                         });

TEST_P(Day, GoesAsItsRowsSay)
{
    for (const Words& row : cases::rowsOf(DAY_CASES, GetParam())) hold(row);
    EXPECT_EQ(openSessions(), 0u);
}

class LogFollow : public OnOneGeneration, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(ByEvents, LogFollow, testing::Bool());

TEST_P(LogFollow, ShowsWhatComesAlsoBehindABrokenStreamAndEndsQuietly)
{
    if (!GetParam()) control({"status", "404", "GET", "/redfish/v1/EventService"});
    const auto        follow  = start({"log", "follow", "--log", "Sel", "--json", "--watch", GetParam() ? "60" : "1"});
    const std::string entries = "GET /redfish/v1/Systems/System.Embedded.1/LogServices/Sel/Entries 200";
    const auto        begins  = [&] { return control({"stats"})["requests"].value(entries, 0) > 1; };
    const auto        streams = [&] { return control({"stats"})["streamsOpen"] == 1; };
    EXPECT_TRUE(comesTrue(begins) && (!GetParam() || comesTrue(streams)));
    for (const char* text : {"first", "second"}) {
        bmc.tell(std::string("log Sel Warning ") + text);
        EXPECT_TRUE(comesTrue([&] { return has(follow->out(), text); })) << follow->out();
        control({"stream-break"});
        EXPECT_TRUE(!GetParam() || comesTrue(streams));
    }
    follow->signal(SIGINT);
    const Outcome end = follow->wait();
    EXPECT_EQ(end.exit, 128 + SIGINT);
    EXPECT_FALSE(has(end.err, "not read")) << end.err;
    EXPECT_FALSE(has(end.out, "chassis")) << "what was there before";
}

}  // namespace
