// hoistline log, on a prepared database.
#include "CommandTest.h"
#include "Database.h"
#include "LogTimes.h"
#include "clsDbManager.h"

#include <filesystem>

using namespace testing_support;

namespace {

using Texts = std::vector<std::string>;

constexpr std::int64_t SECOND = 1'000'000'000;

class LogTest : public CommandTest {
protected:
    LogTest() {
        UseBus(Bus({}));
        setenv("TZ", "UTC", 1);
        tzset();
        std::filesystem::remove(Path());
        platform::Database::Create(Path(), clsDbManager::Schema());
    }
    std::string Path() const { return program->directory.file("db1.mdb"); }
    void Add(std::int64_t runTime, std::int32_t level, const std::string& module, const std::string& message) {
        platform::Database database(Path());
        const auto rows = database.OpenRecordset("SELECT * FROM tblStatus");
        rows->AddNew();
        rows->SetField("lngRuntime", runTime);
        rows->SetField("Level", std::int64_t{level});
        rows->SetField("strModule", module);
        rows->SetField("Message", message);
        rows->Update();
    }
    void AddStart(const std::string& time, const std::string& name = "HoistlineApp") {
        Add(-1, 13, "clsDbManager", "Database initialized and status log opened on " + time + ".");
        Add(20, 13, "basApp", "Started " + name + " version 1.8.1 at " + time);
    }
    // "time message" for each row of an answer.
    Texts Rows(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "log");
        Texts rows;
        const cli::Json record = Record(arguments);
        for (const cli::Json& row : record["answer"]["rows"])
            rows.push_back(fmt::format("{} {}", row["time"].is_null() ? "-" : row["time"].get<std::string>(),
                                       row["message"].get<std::string>()));
        return rows;
    }
};

