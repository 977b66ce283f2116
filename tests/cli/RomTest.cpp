// hoistline rom: rows, checks and images, of a node and of a file.
#include "CommandTest.h"

#include <algorithm>

using namespace testing_support;

namespace {

class RomCommandTest : public CommandTest {
protected:
    std::string Path(const std::string& name) const { return folder.file(name); }
    std::string SeverityOf(const cli::Json& findings, const std::string& code) {
        for (const cli::Json& finding : findings)
            if (finding["code"] == code)
                return finding["severity"];
        return "none";
    }

    TestFolder folder;
};

const std::string ROM("\x04\x04\0\0"
                      "1394"
                      "\0\0\0\0"
                      "\0\x0F\x1B\xAB"
                      "\0\0\0\5" // bus info block
                      "\0\2\0\0"
                      "\3\0\x0F\x1B"
                      "\x81\0\0\2" // root
                      "lost"
                      "\0\3\0\0"
                      "\0\0\0\0"
                      "\0\0\0\0"
                      "Tarn",
                      52); // its leaf

std::string Turned(std::string rom) {
    for (std::size_t at = 0; at < rom.size(); at += 4)
        std::reverse(rom.begin() + std::ptrdiff_t(at), rom.begin() + std::ptrdiff_t(at + 4));
    return rom;
}

std::string Changed(std::size_t at, const std::string& bytes) {
    return std::string(ROM).replace(at, bytes.size(), bytes);
}

TEST_F(RomCommandTest, ShowsAWholeRomAndReportsAnIncompleteOne) {
    const std::string whole = "\n    0xF0000430   5461726E \n      \"Tarn\"\n";
    const std::tuple<std::string, std::vector<std::string>, int, std::string> rows[] = {
        {ROM, {}, 0, "BUS INFO BLOCK\n  0xF0000400   0x04040000  ROM Header (General), info_len=4 quadlets"},
        {ROM, {}, 0, whole},
        {Turned(ROM), {}, 0, whole},
        {ROM, {"--json"}, 0, "\"key\": \"BUS_INFO_BLOCK\""},
        {ROM, {"--check"}, 0, "0xF0000420  note   Nothing refers to this quadlet.\n"},
        {Changed(28, {"\x44\0\1\x80", 4}), {}, 0, "(offset data)\n"}, // a register outside of the ROM
        {Changed(20, {"\0\2\x12\x34", 4}), {}, 0, "ROOT DIRECTORY\n"},
        {Changed(20, {"\0\2\x12\x34", 4}), {"--check"}, 9, "0xF0000414  fault  The directory's CRC is 0x1234"},
        {Changed(48, "\x1B[2J"), {}, 0, "\"?[2J\"\n"},                   // no control character reaches the terminal
        {ROM.substr(0, 48), {}, 6, "key=0x01 value=(Text)  data=0x2\n"}, // cut in the leaf
        {Changed(28, {"\xD1\0\1\0", 4}), {}, 6, "key=0x11 value=UNIT_DIRECTORY_OFFSET  data=0x100\n"},
        {ROM.substr(0, 28), {}, 6, "ROOT DIRECTORY\n"},
        {ROM.substr(0, 28), {"--check"}, 9, "ROOT DIRECTORY\n"},
        {ROM.substr(0, 16), {"--json"}, 6, "\"rows\": []"},
        {std::string("\1\0\x0A\x27", 4), {}, 0, "MINIMAL ROM, vendor 0x000A27\n"},
        {"", {"--check"}, 6, ""}};
    for (const auto& [image, options, code, part] : rows) {
        SCOPED_TRACE(part);
        folder.Put("image", image);
        std::vector<std::string> arguments = {"rom", Path("image")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(Call(arguments), code) << error;
        EXPECT_NE(out.find(part), std::string::npos) << out;
    }
    EXPECT_NE(error.find("image\" holds no config ROM."), std::string::npos) << error;
    EXPECT_EQ(Call({"rom", Path("none")}), 6);
    EXPECT_EQ(Call({"rom", "none.rom"}), 6);
    EXPECT_EQ(Call({"rom", folder.path()}), 6) << "a folder";
}

TEST_F(RomCommandTest, ReadsWhatLiesBetweenTheBlocksOfANodeAndSavesTheWholeImage) {
    folder.Put("image", ROM);
    UseBus(Bus({fmt::format(R"({{"kind": "device", "romImage": "{}"}})", Path("image"))}));
    const cli::Json record = Record({"rom", "#0", "--check", "--save", Path("saved")});
    EXPECT_EQ(record["verdict"], "done") << record["reason"];
    EXPECT_EQ(record["device"]["guid"], "000F1BAB00000005");
    EXPECT_EQ(folder.Content("saved"), ROM);
    EXPECT_EQ(record["answer"]["saved"]["unknownQuadlets"], 0);
    EXPECT_EQ(SeverityOf(record["answer"]["findings"], "unreferred"), "note");

    folder.Put("image", Changed(28, {"\x81\0\2\0", 4}) + std::string(0x81C - ROM.size(), 'x') + ROM.substr(36));
    UseBus(Bus({fmt::format(R"({{"kind": "device", "romImage": "{}"}})", Path("image"))}));
    const cli::Json far = Record({"rom", "#0", "--check", "--save", Path("saved")});
    EXPECT_GT(far["answer"]["saved"]["unknownQuadlets"], 0) << "the reserved space ends after 1 KiB";
    EXPECT_EQ(Call({"rom", "#0", "--save", Path("no folder/saved")}), 1);
    EXPECT_EQ(Call({"rom", "--save", Path("saved"), "--quiet"}), 0);
    EXPECT_NE(error.find("are saved as 0"), std::string::npos) << error;
}

} // namespace
