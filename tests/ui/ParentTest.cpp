// The parent window: its dialogs, how it arranges its children, their places from one run to the next, the status
// windows, help and about.
#include "WindowTest.h"

#include "Database.h"
#include "QtDialogs.h"
#include "WindowSettings.h"
#include "basDebug.h"
#include "clsLayoutManager.h"
#include "frmConfigROM.h"
#include "frmHelp.h"

#include <QComboBox>
#include <QMdiSubWindow>
#include <QScreen>
#include <QScrollBar>
#include <QSlider>
#include <QTimer>
#include <QtTest/QTest>

#include <set>

using namespace testing_support;

namespace {

class Parent : public WindowTest {
protected:
    void SetUp() override { Start(Bus({Target("000F1B0000000001", "application")})); }
    frmConfigROM* OpenRom() {
        SelectRow(0);
        EXPECT_TRUE(Choose("mnuViewConfigROM"));
        return Newest<frmConfigROM>();
    }
    std::vector<int> Heights() { // of the arranged windows; each has to begin where the one before ends
        std::vector<int> heights{form().frame()->height()};
        int bottom = form().frame()->geometry().bottom();
        for (frmStatus* window : windows::globals.statusWindows)
            if (window->isVisible()) {
                EXPECT_NEAR(window->frame()->y(), bottom + 1, 1);
                EXPECT_EQ(window->frame()->width(), form().frame()->width());
                bottom = window->frame()->geometry().bottom();
                heights.push_back(window->frame()->height());
            }
        return heights;
    }
};

TEST_F(Parent, ShowsAStripAndNoBoxWhenNothingCanBeStored) {
    EXPECT_FALSE(parent().lblNotice->isVisible());
    parent().close();
    platform::Database other(program->directory.file("db1.mdb"));
    other.Execute("PRAGMA journal_mode = DELETE; BEGIN IMMEDIATE"); // it can be read, not written
    Restart();
    EXPECT_TRUE(parent().lblNotice->isVisible());
    EXPECT_TRUE(parent().lblNotice->text().contains("cannot be written: Database error: database is locked."));
    EXPECT_FALSE(WasTold("cannot be"));
    other.Execute("ROLLBACK");
    basDebug::StatusDisplay("stored again", LEVEL_USER, "m");
    EXPECT_FALSE(parent().lblNotice->isVisible());
}

TEST_F(Parent, StoresOnlyNumbersThatItsDialogsAccept) {
    constexpr const char *LOGGING = "mnuDebugLoggingLevel", *MESSAGE = "mnuDebugMessageLevel",
                         *DLL = "mnu1394DLLdebugLevel", *TIMEOUT = "mnuDefault1394TransactionTimeout";
    const std::string level = "Invalid Level: Invalid result: ", time = "Invalid Time Setting: Invalid result: ";
    const struct {
        const char *item, *key, *answer;
        std::string told; // empty if the answer is accepted or cancelled
    } rows[] = {
        {LOGGING, "DebugLoggingLevel", "17", ""},
        {LOGGING, "DebugLoggingLevel", "1", ""},
        {LOGGING, "DebugLoggingLevel", "", ""},
        {LOGGING, "DebugLoggingLevel", "18", level + "18.  Debug Logging Level unchanged."},
        {LOGGING, "DebugLoggingLevel", "0", level + "0.  Debug Logging Level unchanged."},
        {LOGGING, "DebugLoggingLevel", "five", "Error #13: "},
        {MESSAGE, "DebugMessageLevel", "15", ""},
        {MESSAGE, "DebugMessageLevel", "16", level + "16.  Message Level unchanged."},
        {MESSAGE, "DebugMessageLevel", "-1", level + "-1.  Message Level unchanged."},
        {MESSAGE, "DebugMessageLevel", "5x", "Error #13: "},
        {DLL, "DllMessageLevel", "15", ""},
        {DLL, "DllMessageLevel", "16", level + "16.  1394 DLL Debug level unchanged."},
        {DLL, "DllMessageLevel", "99999999999", "Error #6: "},
        {TIMEOUT, "Default1394TransactionTimeout", "0", ""},
        {TIMEOUT, "Default1394TransactionTimeout", "3000", ""},
        {TIMEOUT, "Default1394TransactionTimeout", "", ""},
        {TIMEOUT, "Default1394TransactionTimeout", "3001", time + "3001.  Default transaction time unchanged."},
        {TIMEOUT, "Default1394TransactionTimeout", "-1",
         time + "0.  You must enter a number!  Default transaction time unchanged."},
        {TIMEOUT, "Default1394TransactionTimeout", "10 s", "Error #13: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.item) + " " + row.answer);
        const auto shown = [&] { // the box's first text: the value in force
            ForgetTold();
            EXPECT_TRUE(Choose(row.item));
            return program->dialogs.shown.front().first;
        };
        const std::string before = shown(), storedBefore = Setting("Global", row.key);
        const bool accepted = row.told.empty() && *row.answer != '\0';
        program->dialogs.answers = {row.answer};
        EXPECT_EQ(shown(), before);
        EXPECT_EQ(Setting("Global", row.key), accepted ? row.answer : storedBefore);
        EXPECT_EQ(program->dialogs.shown.size(), row.told.starts_with("Invalid") ? 2u : 1u);
        EXPECT_TRUE(row.told.empty() || WasTold(row.told)) << testing::PrintToString(Told());
        EXPECT_EQ(shown(), accepted ? row.answer : before);
        EXPECT_EQ(basApp::globals.CurrentTransactionTimeout, basApp::globals.Default1394TransactionTimeout);
        EXPECT_EQ(basApp::globals.DebugMessageLevel, status().MessageLevel);
    }
}

TEST_F(Parent, SetsTheLevelOfTheActiveOrLastStatusWindow) {
    const auto setLevel = [this](const char* level) {
        ForgetTold();
        program->dialogs.answers = {level};
        parent().mnuDebugMessageLevel->trigger();
        return program->dialogs.shown.front().caption;
    };
    parent().mnuStatusWindow_Click();
    parent().mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(status(0).frame()));
    EXPECT_EQ(setLevel("3"), "Message Level");
    parent().mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(form().frame()));
    EXPECT_EQ(setLevel("9"), "Status Window not Specified"); // the last one, then
    EXPECT_EQ(status(0).MessageLevel, 3);
    EXPECT_EQ(status(1).MessageLevel, 9);
    status(1).frame()->close();
    Pass(20);
    parent().mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(form().frame()));
    EXPECT_EQ(setLevel("7"), "Message Level");
    EXPECT_EQ(status(0).MessageLevel, 7);
    status(0).Unload();
    EXPECT_EQ(setLevel("1"), "No Status Window");
    EXPECT_EQ(basApp::globals.DebugMessageLevel, 7);
}

