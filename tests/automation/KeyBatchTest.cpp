#include "KeyBatch.h"
#include "HeadlessProgram.h"
#include "Paths.h"
#include "basApp.h"
#include "basAutomation.h"
#include "basUtils.h"

#include <ranges>
#include <regex>

#include <gtest/gtest.h>

using namespace testing_support;
using basAutomation::KeyOperation;

namespace {

constexpr const char *FIRST = "000F1B0000000001", *SECOND = "000F1B0000000002";

std::string BusOfTwo() {
    const std::string keys = R"(, "keys": {"MODEL": "TX-9", "ONE": "1", "BLOB": {"hex": "00ff0d0a10"}})";
    return Bus({Target(FIRST, "bootloader", keys), Target(SECOND, "bootloader")});
}

TEST(KeyBatchText, DerivesTheNameOfTheReport) {
    EXPECT_EQ(basAutomation::ReportFileName("A.HTML"), "A.out.html");
    EXPECT_EQ(basAutomation::ReportFileName("a.Txt.txt"), "a.out.txt.out.txt");
    EXPECT_EQ(basAutomation::ReportFileName("keys"), "keys.out.html");
}

TEST(KeyBatchText, KeepsEachTextOfARecordsHeaderOnItsLine) {
    KeyOperation operation;
    operation.KeyName = "a\r\nb";
    EXPECT_EQ(basAutomation::DataFileLines(operation, {}, {})[10], "#   Key Name = a  b");
}

// "R 02 K>f" is a read, "W 02 K=value" a write.
std::string Summary(const std::vector<KeyOperation>& operations) {
    std::string text;
    for (const KeyOperation& operation : operations | std::views::drop(1)) {
        const bool isRead = operation.Operation == 1;
        text +=
            (isRead ? "R " : "W ") + basUtils::ByteArrayToHexString(operation.DeviceId, 8) + " " + operation.KeyName;
        text += (isRead ? ">" + operation.DataFile : "=" + std::string(operation.Data.begin(), operation.Data.end())) +
                "; ";
    }
    return text;
}

TEST(KeyBatch, ReadsOperationsAndReportsTheRest) {
    const std::string procedure = "GetKeyOperationsFromFile: ", failed = "GetKeyOperationsFromFile failed to ",
                      invalid = procedure + "Invalid key operation (first parameter) specified in b.html",
                      past = "Error #62: Input past end of file in GetKey", tag = "StripHTML: HtmlParse ERROR - ";
    std::string junk;
    for (int i = 0; i < 2000; ++i)
        junk += "x\n";
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"<td>READ --Single K</td>\n# x\n<br>\nread 0x0011223344556677 K f more", "R 02 K>; R 0011223344556677 K>f; ",
         ""},
        {"read --single K # note # more", "R 02 K>#; ", ""},
        {"read 02 <a<b>c>d</b>", "R 02 c>d>; ", tag + "'>' with no '<', line 1.  Exiting abnormally."},
        {"\nread 02 <a>K<b", "R 02 K<b>; ", tag + "'<' with no '>', line 2.  Exiting abnormally."},
        {"read 02\t\tK  f\rread 02 L,read 02 M\r\n\n", "R 02 K>f; R 02 L>; R 02 M>; ", ""},
        {"\"read 02,\nK\"read 02 L\n  read 02 a\"b\" ", "R 02 L>; R 02 a\"b\">; ", procedure + "read operation takes"},
        {"\"read 02 K", "R 02 K>; ", ""},
        {"read 02 K, note", "R 02 K>; ", invalid},
        {"<td> read --single K", "", invalid},
        {"write 02 K value.txt", "W 02 K=ab,c; ", ""},
        {"write 02 K", "", ""},
        {"read X", "", procedure + "read operation takes 2 or 3 arguments, not 1"},
        {"write 02 K none.txt", "", procedure + "key data file 'none.txt' not found!"},
        {"write 02 K blank.txt", "", failed + "read data from file 'blank.txt'!"},
        {"write 02 K empty.txt", "", past + "DataFromFile"},
        {"read 123 K", "R 00 K>; ", "2 chars per byte - this one is not divisible by 2: '123' in GetKeyOperations"},
        {"read xy K", "R 00 K>; ", "Error #13: "},
        {"", "", past + "OperationsFromFile"},
        {junk, "", "\"b.html\" has more than 1000 faults; the others are not listed."},
        {"write 02 K " + std::string(1'000'000, '/'), "", procedure + "key data file '///"},
    };
    HeadlessProgram program(BusOfTwo());
    platform::ChangeDirectory(program.directory.path());
    program.Write("value.txt", std::string(" # head, '/R \"b,\"x\r\n<b> a</b>,\r\n\"b,<x>c\"\r\n"));
    program.Write("blank.txt", std::string("# nothing\r\n"));
    program.Write("empty.txt", std::string());
    for (const auto& [batch, expected, message] : rows) {
        SCOPED_TRACE(batch.substr(0, 60));
        std::vector<KeyOperation> operations;
        std::int32_t dropped = 0;
        program.messages.clear();
        program.Write("b.html", batch);
        EXPECT_EQ(basAutomation::GetKeyOperationsFromFile("b.html", operations, dropped), 1);
        EXPECT_EQ(Summary(operations), expected);
        EXPECT_TRUE(message.empty() ? program.messages.empty() : program.Said(message));
        EXPECT_LE(program.messages.size(), 1001u);
    }
}