TEST_F(LogTest, DerivesTimesFromTheStartsOfRuns) {
    Add(90'000, 5, "bas1394", "of a run whose start has gone");
    AddStart("2026-11-24 06:00:00", "hoistline"); // killed
    AddStart("2026-11-24 08:30:00", "hoistline");
    Add(-1, 5, "clsDbManager", "Closing database...");
    AddStart("2026-11-24 09:00:00");
    Add(3'600'020, 7, "basBootloader", "an hour later");
    Add(-1, 5, "clsDbManager", "Closing database...");
    AddStart("2026-11-25 14:00:00");
    Add(600'020, 5, "bas1394", "beside it another run starts");
    AddStart("2026-11-25 14:10:01", "hoistline");
    Add(1'020, 5, "bas1394", "of the short run");
    Add(603'020, 5, "bas1394", "of the long run");
    Add(-1, 5, "clsDbManager", "Closing database...");
    Add(1'200'020, 11, "bas1394", "\x1B[31mof the long run");
    program->clock.SetCalendar(*store::ParseSince("2026-11-25 14:30", 0) * 1'000'000);
    const Texts all = Rows({});
    const Texts expected = {"- of a run whose start has gone",
                            "2026-11-24T06:00:00 Database initialized and status log opened on 2026-11-24 06:00:00.",
                            "2026-11-24T06:00:00 Started hoistline version 1.8.1 at 2026-11-24 06:00:00",
                            "2026-11-24T08:30:00 Database initialized and status log opened on 2026-11-24 08:30:00.",
                            "2026-11-24T08:30:00 Started hoistline version 1.8.1 at 2026-11-24 08:30:00",
                            "2026-11-24T08:30:00 Closing database...",
                            "2026-11-24T09:00:00 Database initialized and status log opened on 2026-11-24 09:00:00.",
                            "2026-11-24T09:00:00 Started HoistlineApp version 1.8.1 at 2026-11-24 09:00:00",
                            "2026-11-24T10:00:00 an hour later",
                            "2026-11-24T10:00:00 Closing database...",
                            "2026-11-25T14:00:00 Database initialized and status log opened on 2026-11-25 14:00:00.",
                            "2026-11-25T14:00:00 Started HoistlineApp version 1.8.1 at 2026-11-25 14:00:00",
                            "2026-11-25T14:10:00 beside it another run starts",
                            "2026-11-25T14:10:01 Database initialized and status log opened on 2026-11-25 14:10:01.",
                            "2026-11-25T14:10:01 Started hoistline version 1.8.1 at 2026-11-25 14:10:01",
                            "2026-11-25T14:10:02 of the short run",
                            "2026-11-25T14:10:03 of the long run",
                            "2026-11-25T14:10:03 Closing database...",
                            "2026-11-25T14:20:00 \x1B[31mof the long run"};
    EXPECT_EQ(all, expected);
    EXPECT_EQ(Rows({"--level", "warning", "--module", "BAS1394"}), Texts{expected.back()});
    EXPECT_EQ(Rows({"--since", "2026-11-25 14:10:02"}), Texts(expected.end() - 4, expected.end()));
    EXPECT_EQ(Call({"log", "--level", "error"}), 0);
    EXPECT_NE(out.find("2026-11-25 14:20:00  0:20:00.020 ERROR   bas1394       ?[31mof the long run\n"),
              std::string::npos)
        << out;
}

TEST(LogSinceTest, UnderstandsDatesTimesAndAges) {
    const std::int64_t now = *store::ParseSince("2026-11-25T14:30:10", 0);
    const std::pair<const char*, const char*> cases[] = {
        {"2026-11-25", "2026-11-25 00:00:00"}, {"2024-02-29 23:59", "2024-02-29 23:59:00"},
        {"14:30", "2026-11-25 14:30:00"},      {"00:00:01", "2026-11-25 00:00:01"},
        {"10s", "2026-11-25 14:30:00"},        {"90m", "2026-11-25 13:00:10"},
        {"2h", "2026-11-25 12:30:10"},         {"365d", "2025-11-25 14:30:10"}};
    for (const auto& [text, time] : cases)
        EXPECT_EQ(store::FormatLocal(store::ParseSince(text, now).value_or(0)), time) << text;
    for (const char* bad : {"", "m", "-1h", "1.5h", "5", "5w", "24:00", "14:60", "2026-02-29", "2026-11-25 ",
                            "2026-11-25x14:30", "yesterday", "99999999999d"})
        EXPECT_FALSE(store::ParseSince(bad, now)) << bad;
}

TEST(LogFollowTest, FindsNewRowsWhileOldOnesRollAway) {
    const auto rows = [](const std::string& messages) {
        std::vector<store::LogRow> log;
        for (const char message : messages)
            log.push_back({0, 5, "m", std::string(1, message)});
        return log;
    };
    const std::tuple<const char*, const char*, std::size_t> cases[] = {
        {"", "", 0},       {"", "ab", 0},      {"abc", "abc", 3},    {"abc", "abcd", 3}, {"abc", "cd", 1},
        {"abc", "xyz", 0}, {"aba", "abab", 3}, {"abcb", "bcbxb", 3}, {"abc", "", 0},     {"abcd", "acdef", 3}};
    for (const auto& [before, now, first] : cases)
        EXPECT_EQ(store::FirstNewRow(rows(before), rows(now)), first) << before << " " << now;
}

TEST_F(LogTest, FollowsWhatOtherProgramsStoreUntilItsTimeIsOver) {
    for (int i = 0; i < 15; ++i)
        Add(i, 5, "bas1394", fmt::format("old {}", i));
    program->windowSystem.eachTurn = [this, step = 0]() mutable {
        const std::int64_t now = program->clock.Now();
        if (now >= 2 * SECOND && step == 0 && ++step) {
            platform::Database(Path()).Execute("DELETE FROM tblStatus WHERE rowid < 12");
            Add(100, 5, "bas1394", "new");
        }
        if (now >= 4 * SECOND && step == 1 && ++step) {
            std::ignore = platform::Database::Compact(Path());
            Add(200, 3, "bas1394", "too low");
            Add(300, 7, "bas1394", "renumbered");
        }
    };
    EXPECT_EQ(Call({"log", "--follow", "--level", "trace", "--json", "--timeout", "6"}), 10);
    Texts messages;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const cli::Json document = cli::Json::parse(line);
        messages.push_back(document.contains("row") ? document["row"]["message"] : document["verdict"]);
    }
    const Texts expected = {"old 5",  "old 6",  "old 7",  "old 8", "old 9",      "old 10",   "old 11",
                            "old 12", "old 13", "old 14", "new",   "renumbered", "timed-out"};
    EXPECT_EQ(messages, expected) << out;
}

TEST_F(LogTest, NeverWritesTheDatabaseAndDoesWithoutOne) {
    platform::Database running(Path()); // another program
    Add(1, 5, "bas1394", "stored");
    const std::string before = program->Read("db1.mdb");
    EXPECT_EQ(Call({"log"}), 0);
    EXPECT_NE(out.find("stored"), std::string::npos) << out;
    EXPECT_EQ(program->Read("db1.mdb"), before);

    UseBus(Bus({}));
    std::filesystem::remove(Path());
    EXPECT_EQ(Call({"log"}), 0);
    EXPECT_EQ(out, "");
    EXPECT_NE(error.find("there is no stored log yet"), std::string::npos) << error;
    EXPECT_FALSE(std::filesystem::exists(Path()));
    program->Write("db1.mdb", std::string(4096, 'x'));
    EXPECT_EQ(Call({"log"}), 1);
    EXPECT_NE(error.find("failed: Database error: file is not a database"), std::string::npos) << error;
    EXPECT_EQ(Call({"log", "--level", "loud"}), 2);
    EXPECT_EQ(Call({"log", "--since", "yesterday"}), 2);
}

} // namespace
