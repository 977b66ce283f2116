// A status window: the messages of its level and above, the newest at the bottom.
#pragma once

#include "FindLine.h"
#include "Form.h"
#include "HintedGrid.h"
#include "StatusModel.h"
#include "WindowTimer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QTableView>
#include <QToolButton>

#include <cstdint>
#include <string_view>
#include <vector>

class frmStatus : public Form {
    Q_OBJECT
public:
    frmStatus();

    void Form_Load() override;
    QString whichOne() const override { return WindowIndex == 0 ? QString() : QString::number(WindowIndex + 1); }
    std::int32_t SaveLayout();    // 1, or -1 when nothing was saved
    std::int32_t RestoreLayout(); // 1
    // A `priority` of 0 means no level and becomes 5. Rows are painted in batches.
    void PostMessage(std::string_view strMessage, float sngElapsedTime, std::int32_t& priority,
                     std::string_view strModule);
    // For this window's own failures, which can't go through the message log.
    void AppendToCaption(std::string_view message, std::int32_t level);

    std::int32_t MessageLevel = 0; // lowest level number that this window shows
    std::int32_t WindowIndex = 0;  // its slot in the list of status windows

    QGroupBox* fraApplicationStatus;
    Hinted<QTableView>* mfgStatus;
    // The strip below the grid. Controls that don't fit a narrow window are hidden; the grid's menu offers the same.
    QLabel *lblNumber = nullptr, *lblCount = nullptr;
    FindLine* txtFind;
    QComboBox *cmbLevel = nullptr, *cmbModule = nullptr; // filters; hidden rows stay in the window
    QCheckBox* chkHold = nullptr;                        // new rows don't move the view
    QToolButton *cmdSave = nullptr, *cmdClear = nullptr;

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void Form_Resize() override;
    void Form_Unload() override;
    bool staysInItsSlot() const override { return true; }

private:
    void ShowPendingRows();
    void MakeGrid();
    void MakeStrip();
    void MakeMenu();
    void SizeColumns(int available);
    void FitStrip();
    void ShowLevelColours();
    void ListNewModules(const std::vector<StatusModel::Row>& rows);
    void ApplyFilter();
    void ShowCount();
    bool Follows() const { return followsNewest_ && !chkHold->isChecked(); }
    bool Find(const QString& text, bool backward);
    void Clear();
    void Save();

    StatusModel model_;
    StatusFilter shown_;
    QWidget* strip_;
    std::vector<StatusModel::Row> pending_;
    bool finding_ = false;       // the strip stays visible for that, however low the window is
    bool followsNewest_ = true;  // until the user scrolls up to read
    std::int64_t lastShown_ = 0; // performance counter
    WindowTimer* tmrShowRows_;
};
