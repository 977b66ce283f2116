// A status window: the messages of its level and above, the newest at the bottom.
#pragma once

#include "StatusModel.h"
#include "WindowTimer.h"

#include <QGroupBox>
#include <QTableView>
#include <QWidget>

#include <cstdint>
#include <string_view>
#include <vector>

class frmStatus : public QWidget {
    Q_OBJECT
public:
    frmStatus();

    void Form_Load();
    // `priority` 0 counts as a message without a level and becomes 5. Painted in batches.
    void PostMessage(std::string_view strMessage, float sngElapsedTime, std::int32_t& priority,
                     std::string_view strModule);
    // For this window's own failures, which can't go through the message log.
    void AppendToCaption(std::string_view message, std::int32_t level);

    std::int32_t MessageLevel = 0; // lowest level number that this window shows
    std::int32_t WindowIndex = 0;  // its slot in the list of status windows

    QGroupBox* fraApplicationStatus;
    QTableView* mfgStatus;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void Form_Resize();
    void Form_Unload();
    void ShowPendingRows();

    StatusModel model_;
    std::vector<StatusModel::Row> pending_;
    std::int64_t lastShown_ = 0; // performance counter
    WindowTimer* tmrShowRows_;
};
