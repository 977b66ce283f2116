#include "ToolTest.h"

namespace {

class Twd : public ToolTest {
protected:
    Twd() : ToolTest(TWD) {}
};

TEST_F(Twd, WritesEveryOptionToItsPlaceInTheHeader) {
    folder.Put("image", "123456789"); // its CRC-32 is the well-known 0xCBF43926
    folder.Put("cne", "abc");
    ASSERT_EQ(Run("pack p.twd --date 20020831 --time 152503 --software-id 0x1234 --software-version 0x01020304 "
                  "--hardware-id 17 --vendor-id 0xF1B --info 'Bau \xC3\xBC' --image1 image --image1-address 0x20000000 "
                  "--cne cne --cne-crc 7"),
              0)
        << said;
    const std::string package = folder.Content("p.twd");
    ASSERT_EQ(package.size(), 352U + 9 + 3);
    const std::pair<std::size_t, std::string> fields[] = {
        {0x00, {"tWlD\0\0\0\0", 8}},
        {0x08, "20020831152503"},
        {0x18, {"\x34\x12\0\0\4\3\2\1\x11\0\0\0\x1B\x0F\0\0", 16}},
        {0x30, {"\x60\1\0\0\0\0\0\x20\x09\0\0\0\x26\x39\xF4\xCB", 16}},
        {0x40, std::string(16, '\0')},
        {0x50, {"\x69\1\0\0\0\0\0\0\3\0\0\0\7\0\0\0", 16}},
        {0x60, {"Bau \xFC\0", 6}},
        {0x160, "123456789abc"}};
    for (const auto& [at, bytes] : fields)
        EXPECT_EQ(package.substr(at, bytes.size()), bytes) << std::hex << at;

    EXPECT_EQ(Run("extract p.twd image1 out"), 0) << said;
    EXPECT_EQ(folder.Content("out"), "123456789");
    EXPECT_EQ(Run("show p.twd"), 0);
    EXPECT_NE(said.find("software   0x1234 version 1.2.3.4\n"), std::string::npos) << said;
}

TEST_F(Twd, FindsWhatIsWrongWithAPackage) {
    folder.Put("image", "123456789");
    ASSERT_EQ(Run("pack p.twd --image1 image"), 0) << said;
    EXPECT_EQ(Run("check p.twd"), 0) << said;
    const std::string good = folder.Content("p.twd");
    const auto changed = [&good](std::size_t at, const std::string& bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    const std::pair<std::string, const char*> faults[] = {
        {"", "doesn't begin with a package header"},
        {changed(0x08, "20021301"), "invalid date"},
        {changed(0x08, "\x1B[2J    "), "invalid date"},
        {changed(0x10, "246000"), "invalid time"},
        {changed(0x160, "0"), "section image1 has the CRC"},
        {good.substr(0, good.size() - 1), "section image1 reaches outside the file"},
        {changed(0x38, "\xFF\xFF\xFF\x7F"), "section image1 reaches outside the file"}};
    for (const auto& [package, words] : faults) {
        folder.Put("bad.twd", package);
        EXPECT_EQ(Run("check bad.twd"), 1) << words;
        EXPECT_NE(said.find(words), std::string::npos) << said;
        Run("show bad.twd");
        EXPECT_EQ(said.find('\x1B'), std::string::npos) << "no control character of the file reaches the terminal";
    }
    EXPECT_EQ(Run("extract bad.twd image1 out"), 1); // the last package, whose length is too large
    EXPECT_EQ(folder.Content("out"), "");
}

TEST_F(Twd, RefusesBadArgumentsAndLeavesNoPackage) {
    folder.Put("image", "123456789");
    folder.Put("empty", "");
    const std::pair<const char*, const char*> cases[] = {
        {"", "subcommand is required"},
        {"check nowhere.twd", "'nowhere.twd' can't be read"},
        {"extract p.twd image3 out", "image3 not in"},
        {"pack p.twd --image1 nowhere", "'nowhere' can't be read"},
        {"pack p.twd --image1 empty", "'empty' is empty"},
        {"pack p.twd --hardware-id 0x100000000", "--hardware-id"},
        {"pack p.twd --date 20020230", "--date takes YYYYMMDD, not '20020230'"},
        {"pack p.twd --time 1525", "--time takes HHMMSS, not '1525'"},
        {"pack nowhere/p.twd --image1 image", "'nowhere/p.twd' can't be written"}};
    for (const auto& [arguments, words] : cases) {
        EXPECT_EQ(Run(arguments), 2) << arguments;
        EXPECT_NE(said.find(words), std::string::npos) << arguments << "\n" << said;
        EXPECT_EQ(folder.Content("p.twd"), "") << arguments;
    }
}

} // namespace
