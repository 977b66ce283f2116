// The terminal on a simulated device, in every generation of the channel.
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

namespace testing_support {

namespace {

constexpr const char* GUID = "000F1B0000000001";
constexpr const char* SHELL = R"(, "shell": {"banner": "ready\r\n", "ring": 256})";

std::string WithProtocol(std::int64_t protocol, const std::string& guid = GUID, const std::string& extra = SHELL) {
    std::string target = Target(guid, "bootloader", extra);
    const std::string present = R"("protocol": 1)";
    return target.replace(target.find(present), present.size(), R"("protocol": )" + std::to_string(protocol));
}

class ShellWindow : public WindowTest {
protected:
    frmShell* Open(int node) {
        SelectRow(RowOf(node));
        EXPECT_TRUE(Choose("mnuLaunchShell"));
        auto* shell = qobject_cast<frmShell*>(windows::globals.shellWindows.back());
        Pass(1000);
        return shell;
    }
    void Type(frmShell* shell, const char* text) {
        QTest::keyClicks(shell->txtShell, text);
        Pass(1000);
    }
    void Enter(frmShell* shell, const char* line) {
        QTest::keyClicks(shell->txtShell, line);
        QTest::keyClick(shell->txtShell, Qt::Key_Return);
        Pass(2000);
    }
    static std::string Screen(const frmShell* shell) { return shell->txtShell->toPlainText().toStdString(); }
};

TEST_F(ShellWindow, EchoesAnswersAndRubsOutInEveryGeneration) {
    for (const std::int64_t protocol : {1, 2, 3, 0x2000000}) {
        Start(Bus({WithProtocol(protocol)}));
        frmShell* shell = Open(0);
        EXPECT_TRUE(shell->Connected()) << protocol;
        Type(shell, "helpx");
        QTest::keyClick(shell->txtShell, Qt::Key_Backspace);
        Enter(shell, "");
        EXPECT_NE(Screen(shell).find("help\nhelp version keys flood N sleep MS reset\n"), std::string::npos)
            << protocol << "\n"
            << Screen(shell);
    }
}

TEST_F(ShellWindow, SendsArrowsAndPastesAsBytes) {
    Start(Bus({WithProtocol(1)}));
    frmShell* shell = Open(0);
    QApplication::clipboard()->setText("");
    QTest::keyClick(shell->txtShell, Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(program->WrittenTo("0xffffc8021040").empty());
    QTest::keyClick(shell->txtShell, Qt::Key_Left);
    QTest::keyClick(shell->txtShell, Qt::Key_C, Qt::ControlModifier);
    QApplication::clipboard()->setText("ab\ncd");
    QTest::keyClick(shell->txtShell, Qt::Key_V, Qt::ControlModifier);
    using Texts = std::vector<std::string>;
    EXPECT_EQ(program->WrittenTo("0xffffc8021040"),
              (Texts{"1b000000", "5b000000", "44000000", "03000000", "61620d6364000000"}));
}

TEST_F(ShellWindow, SendsALongPasteWholeWithTypingBehindIt) {
    Start(Bus({WithProtocol(1, GUID, R"(, "shell": {"ring": 1024})")}));
    frmShell* shell = Open(0);
    const std::string wanted = std::string(700, 'p') + "q";
    QApplication::clipboard()->setText(QString(700, 'p'));
    QTest::keyClick(shell->txtShell, Qt::Key_V, Qt::ControlModifier);
    QTest::keyClicks(shell->txtShell, "q");
    Pass(3000);
    std::string sent;
    for (const std::string& bytes : program->WrittenTo("0xffffc8021040"))
        for (std::size_t i = 0; i < bytes.size(); i += 2)
            if (bytes.compare(i, 2, "00") != 0)
                sent.push_back(static_cast<char>(std::stoi(bytes.substr(i, 2), nullptr, 16)));
    EXPECT_EQ(sent, wanted);
}

TEST_F(ShellWindow, TellsWhatBecameOfItsDeviceAndComesBackWithTheHistory) {
    Start(Bus({WithProtocol(1), WithProtocol(3, "000F1B0000000002")}));
    frmShell* shell = Open(0);
    Enter(shell, "version");
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
    Start(Bus({WithProtocol(1), WithProtocol(3, "000F1B0000000002")}));
    frmShell* first = Open(0);
    EXPECT_EQ(Open(0), first); // the one that is open comes forward
    frmShell* second = Open(1);
    ASSERT_NE(second, first);
    QComboBox* combo = second->cmbDeviceDetails;
    const int index = combo->findText("GUID=00 0F 1B 00 00 00 00 01", Qt::MatchContains);
    combo->setCurrentIndex(index);
    Q_EMIT combo->textActivated(combo->itemText(index));
    Pass(1000);
    EXPECT_EQ(windows::globals.shellWindows, (std::vector<Form*>{nullptr, second}));
    EXPECT_NE(Screen(second).find("ready"), std::string::npos);
}

TEST_F(ShellWindow, LogsWhatCameAndMarksWhereTheBusWasReset) {
    Start(Bus({WithProtocol(1)}));
    frmShell* shell = Open(0);
    shell->mnuLogToFile->trigger();
    Enter(shell, "version");
    bas1394::ResetBus();
    Pass(3000);
    Enter(shell, "flood 100"); // laps the ring of 256
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
    Start(Bus({WithProtocol(1)}));
    frmShell* shell = Open(0);
    program->dialogs.answers = {"no"};
    shell->mnuInitializePersistentParameters->trigger();
    EXPECT_EQ(program->dialogs.shown.back().caption, "Initialize Persistent Parameters");
    const struct {
        const char* answer;
        std::int32_t interval;
    } rows[] = {{"50", 50}, {"0", 50}, {"abc", 50}, {"", 50}, {"99999999999", 50}};
    for (const auto& row : rows) {
        program->dialogs.answers = {row.answer};
        shell->mnuPollingRate->trigger();
        EXPECT_EQ(shell->tmrPollForShellData->interval(), row.interval) << row.answer;
    }
    EXPECT_EQ(Setting("frmShell", "ShellPollingInterval"), "50");
}

TEST_F(ShellWindow, ShowsTheCrcOfEachImageAndTheOneThatIsBad) {
    Start(Bus({WithProtocol(1)}, R"({"node": 0, "command": 3, "skip": 3, "do": "badCrc"})"));
    frmShell* shell = Open(0);
    std::vector<std::string> texts;
    QTimer::singleShot(0, [&] {
        auto* crcs = parent().findChild<frmCRCs*>();
        for (const QLabel* label :
             {crcs->lblBootloaderCRC, crcs->lblApplicationCRC, crcs->lblCNE_CRC, crcs->lblDebuggerCRC})
            texts.push_back(label->text().toStdString());
        crcs->cmdClose->click();
    });
    shell->mnuFirmwareCRCs->trigger();
    ASSERT_EQ(texts.size(), 4U);
    EXPECT_EQ(texts[0].rfind("  Bootloader: CRC ok!  0x", 0), 0U) << texts[0];
    EXPECT_EQ(texts[3], "    Debugger: Invalid CRC indicated by target");
}

} // namespace

} // namespace testing_support
