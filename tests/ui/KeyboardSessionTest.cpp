// A whole session without a mouse, key by key: each goes to the widget that has the focus, as the window system
// would send it.
#include "UserSettings.h"
#include "WindowTest.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"

#include <QApplication>
#include <QMdiSubWindow>
#include <QtTest/QTest>

#include <algorithm>

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
            while (SomeButtonIsDown()) // for a moment, when an access key presses it
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            Pass(50);
        }
    }
    bool SomeButtonIsDown() const {
        return windows::globals.main != nullptr &&
               std::ranges::any_of(parent().findChildren<QPushButton*>(), &QPushButton::isDown);
    }
    // Tab until a control has the focus; the user sees where it goes.
    void TabTo(const char* control) {
        for (int i = 0; i < 20 && Focus() != control; ++i)
            Press("Tab");
        EXPECT_EQ(Focus(), control);
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
    const auto expect = [this](const char* active, const char* focus) {
        EXPECT_EQ(Active(), active);
        EXPECT_EQ(Focus(), focus);
    };
    expect("frmMain", "mfgDevices");
    Press("Up"); // the device that runs its application
    EXPECT_EQ(form().lblNode->text(), "Node: 0");
    Press("Alt+I");
    EXPECT_EQ(Newest<frmSelectFirmware>(), nullptr);
    EXPECT_TRUE(form().lblWhyNot->text().contains("Command, Run Selected Device in Firmware Download Mode"));
    EXPECT_EQ(form().cmdUpdateApplicationImage->toolTip(), form().lblWhyNot->text());
    Press("Alt+C, F");
    Pass(5000);
    EXPECT_EQ(form().lblNode->text(), "Node: 0");
    EXPECT_EQ(form().lblWhyNot->text(), "");

    Press("Alt+I");
    EXPECT_EQ(Active(), "frmSelectFirmware");
    TabTo("ListView1");
    Press("Down, Alt+L");
    Pass(3000);
    EXPECT_EQ(program->Flash(0, "application"), IMAGE);
    TabTo("cmdViewConfig");
    Press("Space");
    expect("frmConfig", "RTB1");
    Press("Ctrl+F4");
    expect("frmViewMemory", "txtNodeMemory");
    Press("Ctrl+F4");
    expect("frmSelectFirmware", "ListView1"); // not the device list, which is off
    Press("Ctrl+Tab");
    EXPECT_EQ(Active(), "frmStatus");
    Press("Alt+W, 3");
    EXPECT_EQ(Active(), "frmSelectFirmware");
    Press("Alt+W, 1"); // off
    EXPECT_EQ(Active(), "frmSelectFirmware");
    Press("Esc, Esc, Alt+C");
    expect("frmStatus", "mfgStatus"); // where the user was before
    Press("Alt+W, 1");
    expect("frmMain", "mfgDevices");

    Press("Alt+V, S");
    EXPECT_EQ(Active(), "frmShell");
    EXPECT_TRUE(Newest<frmShell>()->txtShell->hasFocus());
    Press("Alt+W, 1");
    expect("frmMain", "mfgDevices");
    Press("Alt+W, 3, Alt+F, C");
    expect("frmMain", "mfgDevices");
    Press("Ctrl+Shift+Tab");
    EXPECT_EQ(Active(), "frmStatus");
    Press("Ctrl+F4"); // it stays in memory, and leaves the keys to the other
    expect("frmMain", "mfgDevices");
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
    EXPECT_EQ(Focus(), "mfgDevices");    // the links went away while the bus was read
    Press("Tab, Tab, Tab, Tab, Return"); // Troubleshooting
    EXPECT_EQ(Active(), "frmHelp");
}

} // namespace