TEST_F(Parent, ArrangesItsChildrenByTheirShares) {
    const double height = parent().mdiArea->maximumViewportSize().height();
    for (std::size_t windows = 1; windows <= 3; ++windows) {
        const std::vector<int> heights = Heights();
        ASSERT_EQ(heights.size(), windows + 1);
        for (std::size_t i = 0; i <= windows; ++i)
            EXPECT_NEAR(heights[i], height * (i == 0 ? 3 : 1) / (3 + double(windows)), 1);
        ASSERT_TRUE(Choose("mnuStatusWindow"));
    }
    for (frmStatus* window : windows::globals.statusWindows)
        window->Unload();
    EXPECT_NEAR(Heights().front(), height, 1);
}

TEST_F(Parent, ScalesItsChildrenWithItselfWhileTheMarkIsSet) {
    const auto resizeBy = [this](int pixels) {
        parent().resize(parent().width() + pixels, parent().height() + pixels);
        Pass(20);
    };
    const std::vector<int> before = Heights();
    const int width = form().frame()->width();
    for (const int step : {1, -1}) // as if the border were dragged
        for (int i = 0; i < 40; ++i)
            resizeBy(step);
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_NEAR(Heights()[i], before[i], 1);
    EXPECT_NEAR(form().frame()->width(), width, 1);
    resizeBy(60);
    EXPECT_NEAR(Heights()[0] + Heights()[1], before[0] + before[1] + 60, 2);
    ASSERT_TRUE(Choose("mnuAutoScaleChildren")); // off, in both menus
    EXPECT_FALSE(form().mnuAutoScaleChildren->isChecked() || parent().mnuAutoScaleChildren->isChecked());
    const std::vector<int> unscaled = Heights();
    resizeBy(-60);
    EXPECT_EQ(Heights(), unscaled);
    parent().mnuAutoScaleChildren->trigger(); // on: tiles at once
    EXPECT_TRUE(form().mnuAutoScaleChildren->isChecked() && parent().mnuAutoScaleChildren->isChecked());
    EXPECT_NEAR(Heights()[0], before[0], 1);
    form().frame()->showMaximized(); // which the area sees to
    resizeBy(60);
    EXPECT_LE(form().frame()->width(), parent().mdiArea->maximumViewportSize().width());
    parent().mnuTile->trigger();
    EXPECT_FALSE(form().frame()->isMaximized());
}

