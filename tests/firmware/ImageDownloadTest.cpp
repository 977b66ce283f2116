// The loading of a section: what the target is sent, what the user reads.
#include "ImageDownload.h"
#include "Files.h"
#include "PackageBuilder.h"
#include "TargetScript.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

constexpr std::uint32_t ADDRESS = 0x20000000;

class ImageDownload : public OneTarget {
protected:
    ImageDownload() {
        target.reply.reset(); // a device with a flash
        basApp::globals.PerformUnattendedOperations = true;
    }
    std::int32_t load(const PackageBuilder& package, std::int32_t type = 0) {
        const std::string path = folder.file("app.twd");
        platform::WriteFileAtomically(path, package.bytes());
        target.blocks.clear();
        target.flash.clear();
        target.ends = 0;
        const std::int32_t result = DownloadImage(HANDLE, type, path);
        EXPECT_FALSE(basApp::globals.DownloadInProgress);
        return result;
    }
};

TEST_F(ImageDownload, CutsTheSectionIntoBlocksThatSuitBothSides) {
    const struct {
        std::uint32_t size, address;
        std::uint32_t offered;
        Texts blocks;
    } rows[] = {
        {1024, ADDRESS, 512, {"0 20000000 512", "1 20000200 512"}},
        {2500, ADDRESS, 4096, {"0 20000000 1024", "1 20000400 1024", "2 20000800 452"}},
        {5, ADDRESS, 3, {"0 20000000 3", "1 20000003 2"}},
        {2048, 0x7FFFFC00, 1024, {"0 7FFFFC00 1024", "1 80000000 1024"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        target.maxBlockSize = row.offered;
        EXPECT_EQ(load(PackageBuilder().image(row.address, Pattern(row.size))), 1);
        EXPECT_EQ(target.blocks, row.blocks);
        EXPECT_EQ(target.flash, Pattern(row.size));
    }
}

TEST_F(ImageDownload, AnnouncesWhatThePackageSays) {
    EXPECT_EQ(load(PackageBuilder().image(ADDRESS, Pattern(16), 0xCAFEBABE), 3), 1);
    EXPECT_EQ(target.announced,
              Bytes("01 00 00 00 01 00 04 0A  03 00 00 00  32 30 30 32 30 38 33 31  31 35 32 35 30 33 7A 7A"
                    "34 12 00 00  04 03 02 01  00 00 00 20  10 00 00 00  BE BA FE CA"));
}

TEST_F(ImageDownload, PutsConfigurationDataAtAFixedAddressAndTellsItsRateAndProgress) {
    std::string steps;
    downloadHooks.progress = [&](const DownloadProgress& progress) {
        steps += fmt::format("{}:{}/{} ", static_cast<int>(progress.step), progress.bytes, progress.length);
    };
    EXPECT_EQ(load(PackageBuilder().cne(Pattern(1500)), 1), 1);
    downloadHooks = {};
    EXPECT_EQ(target.blocks, (Texts{"0 201A0000 1024", "1 201A0400 476"}));
    EXPECT_EQ(steps, "0:0/0 1:0/1500 2:1024/1500 2:1500/1500 3:1500/1500 4:1500/1500 ");
    EXPECT_TRUE(Logged("onto target at 37.50 kB/sec.")); // four answers of 10 ms
}

TEST_F(ImageDownload, SendsAFailedBlockAgainUpToThreeTimesInARow) {
    const PackageBuilder package = PackageBuilder().image(ADDRESS, Pattern(2048));
    const std::string first = "0 20000000 1024", second = "1 20000400 1024";
    target.statuses = {-3, -3, 0, -5, -5};
    EXPECT_EQ(load(package), 1);
    EXPECT_EQ(target.blocks, (Texts{first, first, first, second, second, second}));
    target.statuses = {0, -3, -3, -3};
    EXPECT_EQ(load(package), -1);
    EXPECT_EQ(target.blocks, (Texts{first, second, second, second}));
    EXPECT_EQ(target.ends, 1) << "the target hears of the end in any case";
    EXPECT_TRUE(Logged("basBootloader.DownloadBlock returned code -3 after 3 retries.  Aborting operation."));
    EXPECT_TRUE(Logged("Load new Application Image operation failed."));
}

TEST_F(ImageDownload, SucceedsOnlyWithTheTargetsVerdict) {
    const PackageBuilder package = PackageBuilder().image(ADDRESS, Pattern(8));
    target.crcValidity = 1;
    target.crc = 0xABC;
    EXPECT_EQ(load(package), -1);
    EXPECT_TRUE(Logged("CRC failure in Image Load process (CRC=0xABC, CRCvalidity=0x1."));
    target.endAnswered = false;
    EXPECT_EQ(load(package), -1);
    EXPECT_TRUE(Logged("Download end command failed while loading '"));
    target.maxBlockSize = 0;
    EXPECT_EQ(load(package), -1);
    EXPECT_TRUE(Logged("cmdLoadSelected failed: DownloadStart command failed, code -1"));
    EXPECT_TRUE(target.blocks.empty());
    EXPECT_EQ(target.ends, 0);
}

TEST_F(ImageDownload, LeavesTheTargetAloneWhenThereIsNothingToLoad) {
    const struct {
        PackageBuilder package;
        std::int32_t type;
        const char* text;
    } rows[] = {
        {PackageBuilder().cne(Pattern(8)), 0, "' contains no image.  Exiting..."},
        {PackageBuilder().image(ADDRESS, Pattern(8)), 1, "' contains no CNE.  Exiting..."},
        {PackageBuilder().number(0x58, 0x80000000), 1, "DownloadImage (CNE): '"},
        {PackageBuilder().image(ADDRESS, Pattern(8)), 4, "DownloadImage Error: unknown ImageType '4'"},
        {PackageBuilder().text(0, "tWld"), 0, "Load Application Image failed: could not load TWD file '"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(load(row.package, row.type), -1);
        EXPECT_TRUE(Logged(row.text)) << row.text;
    }
    EXPECT_TRUE(library.transactions.empty());
}

TEST_F(ImageDownload, NeverSendsAByteFromOutsideTheFile) {
    const struct {
        const char* name;
        std::uint32_t offset, length;
        std::size_t blocks; // that lie inside the file
        const char* text;
    } rows[] = {
        {"to the last byte", 352, 2048, 2, ""},
        {"one byte too long", 352, 2049, 2, "Failed to copy 0x1 byte block at address 0x960 in file '"},
        {"begins at the end", 352 + 2048, 4, 0, "Failed to copy 0x4 byte block at address 0x960 in file '"},
        {"negative offset", 0xFFFFFFFF, 4, 0, "Failed to copy 0x4 byte block at address 0xFFFFFFFF in file '"},
        {"the largest of both", 0x7FFFFFFF, 0x7FFFFFFF, 0, "0x400 byte block at address 0x7FFFFFFF in file '"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PackageBuilder package;
        package.image(ADDRESS, Pattern(2048)).number(0x30, row.offset).number(0x38, row.length);
        EXPECT_EQ(load(package), *row.text ? -1 : 1);
        EXPECT_EQ(target.blocks.size(), row.blocks);
        EXPECT_EQ(target.ends, 1);
        EXPECT_TRUE(Logged(row.text));
    }
}

TEST_F(ImageDownload, RefusesHardwareThatThePackageIsNotMeantFor) {
    record().Info.HardwareModelID = 18;
    for (const auto& [overridden, unattended, answer, result, boxes] : {std::tuple{false, false, "", -1, 1},
                                                                        {false, true, "", -1, 0},
                                                                        {true, false, "yes", 1, 1},
                                                                        {true, false, "no", -1, 1},
                                                                        {true, true, "", 1, 0}}) {
        SCOPED_TRACE(fmt::format("{} {} {}", overridden, unattended, answer));
        basApp::globals.OverrideHardwareCompatibility = overridden;
        basApp::globals.PerformUnattendedOperations = unattended;
        dialogs.shown.clear();
        dialogs.answers = {answer};
        library.transactions.clear();
        EXPECT_EQ(load(PackageBuilder().image(ADDRESS, Pattern(4))), result);
        EXPECT_EQ(library.transactions.empty(), result != 1);
        EXPECT_EQ(std::ssize(dialogs.shown), boxes);
        for (const auto& box : dialogs.shown)
            EXPECT_TRUE(
                box.text.starts_with("The selected TWD file indicates hardware compatibility with Model ID 17.  \r\n"
                                     "The selected hardware indicates a Model ID of 18.  \r\n"));
    }
    EXPECT_TRUE(Logged("TWD Hardware ID = 17 (0x11)  Target Hardware ID = 18(0x12)"));
}

} // namespace
