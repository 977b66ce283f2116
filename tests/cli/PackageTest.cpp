// hoistline package: what a user gets, and what is wrong with a package.
#include "CommandTest.h"
#include "PackageBuilder.h"
#include "Paths.h"

using namespace testing_support;

namespace {

class PackageTest : public CommandTest {
protected:
    PackageTest() : before_(platform::CurrentDirectory()) { platform::ChangeDirectory(folder.path()); }
    ~PackageTest() override { platform::ChangeDirectory(before_); }

    TestFolder folder;

private:
    const std::string before_;
};

const std::string NINE = "123456789"; // its CRC-32 is the well-known 0xCBF43926

TEST_F(PackageTest, WritesEveryOptionToItsPlaceInTheHeader) {
    folder.Put("image", NINE);
    folder.Put("cne", "abc");
    ASSERT_EQ(Call({"package",
                    "pack",
                    "p.twd",
                    "--date",
                    "20020831",
                    "--time",
                    "152503",
                    "--software-id",
                    "0x1234",
                    "--software-version",
                    "0x01020304",
                    "--hardware-id",
                    "17",
                    "--vendor-id",
                    "0xF1B",
                    "--info",
                    "Bau \xC3\xBC",
                    "--image1",
                    "image",
                    "--image1-address",
                    "0x20000000",
                    "--cne",
                    "cne",
                    "--cne-crc",
                    "7"}),
              0)
        << error;
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

    EXPECT_EQ(Call({"package", "unpack", "p.twd", "IMAGE1", "out"}), 0) << error;
    EXPECT_EQ(folder.Content("out"), NINE);
    EXPECT_EQ(Call({"package", "show", "p.twd"}), 0);
    EXPECT_NE(out.find("software   0x1234 version 1.2.3.4\n"), std::string::npos) << out;
    EXPECT_NE(out.find("image1     offset 0x160 address 0x20000000 length 9 crc 0xCBF43926\n"), std::string::npos);
    EXPECT_NE(error.find("section cne has the CRC"), std::string::npos) << "the target's own is no CRC-32";
    const cli::Json shown = Record({"package", "show", "p.twd"})["answer"];
    EXPECT_EQ(shown["info"], "Bau \xC3\xBC");
    EXPECT_EQ(shown["sections"][1]["crc"], "0x00000007");
    EXPECT_EQ(shown["sections"][1]["contentCrc"], "0x352441C2");
}

TEST_F(PackageTest, FindsWhatIsWrongWithAPackage) {
    folder.Put("image", NINE);
    ASSERT_EQ(Call({"package", "pack", "p.twd", "--image1", "image"}), 0) << error;
    EXPECT_EQ(Call({"package", "check", "p.twd"}), 0) << error;
    EXPECT_NE(out.find("p.twd: good\n"), std::string::npos) << out;
    const std::string good = folder.Content("p.twd");
    const auto changed = [&good](std::size_t at, const std::string& bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    const std::pair<std::string, const char*> faults[] = {
        {"", "doesn't begin with a package header"},
        {good.substr(0, 351), "doesn't begin with a package header"},
        {changed(0, "twld"), "doesn't begin with a package header"},
        {changed(0x08, "20021301"), "invalid date"},
        {changed(0x08, "\x1B[2J    "), "invalid date"},
        {changed(0x10, "246000"), "invalid time"},
        {changed(0x38, std::string(4, '\0')), "no section has content"},
        {changed(0x160, "0"), "section image1 has the CRC"},
        {good.substr(0, good.size() - 1), "section image1 reaches outside the file"},
        {changed(0x30, "\xFF\xFF\xFF\xFF"), "section image1 reaches outside the file"},
        {changed(0x38, "\xFF\xFF\xFF\x7F"), "section image1 reaches outside the file"}};
    for (const auto& [package, words] : faults) {
        folder.Put("bad.twd", package);
        EXPECT_EQ(Call({"package", "check", "bad.twd"}), 6) << words;
        EXPECT_NE(error.find(words), std::string::npos) << error;
        Call({"package", "show", "bad.twd"});
        EXPECT_EQ(out.find('\x1B'), std::string::npos) << "no control character of the file reaches the terminal";
    }
    EXPECT_EQ(Call({"package", "unpack", "bad.twd", "image1", "out"}), 6) << "its length is too large";
    EXPECT_EQ(Call({"package", "unpack", "p.twd", "cne", "out"}), 6) << "it has none";
    EXPECT_EQ(folder.Content("out"), "");
}

TEST_F(PackageTest, RefusesBadArgumentsAndLeavesNoPackage) {
    folder.Put("image", NINE);
    folder.Put("empty", "");
    folder.Put("P.twd", "another file");
    const std::tuple<std::vector<std::string>, int, const char*> cases[] = {
        {{}, 2, "A command of \"package\" is required"},
        {{"check", "nowhere.twd"}, 6, "nowhere.twd\" can't be read"},
        {{"check", "."}, 6, "can't be read"},
        {{"unpack", "p.twd", "image3", "out"}, 2, "SECTION: takes image1, image2, cne, not \"image3\""},
        {{"pack", "q.twd"}, 2, "Give --image1, --image2 or --cne."},
        {{"pack", "q.twd", "--image1", "nowhere"}, 6, "nowhere\" can't be read"},
        {{"pack", "q.twd", "--image1", "empty"}, 6, "empty\" is empty"},
        {{"pack", "q.twd", "--image1-address", "1"}, 2, "--image1"},
        {{"pack", "q.twd", "--hardware-id", "0x100000000"}, 2, "--hardware-id"},
        {{"pack", "q.twd", "--info", std::string(257, 'i')}, 2, "at most 256 characters"},
        {{"pack", "q.twd", "--date", "20020230"}, 2, "takes YYYYMMDD, not \"20020230\""},
        {{"pack", "q.twd", "--time", "1525"}, 2, "takes HHMMSS, not \"1525\""},
        {{"pack", "p.twd", "--image1", "image"}, 1, "it would replace"},
        {{"pack", "nowhere/q.twd", "--image1", "image"}, 1, "nowhere/q.twd\" can't be written"}};
    for (const auto& [arguments, code, words] : cases) {
        std::vector<std::string> whole = {"package"};
        whole.insert(whole.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(Call(whole), code) << words;
        EXPECT_NE(error.find(words), std::string::npos) << words << "\n" << error;
        EXPECT_EQ(folder.Content("q.twd"), "") << words;
    }
}

} // namespace