TEST_F(Parent, OpensAWindowAtThePlaceWhereItWasClosed) {
    const QRect place(40, 30, 500, 300);
    const std::vector<std::string> edges{"Top", "Left", "Bottom", "Right"};
    const auto close = [&] {
        QTest::mouseClick(Newest<frmConfigROM>()->cmdClose, Qt::LeftButton);
        Pass(20);
        std::vector<std::string> stored;
        for (const std::string& edge : edges)
            stored.push_back(Setting("frmConfigROM", edge));
        return stored;
    };
    OpenRom()->frame()->setGeometry(place);
    EXPECT_EQ(close(), (std::vector<std::string>{"30", "40", "330", "540"}));
    for (const auto change : {&QWidget::showMaximized, &QWidget::showMinimized}) {
        frmConfigROM* window = OpenRom();
        EXPECT_EQ(window->frame()->geometry(), place);
        (window->frame()->*change)();
        Pass(20);
        EXPECT_EQ(close(), (std::vector<std::string>{"30", "40", "330", "540"}));
    }
    OpenRom()->frame()->move(0, 0);
    basApp::globals.PerformUnattendedOperations = true; // in which nobody has arranged windows
    EXPECT_EQ(close(), (std::vector<std::string>{"30", "40", "330", "540"}));
    Restart();
    EXPECT_GT(status().mfgStatus->columnWidth(3), 300);
    EXPECT_EQ(OpenRom()->frame()->geometry(), place);
    const char* const elsewhere[][4] = {{"5000", "9000", "5300", "9500"}, // a screen that no longer exists
                                        {"-900", "-800", "-600", "-300"},
                                        {"0", "0", "100000", "100000"},
                                        {"300", "500", "100", "200"}, // bottom above top
                                        {"-2147483648", "2147483647", "2147483647", "-2147483648"},
                                        {"here", "", "1e9", "99999999999"}};
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    for (const auto& edge : elsewhere) {
        SCOPED_TRACE(edge[0]);
        close();
        for (std::size_t i = 0; i < 4; ++i)
            windowSettings::Save("frmConfigROM", edges[i], edge[i]);
        EXPECT_TRUE(screen.contains(OpenRom()->frame()->geometry()));
    }
}

TEST_F(Parent, CannotBeMadeSoSmallThatCaptionsAreCutOff) {
    parent().resize(1, 1);
    Pass(50);
    const int smallest = parent().height();
    status().frame()->resize(500, 10);
    Restart();
    EXPECT_NEAR(parent().height(), smallest, 2); // nor does it open smaller
    for (const QLabel* label : form().fraSelectedDevice->findChildren<QLabel*>())
        EXPECT_GE(label->height(), label->fontMetrics().height()) << label->objectName().toStdString();
}

TEST_F(Parent, OpensAsHighAsBeforeHoweverManyStatusWindowsThereWere) {
    const int height = parent().height();
    ASSERT_TRUE(Choose("mnuStatusWindow"));
    for (const QLabel* label : {form().lblDriver, form().lblApplicationImageVersion}) // clear of the title above
        EXPECT_GT(label->y(), label->fontMetrics().height() + 2);
    Restart();
    EXPECT_NEAR(parent().height(), height, 2);
}

TEST_F(Parent, ShowsTimesLevelsAndStatesWholeInALargeFont) {
    const QFont font = QApplication::font();
    QFont large = font;
    large.setPointSizeF(font.pointSizeF() * 1.4);
    QApplication::setFont(large);
    Restart();
    QFont bold = large; // of a fatal error
    bold.setBold(true);
    const std::tuple<const QTableView*, int, const char*, QFont> columns[] = {
        {status().mfgStatus, 0, "0:00:00.000", bold},
        {status().mfgStatus, 1, "FATAL(15)", bold},
        {status().mfgStatus, 1, "WARNING(7)", large},
        {form().mfgDevices, deviceRows::STATE, "Bootloader Running", large}};
    for (const auto& [grid, column, text, drawnIn] : columns)
        EXPECT_GT(grid->columnWidth(column), QFontMetrics(drawnIn).horizontalAdvance(text)) << text;
    QApplication::setFont(font);
}

TEST_F(Parent, WrapsALongQuestion) {
    const QString lines =
        "What it is to be, 00 0F 1B or not.  " + QString("Note: a value of 0 is taken too.  ").repeated(20);
    QTimer::singleShot(0, qApp, [] {
        QWidget* box = QApplication::activeModalWidget();
        const auto* label = box->findChild<QLabel*>();
        EXPECT_LT(box->width(), 700);
        EXPECT_TRUE(label->text().contains(u"00\u00A00F\u00A01B or not")) << "the bytes of an ID stay on one line";
        EXPECT_GE(label->height(), label->heightForWidth(label->width()));
        box->close();
    });
    QtDialogs dialogs;
    EXPECT_EQ(dialogs.InputBox(lines.toStdString(), "Question", "7"), "");
}