// Time and program name differ from run to run.
std::string Comparable(std::string text) {
    const std::string name = std::filesystem::path(platform::ExecutablePath()).filename().string();
    text = std::regex_replace(text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"), "TIME");
    return std::regex_replace(text, std::regex(name), "APP");
}

std::string DataFile(const std::string& file, const std::string& kind, const std::string& key,
                     const std::string& data) {
    const std::string rule = "#-----------------------------------------------\r\n";
    return rule + "# " + file +
           "\r\n# date generated: TIME\r\n# \r\n# App='APP' Ver=1.8.1  command line = '/R keys\\b.html'\r\n" +
           "# Device Manufacturer = 'Tarnwell'  Model = 'TX-9'\r\n# 6 operations performed.\r\n# \r\n"
           "# Batch Parameters (" +
           kind + ") Operation): \r\n#   Device GUID = " + FIRST + "\r\n#   Key Name = " + key + "\r\n# \r\n" + rule +
           "# Status: OK\r\n# DATA:\r\n" + rule + data + "\r\n" + rule;
}

TEST(KeyBatch, LeavesAReportAndADataFileForEachOperationThatWorked) {
    HeadlessProgram program(BusOfTwo());
    program.Write("keys/b.html",
                  std::string("read --single MODEL model.txt\nread --single BLOB\nread --single ONE one.txt\n"
                              "read 000F1B0000000009 K k.txt\nread 000F1B0000000002 NONE n.txt\n"
                              "write 000F1B0000000001 NAME name.txt"));
    program.Write("keys/name.txt", std::string("Bench"));
    program.Write("keys/model.txt", std::string("an older one"));
    ASSERT_TRUE(program.Run("/R keys\\b.html"));
    const std::string s = " </td><td> ";
    const auto row = [&](const std::string& cells) { return "<tr><td>\r\n" + cells + "\r\n</td></tr>\r\n"; };
    const auto link = [](const std::string& file) { return "<A HREF=\"" + file + "\">" + file + "</A>"; };
    const std::string rule = "# ********************************************************\r\n";
    std::string status = program.directory.path() + "/script-data/1394_write_status.txt";
    EXPECT_EQ(
        Comparable(program.Read("keys/b.out.html")),
        rule +
            "<br>\r\n# KEYS\\b.out.html\r\n<br>\r\n# Batch status file written on: TIME\r\n<br>\r\n"
            "# App='APP' Ver=1.8.1  command line = '/R keys\\b.html'\r\n<br>\r\n# 6 operations performed.\r\n<br>\r\n" +
            rule +
            "<table border=1><tr><td>\r\n"
            "# Type </td><td> Device ID </td><td>  Key </td><td> Data File </td><td> Results \r\n</td></tr>\r\n" +
            row("Read" + s + FIRST + s + "MODEL" + s + link("model.txt") + s + "SUCCESS" + s) +
            row("Read" + s + FIRST + s + "BLOB" + s + link("000F1B0000000001.txt") + s + "SUCCESS" + s) +
            row("Read" + s + FIRST + s + "ONE" + s + "FAILED OPERATION" + s + "FAILED") +
            row("Read" + s + "000F1B0000000009" + s + "K" + s + "FAILED OPERATION" + s + "FAILED") +
            row("Read" + s + SECOND + s + "NONE" + s + "FAILED OPERATION" + s + "FAILED") +
            row("Write" + s + FIRST + s + "NAME" + s + link("name.txt") + s + "SUCCESS" + s) +
            "</table>\r\n<br>\r\n#\r\n<A HREF=\"" + status +
            "\">Application Status Information: script-data\\1394_write_status.txt</A>\r\n");
    EXPECT_EQ(Comparable(program.Read("keys/model.txt")), DataFile("model.txt", "Read", "MODEL", "TX-9"));
    EXPECT_EQ(Comparable(program.Read("keys/000F1B0000000001.txt")),
              DataFile("000F1B0000000001.txt", "Read", "BLOB", std::string("\0\xff\r\n\x10", 5)));
    EXPECT_EQ(Comparable(program.Read("keys/name.txt")), DataFile("name.txt", "Write", "NAME", "Bench"));
    EXPECT_FALSE(std::filesystem::exists(program.directory.file("keys/one.txt")));
    for (const char* message :
         {"PerformKeyOperations: received 1 bytes from target", "  data='TX-9'", "# FAILED, code 0xFFFFFFFF",
          "PerformKeyOperations: failed to get handle for device '00 0F 1B 00 00 00 00 09'",
          "PerformKeyOperations: failed to read key value, code 0xFFFFFFFF.",
          "PerformKeyOperations: sent 5 bytes to target", "Overwriting existing file 'KEYS\\model.txt'"})
        EXPECT_TRUE(program.Said(message)) << message;
}

TEST(KeyBatch, WorksOnNoneOfTheDevicesThatShareAnId) {
    HeadlessProgram program(
        Bus({Target(FIRST, "bootloader"), Target(FIRST, "bootloader"), Target(SECOND, "bootloader")}));
    program.Write("keys/b.html", fmt::format("write {} NAME name.txt\nwrite {} NAME name.txt", FIRST, SECOND));
    program.Write("keys/name.txt", std::string("Bench"));
    ASSERT_TRUE(program.Run("/R keys\\b.html"));
    EXPECT_TRUE(program.Said("2 devices on the bus have the ID '00 0F 1B 00 00 00 00 01'.  None is worked on."));
    const std::string report = program.Read("keys/b.out.html");
    EXPECT_NE(report.find("FAILED"), std::string::npos);
    EXPECT_NE(report.find("SUCCESS", report.find(SECOND)), std::string::npos);
    EXPECT_EQ(report.find("SUCCESS"), report.rfind("SUCCESS"));
}

TEST(KeyBatch, ABatchThatFailsSaysSoAndLosesNothing) {
    const std::string removal = "DumpKeyBatchOutput: failed to remove existing file";
    // The batch, a message, a part of the report (empty: no report).
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"",
         "PerformKeyBatchOperation: \"B.TXT\" does not exist.  Can't perform operation!  (current directory = ", ""},
        {"# no work", "PerformKeyBatchOperation error: PerformKeyOperations returned code 0xFFFFFFFF",
         "# 0 operations"},
        {"read --single MODEL folder", removal + "'folder', aborting operation!", "# 1 operations performed."},
        {"read --single MODEL b.txt", removal + "'b.txt', aborting operation!", "# 1 operations performed."},
        {"read --single MODEL same/B.txt", removal, "# 1 operations performed."},
        {"read --single MODEL same/b.out.txt", removal, "# 1 operations performed."},
        {"read --single MODEL twin.txt", removal, "# 1 operations performed."},
        {"read --single MODEL linked.txt", removal, "# 1 operations performed."},
        {"read --single MODEL script-data/1394_write_status.txt", removal, "# 1 operations performed."},
        {"read --single MODEL same/DB1.mdb", removal, "# 1 operations performed."},
        {"read --single MODEL no/x.txt", "the data file 'no/x.txt' could not be written.", "FAILED OPERATION"},
        {"read --single MODEL planted.txt", "Overwriting existing file",
         "SUCCESS </td><td> \r\n</td></tr>\r\n</table>"},
        {"read --single MODEL far/x.txt", "", "# Outside the folder of the batch: far/x.txt ("},
    };
    for (const auto& [batch, message, part] : rows) {
        SCOPED_TRACE(message);
        HeadlessProgram program(BusOfTwo());
        const platform::testing::TemporaryDirectory elsewhere;
        std::ofstream(elsewhere.file("precious.txt")) << "kept";
        std::filesystem::create_directory(program.directory.file("folder"));
        for (const auto& [name, to] : {std::pair<const char*, std::string>{"same", "."},
                                       {"linked.txt", "b.txt"},
                                       {"far", elsewhere.path()},
                                       {"planted.txt", elsewhere.file("precious.txt")}})
            std::filesystem::create_symlink(to, program.directory.file(name));
        if (*batch != '\0') {
            program.Write("b.txt", std::string(batch));
            std::filesystem::create_hard_link(program.directory.file("b.txt"), program.directory.file("twin.txt"));
        }
        ASSERT_TRUE(program.Run("/R b.txt"));
        EXPECT_TRUE(program.Said(message));
        EXPECT_EQ(program.Read("b.txt"), batch);
        const std::string report = program.Read("b.out.txt");
        EXPECT_EQ(part.empty(), report.empty());
        EXPECT_NE(report.find(part), std::string::npos) << report;
        EXPECT_EQ(std::filesystem::file_size(elsewhere.file("precious.txt")), 4u);
    }
}

} // namespace
