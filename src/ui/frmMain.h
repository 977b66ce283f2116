// "Available Devices": the window that pumps the bus and the unattended scheduler.
#pragma once

#include "WindowTimer.h"

#include <QPlainTextEdit>
#include <QWidget>

#include <string>

class frmMain : public QWidget {
    Q_OBJECT
public:
    frmMain();

    void Form_Load();
    void IEEE1394Bus_NodesChanged();
    void StartBusTimers();
    // What the library's debug text does: it lands in the hidden box, which is emptied line by line.
    void AppendDebugSpew(const std::string& text);

    QPlainTextEdit* txtDebugSpew; // hidden
    WindowTimer* tmrBusReset;
    WindowTimer* tmrIncomingData;
    WindowTimer* tmrAutomationScheduler;
    bool mnuShowDllMessagesChecked = true;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void Form_Unload();
    void txtDebugSpew_Change();

    std::string debugSpew_; // the box's text with its line ends as they came
};
