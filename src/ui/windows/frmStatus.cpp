#include "frmStatus.h"

#include "AppPalette.h"
#include "Clock.h"
#include "CodePage.h"
#include "Controls.h"
#include "Dialogs.h"
#include "Failure.h"
#include "Files.h"
#include "MDIForm1.h"
#include "Menus.h"
#include "StatusText.h"
#include "Windows.h"
#include "basApp.h"
#include "basDebug.h"
#include "clsLayoutManager.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QScrollBar>

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace {

constexpr int MAXIMUM_ROW_COUNT = 500;     // the heading counts
constexpr std::int32_t SHOW_INTERVAL = 50; // ms between two paintings of new rows

// Narrow, to leave room for the rest of the strip; but its list shows every row whole.
class NarrowBox : public QComboBox {
public:
    using QComboBox::QComboBox;
    void showPopup() override {
        int width = 0; // the size hints of some styles leave out the text
        for (int i = 0; i < count(); ++i)
            width = std::max(width, view()->fontMetrics().horizontalAdvance(itemText(i)));
        view()->setMinimumWidth(width + 4 * iconSize().width()); // icon, mark and margins
        QComboBox::showPopup();
    }
};

} // namespace

frmStatus::frmStatus()
    : Form("frmStatus", "Status Window"), fraApplicationStatus(new QGroupBox(this)),
      mfgStatus(new Hinted<QTableView>(fraApplicationStatus)),
      txtFind(new FindLine(
          mfgStatus, "Find (Ctrl+F, then Enter)",
          [this](const QString& text, bool backward) { return Find(text, backward); },
          "No '%1' found in the rows shown.")),
      model_(MAXIMUM_ROW_COUNT), shown_(model_), strip_(new QWidget(fraApplicationStatus)) {
    fraApplicationStatus->setObjectName("fraApplicationStatus");
    fraApplicationStatus->setFlat(true);
    MakeGrid();
    MakeStrip();
    MakeMenu();
    ShowLevelColours();
    setFocusProxy(mfgStatus);
    tmrShowRows_ = new WindowTimer(this, "tmrShowRows", SHOW_INTERVAL, [this] { ShowPendingRows(); });
}

void frmStatus::MakeGrid() {
    mfgStatus->setObjectName("mfgStatus");
    mfgStatus->setModel(&shown_);
    mfgStatus->setSelectionBehavior(QAbstractItemView::SelectRows);
    mfgStatus->setWordWrap(false);
    mfgStatus->setTabKeyNavigation(false); // Tab moves on to the strip
    const int line = fontMetrics().height();
    mfgStatus->setIconSize({line - 3, line - 3});
    mfgStatus->horizontalHeader()->setHighlightSections(false);
    mfgStatus->verticalHeader()->hide();
    mfgStatus->verticalHeader()->setDefaultSectionSize(line + 4);
    mfgStatus->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // so that the columns keep their widths
    QScrollBar* bar = mfgStatus->verticalScrollBar();
    connect(bar, &QScrollBar::valueChanged, this, [this, bar] { followsNewest_ = bar->value() == bar->maximum(); });
    connect(bar, &QScrollBar::rangeChanged, this, [this] {
        if (Follows())
            mfgStatus->scrollToBottom();
    });
    mfgStatus->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
}

void frmStatus::MakeStrip() {
    auto* line = new QHBoxLayout(strip_);
    line->setContentsMargins(2, 1, 2, 1);
    line->setSpacing(4);
    const auto add = [&](auto* control, const char* name, const char* tip, int stretch = 0) {
        control->setToolTip(tip);
        line->addWidget(Named(control, name), stretch);
        return control;
    };
    const auto filter = [&](const char* name, const char* all, const char* tip) {
        QComboBox* box = add(new NarrowBox(strip_), name, tip);
        box->addItem(all);
        box->setMinimumContentsLength(13); // as long as "basBootloader"
        connect(box, &QComboBox::currentIndexChanged, this, [this] { ApplyFilter(); });
        return box;
    };
    const auto button = [&](const char* name, const char* caption, const char* tip, void (frmStatus::*click)()) {
        QToolButton* made = add(new QToolButton(strip_), name, tip);
        made->setText(caption);
        made->setFocusPolicy(Qt::StrongFocus);
        connect(made, &QToolButton::clicked, this, click);
        return made;
    };
    txtFind->makeRoom = [this] {
        finding_ = true;
        Form_Resize();
    };
    txtFind->installEventFilter(this);
    txtFind->setMinimumWidth(14 * fontMetrics().averageCharWidth());
    lblNumber = add(new QLabel(strip_), "lblNumber", "Only the first status window gets the messages of all modules.");
    add(txtFind, "txtFind", "Find in the rows shown (Ctrl+F, then Enter; F3 and Shift+F3 go on)", 1);
    cmbLevel = filter("cmbLevel", "All levels",
                      "Hides the rows below a level. Which ones come into the window: View, Debug Message Level.");
    for (const std::int32_t level : statusText::LEVEL_NUMBERS)
        if (level > LEVEL_DETAIL)
            cmbLevel->addItem(Q(statusText::FilterText(level)), level);
    cmbModule = filter("cmbModule", "All modules", "Hides the rows of other modules.");
    lblCount = add(new QLabel(strip_), "lblCount", "Filters hide rows; all of them are still there.");
    chkHold = add(new QCheckBox("Hold", strip_), "chkHold", "Keep the view where it is when messages come (Ctrl+H)");
    connect(chkHold, &QCheckBox::toggled, this, [this](bool hold) {
        if (!hold)
            mfgStatus->scrollToBottom();
    });
    cmdSave = button("cmdSave", "Save...", "Save the rows shown to a text file (Ctrl+S)", &frmStatus::Save);
    cmdClear = button("cmdClear", "Clear", "Take all rows out of this window; the stored log keeps them (Ctrl+L)",
                      &frmStatus::Clear);
}