TEST_F(Parent, LetsTheLayoutKeeperScaleEverythingButTheHeightOfComboBoxes) {
    Form window("frmTest", "Test");
    window.resize(400, 300);
    const auto add = [&window](QWidget* control, const char* name) {
        control->setParent(&window);
        control->setObjectName(name);
        control->setGeometry(20, 40, 200, 60);
        return control;
    };
    const QWidget *text = add(new QLineEdit, "txtName"), *box = add(new QComboBox, "cboDrive"),
                  *other = add(new QSlider, "sldOther");
    clsLayoutManager keeper;
    keeper.SetLayoutForm(&window);
    const QWidget* late = add(new QLineEdit, "txtLate");
    const QRect rows[][3] = {{{0, 0, 200, 150}, {10, 20, 100, 30}, {10, 20, 100, 60}},
                             {{0, 0, 200, 0}, {10, 0, 100, 0}, {10, 0, 100, 60}},
                             {{0, 0, 401, 300}, {20, 40, 201, 60}, {20, 40, 201, 60}}, // 200.5 of a pixel
                             {{0, 0, 400, 300}, {20, 40, 200, 60}, {20, 40, 200, 60}}};
    for (const auto& [form, ofText, ofBox] : rows) {
        window.resize(form.size());
        EXPECT_EQ(keeper.ResizeForm(), 1);
        EXPECT_EQ(text->geometry(), ofText);
        EXPECT_EQ(box->geometry(), ofBox);
        EXPECT_EQ(other->geometry(), QRect(20, 40, 200, 60));
        EXPECT_EQ(late->geometry(), QRect(20, 40, 200, 60));
    }
    EXPECT_TRUE(WasTold("Error in frmMain.Resize.  Could not find control named 'txtLate'"));
}

TEST_F(Parent, KeepsTheNewestMessagesInViewUnlessTheUserReadsOlderOnes) {
    auto post = [this, number = 0](int count) mutable {
        for (int i = 0; i < count; ++i)
            basDebug::StatusDisplay("message " + std::to_string(++number), LEVEL_USER, "test");
        Pass(100);
    };
    post(2000);
    QTableView* grid = status().mfgStatus;
    QScrollBar* bar = grid->verticalScrollBar();
    EXPECT_EQ(grid->model()->rowCount(), 499);
    EXPECT_EQ(grid->model()->index(0, 3).data().toString(), "message 1502");
    EXPECT_EQ(grid->model()->index(498, 3).data().toString(), "message 2000");
    EXPECT_EQ(bar->value(), bar->maximum());
    const auto top = [&] { return grid->model()->index(bar->value(), 3).data().toString(); };
    bar->setValue(100);
    const QString read = top();
    post(20); // 20 are dropped at the top
    EXPECT_EQ(top(), read);
    bar->setValue(bar->maximum());
    post(20);
    EXPECT_EQ(bar->value(), bar->maximum());
    const QString newest = top();
    parent().mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(status().frame()));
    grid->setFocus();
    QTest::keyClick(grid, Qt::Key_H, Qt::ControlModifier);
    post(20);
    EXPECT_EQ(top(), newest);
    status().chkHold->setChecked(false);
    EXPECT_EQ(bar->value(), bar->maximum());
}

