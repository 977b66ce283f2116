// Package files, good and bad, and the text forms of what they hold.
#include "TwdPackage.h"
#include "AppTest.h"
#include "Files.h"
#include "PackageBuilder.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

class Package : public AppTest {
protected:
    TwdHeader load(const ByteArray& bytes) {
        platform::WriteFileAtomically(path, bytes);
        TwdHeader header;
        LoadTWD(path, header);
        return header;
    }
    const std::string path = folder.file("app.twd");
};

constexpr std::array<std::uint8_t, 8> Field(const char (&text)[9]) {
    std::array<std::uint8_t, 8> field{};
    for (int i = 0; i < 8; ++i)
        field[i] = static_cast<std::uint8_t>(text[i]);
    return field;
}

TEST_F(Package, DecodesEachFieldAtItsPlace) {
    PackageBuilder package;
    for (std::uint32_t offset = 0x18; offset < 0x60; offset += 4)
        package.number(offset, 0x80000000 + offset);
    const TwdHeader header = load(package.text(0x60, "caf\xE9").bytes());
    EXPECT_EQ(header.Magic, 0x74576C44);
    EXPECT_EQ(header.ImageDate, Field("20020831"));
    EXPECT_EQ(header.ImageTime, Field("152503zz"));
    EXPECT_EQ(header.InfoText, "caf\xC3\xA9");
    std::vector<std::int32_t> read{header.SoftwareID, header.SoftwareVersion, header.HardwareID, header.VendorID};
    for (const TwdSection* section : {&header.Image1, &header.Image2, &header.Cne})
        read.insert(read.end(), {section->Offset, section->Address, section->Length, section->Crc});
    std::vector<std::int32_t> written;
    for (const std::uint32_t offset :
         {0x18, 0x1C, 0x20, 0x24, 0x30, 0x34, 0x38, 0x3C, 0x40, 0x44, 0x48, 0x4C, 0x50, 0x54, 0x58, 0x5C})
        written.push_back(static_cast<std::int32_t>(0x80000000 + offset));
    EXPECT_EQ(read, written);
}

TEST_F(Package, IsRefusedWhenItIsNone) {
    const ByteArray whole = PackageBuilder().image(0, Pattern(5000)).bytes();
    const auto cut = [&](std::size_t size) { return ByteArray(whole.begin(), whole.begin() + size); };
    const std::tuple<const char*, ByteArray, bool, const char*> rows[] = {
        {"whole", whole, true,
         "TWD version:  software id = 4660 (0x1234),  software version = 16909060 (0x1020304),  date/time = 2002-08-31 "
         "15:25:03 utc"},
        {"header alone", cut(352), true, ""},
        {"one byte short", cut(351), false, "ByteArrayToTwdStruct!  ubound(bytData)=351!  Exiting abnormally."},
        {"two bytes", cut(2), false, "Load TWD error: Failed to validate file '"},
        {"one byte", cut(1), false, "Load TWD error: failed to load file '"},
        {"empty", {}, false, "Load TWD error: failed to load file '"},
        {"another magic", PackageBuilder().text(0, "DlWt").bytes(), false, "Load TWD error: Failed to validate file '"},
    };
    for (const auto& [name, bytes, valid, text] : rows) {
        SCOPED_TRACE(name);
        const TwdHeader header = load(bytes);
        EXPECT_EQ(IsTwdValid(header), valid);
        EXPECT_EQ(header.FileData.size(), valid ? bytes.size() + 1 : 1u);
        EXPECT_TRUE(Logged(text));
    }
    TwdHeader header;
    LoadTWD(folder.file("missing.twd"), header);
    EXPECT_FALSE(IsTwdValid(header));
}

TEST_F(Package, TextFormsCutUpWhateverAFieldHolds) {
    EXPECT_EQ(FormatVersion(0x01020304), "1.2.3.4");
    EXPECT_EQ(FormatVersion(0x00FFFFFF), "0.255.255.255");
    EXPECT_EQ(FormatVersion(-1), "255.255.255.255");
    EXPECT_EQ(FormatTwdDate(Field("20020831")), "2002-08-31");
    EXPECT_EQ(FormatTwdDate(Field("        ")), "    -  -  ");
    EXPECT_EQ(FormatTwdTime(Field("1525\xE9\xE9zz")), "15:25:\xC3\xA9\xC3\xA9 utc");
    for (const auto& noDate : {Field("99999999"), Field("00000000"), Field("-1-1-1-1"), Field("1e9 1e9 ")})
        EXPECT_TRUE(FormatDateTime(noDate, Field("152503zz")).ends_with("15:25:03 utc")) << FormatTwdDate(noDate);
}

} // namespace
