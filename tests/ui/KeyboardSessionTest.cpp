// A whole session without a mouse: each key goes to the widget that has the focus, as the window system would send it.
#include "UserSettings.h"
#include "WindowTest.h"

#include <QApplication>
#include <QMdiSubWindow>
#include <QtTest/QTest>

#include <algorithm>
#include <functional>

using namespace testing_support;

namespace {

const ByteArray IMAGE(3000, 0x5A), CNE{'[', 0, 'a', 0, 'b', 0, ']', 0};

class Keyboard : public WindowTest {
protected:
    ~Keyboard() override { platform::UseUserSettingsFile(""); }
    void Press(const QString& keys) { // "Alt+V, S"
        for (const QString& key : keys.split(", ")) {
            const QKeyCombination combination = QKeySequence(key)[0];
            QWidget* to = QApplication::activePopupWidget() != nullptr ? QApplication::activePopupWidget()
                          : QApplication::focusWidget() != nullptr     ? QApplication::focusWidget()
                                                                       : &parent();
            QTest::keyClick(to, combination.key(), combination.keyboardModifiers());
            while (SomeButtonIsDown()) // briefly, after its access key
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            Pass(50);
        }
    }
    bool SomeButtonIsDown() const {
        return windows::globals.main != nullptr &&
               std::ranges::any_of(parent().findChildren<QPushButton*>(), &QPushButton::isDown);
    }
    static std::string Focus() {
        const QWidget* widget = QApplication::focusWidget();
        return widget == nullptr ? "nothing" : widget->objectName().toStdString();
    }
    std::string Active() const {
        const QMdiSubWindow* frame = parent().mdiArea->activeSubWindow();
        return frame == nullptr ? "none" : frame->widget()->objectName().toStdString();
    }
};

TEST_F(Keyboard, IsEnoughForAWholeSession) {
    Start(Bus({Target("000F1B0000000001", "application"), Target("000F1B0000000002", "bootloader")}));
    platform::UseUserSettingsFile(program->directory.file("user.json"));
    program->Write("packages/both.twd", Package(IMAGE, CNE));
    platform::SaveUserSetting("Global", "DefaultFirmwarePath", program->directory.file("packages"));
    EXPECT_EQ(Focus(), "mfgDevices");
    const struct {
        const char *keys, *active, *focus; // after them
        std::function<void()> seen = [] {};
    } rows[] = {
        {"Up", "frmMain", "mfgDevices"}, // to the device that runs its application
        {"Alt+I", "frmMain", "mfgDevices",
         [&] { EXPECT_TRUE(form().lblWhyNot->text().contains("Command, Run Selected Device in Firmware Do")); }},
        {"Alt+C, F", "frmMain", "mfgDevices", [&] { Pass(5000); }},
        {"Alt+I", "frmSelectFirmware", "ListView1", [&] { EXPECT_TRUE(form().lblWhyNot->text().contains("is off")); }},
        {"Down, Alt+L", "frmSelectFirmware", "ListView1", [&] { EXPECT_EQ(program->Flash(0, "application"), IMAGE); }},
        {"Alt+V, Space", "frmConfig", "RTB1"}, // View Config; the View menu has the same access key
        {"Ctrl+F4", "frmViewMemory", "txtNodeMemory"},
        {"Ctrl+F4", "frmSelectFirmware", "ListView1"}, // not the device list, which is disabled
        {"Ctrl+Tab", "frmStatus", "mfgStatus"},        // the same
        {"Alt+W, 3", "frmSelectFirmware", "ListView1"},
        {"Alt+W, 1, Esc, Esc", "frmSelectFirmware", "ListView1"}, // the same
        {"Alt+C", "frmStatus", "mfgStatus"},                      // where the user was before
        {"Alt+W, 1", "frmMain", "mfgDevices"},
        {"Alt+V, S", "frmShell", "txtShell"},
        {"Alt+W, 1", "frmMain", "mfgDevices"},
        {"Alt+W, 3", "frmShell", "txtShell"},
        {"Alt+C, Esc", "frmShell", "txtShell"}, // not the menu bar, where the next "c" and "r" reset the device
        {"Alt+F, C", "frmMain", "mfgDevices"},
        {"Ctrl+Shift+Tab", "frmStatus", "mfgStatus"},
        {"Ctrl+F4", "frmMain", "mfgDevices"}, // it stays in memory, but no longer has the focus
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.keys);
        Press(row.keys);
        EXPECT_EQ(Active(), row.active);
        EXPECT_EQ(Focus(), row.focus);
        row.seen();
    }
    Press("Alt+F, X");
    EXPECT_EQ(windows::globals.main, nullptr);
}

TEST_F(Keyboard, FollowsTheHintOfABusWithoutDevices) {
    Start(Bus({}));
    Press("Tab, Tab, Tab"); // Reset Bus, Rescan Bus
    ForgetTold();
    Press("Return");
    EXPECT_TRUE(WasTold("Rescan Bus Commanded"));
    Pass(3000);
    EXPECT_EQ(Focus(), "mfgDevices");    // the links were hidden while the bus was read
    Press("Tab, Tab, Tab, Tab, Return"); // Troubleshooting
    EXPECT_EQ(Active(), "frmHelp");
}

} // namespace