void frmStatus::MakeMenu() {
    MakeCopyable(mfgStatus);
    auto* separator = new QAction(this);
    separator->setSeparator(true);
    mfgStatus->addAction(separator);
    const auto item = [this](const char* caption, const QKeySequence& keys, std::function<void()> chosen) {
        QAction* action = AddContextItem(mfgStatus, caption, keys, std::move(chosen));
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        addAction(action); // so that its keys work in the whole window
        return action;
    };
    QAction* hold = item("Hold", Qt::CTRL | Qt::Key_H, [this] { chkHold->toggle(); });
    hold->setCheckable(true);
    connect(chkHold, &QCheckBox::toggled, hold, &QAction::setChecked);
    item("Show All Rows", {}, [this] {
        cmbLevel->setCurrentIndex(0);
        cmbModule->setCurrentIndex(0);
    });
    item("Save...", QKeySequence::Save, [this] { Save(); });
    item("Clear", Qt::CTRL | Qt::Key_L, [this] { Clear(); });
}

void frmStatus::ShowLevelColours() {
    const bool dark = IsDark(palette());
    model_.setDark(dark);
    for (int i = 1; i < cmbLevel->count(); ++i)
        cmbLevel->setItemIcon(i, LevelIcon(cmbLevel->itemData(i).toInt(), dark));
}

void frmStatus::changeEvent(QEvent* event) {
    Form::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && cmbLevel != nullptr)
        ShowLevelColours();
}

bool frmStatus::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtFind && event->type() == QEvent::FocusOut) {
        finding_ = false;
        Form_Resize();
    }
    return Form::eventFilter(watched, event);
}

void frmStatus::showEvent(QShowEvent* event) {
    Form::showEvent(event);
    lblNumber->setText(Q(statusText::NumberText(WindowIndex)));
    ShowCount();
    FitStrip();
}

void frmStatus::Form_Load() {
    MessageLevel = basApp::globals.DebugMessageLevel;
    fitClient(fontMetrics().averageCharWidth() * 130, fontMetrics().height() * 10);
    platform::Attempt([this] { RestoreLayout(); }, LogFailure("Form_Load"));
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
                {{Q(basDebug::FormatRunTime(std::int64_t(sngElapsedTime))), Q(level), Q(strModule), Q(strMessage)},
                 priority});
            // Work that processes no events still shows its messages as they arrive.
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
    QScrollBar* bar = mfgStatus->verticalScrollBar();
    const bool atNewest = followsNewest_, follows = Follows();
    const QPersistentModelIndex top = follows ? QModelIndex() : shown_.index(bar->value(), 0);
    ListNewModules(pending_);
    model_.append(std::move(pending_));
    pending_.clear();
    if (follows)
        mfgStatus->scrollToBottom();
    else
        bar->setValue(top.isValid() ? top.row() : 0); // the rows being read stay in place
    followsNewest_ = atNewest;                        // rows dropped at the top moved the bar, not the user
    ShowCount();
}

void frmStatus::ListNewModules(const std::vector<StatusModel::Row>& rows) {
    for (const StatusModel::Row& row : rows) {
        const QString& module = row.cells[StatusModel::MODULE];
        if (cmbModule->findText(module) >= 0)
            continue;
        int at = 1;
        while (at < cmbModule->count() && cmbModule->itemText(at) < module)
            ++at;
        cmbModule->insertItem(at, module);
    }
}

void frmStatus::ApplyFilter() {
    const bool follows = Follows();
    shown_.setFilter(cmbLevel->currentData().toInt(), cmbModule->currentIndex() == 0 ? "" : cmbModule->currentText());
    if (follows)
        mfgStatus->scrollToBottom();
    else
        mfgStatus->scrollTo(mfgStatus->currentIndex());
    ShowCount();
    FitStrip();
}

void frmStatus::ShowCount() {
    const int shown = shown_.rowCount(), total = model_.rowCount();
    lblCount->setText(shown_.hides() ? Q(statusText::CountText(shown, total)) : "");
    mfgStatus->setHint(Q(statusText::Hint(WindowIndex, shown, total)));
}

