#include "frmMain.h"

#include "BusEnumeration.h"
#include "Windows.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basDebug.h"

#include <QCloseEvent>

#include <utility>

namespace {

constexpr std::int32_t BUS_INTERVAL = 20;         // ms
constexpr std::int32_t SCHEDULER_INTERVAL = 1000; // ms

} // namespace

frmMain::frmMain() : txtDebugSpew(new QPlainTextEdit(this)) {
    setObjectName("frmMain");
    setWindowTitle("Available Devices");
    txtDebugSpew->setObjectName("txtDebugSpew");
    txtDebugSpew->hide();
    connect(txtDebugSpew, &QPlainTextEdit::textChanged, this, &frmMain::txtDebugSpew_Change);
    tmrBusReset = new WindowTimer(this, "tmrBusReset", BUS_INTERVAL, bas1394::BusResetHandlerThread);
    tmrIncomingData = new WindowTimer(this, "tmrIncomingData", BUS_INTERVAL, bas1394::IncomingDataThreadHandler);
    tmrAutomationScheduler =
        new WindowTimer(this, "tmrAutomationScheduler", SCHEDULER_INTERVAL, basAutomation::SchedulerTick);
    StartBusTimers();
}

void frmMain::StartBusTimers() {
    tmrBusReset->setEnabled(true);
    tmrIncomingData->setEnabled(true);
}

void frmMain::Form_Load() {
    platform::DoEvents();
    txtDebugSpew->clear();
    bas1394::HookCallbackWindow(true);
}

void frmMain::IEEE1394Bus_NodesChanged() {
    repaint();
    platform::DoEvents();
}

void frmMain::AppendDebugSpew(const std::string& text) {
    debugSpew_ += text;
    txtDebugSpew->insertPlainText(QString::fromStdString(text));
}

void frmMain::txtDebugSpew_Change() {
    const std::string text = std::exchange(debugSpew_, {});
    if (text.empty())
        return; // emptying the box comes back here
    if (mnuShowDllMessagesChecked)
        for (const std::string& line : bas1394::TakeDebugLines(text))
            basDebug::StatusDisplay(line, basDebug::GetLevelNumber("DLL DEBUG SPEW"), "");
    txtDebugSpew->clear();
}

void frmMain::closeEvent(QCloseEvent* event) {
    Form_Unload();
    event->accept();
}

void frmMain::Form_Unload() {
    if (windows::globals.main != this)
        return;
    basDebug::StatusDisplay("Unloading main child form...", LEVEL_TRACE, "frmMain");
    bas1394::HookCallbackWindow(false);
    tmrBusReset->setEnabled(false);
    tmrIncomingData->setEnabled(false);
    tmrAutomationScheduler->setEnabled(false);
    windows::globals.main = nullptr;
    windows::UnloadParentWindow();
}
