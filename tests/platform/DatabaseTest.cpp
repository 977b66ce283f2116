#include "Database.h"
#include "PlatformTest.h"

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

} // namespace
