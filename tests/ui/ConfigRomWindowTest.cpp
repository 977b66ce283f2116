// The config ROM window: what is copied and saved of it.
#include "WindowTest.h"

#include "CodePage.h"
#include "RomFile.h"
#include "bas1394.h"
#include "frmConfigROM.h"

#include <QApplication>
#include <QClipboard>
#include <QtTest/QTest>

#include <algorithm>
#include <deque>
#include <fstream>

using namespace testing_support;

namespace {

class ConfigRomWindow : public WindowTest {
protected:
    void SetUp() override { Open({}); }
    void Open(const std::string& ofTarget) {
        Start(Bus({Target("000F1B0000000001", "application", ofTarget)}));
        SelectRow(0);
        ASSERT_TRUE(Choose("mnuViewConfigROM"));
        window = Newest<frmConfigROM>();
    }
    std::string Copied() {
        QApplication::clipboard()->setText("from before");
        QTest::mouseClick(window->cmdCopyConfigRomToClipboard, Qt::LeftButton);
        return QApplication::clipboard()->text().toStdString();
    }
    // The saved file's text after its header, which is checked.
    std::string Saved() {
        program->dialogs.answers = {program->directory.file("saved.txt"), "yes"};
        QTest::mouseClick(window->cmdSaveToDisk, Qt::LeftButton);
        const std::string bytes = program->Read("saved.txt"), rule(56, '*'),
                          title = window->windowTitle().toStdString();
        const std::string text = platform::TextFromAnsi(ByteArray(bytes.begin(), bytes.end()));
        const std::string head = rule + "\r\n" + title + "\r\nConfig Rom read on: 2002-08-31 14:00:";
        const std::string tail = "\r\nApp='ui_tests' Ver=1.8.1\r\n" + rule + "\r\n\r\n";
        EXPECT_EQ(text.substr(0, head.size()), head);
        EXPECT_EQ(text.substr(head.size() + 2, tail.size()), tail);
        return text.substr(std::min(text.size(), head.size() + 2 + tail.size()));
    }
    frmConfigROM* window = nullptr;
};

TEST_F(ConfigRomWindow, GivesTheTextOfTheToolThatReadsRomFiles) {
    const ByteArray rom = {4, 4, 0, 0, '1', '3', '9', '4', 0x20, 0x64, 0xA0, 0x12, 0,    0x0F, 0x1B, 0,
                           0, 0, 0, 7, 0,   2,   0,   0,   3,    0,    0x0F, 0x1B, 0x81, 0,    0,    1,
                           0, 3, 0, 0, 0,   0,   0,   0,   0,    0,    0,    0,    0xE9, 'h',  'c',  0};
    const platform::testing::TemporaryDirectory roms;
    std::ofstream(roms.file("a.rom"), std::ios::binary)
        .write(reinterpret_cast<const char*>(rom.data()), std::streamsize(rom.size()));
    Open(R"(, "romImage": ")" + roms.file("a.rom") + "\"");
    const std::string copied = Copied(), saved = Saved();
    EXPECT_NE(copied.find("\"éhc\"\r\n"), std::string::npos);
    End();
    ConfigRomRecord record;
    basConfigRom::RomTree tree;
    ASSERT_EQ(basConfigRom::ReadRomImage(rom, record), 1);
    ASSERT_EQ(basConfigRom::FormatConfigRomApple(tree, record), 1);
    EXPECT_EQ(copied, basConfigRom::RomText(tree));
    EXPECT_EQ(copied, saved);
}

