// The terminal on a simulated device; ShellSweepTest has its channel in every generation.
#include "Paths.h"
#include "WindowTest.h"
#include "basBootloader.h"
#include "frmCRCs.h"
#include "frmShell.h"

#include <QApplication>
#include <QClipboard>
#include <QTimer>
#include <QtTest/QTest>

#include <filesystem>

using namespace testing_support;

namespace {

constexpr const char* GUID = "000F1B0000000001";

class ShellWindow : public WindowTest {
protected:
    void SetUp() override { Begin({}); }
    // A window on the first of two devices.
    void Begin(const std::string& faults) {
        const std::string console = R"(, "shell": {"banner": "ready\r\n", "ring": 256})";
        Start(Bus({Target(GUID, "bootloader", console), Target("000F1B0000000002", "bootloader", console)}, faults));
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
    static std::string Screen(const frmShell* shown) { return shown->txtShell->toPlainText().toStdString(); }
    frmShell* shell = nullptr;
};

TEST_F(ShellWindow, EchoesAnswersAndRubsOut) {
    EXPECT_TRUE(shell->Connected());
    QTest::keyClicks(shell->txtShell, "helpx");
    Pass(1000);
    QTest::keyClick(shell->txtShell, Qt::Key_Backspace);
    Enter("");
    EXPECT_NE(Screen(shell).find("help\nhelp version keys flood N sleep MS reset\n"), std::string::npos)
        << Screen(shell);
}

TEST_F(ShellWindow, SendsArrowsAndPastesAsBytes) {
    Paste("");
    EXPECT_TRUE(program->WrittenTo("0xffffc8021040").empty());
    QTest::keyClick(shell->txtShell, Qt::Key_Left);
    QTest::keyClick(shell->txtShell, Qt::Key_C, Qt::ControlModifier);
    Paste("ab\ncd");
    using Texts = std::vector<std::string>;
    EXPECT_EQ(program->WrittenTo("0xffffc8021040"),
              (Texts{"1b000000", "5b000000", "44000000", "03000000", "61620d6364000000"}));
}

TEST_F(ShellWindow, SendsALongPasteWholeWithTypingBehindIt) {
    Paste(QString(700, 'p'));
    QTest::keyClicks(shell->txtShell, "q");
    Pass(3000);
    std::string sent;
    for (const std::string& bytes : program->WrittenTo("0xffffc8021040"))
        for (std::size_t i = 0; i < bytes.size(); i += 2)
            if (bytes.compare(i, 2, "00") != 0)
                sent.push_back(static_cast<char>(std::stoi(bytes.substr(i, 2), nullptr, 16)));
    EXPECT_EQ(sent, std::string(700, 'p') + "q");
}

TEST_F(ShellWindow, TellsWhatBecameOfItsDeviceAndComesBackWithTheHistory) {
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
    EXPECT_NE(shell->cmbDeviceDetails->currentText().indexOf("GUID=00 0F 1B 00 00 00 00 01"), -1);
    EXPECT_TRUE(shell->mnuReset->isEnabled());
}

TEST_F(ShellWindow, GivesItsDeviceUpToAnotherWindow) {
    EXPECT_EQ(Open(0), shell); // the one that is open comes forward
    frmShell* second = Open(1);
    ASSERT_NE(second, shell);
    QComboBox* combo = second->cmbDeviceDetails;
    const int index = combo->findText("GUID=00 0F 1B 00 00 00 00 01", Qt::MatchContains);
    combo->setCurrentIndex(index);
    Q_EMIT combo->textActivated(combo->itemText(index));
    Pass(1000);
    EXPECT_EQ(windows::globals.shellWindows, (std::vector<Form*>{nullptr, second}));
    EXPECT_NE(Screen(second).find("ready"), std::string::npos);
}

TEST_F(ShellWindow, LogsWhatCameAndMarksWhereTheBusWasReset) {
    shell->mnuLogToFile->trigger();
    Enter("version");
    bas1394::ResetBus();
    Pass(3000);
    Enter("flood 100"); // laps the ring of 256
    shell->mnuLogToFile->trigger();
    std::string name;
    for (const auto& entry : std::filesystem::directory_iterator(program->directory.file("shell-logs")))
        name = entry.path().filename().string();
    EXPECT_EQ(name.rfind(std::string(GUID) + "_", 0), 0U) << name;
    const std::string log = program->Read("shell-logs/" + name);
    for (const char* part : {"version", "bus reset ---", "characters lost ---", "line 1\r\n"})
        EXPECT_NE(log.find(part), std::string::npos) << part << "\n" << log;
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

TEST_F(ShellWindow, ShowsTheCrcOfEachImageAndTheOneThatIsBad) {
    Begin(R"({"node": 0, "command": 3, "skip": 3, "do": "badCrc"})");
    std::string bootloader, debugger;
    QTimer::singleShot(0, [&] {
        auto* crcs = parent().findChild<frmCRCs*>();
        bootloader = crcs->lblBootloaderCRC->text().toStdString();
        debugger = crcs->lblDebuggerCRC->text().toStdString();
        crcs->cmdClose->click();
    });
    shell->mnuFirmwareCRCs->trigger();
    EXPECT_TRUE(bootloader.starts_with("  Bootloader: CRC ok!  0x")) << bootloader;
    EXPECT_EQ(debugger, "    Debugger: Invalid CRC indicated by target");
}

} // namespace
