// What the firmware browser says of a package and lets the user do with it.
#include "PackageText.h"
#include "PackageBuilder.h"
#include "basApp.h"

#include <gtest/gtest.h>

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
    } rows[] = {
        {"all fits", [](P, T) {}, false, true, true, true},
        {"other hardware", [](P p, T) { p.HardwareID = 18; }, false, false, false, true},
        {"other hardware, override", [](P p, T) { p.HardwareID = 18; }, true, true, true, true},
        {"other vendor", [](P p, T) { p.VendorID = 1; }, false, true, true, true},
        {"application runs", [](P, T t) { t.Info.BootloaderVersion = 0; }, true, false, false, true},
        {"off the bus", [](P, T t) { t.Device.NodeNum = 128; }, true, false, false, true},
        {"no image", [](P p, T) { p.Image1.Length = -1; }, false, false, true, true},
        {"no configuration", [](P p, T) { p.Cne.Length = 0; }, false, true, false, false},
        {"image outside", [](P p, T) { p.Image1.Length = 1649; }, false, false, false, true},
    };
    const auto [freshHeader, freshTarget] = std::pair(header, target);
    for (const auto& row : rows) {
        header = freshHeader;
        target = freshTarget;
        row.change(header, target);
        Describe(row.overrideHardware);
        EXPECT_EQ(view.loadImage, row.image) << row.what;
        EXPECT_EQ(view.loadConfig, row.config) << row.what;
        EXPECT_EQ(view.viewConfig, row.view) << row.what;
        EXPECT_EQ(view.loadBoth(), row.image && row.config) << row.what;
    }
}

TEST_F(PackageText, SaysWhatStandsInThePackage) {
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
    Describe();
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
    EXPECT_EQ(packageText::ProgressText(65536, 131072, 1000), "65536 of 131072 bytes, 65.5 kB/s, 1 s left");
    EXPECT_EQ(packageText::ProgressText(0, 131072, 0), "0 of 131072 bytes");
}

} // namespace
