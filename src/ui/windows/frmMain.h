// "Available Devices": the grid of all nodes, the panel of the selected one, the commands for it,
// and the timers that pump the bus and the unattended scheduler. Owns no device data: what it
// shows is worked out in DeviceRows.
#pragma once

#include "BusPump.h"
#include "DeviceGrid.h"
#include "DeviceRows.h"
#include "Form.h"
#include "WindowTimer.h"
#include "clsLayoutManager.h"

#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>

#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <string>

class frmMain : public Form {
    Q_OBJECT
public:
    frmMain();

    void Form_Load() override;
    std::vector<QMenu*> menus() override;

    void IEEE1394Bus_NodesChanged();
    void IEEE1394Bus_ResetComplete() {}
    void ResizeMFG();
    void StartBusTimers();
    // The library's debug text lands in the hidden box, which is emptied line by line.
    void AppendDebugSpew(const std::string& text);
    // This window's own path to the message log: every status window, and a clock of its own.
    template <class... Arguments>
    void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        StatusDisplayText(level, fmt::format(text, std::forward<Arguments>(arguments)...));
    }
    void StatusDisplay(std::int32_t level, const std::string& text) { StatusDisplayText(level, text); }

    std::int32_t RefreshDeviceList(); // 1
    void ClearDeviceDetails();
    void DrawScreen();
    void mfgDevices_RowColChange();
    void RememberSelectedId();

    // The smallest size of the frame in which no caption is cut off.
    QSize SmallestFrame() const { return smallestFrame_; }

    std::string SelectedId; // ID column of the row that the user last picked

    // Controls.
    QGroupBox *fraDeviceList, *fraSelectedDevice, *fraHardware, *fraFirmware;
    DeviceGrid* mfgDevices;
    QLabel *lblDriver, *lblNode, *lblGUID, *lblDeviceState, *lblHardwareVersion, *lblManufacturer, *lblModelID,
        *lblModelName, *lblBootloaderGuidInfo, *lblBootloaderGuidGet;
    QLabel *lblApplicationImageVersion, *lblDebugMonitorVersion, *lblBootloaderVersion;
    QLineEdit *txtApplicationImageVersion, *txtDebugMonitorVersion, *txtBootloaderVersion;
    QPushButton *cmdUpdateApplicationImage, *cmdUpdateDebugMonitor, *cmdUpdateBootloader;
    QLabel* lblWhyNot; // why the commands that need a bootloader are disabled
    QPlainTextEdit* txtDebugSpew;
    WindowTimer *tmrBusReset, *tmrIncomingData, *tmrAutomationScheduler, *tmrHint;

    // Menus.
    QMenu *mnuFile, *mnuView, *mnuCommand, *mnuBootloader, *mnuApplicationExpertMenu, *mnuDllDebugging, *mnuTest,
        *mnuWindow, *mnuHelp;
    QAction *mnuExit, *mnuLaunchShell, *mnuLaunchShellApp, *mnuStatusWindow, *mnuViewConfigROM, *mnuDebugMessageLevel,
        *mnuReset, *mnuResetToBootloader, *mnuResetBus, *mnuRescanBus, *mnuStartApplication, *mnuStartDebugger,
        *mnuSetBootloaderGUID, *mnuSetMACaddress, *mnuInitializePersistentParameters, *mnuFactoryDefaults,
        *mnuUpdateApplicationFirmware, *mnuUpdateBootloaderFirmware, *mnuUpdateDebuggerFirmware, *mnuDebugLoggingLevel,
        *mnuRemove1394VirtualDriverOnShutdown, *mnuDefault1394TransactionTimeout, *mnuUseTwlThesyconDriver,
        *mnuShowDllMessages, *mnu1394DLLdebugLevel, *mnuSwitchTo1394Shell, *mnuExecuteKeyBatch, *mnuAutoScaleChildren,
        *mnuTile, *mnuCascade, *mnuUserGuide, *mnuSendErrorReport, *mnuReleaseNotes, *mnuAbout;

protected:
    void Form_Resize() override;
    void Form_Unload() override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void StatusDisplayText(std::int32_t level, const std::string& text, std::string_view module = {});
    // Logs a failure on this window's own path.
    auto ShowFailure(const char* procedure) {
        return [this, procedure](const platform::Failure& f) {
            StatusDisplay(LEVEL_ERROR, "Error #{}: {} in {}", f.Number, f.Description, procedure);
        };
    }
    int Line() const { return fontMetrics().height() + 6; } // pixels, of the design layout
    void BuildControls();
    void BuildHardwareLabels(int width);
    void BuildFirmwareRows(int width);
    void SetUpGrid();
    void ShowHint();
    void FollowHint(const QString& target);
    void FindSmallestFrame();
    void ShowPanel(const deviceRows::Panel& panel); // frmMainPanel.cpp
    void ShowReasons();
    void BringSelectionAlong();
    void txtDebugSpew_Change();
    std::string CellText(int column) const; // of the current row
    Device DeviceOfCurrentRow() const;
    std::string InvalidNodeText() const;

    // Menus (frmMainMenus.cpp).
    void BuildMenus();
    void BuildViewMenu();
    void BuildCommandMenu();
    void BuildBootloaderMenu();
    void BuildApplicationExpertMenu();
    void BuildWindowMenu();
    void BuildHelpMenu();
    void BuildContextMenu();

    // Commands (frmMainCommands.cpp).
    [[nodiscard]] std::int32_t GetSelectedBootloaderHandle();
    void UpdateImage(std::int32_t imageType);
    void OpenBrowser(std::int32_t imageType);
    void ResetSelectedDevice(std::int32_t mode);
    void mnuLaunchShell_Click();
    void LaunchShell(const Device& device);
    void mnuViewConfigROM_Click();
    void mnuRescanBus_Click();
    void mnuStartApplication_Click();
    void mnuStartDebugger_Click();
    void mnuSetBootloaderGUID_Click();
    void mnuSetMACaddress_Click();
    void mnuInitializePersistentParameters_Click();
    void mnuFactoryDefaults_Click();
    void mnuSwitchTo1394Shell_Click();
    void mnuExecuteKeyBatch_Click();
    void mnuSendErrorReport_Click();

    std::unique_ptr<clsLayoutManager> layout_;
    deviceRows::Panel panel_; // what is shown
    QSize smallestFrame_;
    std::string debugSpew_; // the box's text with its original line ends
    program::BusPump pump_;
};
