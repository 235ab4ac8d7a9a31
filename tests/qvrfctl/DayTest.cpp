/** @file DayTest.cpp  qvrfctl's commands of every day against a simulator: rows of day.txt, a table a command. */
#include "ToolBench.h"

namespace {

class Day : public OnOneGeneration, public testing::WithParamInterface<const char*> {
protected:
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

    void hold(const Words& row) const
    {
        for (const std::string& line : parts(row[0]))
            if (line != "-") bmc.tell(line);
        const std::size_t before  = requests();
        const Outcome     outcome = tool(split(row[1]), {{{"TZ", "UTC"}, {"XDG_CONFIG_HOME", place}}, {}, {}});
        const std::string said    = outcome.out + outcome.err;
        EXPECT_EQ(std::to_string(outcome.exit), row[2]) << row[1] << ": " << said;
        EXPECT_LE(requests() - before, std::stoul(row[3])) << row[1];
        for (const std::string& part : parts(row[4]))
            EXPECT_TRUE(says(said, part)) << row[1] << ": " << part << "\n" << said;
    }
};
INSTANTIATE_TEST_SUITE_P(Commands, Day,
                         testing::Values("status", "sensors", "log", "power", "boot", "sessions", "pieces", "changes",
                                         "firmware", "users"),
                         [](const auto& row) { return std::string(row.param); });

TEST_P(Day, GoesAsItsRowsSay)
{
    for (const Words& row : cases::rowsOf(DAY_CASES, GetParam())) hold(row);
    EXPECT_EQ(openSessions(), 0u);
}

}  // namespace
