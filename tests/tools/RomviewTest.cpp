#include "ToolTest.h"

#include <algorithm>

namespace {

class Romview : public ToolTest {
protected:
    Romview() : ToolTest(ROMVIEW) {}
};

TEST_F(Romview, PrintsAWholeRomAndReportsAnIncompleteOne) {
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
    offset.replace(24, 4, std::string("\x44\0\1\x80", 4)); // a register outside the ROM
    subdirectory.replace(24, 4, std::string("\xD1\0\1\0", 4));
    const std::string whole = "0xF000042C   5461726E \r\n\"Tarn\"\r\n";
    const std::tuple<std::string, std::string, int, std::string> rows[] = {
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
    for (const auto& [file, arguments, exitCode, part] : rows) {
        SCOPED_TRACE(arguments + " " + part);
        folder.Put("rom", file);
        EXPECT_EQ(Run(arguments), exitCode);
        EXPECT_NE(said.find(part), std::string::npos) << said;
    }
}

} // namespace
