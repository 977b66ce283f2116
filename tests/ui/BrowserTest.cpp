// A package picked and loaded by hand, on the simulated bus.
#include "Clock.h"
#include "UserSettings.h"
#include "WindowTest.h"
#include "basBootloader.h"
#include "frmSelectFirmware.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QtTest/QTest>

#include <algorithm>
#include <filesystem>

using namespace testing_support;

namespace {

const ByteArray IMAGE(5000, 0x5A), CNE{'[', 0, 'a', 0, 'b', 0, ']', 0};

class Browser : public WindowTest {
protected:
    void SetUp() override { Open({}); }
    // A bus with one target in its bootloader, packages beside the program, and the browser open.
    void Open(const std::string& faults) {
        Start(Bus({Target("000F1B0000000001", "bootloader")}, faults));
        platform::UseUserSettingsFile(program->directory.file("user.json"));
        program->Write("packages/both.twd", Package(IMAGE, CNE));
        program->Write("packages/none.bin", std::string("no package at all"));
        SelectRow(RowOf(0));
        EXPECT_TRUE(Choose("mnuUpdateApplicationFirmware"));
        browser = Newest<frmSelectFirmware>();
        browser->setFolder(program->directory.file("packages"));
        Pass(50);
    }
    ~Browser() override { platform::UseUserSettingsFile(""); }
    void Pick(const char* name) {
        ASSERT_TRUE(browser->SelectFile(program->directory.file(std::string("packages/") + name)));
        Pass(20);
    }
    frmSelectFirmware* browser = nullptr;
    static std::string Text(const QLabel* label) { return label->text().toStdString(); }
};

// What a load sends: the requests of DownloadStart (4), DownloadBlock (5) and DownloadEnd (6).
std::vector<std::string> LoadRequests(const HeadlessProgram& program) {
    std::vector<std::string> requests = program.RequestsSent();
    std::erase_if(requests, [](const std::string& request) { return request < "04" || request >= "07"; });
    return requests;
}

TEST_F(Browser, LoadsThePickedPackageWithTheRequestsOfAnUnattendedLoad) {
    EXPECT_FALSE(form().isEnabled());
    ASSERT_EQ(browser->ListView1->topLevelItemCount(), 2);
    EXPECT_FALSE(browser->cmdLoadImageAndConfig->isEnabled());
    Pick("both.twd");
    ASSERT_TRUE(browser->cmdLoadImageAndConfig->isEnabled());
    browser->cmdLoadImageAndConfig->click();
    EXPECT_EQ(Text(browser->lblStatus),
              "Successfully loaded new application and CNE (configuration data) from 'both.twd' onto target.");
    EXPECT_EQ(program->Flash(0, "application"), IMAGE);
    EXPECT_EQ(program->Flash(0, "config"), CNE);
    EXPECT_TRUE(browser->lblDetail->text().startsWith("CRC good"));
    EXPECT_EQ(form().window()->focusWidget(), browser->ListView1);
    Pass(3000); // the bus is read again after a load
    Pick("none.bin");
    EXPECT_TRUE(browser->lblStatus->text().startsWith("Select new image for Device '00 0F 1B"));
    EXPECT_TRUE(browser->cmdClose->isEnabled());
    browser->cmdClose->click();
    Pass(100);
    EXPECT_TRUE(form().isEnabled());
    EXPECT_EQ(windows::globals.firmwareWindows, (std::vector<Form*>{nullptr}));
    std::vector<std::string> byHand = LoadRequests(*program);
    End();
    HeadlessProgram run(Bus({Target("000F1B0000000001", "bootloader")}));
    run.Write("both.twd", Package(IMAGE, CNE));
    ASSERT_TRUE(run.Run("/D \"" + run.directory.file("both.twd") + "\""));
    const std::vector<std::string> unattended = LoadRequests(run);
    ASSERT_EQ(unattended.size(), 1 + 5 + 1 + 1 + 1 + 1U); // 5000 bytes in five blocks, the configuration in one
    ASSERT_EQ(byHand.size(), unattended.size());
    // They differ in the address of the configuration: operand bytes 28 to 31 of its start, 4 to 7 of its block.
    for (const auto& [request, at] : {std::pair{7, 4 + 2 * 28}, std::pair{8, 4 + 2 * 4}}) {
        EXPECT_EQ(byHand[request].substr(at, 8), "00000000");
        EXPECT_EQ(unattended[request].substr(at, 8), "00001a20"); // 0x201A0000
        byHand[request].replace(at, 8, "00001a20");
    }
    EXPECT_EQ(byHand, unattended);
}

TEST_F(Browser, ReportsAFailedLoadAndEnablesTheCommandsAgain) {
    const struct {
        const char *faults, *told, *cause; // in commands 4 (announcement), 5 (block) and 6 (end)
        bool there = true;
    } rows[] = {
        {R"({"node": 0, "command": 6, "do": "badCrc"})", "CRC failure in Image Load process", "its CRC is not that"},
        {R"({"node": 0, "command": 5, "skip": 2, "count": 3, "status": -3})", "Failed to write data to flash on",
         "could not write its flash after 2048 bytes"},
        {R"({"node": 0, "command": 4, "count": 1000, "result": "0x80000102"})", "DownloadStart command failed",
         "did not answer when the load was announced"},
        {R"({"node": 0, "command": 5, "skip": 2, "do": "unplug"})", "Failed to load '", "has left the bus", false},
    };
    for (const auto& row : rows) {
        Open(row.faults);
        Pick("both.twd");
        browser->cmdLoadSelected->click();
        EXPECT_TRUE(WasTold(row.told) && !WasTold("Successfully loaded")) << row.told;
        EXPECT_TRUE(browser->cmdClose->isEnabled() && browser->cmdLoadSelected->isEnabled() == row.there) << row.told;
        EXPECT_TRUE(browser->lblDetail->text().contains(row.cause)) << Text(browser->lblDetail);
        EXPECT_FALSE(basApp::globals.DownloadInProgress);
    }
}

TEST_F(Browser, SendsAPackageThatDoesNotFitOnlyAfterTwoDecisions) {
    ByteArray package = Package(IMAGE);
    package[0x20] = 18; // hardware ID
    program->Write("packages/other.twd", package);
    Pick("other.twd");
    EXPECT_FALSE(browser->cmdLoadSelected->isEnabled());
    const std::size_t before = program->RequestsSent().size();
    Q_EMIT browser->ListView1->itemDoubleClicked(browser->ListView1->currentItem(), 0); // image and config
    EXPECT_TRUE(program->dialogs.shown.empty() && browser->lblDetail->text().endsWith("see Preferences."));
    EXPECT_EQ(program->RequestsSent().size(), before);
    basApp::globals.OverrideHardwareCompatibility = true;
    Pick("both.twd");
    Pick("other.twd");
    ASSERT_TRUE(browser->cmdLoadSelected->isEnabled());
    program->dialogs.answers = {"no"};
    browser->cmdLoadSelected->click();
    EXPECT_EQ(program->RequestsSent().size(), before);
    program->dialogs.answers = {"yes"};
    browser->cmdLoadSelected->click();
    EXPECT_EQ(program->Flash(0, "application"), IMAGE);
}

TEST_F(Browser, ContinuesWithItsPackageWhateverIsClickedOrClosedDuringALoad) {
    program->Write("packages/other.twd", Package(IMAGE, {'[', 0, ']', 0}));
    browser->setFolder(program->directory.file("packages"));
    Pick("both.twd");
    bool tried = false;
    program->windowSystem.eachTurn = [&] {
        QCoreApplication::processEvents();
        if (basApp::globals.DownloadInProgress && !std::exchange(tried, true)) {
            browser->ListView1->setCurrentItem(browser->ListView1->topLevelItem(2));
            browser->frame()->close();
            form().frame()->close();
            parent().close();
            EXPECT_TRUE(browser->lblDetail->text().startsWith("A load is under way.")) << "the attempt isn't answered";
        }
    };
    browser->cmdLoadImageAndConfig->click();
    EXPECT_TRUE(tried);
    EXPECT_EQ(program->Flash(0, "application"), IMAGE);
    EXPECT_EQ(program->Flash(0, "config"), CNE);
    EXPECT_FALSE(browser->unloaded() || windows::globals.main == nullptr);
    EXPECT_TRUE(program->dialogs.shown.empty()) << "a box holds up the load";
    End();
}

// No events are processed between blocks: clicks wait in the queue until the load has finished.
TEST_F(Browser, SurvivesClicksWhileItsBlocksAreSentOrItsFileIsRead) {
    const auto clickClose = [this] {
        for (QWidget* window : {browser->frame(), form().frame(), static_cast<QWidget*>(&parent())})
            QMetaObject::invokeMethod(window, &QWidget::close, Qt::QueuedConnection);
    };
    Pick("both.twd");
    const std::int64_t lastBlock = program->clock.Now() + 1'000'000'000; // the erase takes 800 ms of it
    program->clock.CallAt(lastBlock, clickClose);
    browser->cmdLoadSelected->click();
    EXPECT_EQ(program->Flash(0, "application"), IMAGE);
    Pass(1000);
    EXPECT_TRUE(program->dialogs.shown.empty() && program->windowSystem.beeps == 0) << "answered after its end";
    EXPECT_FALSE(windows::globals.firmwareWindows[0] == nullptr || windows::globals.main == nullptr);
    clickClose(); // processed while the file is read: window and program close after that
    browser->SelectFile(program->directory.file("packages/both.twd"));
    EXPECT_FALSE(browser->unloaded());
    Pass(100);
    EXPECT_EQ(windows::globals.main, nullptr);
}

// A terminal on the same device polls during the erase; neither may take the other's answer.
TEST_F(Browser, LoadsADeviceWhoseConsoleIsRead) {
    std::int64_t due = 0;
    bool read = true;
    program->windowSystem.eachTurn = [&] {
        QCoreApplication::processEvents();
        ByteArray characters;
        if (platform::QueryPerformanceCounter() >= due && browser->LoadInProgress() && !std::exchange(read, true))
            std::ignore = basBootloader::ReadShellCharacters(browser->hDevice(), characters, false);
    };
    for (int delay = 0; delay < 1000; delay += 50) { // the erase takes 800 ms
        SCOPED_TRACE(delay);
        Pick("both.twd");
        ForgetTold();
        due = platform::QueryPerformanceCounter() + delay * 1'000'000LL;
        read = false;
        browser->cmdLoadSelected->click();
        EXPECT_TRUE(WasTold("Successfully loaded new"));
        Pass(3000); // the bus is read again
    }
    End(); // before what its turns use goes out of scope
}

// Keys arrive while a header is read and while the list is still changing its row.
TEST_F(Browser, LoadsWhatItShowsHoweverQuicklyRowsArePicked) {
    ByteArray other = Package(ByteArray(3000, 0x33));
    other[0x1C] = 9; // software version
    program->Write("packages/other.twd", other);
    browser->setFolder(program->directory.file("packages")); // both.twd first, other.twd last
    const auto key = [this](Qt::Key pressed) { QTest::keyClick(browser->ListView1, pressed); };
    bool pressed = false; // outlives the turns that use it
    for (const auto& [first, second, shown] :
         {std::tuple{Qt::Key_End, Qt::Key_Home, "both.twd"}, {Qt::Key_Down, Qt::Key_End, "other.twd"}}) {
        pressed = false;
        program->windowSystem.eachTurn = [&, then = second] {
            if (browser->lblStatus->text().startsWith("Reading File") && !std::exchange(pressed, true))
                key(then);
            QCoreApplication::processEvents();
        };
        key(first);
        Pass(100);
        EXPECT_TRUE(pressed);
        ASSERT_EQ(browser->ListView1->selectedItems().size(), 1);
        EXPECT_EQ(browser->ListView1->selectedItems()[0]->text(0).toStdString(), shown);
        EXPECT_EQ(Text(browser->lblFilename), std::string("Filename: ") + shown);
    }
    browser->setFolder(program->directory.file("")); // the labels still show the other file
    browser->cmdLoadSelected->click();
    EXPECT_EQ(program->Flash(0, "application"), ByteArray(3000, 0x33));
    End();
}

TEST_F(Browser, LoadsNothingOfFilesThatAreNoPackagesOrDamagedOrVanish) {
    Pick("none.bin");
    EXPECT_EQ(Text(browser->lblFilename) + Text(browser->lblSoftwareID), "Filename: none.binSoftware ID: <unknown>");
    EXPECT_FALSE(browser->cmdLoadSelected->isEnabled());
    Pick("both.twd");
    std::remove(program->directory.file("packages/both.twd").c_str());
    const std::size_t before = program->RequestsSent().size();
    browser->cmdLoadSelected->click();
    EXPECT_TRUE(WasTold("could not load TWD file"));
    ByteArray cut = Package(IMAGE);
    cut.pop_back();
    program->Write("packages/both.twd", cut);
    Pick("both.twd");
    EXPECT_TRUE(browser->lblDetail->text().contains("damaged"));
    Q_EMIT browser->ListView1->itemDoubleClicked(browser->ListView1->currentItem(), 0);
    EXPECT_FALSE(WasTold("Failed to copy 0x388 byte block")) << "what its button doesn't";
    ByteArray built = Package(IMAGE);
    program->Write("packages/both.twd", built);
    Pick("both.twd");
    EXPECT_EQ(Text(browser->lblDetail), "") << "the warning about an earlier file";
    built[0x1C] = 77; // software version
    program->Write("packages/both.twd", built);
    browser->cmdLoadSelected->click();
    EXPECT_TRUE(browser->lblDetail->text().startsWith("'both.twd' is another file now than the one shown"));
    EXPECT_EQ(Text(browser->lblSoftwareVersion), "Version: 16909133 (0x102034D)");
    EXPECT_EQ(program->RequestsSent().size(), before);
    EXPECT_TRUE(browser->cmdClose->isEnabled());
}

// One block that needs a second try: the failure is shown until the block is through, and no longer.
TEST_F(Browser, ContinuesAfterABlockThatIsSentAgain) {
    Open(R"({"node": 0, "command": 5, "skip": 2, "status": -3})");
    std::vector<std::string> status, detail;
    const auto note = [](std::vector<std::string>& texts, const QLabel* label) {
        if (texts.empty() || texts.back() != Text(label))
            texts.push_back(Text(label));
    };
    Pick("both.twd");
    class Watch : public QObject {
    public:
        std::function<void()> painted;
        bool eventFilter(QObject*, QEvent* event) override {
            if (event->type() == QEvent::Paint)
                painted();
            return false;
        }
    } watch;
    watch.painted = [&] {
        note(status, browser->lblStatus);
        note(detail, browser->lblDetail);
    };
    browser->lblDetail->installEventFilter(&watch);
    browser->cmdLoadSelected->click();
    const auto failed =
        std::ranges::find_if(status, [](const std::string& text) { return text.starts_with("DownloadImage ERROR"); });
    ASSERT_TRUE(failed != status.end() && failed != status.begin());
    EXPECT_EQ(failed[1], failed[-1]);
    EXPECT_EQ(std::ranges::count_if(
                  detail, [](const std::string& text) { return text.find("is sent again") != std::string::npos; }),
              1);
}

TEST_F(Browser, OpensWhatIsTypedPastedOrDropped) {
    const std::string folder = program->directory.file("packages");
    EXPECT_EQ(form().window()->focusWidget(), browser->ListView1) << "the first Down picks a file, not a place";
    QFocusEvent focus(QEvent::FocusIn, Qt::TabFocusReason);
    QCoreApplication::sendEvent(browser->ListView1, &focus);
    EXPECT_FALSE(browser->ListView1->currentItem()) << "nobody has picked one";
    QTest::keyClick(browser->ListView1, Qt::Key_Down);
    EXPECT_EQ(Text(browser->lblFilename), "Filename: both.twd");
    std::filesystem::create_directory(folder + "/empty");
    const auto type = [this](const std::string& text) {
        browser->txtFolder->setText(QString::fromStdString(text));
        QTest::keyClick(browser->txtFolder, Qt::Key_Return);
        return browser->ListView1->topLevelItemCount();
    };
    EXPECT_EQ(type(" '" + folder + "/empty' "), 0);
    EXPECT_EQ(type("nowhere"), 0);
    EXPECT_TRUE(browser->lblDetail->text().startsWith("'nowhere' is neither"));
    QMimeData dropped;
    dropped.setUrls({QUrl::fromLocalFile(QString::fromStdString(folder + "/none.bin"))});
    QWidget* over = browser->ListView1->viewport(); // whose hint says that something can be dropped there
    QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &dropped, Qt::LeftButton, {});
    QCoreApplication::sendEvent(over, &enter);
    QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &dropped, Qt::LeftButton, {});
    QCoreApplication::sendEvent(over, &drop);
    EXPECT_EQ(Text(browser->lblFilename) + Text(browser->lblCompatibleHardware), "Filename: none.bin");
    EXPECT_EQ(type("file://" + folder + "/both.twd"), 2);
    EXPECT_TRUE(browser->cmdLoadSelected->isEnabled());
    EXPECT_GE(browser->ListView1->columnWidth(1), browser->ListView1->WidthFor("2026-12-28 20:58:38 (local)"));
    EXPECT_EQ(browser->ListView1->header()->length(), browser->ListView1->viewport()->width())
        << "nothing to scroll to";
}

// Folders are read with a delay and inserted above the opened one, which stays in view until the user scrolls.
TEST(DirListBox, LeavesTheTreeWhereItWasScrolledTo) {
    QStandardItemModel folders;
    const auto add = [&] {
        for (int i = 0; i < 50; ++i)
            folders.insertRow(0, new QStandardItem("folder"));
        QCoreApplication::processEvents();
    };
    add();
    DirListBox tree(nullptr);
    tree.setModel(&folders);
    tree.resize(150, 100);
    tree.show();
    tree.Open(folders.index(49, 0));
    add();
    const auto inView = [&] { return tree.viewport()->rect().contains(tree.visualRect(tree.currentIndex()).center()); };
    EXPECT_TRUE(inView());
    tree.verticalScrollBar()->triggerAction(QAbstractSlider::SliderToMinimum);
    add();
    EXPECT_FALSE(inView());
}

} // namespace
