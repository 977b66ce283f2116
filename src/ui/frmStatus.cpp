#include "frmStatus.h"

#include "Clock.h"
#include "Failure.h"
#include "Windows.h"
#include "basApp.h"
#include "basDebug.h"

#include <QHeaderView>
#include <QResizeEvent>
#include <QScrollBar>
#include <QVBoxLayout>

#include <fmt/format.h>

namespace {

constexpr int MAXIMUM_ROW_COUNT = 500;     // the heading counts
constexpr std::int32_t SHOW_INTERVAL = 50; // ms between two paintings of new rows

QString Q(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

} // namespace

frmStatus::frmStatus()
    : fraApplicationStatus(new QGroupBox(this)), mfgStatus(new QTableView(fraApplicationStatus)),
      model_(MAXIMUM_ROW_COUNT) {
    setObjectName("frmStatus");
    setWindowTitle("Status Window");
    fraApplicationStatus->setObjectName("fraApplicationStatus");
    fraApplicationStatus->setFlat(true);
    mfgStatus->setObjectName("mfgStatus");
    mfgStatus->setModel(&model_);
    mfgStatus->setSelectionBehavior(QAbstractItemView::SelectRows);
    mfgStatus->setWordWrap(false);
    mfgStatus->verticalHeader()->hide();
    mfgStatus->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    mfgStatus->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    tmrShowRows_ = new WindowTimer(this, "tmrShowRows", SHOW_INTERVAL, [this] { ShowPendingRows(); });
}

void frmStatus::Form_Load() {
    MessageLevel = basApp::globals.DebugMessageLevel;
    resize(960, 180);
}

void frmStatus::PostMessage(std::string_view strMessage, float sngElapsedTime, std::int32_t& priority,
                            std::string_view strModule) {
    platform::Attempt(
        [&] {
            std::string level = "unspecified";
            if (priority == 0)
                priority = LEVEL_TRACE;
            else
                level = fmt::format("{}({})", basDebug::GetLevelName(priority), priority);
            if (priority < MessageLevel)
                return;
            pending_.push_back(
                {Q(basDebug::FormatRunTime(std::int64_t(sngElapsedTime))), Q(level), Q(strModule), Q(strMessage)});
            // Work that gives no turn still shows its messages as they come.
            const std::int64_t now = platform::QueryPerformanceCounter();
            if (now - lastShown_ >= SHOW_INTERVAL * 1'000'000LL) {
                ShowPendingRows();
                mfgStatus->viewport()->repaint();
            } else if (!tmrShowRows_->isEnabled()) {
                tmrShowRows_->setEnabled(true);
            }
        },
        [this](const platform::Failure& f) {
            AppendToCaption(fmt::format("Error #{}: {} in PostMessage", f.Number, f.Description), LEVEL_ERROR);
        });
}

void frmStatus::ShowPendingRows() {
    tmrShowRows_->setEnabled(false);
    lastShown_ = platform::QueryPerformanceCounter();
    if (pending_.empty())
        return;
    // The newest row stays in view unless the user has scrolled up to read.
    const QScrollBar* bar = mfgStatus->verticalScrollBar();
    const bool atBottom = bar->value() == bar->maximum();
    model_.append(std::move(pending_));
    pending_.clear();
    if (atBottom)
        mfgStatus->scrollToBottom();
}

void frmStatus::AppendToCaption(std::string_view message, std::int32_t level) {
    if (level >= LEVEL_ERROR)
        setWindowTitle(windowTitle() + ": " + Q(message));
}

void frmStatus::Form_Resize() {
    fraApplicationStatus->setGeometry(0, 0, width(), height());
    mfgStatus->setGeometry(0, 0, width(), height());
    const int available = mfgStatus->viewport()->width() - 7;
    for (int column = 0; column < 4; ++column) {
        const int columnWidth = available * (column < 3 ? 1 : 7) / 10;
        if (columnWidth > 0)
            mfgStatus->setColumnWidth(column, columnWidth);
    }
}

void frmStatus::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Form_Resize();
}

void frmStatus::closeEvent(QCloseEvent* event) {
    Form_Unload();
    QWidget::closeEvent(event);
}

void frmStatus::Form_Unload() {
    tmrShowRows_->setEnabled(false);
    pending_.clear();
}
