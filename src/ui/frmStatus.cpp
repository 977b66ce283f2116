#include "frmStatus.h"

#include "Clock.h"
#include "CodePage.h"
#include "Controls.h"
#include "Failure.h"
#include "MDIForm1.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "basApp.h"
#include "basDebug.h"

#include <QHeaderView>
#include <QScrollBar>

#include <fmt/format.h>

namespace {

constexpr int MAXIMUM_ROW_COUNT = 500;     // the heading counts
constexpr std::int32_t SHOW_INTERVAL = 50; // ms between two paintings of new rows

} // namespace

frmStatus::frmStatus()
    : Form("frmStatus", "Status Window"), fraApplicationStatus(new QGroupBox(this)),
      mfgStatus(new QTableView(fraApplicationStatus)), model_(MAXIMUM_ROW_COUNT) {
    fraApplicationStatus->setObjectName("fraApplicationStatus");
    fraApplicationStatus->setFlat(true);
    mfgStatus->setObjectName("mfgStatus");
    mfgStatus->setModel(&model_);
    mfgStatus->setSelectionBehavior(QAbstractItemView::SelectRows);
    mfgStatus->setWordWrap(false);
    mfgStatus->verticalHeader()->hide();
    mfgStatus->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 4);
    mfgStatus->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // so that the columns keep their widths
    MakeCopyable(mfgStatus);
    QScrollBar* bar = mfgStatus->verticalScrollBar();
    connect(bar, &QScrollBar::valueChanged, this, [this, bar] { followsNewest_ = bar->value() == bar->maximum(); });
    connect(bar, &QScrollBar::rangeChanged, this, [this] {
        if (followsNewest_)
            mfgStatus->scrollToBottom();
    });
    mfgStatus->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    tmrShowRows_ = new WindowTimer(this, "tmrShowRows", SHOW_INTERVAL, [this] { ShowPendingRows(); });
}

void frmStatus::Form_Load() {
    MessageLevel = basApp::globals.DebugMessageLevel;
    fitClient(fontMetrics().averageCharWidth() * 130, fontMetrics().height() * 10);
    Guarded("frmStatus", "Form_Load", [this] { RestoreLayout(); });
    windows::globals.parent->VerifyFormPosition(this);
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
    const bool follows = followsNewest_;
    model_.append(std::move(pending_));
    pending_.clear();
    followsNewest_ = follows; // rows that went at the top moved the bar, not the user
    if (follows)
        mfgStatus->scrollToBottom();
}

void frmStatus::AppendToCaption(std::string_view message, std::int32_t level) {
    if (level >= LEVEL_ERROR)
        setWindowTitle(windowTitle() + ": " + Q(message));
}

void frmStatus::Form_Resize() {
    fraApplicationStatus->setGeometry(0, 0, width(), height());
    mfgStatus->setGeometry(0, 0, width(), height());
    // Not the viewport's width: before it is first shown a table hasn't laid itself out.
    const int available =
        width() - mfgStatus->verticalScrollBar()->sizeHint().width() - 2 * mfgStatus->frameWidth() - 7;
    for (int column = 0; column < 4; ++column) {
        const int columnWidth = available * (column < 3 ? 1 : 7) / 10;
        if (columnWidth > 0)
            mfgStatus->setColumnWidth(column, columnWidth);
    }
}

void frmStatus::Form_Unload() {
    tmrShowRows_->setEnabled(false);
    pending_.clear();
    SaveLayout();
    frame()->hide(); // so that the arranging of the others stops counting it
    MDIForm1* parent = windows::globals.parent;
    if (parent == nullptr)
        return;
    parent->MDIForm_Resize();
    if (parent->mnuAutoScaleChildren->isChecked())
        parent->ArrangeChildren(1);
}

std::int32_t frmStatus::SaveLayout() {
    if (!hasPlaceToKeep())
        return -1;
    const QRect rect = frame()->geometry();
    windowSettings::Save(nameText(), "Top", std::to_string(rect.top()));
    windowSettings::Save(nameText(), "Left", std::to_string(rect.left()));
    windowSettings::Save(nameText(), "Bottom", std::to_string(rect.top() + rect.height()));
    windowSettings::Save(nameText(), "Right", std::to_string(rect.left() + rect.width()));
    return 1;
}

std::int32_t frmStatus::RestoreLayout() {
    const QRect rect = frame()->geometry();
    const auto edge = [this](const char* key, int present) {
        return platform::NumberFromText(windowSettings::Get(nameText(), key, std::to_string(present)));
    };
    const int top = edge("Top", rect.top()), left = edge("Left", rect.left());
    const int bottom = edge("Bottom", rect.top() + rect.height()), right = edge("Right", rect.left() + rect.width());
    setPlace(layout::FromEdges(top, left, bottom, right));
    Form_Resize();
    return 1;
}
