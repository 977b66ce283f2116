// The terminal on a simulated device; ShellSweepTest has its channel in every generation.
#include "Paths.h"
#include "Twl1394api.h"
#include "WindowTest.h"
#include "basBootloader.h"
#include "frmCRCs.h"
#include "frmShell.h"

#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <QTimer>
#include <QtTest/QTest>

#include <algorithm>
#include <filesystem>

using namespace testing_support;

namespace {

constexpr const char* GUID = "000F1B0000000001";

class ShellWindow : public WindowTest {
protected:
    void SetUp() override { Begin({}); }
    // A window on the first of two devices; the second has protocol 2.
    void Begin(const std::string& faults) {
        const std::string console = R"(, "shell": {"banner": "ready\r\n", "ring": 256})";
        Start(Bus({Target(GUID, "bootloader", console),
                   Target("000F1B0000000002", "bootloader", console + R"(, "protocol": 2)")},
                  faults));
        shell = Open(0);
    }
    frmShell* Open(int node) {
        SelectRow(RowOf(node));
        EXPECT_TRUE(Choose("mnuLaunchShell"));
        Pass(1000);
        return qobject_cast<frmShell*>(windows::globals.shellWindows.back());
    }
    void Enter(const char* line) {
        QTest::keyClicks(shell->txtShell, line);
        QTest::keyClick(shell->txtShell, Qt::Key_Return);
        Pass(2000);
    }
    void Paste(const QString& text) {
        QApplication::clipboard()->setText(text);
        QTest::keyClick(shell->txtShell, Qt::Key_V, Qt::ControlModifier);
    }
    // The bytes typed so far in hex, without the padding of the last quadlet.
    std::string Sent() const {
        std::string all;
        for (const std::string& bytes : program->WrittenTo("0xffffc8021040"))
            all += bytes.substr(0, bytes.find("00"));
        return all;
    }
    static std::string Screen(const frmShell* shown) { return shown->txtShell->toPlainText().toStdString(); }
    // The marks in the text, each without its time.
    static std::string Marks(const frmShell* shown) {
        const ShellScreen& screen = shown->txtShell->Screen();
        std::string marks;
        for (std::int64_t line = screen.FirstLine(); line < screen.EndLine(); ++line)
            for (const ShellScreen::Mark& mark : screen.MarksOf(line))
                marks += mark.text.substr(0, mark.text.find(',') + 1);
        return marks;
    }
    frmShell* shell = nullptr;
};

TEST_F(ShellWindow, EchoesAnswersAndErases) {
    EXPECT_TRUE(shell->Connected());
    QTest::keyClicks(shell->txtShell, "helpx");
    Pass(1000);
    QTest::keyClick(shell->txtShell, Qt::Key_Backspace);
    Enter("");
    EXPECT_NE(Screen(shell).find("help\nhelp version keys flood N sleep MS reset\n"), std::string::npos)
        << Screen(shell);
    SimulatorFailNext(0, 1000, TWL1394_NODE_DID_NOT_RESPOND);
    Pass(1000);
    EXPECT_FALSE(shell->Connected());
}

// Including those with which the frame would close the window or switch to another one.
TEST_F(ShellWindow, SendsEveryKeyThatIsNotACommandOfItsOwn) {
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        std::string bytes; // in hex
    } rows[] = {
        {Qt::Key_Up, {}, "1b5b41"},
        {Qt::Key_Down, {}, "1b5b42"},
        {Qt::Key_Right, {}, "1b5b43"},
        {Qt::Key_Left, {}, "1b5b44"},
        {Qt::Key_C, Qt::ControlModifier, "03"},
        {Qt::Key_W, Qt::ControlModifier, "17"},
        {Qt::Key_Tab, Qt::ControlModifier, "09"},
        {Qt::Key_F4, Qt::ControlModifier, "1b5b313b3553"},
        {Qt::Key_F3, {}, "1b4f52"},
        {Qt::Key_F12, Qt::ShiftModifier, "1b5b32343b327e"},
        {Qt::Key_Home, {}, "1b5b48"},
        {Qt::Key_End, Qt::ControlModifier, "1b5b313b3546"},
        {Qt::Key_PageUp, {}, "1b5b357e"},
        {Qt::Key_PageUp, Qt::ShiftModifier, ""}, // scrolls
        {Qt::Key_Left, Qt::AltModifier, "1b5b313b3344"},
        {Qt::Key_Left, Qt::ControlModifier, "1b5b44"},
        {Qt::Key_B, Qt::AltModifier, "1b62"},
        {Qt::Key_B, Qt::AltModifier | Qt::ControlModifier, "1b02"},
        {Qt::Key_Alt, Qt::AltModifier, ""},                       // nor does it go to the menu bar
        {Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier, ""}, // clears the terminal
        {Qt::Key_A, Qt::ControlModifier | Qt::ShiftModifier, ""}, // selects all
        {Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier, ""}, // copies
        {Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier, "7061737465"},
    };
    frmShell* second = Open(1);
    parent().BringForward(qobject_cast<QMdiSubWindow*>(shell->frame()));
    QApplication::clipboard()->setText("paste");
    for (const auto& row : rows) {
        const std::size_t before = Sent().size();
        QTest::keyClick(shell->txtShell, row.key, row.modifiers);
        Pass(50);
        EXPECT_EQ(Sent().substr(before), row.bytes) << QKeySequence(row.modifiers | row.key).toString().toStdString();
        ASSERT_FALSE(shell->unloaded() || second->unloaded());
        EXPECT_EQ(parent().mdiArea->activeSubWindow(), shell->frame());
        EXPECT_TRUE(shell->txtShell->hasFocus());
    }
    EXPECT_EQ(Screen(shell), "");
    parent().BringForward(qobject_cast<QMdiSubWindow*>(form().frame())); // typed in the wrong window
    QTest::keyClick(form().mfgDevices, Qt::Key_W, Qt::ControlModifier);
    Pass(50);
    EXPECT_NE(windows::globals.main, nullptr);
}