bool frmStatus::Find(const QString& text, bool backward) {
    const int count = shown_.rowCount();
    const QModelIndex current = mfgStatus->currentIndex();
    const int from = current.isValid() ? current.row() : backward ? count : -1;
    for (int step = 1; step <= count; ++step) {
        const int row = (from + (backward ? -step : step) + 2 * count) % count;
        for (int column = 0; column < StatusModel::COLUMNS; ++column)
            if (shown_.index(row, column).data().toString().contains(text, Qt::CaseInsensitive)) {
                mfgStatus->setCurrentIndex(shown_.index(row, 0));
                return true;
            }
    }
    return false;
}

void frmStatus::Clear() {
    pending_.clear();
    model_.clear();
    followsNewest_ = true;
    ShowCount();
}

void frmStatus::Save() {
    ShowPendingRows();
    std::string text = "Time\tLevel\tModule\tMessage\r\n"; // as they are now; more may arrive while the dialog is open
    for (int row = 0; row < shown_.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < StatusModel::COLUMNS; ++column)
            cells << shown_.index(row, column).data().toString();
        text += cells.join('\t').toStdString() + "\r\n";
    }
    const auto save = [&] {
        auto& dialogs = platform::CurrentDialogs();
        const std::string name = dialogs.SaveFile("Save Messages", "", "Text files (*.txt);;All files (*)");
        if (name.empty() || (basApp::FileExists(name) &&
                             !dialogs.YesNo(fmt::format("'{}' exists.  Overwrite (y/n)?", name), "Overwrite")))
            return;
        platform::WriteFileAtomically(name, platform::AnsiFromText(text));
    };
    platform::Attempt(save, [](const platform::Failure& f) {
        platform::CurrentDialogs().MessageBox(fmt::format("The messages could not be saved: {}", f.Description),
                                              "Save Messages");
    });
}

void frmStatus::AppendToCaption(std::string_view message, std::int32_t level) {
    if (level >= LEVEL_ERROR)
        setWindowTitle(windowTitle() + ": " + Q(message));
}

void frmStatus::Form_Resize() {
    fraApplicationStatus->setGeometry(0, 0, width(), height());
    const int line = strip_->sizeHint().height(), left = height() - line;
    // In a low window the rows take precedence, unless some are hidden or the user is searching.
    const bool room = left >= mfgStatus->horizontalHeader()->sizeHint().height() +
                                  2 * mfgStatus->verticalHeader()->defaultSectionSize();
    strip_->setVisible(room || finding_ || shown_.hides() || chkHold->isChecked());
    mfgStatus->horizontalHeader()->setVisible(room || !finding_); // the row found takes precedence over the headings
    mfgStatus->setGeometry(0, 0, width(), strip_->isHidden() ? height() : std::max(0, left));
    strip_->setGeometry(0, left, width(), line);
    FitStrip();
    // Not the viewport's width: a table isn't laid out before it is first shown.
    const int available =
        width() - mfgStatus->verticalScrollBar()->sizeHint().width() - 2 * mfgStatus->frameWidth() - 7;
    SizeColumns(available);
}

// Time and level stay readable even in a large font, as long as the message remains by far the widest.
void frmStatus::SizeColumns(int available) {
    constexpr int CELL_MARGINS = 10; // pixels, both sides together
    const int share = available / 10, message = available * 7 / 10;
    std::array<int, 4> widths{share, share, share, message};
    const char* const texts[] = {"0:00:00.000", "WARNING(7)"};
    QFont bold = font(); // as the rows of a fatal error are
    bold.setBold(true);
    for (std::size_t column = 0; column < std::size(texts); ++column)
        widths[column] = std::max(share, QFontMetrics(bold).horizontalAdvance(texts[column]) + CELL_MARGINS);
    widths[3] -= widths[0] + widths[1] - 2 * share;
    if (widths[3] < available / 2)
        widths = {share, share, share, message};
    for (std::size_t column = 0; column < widths.size(); ++column)
        if (widths[column] > 0)
            mfgStatus->setColumnWidth(int(column), widths[column]);
}

// A narrow window keeps what matters most.
void frmStatus::FitStrip() {
    QLayout* line = strip_->layout();
    QWidget* const dispensable[] = {cmdSave, cmdClear, lblNumber, lblCount, cmbModule, cmbLevel, chkHold};
    for (QWidget* control : dispensable)
        control->setVisible(true);
    for (QLabel* label : {lblNumber, lblCount})
        label->setVisible(!label->text().isEmpty());
    line->invalidate();
    for (QWidget* control : dispensable) {
        if (line->minimumSize().width() <= width())
            break;
        control->hide();
        line->invalidate();
    }
}

void frmStatus::Form_Unload() {
    tmrShowRows_->setEnabled(false);
    pending_.clear();
    SaveLayout();
    frame()->hide(); // so that arranging the others no longer counts it
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
    clsLayoutManager::SaveEdges(this);
    return 1;
}

std::int32_t frmStatus::RestoreLayout() {
    setPlace(clsLayoutManager::StoredPlace(this));
    Form_Resize();
    return 1;
}
