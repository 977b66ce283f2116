#include "Database.h"
#include "PlatformTest.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* TABLES = "CREATE TABLE tblSettings (strKeyName TEXT, strValue TEXT);"
                               "CREATE TABLE tblStatus (Level INTEGER, Message TEXT);";

class ADatabase : public ::testing::Test {
protected:
    ADatabase() { platform::Database::Create(path, TABLES); }

    platform::testing::TemporaryDirectory folder;
    const std::string path = folder.file("db1.mdb");
};

TEST_F(ADatabase, EditsOnlyTheCurrentRowAndItsChangedFields) {
    platform::Database database(path);
    database.Execute("INSERT INTO tblSettings VALUES ('a', '1'), ('b', NULL), ('b', '3')");
    const auto rows = database.OpenRecordset("SELECT * FROM tblSettings WHERE ((strKeyName = 'b'))");
    ASSERT_EQ(rows->RecordCount(), 2);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(rows->Field("strValue")));
    rows->Edit();
    rows->SetField("strKeyName", std::string("it's \"c\""));
    rows->Update();
    EXPECT_EQ(rows->Text("strKeyName"), "it's \"c\"");
    EXPECT_EQ(rows->Text("strValue"), "");
    rows->Delete();
    EXPECT_EQ(rows->Text("strValue"), "3"); // the next row is the current one
    rows->Delete();
    EXPECT_TRUE(rows->AtEnd());
    EXPECT_EQ(FailureOf([&] { rows->Delete(); }), 3000);
    EXPECT_EQ(FailureOf([&] { rows->Text("strValue"); }), 3000);
    EXPECT_EQ(database.OpenRecordset("SELECT * FROM tblSettings")->RecordCount(), 1);
}

TEST_F(ADatabase, RunsOnlyASingleSelection) {
    platform::Database database(path);
    database.Execute("INSERT INTO tblStatus VALUES (1, 'kept')");
    for (const char* query :
         {"SELECT * FROM tblStatus; DELETE FROM tblStatus", "SELECT * FROM tblStatus WHERE Message = 'it's'",
          "DELETE FROM tblStatus", "SELECT * FROM tblNothing", "SELECT * FROM ", "",
          "SELECT * FROM tblStatus WHERE ((Message = ''; DROP TABLE tblStatus; --'))"})
        EXPECT_EQ(FailureOf([&] { database.OpenRecordset(query); }), 3000) << query;
    const auto rows = database.OpenRecordset("SELECT * FROM tblStatus");
    EXPECT_EQ(rows->Text("message"), "kept"); // field names are case-insensitive
    EXPECT_EQ(FailureOf([&] { rows->Field("strNothing"); }), 3000);
    EXPECT_EQ(FailureOf([&] { rows->SetField("Level", std::int64_t{1}); }), 3000); // no edit has begun
}

TEST_F(ADatabase, KeepsEveryAcknowledgedRowAfterAKill) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) { // acknowledges each row with a byte once Update has returned
        platform::Database database(path);
        const auto rows = database.OpenRecordset("SELECT * FROM tblSettings");
        std::int64_t i = 0;
        do {
            rows->AddNew();
            rows->SetField("strKeyName", std::to_string(i++));
            rows->SetField("strValue", std::string(100, 'v'));
            rows->Update();
        } while (write(ends[1], "+", 1) == 1);
        _exit(1);
    }
    close(ends[1]);
    std::int64_t acknowledged = 0;
    for (char byte = 0; read(ends[0], &byte, 1) == 1;)
        if (++acknowledged == 1500)
            kill(child, SIGKILL);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    ASSERT_GE(acknowledged, 1500);

    platform::Database database(path);
    const auto rows = database.OpenRecordset("SELECT * FROM tblSettings");
    EXPECT_GE(rows->RecordCount(), acknowledged);
    EXPECT_LE(rows->RecordCount(), acknowledged + 1); // one may have been stored but not acknowledged
    rows->MoveLast();
    EXPECT_EQ(rows->Text("strKeyName"), std::to_string(rows->RecordCount() - 1));
}

} // namespace