TEST_F(ShellWindow, SendsAPasteInOneWriteOrRefusesAllOfIt) {
    Paste("");
    EXPECT_EQ(Sent(), "");
    Paste("ab\ncd");
    EXPECT_EQ(Sent(), "61620d6364");
    shell = Open(1); // by a direct write: six zeros, length, text
    const std::size_t before = program->WrittenTo("0xffffc8021040").size();
    Paste(QString(2040, 'p'));
    std::vector<std::string> sent = program->WrittenTo("0xffffc8021040");
    ASSERT_EQ(sent.size(), before + 1);
    EXPECT_EQ(sent.back().substr(0, 20), "000000000000f8077070");
    Paste(QString(2041, 'p'));
    EXPECT_EQ(program->WrittenTo("0xffffc8021040").size(), before + 1);
    EXPECT_EQ(shell->txtShell->Notice(), "Nothing of the pasted text was sent: it has 2041 characters, and this device "
                                         "takes 2040 at once.");
    EXPECT_TRUE(program->dialogs.shown.empty());
    QTest::keyClicks(shell->txtShell, "q");
    EXPECT_EQ(shell->txtShell->Notice(), "");
}

TEST_F(ShellWindow, ItsCommandsSendWhatTheySay) {
    const struct {
        const char *item, *request; // in hex: command, number of quadlets, operands
    } rows[] = {
        {"mnuSwitchTo1394shell", "07020000000000000000"},
        {"mnuHalt", "0100"},
        {"mnuGetDebugGUID", "0f00"},
        {"mnuInitializePersistentParameters", "0c00"},
        {"mnuStartDebugger", "110102000000"},
        {"mnuStartApplication", "110100000000"},
        {"mnuReset", "020100000000"},
    };
    for (const auto& row : rows) {
        Begin({});
        const std::size_t before = program->RequestsSent().size();
        program->dialogs.answers = {"yes"};
        shell->findChild<QAction*>(row.item)->trigger();
        ASSERT_GT(program->RequestsSent().size(), before) << row.item;
        EXPECT_EQ(program->RequestsSent()[before], row.request) << row.item;
    }
}