TEST_F(Parent, HidesFindsSavesAndClearsTheRowsOfAStatusWindow) {
    frmStatus& window = status();
    const auto rows = [&] {
        std::vector<std::string> messages;
        for (int row = 0; row < window.mfgStatus->model()->rowCount(); ++row)
            messages.push_back(window.mfgStatus->model()->index(row, 3).data().toString().toStdString());
        return messages;
    };
    const auto post = [&](const char* message, std::int32_t level, const char* module) {
        basDebug::StatusDisplay(message, level, module);
        Pass(60);
    };
    const auto pick = [](QComboBox* box, const char* text) { box->setCurrentIndex(box->findText(text)); };
    using Rows = std::vector<std::string>;
    parent().mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(window.frame()));
    window.mfgStatus->setFocus();
    QTest::keyClick(window.mfgStatus, Qt::Key_L, Qt::ControlModifier);
    EXPECT_EQ(rows(), Rows{});
    post("one", LEVEL_WARNING, "beta");
    post("two", LEVEL_ERROR, "beta");
    post("three", LEVEL_FATAL, "alpha");
    const Rows all{"one", "two", "three"};
    EXPECT_EQ(rows(), all);
    pick(window.cmbLevel, "ERROR and above");
    EXPECT_EQ(rows(), (Rows{"two", "three"}));
    pick(window.cmbModule, "beta");
    EXPECT_EQ(rows(), Rows{"two"});
    post("four", LEVEL_ERROR, "beta"); // filters also apply to new rows
    post("five", LEVEL_USER, "alpha");
    EXPECT_EQ(rows(), (Rows{"two", "four"}));
    EXPECT_EQ(window.lblCount->text(), "2 of 5 shown");
    program->dialogs.answers = {program->directory.file("messages.txt")};
    QTest::keySequence(window.mfgStatus, QKeySequence::Save);
    const std::string saved = program->Read("messages.txt");
    EXPECT_TRUE(saved.ends_with("ERROR(11)\tbeta\tfour\r\n")) << saved;
    program->dialogs.answers = {program->directory.file("no/such/messages.txt")};
    window.cmdSave->click();
    EXPECT_TRUE(WasTold("Save Messages: The messages could not be saved: "));
    window.txtFind->setText("five"); // is hidden
    QTest::keyClick(window.txtFind, Qt::Key_Return);
    EXPECT_TRUE(WasTold("Find: No 'five' found in the rows shown."));
    pick(window.cmbModule, "All modules");
    for (const char* found : {"two", "four", "two"}) {
        window.txtFind->setText("BETA");
        QTest::keyClick(window.mfgStatus, Qt::Key_F3);
        EXPECT_EQ(window.mfgStatus->currentIndex().siblingAtColumn(3).data().toString(), found);
    }
    pick(window.cmbLevel, "All levels");
    EXPECT_EQ(rows(), (Rows{"one", "two", "three", "four", "five"}));
    window.setPlace({0, 0, 6000, 1000}); // twips: too low for the strip
    EXPECT_FALSE(window.txtFind->isVisible());
    QTest::keyClick(window.mfgStatus, Qt::Key_F, Qt::ControlModifier);
    EXPECT_TRUE(window.txtFind->isVisible() && window.txtFind->hasFocus());
    parent().mnuStatusWindow_Click();
    EXPECT_EQ(status(1).lblNumber->text(), "Status window 2 (starts empty)");
    EXPECT_EQ(status(1).windowTitle(), "Status Window");
}

TEST_F(Parent, ShowsTheShippedHelpAndFindsInIt) {
    windowSettings::Save("Global", "HelpHost", "file://" HELP_PAGES);
    ASSERT_TRUE(Choose("mnuReleaseNotes"));
    EXPECT_EQ(Newest<frmHelp>()->windowTitle(), "Release Notes");
    EXPECT_TRUE(Newest<frmHelp>()->WebBrowser1->toPlainText().contains("1.8.1"));
    ASSERT_TRUE(Choose("mnuUserGuide"));
    frmHelp* help = Newest<frmHelp>();
    EXPECT_EQ(help->windowTitle(), "User Guide v1.8.1");
    EXPECT_TRUE(help->WebBrowser1->toPlainText().contains("HoistlineApp user guide"));
    QTest::keySequence(help->WebBrowser1, QKeySequence::Find);
    EXPECT_TRUE(help->Text1->hasFocus());
    QTest::keyClicks(help->Text1, "ctrl+");
    std::set<std::pair<QString, int>> found; // page by page, then wrapped around
    for (int i = 0; i < 100; ++i) {
        QTest::keyClick(help->Text1, Qt::Key_Return);
        EXPECT_EQ(help->WebBrowser1->textCursor().selectedText().toLower(), "ctrl+");
        if (!found.emplace(help->WebBrowser1->source().fileName(), help->WebBrowser1->textCursor().position()).second)
            break;
    }
    EXPECT_TRUE(found.size() > 5 && found.size() < 100);
    QTest::mouseClick(help->cmdBack, Qt::LeftButton);
    EXPECT_TRUE(help->cmdForward->isEnabled());
    help->Text1->setText("no such text");
    QTest::keyClick(help->Text1, Qt::Key_Return);
    EXPECT_TRUE(WasTold("Find: No page with 'no such text' found."));
    windowSettings::Save("Global", "HelpHost", "file:///nowhere");
    ASSERT_TRUE(Choose("mnuUserGuide"));
    EXPECT_TRUE(Newest<frmHelp>()->WebBrowser1->toPlainText().startsWith("The page could not be opened:"));
}

} // namespace
