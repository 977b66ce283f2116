// A terminal on one target at a time: polls the target's console, shows what comes back, sends the
// user's keys, and offers a menu of bootloader commands.
#pragma once

#include "Form.h"
#include "SettingKeys.h"
#include "ShellLog.h"
#include "ShellTerminal.h"
#include "WindowTimer.h"
#include "clsLayoutManager.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QPushButton>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class frmShell : public Form {
    Q_OBJECT
public:
    static constexpr const char* NAME = settingKeys::SHELL_SECTION; // in messages, and the section of its settings

    frmShell();

    void Form_Load() override;
    std::vector<QMenu*> menus() override;
    bool takesAllKeys() const override { return true; }
    QString whichOne() const override;

    std::int32_t Index = 0; // slot in the list of shell windows
    std::int32_t CurrentHandle() const { return currentHandle_; }
    // Switches to a target: closes every other window on it, clears the text, shows the target's history.
    void setCurrentHandle(std::int32_t handle);
    bool Connected() const { return !imgConnected->isHidden(); }
    void setConnected(bool connected);
    bool AlwaysOnTop() const { return chkAlwaysOnTop->isChecked(); }
    void setAlwaysOnTop(bool onTop) { mnuAlwaysOnTop->setChecked(onTop); }
    void RefreshDeviceList();

    // After a bus reset: the combo lists the present nodes, and text and log get a mark.
    void BusWasReset();
    // The device dropped `count` characters before they could be read.
    void CharactersLost(std::int32_t count);

    void txtShell_KeyPress(std::uint8_t keyAscii);
    void tmrPollForShellData_Timer();

    QGroupBox *Frame2, *fraRawInterface, *fraInvisible;
    QComboBox* cmbDeviceDetails;
    QLabel *imgConnected, *imgNotConnected;
    ShellTerminal* txtShell;
    QCheckBox* chkAlwaysOnTop;
    QPushButton* cmdCheckForData;
    WindowTimer* tmrPollForShellData;

    QMenu *mnuFile, *mnuCommand, *mnuView, *mnuSettings, *mnuWindow;
    QAction *mnuClose, *mnuSwitchTo1394shell, *mnuReset, *mnuHalt, *mnuStartDebugger, *mnuStartApplication,
        *mnuGetDebugGUID, *mnuInitializePersistentParameters, *mnuFirmwareCRCs, *mnuAlwaysOnTop, *mnuBufferWrapNotices,
        *mnuPollingRate, *mnuTile, *mnuCascade;
    QAction *mnuFind, *mnuFindNext, *mnuClear, *mnuLargerText, *mnuSmallerText, *mnuLogToFile, *mnuLogTimestamps,
        *mnuScrollBack;

protected:
    void Form_Resize() override;
    void Form_Unload() override;
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildControls();
    void ShowTargets();
    void ShowNoTarget(const QString& text);
    void EnableCommands(bool enabled);
    [[nodiscard]] bool HasUsableNode();
    void CloseOthersOn(std::int32_t handle);
    void ReadPasses();
    [[nodiscard]] bool ReadOnce(); // false when there is no more to read now
    void Send(const ByteArray& bytes);
    void Paste(const QString& text);
    bool IsCommandKey(const QKeyEvent& event) const;
    void cmbDeviceDetails_Click();

    // History, marks and log (frmShellMarks.cpp).
    static struct BootloaderTarget* TargetOf(std::int32_t handle); // null for none
    void ShowHistory(const struct ShellStore& store);
    void Mark(const std::string& what, bool startsOver);
    void ToLog(const std::function<void(ShellLog&)>& step);

    // Menus and their commands (frmShellMenus.cpp).
    void BuildMenus();
    void BuildCommandMenu();
    void BuildViewMenu();
    void mnuSwitchTo1394shell_Click();
    void mnuReset_Click();
    void mnuHalt_Click();
    void StartImage(std::int32_t imageType);
    void mnuGetDebugGUID_Click();
    void mnuInitializePersistentParameters_Click();
    void mnuFirmwareCRCs_Click();
    void mnuPollingRate_Click();
    void mnuFind_Click();
    void mnuLogToFile_Click();
    void OpenLog();
    void mnuScrollBack_Click();

    std::int32_t currentHandle_ = 0;
    bool targetWasValid_ = false; // at the last tick
    bool absent_ = false;         // a finished bus reset left it without a node
    bool bootloader_ = false;     // it ran its bootloader at the last bus reset
    bool polling_ = false;        // a tick processes events and must not be nested
    QString wanted_;              // text last searched for
    std::unique_ptr<ShellLog> log_;
    std::unique_ptr<clsLayoutManager> layout_;
};
