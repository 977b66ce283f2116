// The ROM viewer as a user or a script meets it: what it prints and its exit codes.
#include "TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Romview, PrintsAWholeRomAndTellsOfAnyOther) {
    const std::string rom("\x04\x04\0\0"
                          "1394"
                          "\0\0\0\0"
                          "\0\x0F\x1B\xAB"
                          "\0\0\0\5" // bus info block
                          "\0\2\0\0"
                          "\3\0\x0F\x1B"
                          "\x81\0\0\1" // root
                          "\0\3\0\0"
                          "\0\0\0\0"
                          "\0\0\0\0"
                          "Tarn",
                          48); // its leaf
    std::string turned = rom, offset = rom, subdirectory = rom;
    for (std::size_t at = 0; at < turned.size(); at += 4)
        std::reverse(turned.begin() + std::ptrdiff_t(at), turned.begin() + std::ptrdiff_t(at + 4));
    offset.replace(24, 4, std::string("\x44\0\1\x80", 4)); // a register, which no ROM holds
    subdirectory.replace(24, 4, std::string("\xD1\0\1\0", 4));
    const std::string whole = "0xF000042C   5461726E \r\n\"Tarn\"\r\n";
    const struct {
        std::string file, arguments;
        int exitCode;
        std::string printed; // part of it
    } rows[] = {
        {rom, "rom", 0, "BUS INFO BLOCK\r\n0xF0000400   0x04040000  ROM Header (General), info_len=4 quadlets"},
        {rom, "rom", 0, whole},
        {turned, "rom", 0, whole},
        {offset, "rom", 0, "(offset data)\r\n"},
        {rom, "rom --json", 0, "\"key\": \"BUS_INFO_BLOCK\""},
        {rom.substr(0, 44), "rom", 1, "key=0x01 value=(Text)  data=0x1\r\n"}, // cut in the leaf
        {subdirectory, "rom", 1, "key=0x11 value=UNIT_DIRECTORY_OFFSET  data=0x100\r\n"},
        {rom.substr(0, 28), "rom", 1, "ROOT DIRECTORY\r\n"},
        {rom.substr(0, 16), "rom --json", 1, "[]"},
        {rom, "none", 2, "romview: cannot read 'none'"},
        {rom, ".", 2, "romview: cannot read '.'"},
        {rom, "", 2, "FILE is required"},
    };
    const platform::testing::TemporaryDirectory folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments + " " + row.printed);
        std::ofstream(folder.file("rom"), std::ios::binary) << row.file;
        const std::string command = "cd '" + folder.path() + "' && '" ROMVIEW "' " + row.arguments + " >said 2>&1";
        const int status = std::system(command.c_str());
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), row.exitCode);
        const std::string said = Content(folder.file("said"));
        EXPECT_NE(said.find(row.printed), std::string::npos) << said;
    }
}

} // namespace
