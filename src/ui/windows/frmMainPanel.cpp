// The panel of the selected node, and which commands it allows.

#include "Controls.h"
#include "bas1394.h"
#include "basApp.h"
#include "basBootloader.h"
#include "frmMain.h"

#include <utility>

// As a tool tip of the disabled commands and in the panel, where it is visible without pointing at anything.
void frmMain::ShowReasons() {
    const std::string busy = isEnabled() ? ""
                             : basApp::globals.PerformUnattendedOperations
                                 ? "An unattended run is under way."
                                 : "The list is off until the firmware browser is closed.";
    const QString noBootloader = Q(busy.empty() ? panel_.whyNoBootloader : busy);
    for (QPushButton* button : {cmdUpdateApplicationImage, cmdUpdateBootloader, cmdUpdateDebugMonitor})
        button->setToolTip(noBootloader);
    lblWhyNot->setText(noBootloader);
    lblWhyNot->setToolTip(noBootloader);
}

void frmMain::ShowPanel(const deviceRows::Panel& panel) {
    panel_ = panel;
    ShowReasons();
    const std::pair<QLabel*, const std::string*> labels[] = {
        {lblDriver, &panel.lblDriver},
        {lblNode, &panel.lblNode},
        {lblGUID, &panel.lblGUID},
        {lblDeviceState, &panel.lblDeviceState},
        {lblHardwareVersion, &panel.lblHardwareVersion},
        {lblManufacturer, &panel.lblManufacturer},
        {lblModelID, &panel.lblModelID},
        {lblModelName, &panel.lblModelName},
        {lblBootloaderGuidInfo, &panel.lblBootloaderGuidInfo},
        {lblBootloaderGuidGet, &panel.lblBootloaderGuidGet},
    };
    for (const auto& [label, text] : labels) {
        label->setText(Q(*text));
        label->setToolTip(label->text()); // it may be longer than the label
    }
    const std::pair<QLineEdit*, const std::string*> boxes[] = {
        {txtApplicationImageVersion, &panel.txtApplicationImageVersion},
        {txtDebugMonitorVersion, &panel.txtDebugMonitorVersion},
        {txtBootloaderVersion, &panel.txtBootloaderVersion},
    };
    for (const auto& [box, text] : boxes) {
        box->setText(Q(*text));
        box->setCursorPosition(0);
        box->setToolTip(box->text());
    }
}

void frmMain::ClearDeviceDetails() {
    ShowPanel({});
    for (QAction* action : {mnuLaunchShell, mnuReset, mnuResetToBootloader, mnuFactoryDefaults})
        action->setEnabled(false);
    mnuBootloader->setEnabled(false);
    fraSelectedDevice->update();
}

void frmMain::DrawScreen() {
    const auto draw = [this] {
        const Device device = DeviceOfCurrentRow();
        const bool remote =
            device.NodeNum >= 0 && device.NodeNum <= LAST_NODE && device.NodeNum != bas1394::globals.LocalHostNode;
        const std::int32_t handle = remote ? basBootloader::GetDeviceHandle(device) : 0;
        const std::int32_t index = handle > 0 ? basBootloader::GetDeviceIndex(handle) : -1;
        if (handle > 0 && index < 0)
            StatusDisplay(LEVEL_WARNING, "WARNING: no handle to device with bus node #{}", device.NodeNum);
        const deviceRows::Panel panel = deviceRows::PanelOf(device, index);
        ShowPanel(panel);
        if (panel.targetBehindRow)
            for (QAction* action : {mnuFactoryDefaults, mnuLaunchShell, mnuReset, mnuResetToBootloader})
                action->setEnabled(true);
        if (panel.bootloaderRunning) {
            for (QPushButton* button : {cmdUpdateApplicationImage, cmdUpdateBootloader, cmdUpdateDebugMonitor})
                button->setEnabled(true);
            for (QAction* action :
                 {mnuUpdateApplicationFirmware, mnuUpdateBootloaderFirmware, mnuUpdateDebuggerFirmware})
                action->setEnabled(true);
            mnuBootloader->setEnabled(true);
        }
        if (handle > 0)
            basBootloader::CloseBootloaderDevice(handle);
    };
    platform::Attempt(draw, ShowFailure("DrawScreen"));
}
