// What the firmware browser shows of a package and which commands it allows.
#include "PackageText.h"
#include "LoadText.h"
#include "PackageBuilder.h"
#include "Places.h"
#include "Twl1394api.h"
#include "basApp.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

using testing_support::PackageBuilder;

namespace {

constexpr std::int64_t FILE_SIZE = 2000;

class PackageText : public ::testing::Test {
protected:
    PackageText() {
        PackageBuilder package;
        package.text(0x60, "for the bench").image(0, ByteArray(1000)).cne(ByteArray(100));
        basBootloader::ByteArrayToTwdStruct(package.bytes(), header);
        target.Device.NodeNum = 3;
        target.Info.HardwareModelID = 17;
        target.Info.BootloaderVersion = 1;
        target.DebugGUID = {0x00, 0x0F, 0x1B, 0, 0, 0, 0, 1};
    }
    void Describe(bool overrideHardware = false) {
        packageText::Describe(view, header, &target, 63, overrideHardware, FILE_SIZE);
    }
    TwdHeader header;
    BootloaderTarget target;
    packageText::View view;
};

TEST_F(PackageText, EnablesOnlyWhatPackageAndDeviceAllow) {
    using P = TwdHeader&;
    using T = BootloaderTarget&;
    const struct {
        const char* what;
        void (*change)(P package, T target);
        bool overrideHardware, image, config, view;
        const char *why, *detail; // parts of the first reason, and of the line below the status
    } rows[] = {
        {"all fits", [](P, T) {}, false, true, true, true, "", ""},
        {"other hardware", [](P p, T) { p.HardwareID = 18; }, false, false, false, true,
         "model 18, the device is model 17", "see Preferences"},
        {"other hardware, override", [](P p, T) { p.HardwareID = 18; }, true, true, true, true, "", ""},
        {"other vendor", [](P p, T) { p.VendorID = 1; }, false, true, true, true, "", ""},
        {"application runs", [](P, T t) { t.Info.BootloaderVersion = 0; }, true, false, false, true,
         "runs its application", "Firmware Download Mode"},
        {"off the bus", [](P, T t) { t.Device.NodeNum = 128; }, true, false, false, true, "not on the bus",
         "unplugged"},
        {"no image", [](P p, T) { p.Image1.Length = -1; }, false, false, true, true, "holds no image", ""},
        {"no configuration", [](P p, T) { p.Cne.Length = 0; }, false, true, false, false, "holds no configuration", ""},
        {"image outside", [](P p, T) { p.Image1.Length = 1649; }, false, false, false, true, "outside the file",
         "damaged"},
    };
    const auto [freshHeader, freshTarget] = std::pair(header, target);
    for (const auto& row : rows) {
        header = freshHeader;
        target = freshTarget;
        row.change(header, target);
        Describe(row.overrideHardware);
        EXPECT_EQ(view.noImage.empty(), row.image) << row.what;
        EXPECT_EQ(view.noConfig.empty(), row.config) << row.what;
        EXPECT_EQ(view.noView.empty(), row.view) << row.what;
        const std::string why = view.noBoth() + view.noView;
        EXPECT_EQ(why.empty(), row.image && row.config && row.view) << row.what;
        EXPECT_NE(why.find(row.why), std::string::npos) << row.what << ": " << why;
        EXPECT_TRUE(view.detail.empty() == !*row.detail && view.detail.find(row.detail) != std::string::npos)
            << row.what;
    }
}

TEST_F(PackageText, ShowsWhatThePackageContains) {
    Describe();
    EXPECT_EQ(view.lblSoftwareID, "Software ID: 4660 (0x1234)");
    EXPECT_EQ(view.lblSoftwareVersion, "Version: 16909060 (0x1020304)");
    EXPECT_EQ(view.lblSoftwareInfo, "Info Text: for the bench");
    EXPECT_EQ(view.lblCompatibleHardware, "version 17 (0x11) is compatible with the device");
    EXPECT_EQ(view.lblVendorCompatibility, "vendor ID 3867 (0xF1B) is compatible with the device");
    EXPECT_EQ(view.lblPackagesIncluded, "Packages included:  Image1  CNE");
    EXPECT_EQ(view.lblSoftwareBuiltOn.rfind("Build date: 2002-08-31 15:25:03 utc / ", 0), 0U);
    header.SoftwareVersion = 0xFFFFFF;
    header.HardwareID = 18;
    header.VendorID = 0;
    Describe();
    EXPECT_EQ(view.lblVendorCompatibility, "vendor ID 0 (0x0): the package names no vendor");
    EXPECT_EQ(view.lblSoftwareVersion, "Version: 16777215 (0xFFFFFF) - private build");
    EXPECT_EQ(view.lblCompatibleHardware, "version 18 (0x12) is NOT compatible with the device");
    header.SoftwareVersion = 0;
    packageText::Describe(view, header, nullptr, -101, false, FILE_SIZE);
    EXPECT_EQ(view.lblSoftwareVersion, "Version: 0 (0x0) - missing information");
    EXPECT_EQ(view.lblCompatibleHardware, "ERROR: Failed to get GUID from device Handle: 0xFFFFFF9B");
}

TEST_F(PackageText, GivesSizesInWholeKilobytesUpTo4Gigabytes) {
    EXPECT_EQ(packageText::SizeText(0), "0 kB");
    EXPECT_EQ(packageText::SizeText(2047), "1 kB");
    EXPECT_EQ(packageText::SizeText(0xFFFFFFFF), "4194303 kB");
    EXPECT_EQ(packageText::SizeText(0x100000000), "overflow");
    EXPECT_EQ(packageText::SizeText(-1), "error");
}

TEST(LoadText, NamesPhaseAndCause) {
    using P = basBootloader::LoadProgress;
    using S = basBootloader::DownloadFailure::Stage;
    EXPECT_EQ(loadText::Bar({P::Step::Loading, 65536, 131072}, 1000, false),
              "65536 of 131072 bytes, 65.5 kB/s, 1 s left");
    EXPECT_EQ(loadText::Bar({P::Step::Loading, 0, 131072}, 0, false), "0 of 131072 bytes");
    EXPECT_EQ(loadText::Bar({P::Step::Erasing, 0, 131072}, 3100, false), "erasing flash, 3 s");
    const auto phase = [](P::Step step, std::int32_t tries, std::int32_t sentAgain, bool failed) {
        return loadText::Phase({step, 0, 1, tries}, sentAgain, failed);
    };
    EXPECT_NE(phase(P::Step::Loading, 1, 1, false).find("try 2 of 3).  The load goes on"), std::string::npos);
    EXPECT_NE(phase(P::Step::Loading, 0, 1, false).find("One block had to be sent again"), std::string::npos);
    EXPECT_NE(phase(P::Step::Checking, 0, 1, true).find("has failed"), std::string::npos);
    const struct {
        S stage;
        std::int32_t code;
        bool onTheBus, busReset;
        const char *cause, *advice;
        std::int32_t imageType = 0;
    } rows[] = {
        {S::None, 0, false, true, "", ""},
        {S::Hardware, -1, false, true, "another hardware model", "left as it was"},
        {S::Refusal, 0, true, false, "refused the image", "left as it was"},
        {S::Announcement, -1, true, false, "did not answer when the load was announced", "run its bootloader?"},
        {S::Announcement, TWL1394_NODE_DID_NOT_RESPOND, false, true, "left the bus", "unplugged"},
        {S::Block, -11, true, false, "refused a block after 2048 bytes, with status -11", "old image is gone"},
        {S::Block, -3, true, false, "could not write its flash", "old image is gone"},
        {S::Block, TWL1394_NODE_DID_NOT_RESPOND, true, true, "did not answer to a block", "was it unplugged?"},
        {S::Block, TWL1394_BUS_RESET, true, false, "did not answer to a block", "old image is gone"},
        {S::End, -1, true, false, "verdict", "old image is gone"},
        {S::Crc, 1, true, false, "its CRC is not that of the package", "old image is gone"},
        {S::Crc, 1, true, false, "its CRC is not that of the package", "old configuration data is gone",
         basBootloader::IMAGE_CONFIG},
        {S::Busy, -1, true, false, "Another program is loading this device.", "Nothing was sent to it"},
        {S::Refusal, 0, true, false, "refused the configuration data", "data was left as it was",
         basBootloader::IMAGE_CONFIG},
    };
    for (const auto& row : rows) {
        const std::string cause =
            loadText::Cause({row.stage, row.code, 2048}, row.imageType, row.onTheBus, row.busReset);
        EXPECT_EQ(cause.empty(), !*row.cause);
        EXPECT_NE(cause.find(row.cause), std::string::npos) << cause;
        EXPECT_NE(cause.find(row.advice), std::string::npos) << cause;
    }
}

TEST(Places, HoldUserFilesOrArentOffered) {
    for (const auto& [path, type, offered] : {std::tuple{"/", "overlay", true},
                                              {"/media/me/STICK", "vfat", true},
                                              {"/run/media/me/STICK", "vfat", true},
                                              {"/tmp", "tmpfs", true},
                                              {"/home", "ext4", true},
                                              {"/bootleg", "ext4", true},
                                              {"/boot/efi", "vfat", false},
                                              {"/run/user/1000", "tmpfs", false},
                                              {"/run/media/me/x", "fuse.portal", false},
                                              {"/snap/core/1", "squashfs", false},
                                              {"/srv/lx", "fuse.lxcfs", false}})
        EXPECT_EQ(places::HoldsUserFiles(path, type), offered) << path;
}

} // namespace