TEST_F(ShellWindow, ReportsThatItsDeviceHasGoneAndShowsTheHistoryAfterItsReturn) {
    Enter("version");
    const std::string before = Screen(shell);
    SimulatorUnplug(0);
    Pass(3000);
    EXPECT_FALSE(shell->Connected());
    EXPECT_EQ(Screen(shell), "  <INVALID NODE NUMBER FOR HANDLE " + std::to_string(shell->CurrentHandle()) + ">");
    EXPECT_NE(shell->cmbDeviceDetails->currentText().indexOf("Node has disappeared from the bus!"), -1);
    EXPECT_FALSE(shell->mnuReset->isEnabled());
    SimulatorPlug(0);
    Pass(5000);
    EXPECT_TRUE(shell->Connected());
    EXPECT_EQ(Screen(shell).rfind(before, 0), 0U) << Screen(shell);
    EXPECT_EQ(Marks(shell), "device restarted,"); // one mark, which isn't part of the text
    bas1394::ResetBus();
    Pass(3000);
    EXPECT_EQ(Marks(shell), "device restarted,bus reset,");
    Enter("reset"); // into the application, which prints its greeting at once
    EXPECT_TRUE(Screen(shell).ends_with("> ready\n> ")) << Screen(shell);
    EXPECT_EQ(Marks(shell), "device restarted,bus reset,device restarted,");
    const ShellScreen& screen = shell->txtShell->Screen();
    EXPECT_EQ(screen.MarksOf(screen.EndLine() - 2).size(), 3U) << "the mark isn't between prompt and greeting";
    EXPECT_NE(shell->cmbDeviceDetails->currentText().indexOf("GUID=00 0F 1B 00 00 00 00 01"), -1);
    EXPECT_TRUE(shell->mnuReset->isEnabled());
}

TEST_F(ShellWindow, LeavesItsDeviceToAnotherWindow) {
    EXPECT_EQ(Open(0), shell); // the open one is brought forward
    frmShell* second = Open(1);
    ASSERT_NE(second, shell);
    QMenu listed;
    windows::ListChildWindows(&listed);
    EXPECT_TRUE(listed.actions().last()->text().endsWith("Shell Window (node 1, 000F1B00 00000002)"));
    const auto overlap = [&] { return shell->frame()->geometry().intersects(second->frame()->geometry()); };
    shell->mnuTile->trigger();
    EXPECT_FALSE(overlap());
    shell->mnuCascade->trigger();
    EXPECT_TRUE(overlap());
    QComboBox* combo = second->cmbDeviceDetails;
    const int index = combo->findText("GUID=00 0F 1B 00 00 00 00 01", Qt::MatchContains);
    combo->setCurrentIndex(index);
    Q_EMIT combo->textActivated(combo->itemText(index));
    Pass(1000);
    EXPECT_EQ(windows::globals.shellWindows, (std::vector<Form*>{nullptr, second}));
    EXPECT_NE(Screen(second).find("ready"), std::string::npos);
}

TEST_F(ShellWindow, FollowsTheTextAgainWithTheNextKeyOrPaste) {
    ShellTerminal& terminal = *shell->txtShell;
    QScrollBar* bar = terminal.verticalScrollBar();
    Enter("flood 40");
    ASSERT_GT(bar->maximum(), 0);
    const std::string before = Screen(shell);
    EXPECT_EQ(bar->value(), bar->maximum());
    const auto scrollsUp = [&] {
        QTest::keyClick(&terminal, Qt::Key_Home, Qt::ShiftModifier);
        return bar->value() == 0;
    };
    ASSERT_TRUE(scrollsUp());
    Pass(500);
    QTest::mouseClick(terminal.viewport(), Qt::LeftButton, {}, QPoint(40, 10));
    EXPECT_EQ(bar->value(), 0);
    QTest::keyClicks(&terminal, "x");
    EXPECT_EQ(bar->value(), bar->maximum());
    Pass(500);
    EXPECT_EQ(Screen(shell), before + "x"); // not where the click was
    ASSERT_TRUE(scrollsUp());
    QApplication::clipboard()->setText("yz");
    QTest::mouseClick(terminal.viewport(), Qt::MiddleButton, {}, QPoint(40, 10));
    EXPECT_EQ(bar->value(), bar->maximum());
    Pass(500);
    EXPECT_EQ(Screen(shell), before + "xyz");
}

TEST_F(ShellWindow, CopiesWhatIsSelectedWithMouseOrMenu) {
    ShellTerminal& terminal = *shell->txtShell;
    Enter("help");
    EXPECT_FALSE(terminal.mnuCopy->isEnabled());
    terminal.mnuSelectAll->trigger();
    terminal.mnuCopy->trigger();
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), Screen(shell));
    const QPoint inFirstWord(10, terminal.fontMetrics().height() / 2);
    QTest::mouseDClick(terminal.viewport(), Qt::LeftButton, {}, inFirstWord);
    EXPECT_EQ(terminal.selectedText(), "ready");
    QTest::mouseRelease(terminal.viewport(), Qt::LeftButton, {}, inFirstWord);
    ASSERT_TRUE(terminal.Find("HELP VERSION"));
    EXPECT_EQ(terminal.selectedText(), "help version");
    EXPECT_FALSE(terminal.Find("no such text"));
}