TEST_F(ConfigRomWindow, LeavesAFileAloneUnlessTheUserSaysYes) {
    const std::string name = program->directory.file("saved.txt");
    const struct {
        std::deque<std::string> answers;
        bool overwrites;
        std::string told;
    } rows[] = {
        {{name, "no"}, false, "Overwrite: '" + name + "' exists.  Overwrite (y/n)?"},
        {{name}, false, "Overwrite: "}, // the box was closed
        {{""}, false, " in cmdSaveToDisk.  Aborting operation..."},
        {{program->directory.file("no/such/folder.txt")}, false, " in cmdSaveToDisk.  Aborting operation..."},
        {{name, "yes"}, true, "Overwrite: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.answers));
        program->Write("saved.txt", std::string("precious"));
        ForgetTold();
        program->dialogs.answers = row.answers;
        QTest::mouseClick(window->cmdSaveToDisk, Qt::LeftButton);
        EXPECT_EQ(program->Read("saved.txt") != "precious", row.overwrites);
        EXPECT_TRUE(WasTold(row.told)) << testing::PrintToString(Told());
    }
}

TEST_F(ConfigRomWindow, ShowsWhatThereIsOfMinimalMissingAndBrokenRoms) {
    auto& table = bas1394::globals.DeviceTable;
    table.resize(3);
    table[0].ConfigRom = {};
    table[0].ConfigRom.RawData = {1, 0, 0x0A, 0x27, 0};
    table[1].ConfigRom = {};
    table[2].ConfigRom = {};
    table[2].ConfigRom.RawData = {0, 0, 0, 0};
    const struct {
        std::int32_t index;
        std::string told, rows;
    } rows[] = {{0, "Minimal config rom on node # 0", ""},
                {1, "", ""},
                {2, "frmConfigROM: FormatConfigRomApple failed, code -1", ""},
                {3, "frmConfigROM: Invalid Node Number: 3", "frmConfigROM: Invalid Node Number: 3\r\n"},
                {-1, "frmConfigROM: Invalid Node Number: -1", "frmConfigROM: Invalid Node Number: -1\r\n"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.index);
        ForgetTold();
        window->setNodeNum(row.index);
        EXPECT_EQ(row.told.empty(), Told().empty());
        EXPECT_TRUE(row.told.empty() || WasTold(row.told)) << testing::PrintToString(Told());
        EXPECT_EQ(Copied(), row.rows);
        EXPECT_EQ(Saved(), row.rows);
    }
}

TEST_F(ConfigRomWindow, ShowsItsChecksOnlyWhenAsked) {
    const auto rows = [&] { return window->trvConfigRomAppleFormat->geometry(); };
    const std::string plain = Copied();
    const QRect whole = rows();
    EXPECT_FALSE(window->lstChecks->isVisible());
    QTest::mouseClick(window->chkChecks, Qt::LeftButton, {}, {8, window->chkChecks->height() / 2});
    ASSERT_TRUE(window->lstChecks->isVisible());
    EXPECT_TRUE(whole.contains(window->lstChecks->geometry()));
    EXPECT_LT(rows().bottom(), window->lstChecks->y());
    // The simulated device's ROM has no faults.
    const std::string head = plain + "\r\nCHECKS: 0 faults, 0 notes, 6 CRCs good\r\n0xF0000400  good   The ";
    EXPECT_EQ(Copied().substr(0, head.size()), head);
    EXPECT_EQ(Saved(), Copied());
    window->lstChecks->setCurrentItem(window->lstChecks->topLevelItem(1));
    EXPECT_EQ(window->trvConfigRomAppleFormat->currentItem()->text(0).left(10), "0xF0000414");

    bas1394::globals.DeviceTable[0].ConfigRom.RawData[8] ^= 1; // a later snapshot is checked again
    window->setNodeNum(0);
    EXPECT_EQ(window->lstChecks->topLevelItem(0)->text(1), "fault");
    EXPECT_NE(window->trvConfigRomAppleFormat->topLevelItem(0)->child(0)->toolTip(0), "");
    bas1394::globals.DeviceTable[0].ConfigRom.RawData[8] ^= 1;
    window->setNodeNum(0);
    QTest::mouseClick(window->chkChecks, Qt::LeftButton, {}, {8, window->chkChecks->height() / 2});
    EXPECT_EQ(Copied(), plain);
    EXPECT_EQ(rows(), whole);
}

} // namespace