TEST_F(ShellWindow, LogsOutputAndMarksWhereTheBusWasReset) {
    shell->mnuLogToFile->trigger();
    Enter("version");
    bas1394::ResetBus();
    Pass(3000);
    Enter("flood 100"); // overruns the ring of 256
    EXPECT_NE(Marks(shell).find(" characters lost,"), std::string::npos);
    shell->setCurrentHandle(basBootloader::OpenBootloaderDevice(bas1394::globals.DeviceTable[1]));
    Enter("keys");
    shell->mnuLogToFile->trigger();
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(program->directory.file("shell-logs")))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    ASSERT_EQ(names.size(), 2U); // one per device
    EXPECT_EQ(names[0].rfind(std::string(GUID) + "_", 0), 0U) << names[0];
    const std::string log = program->Read("shell-logs/" + names[0]);
    for (const char* part : {"version", "bus reset ---", "characters lost ---", "line 1\r\n"})
        EXPECT_NE(log.find(part), std::string::npos) << part << "\n" << log;
    EXPECT_NE(program->Read("shell-logs/" + names[1]).find("keys"), std::string::npos);
}

TEST_F(ShellWindow, AsksBeforeItOverwritesAndKeepsARateThatIsANumber) {
    program->dialogs.answers = {"no"};
    shell->mnuInitializePersistentParameters->trigger();
    EXPECT_EQ(program->dialogs.shown.back().caption, "Initialize Persistent Parameters");
    for (const char* answer : {"50", "0", "abc", "", "99999999999"}) {
        program->dialogs.answers = {answer};
        shell->mnuPollingRate->trigger();
        EXPECT_EQ(shell->tmrPollForShellData->interval(), 50) << answer;
    }
    EXPECT_EQ(Setting("frmShell", "ShellPollingInterval"), "50");
}

// The CRC rows as the user sees them: `rows` collects the text of each painting.
struct PaintedRows : QObject {
    PaintedRows() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* object, QEvent* event) override {
        const auto* label = qobject_cast<QLabel*>(object);
        if (event->type() == QEvent::Paint && label != nullptr && label->objectName().endsWith("CRC"))
            if (const std::string text = label->text().toStdString(); rows.empty() || rows.back() != text)
                rows.push_back(text);
        return false;
    }
    std::vector<std::string> rows;
};

TEST_F(ShellWindow, ShowsTheCrcOfEachImageAsItComesAndTheOneThatIsBad) {
    const char* const prefixes[] = {"  Bootloader: ", " Application: ", "Config (CNE): ", "    Debugger: "}; // as read
    constexpr std::size_t NEVER_LOADED = 2;
    for (const std::size_t bad : {0, 1, 3}) {
        Begin(R"({"node": 0, "command": 3, "do": "badCrc", "skip": )" + std::to_string(bad) + "}");
        PaintedRows painted;
        QTimer::singleShot(0, [&] { Newest<frmCRCs>()->cmdClose->click(); }); // after the answers
        shell->mnuFirmwareCRCs->trigger();
        const auto& rows = painted.rows;
        ASSERT_GE(rows.size(), 8u); // all are painted before the first answer
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_TRUE(rows[rows.size() - 8 + i].ends_with("<failed to read>")) << testing::PrintToString(rows);
            EXPECT_EQ(rows[rows.size() - 4 + i].find(prefixes[i] + std::string(i == bad || i == NEVER_LOADED
                                                                                   ? "Invalid CRC indicated by target"
                                                                                   : "CRC ok!  0x")),
                      0u)
                << rows[rows.size() - 4 + i];
        }
    }
    frmCRCs crcs;
    crcs.setHDevice(0);
    QTest::keySequence(crcs.lblCNE_CRC, QKeySequence::Copy);
    EXPECT_EQ(QApplication::clipboard()->text(), "Config (CNE) CRC: <failed to read>");
}

} // namespace
