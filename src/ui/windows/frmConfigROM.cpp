#include "frmConfigROM.h"

#include "Clock.h"
#include "Dialogs.h"
#include "Failure.h"
#include "Files.h"
#include "Paths.h"
#include "bas1394.h"
#include "basApp.h"
#include "basUtils.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QHeaderView>
#include <QIcon>
#include <QPixmap>
#include <QStyle>

#include <fmt/format.h>

#include <map>
#include <utility>

namespace {

constexpr const char* RULE = "********************************************************";

constexpr const char* MODULE = "frmConfigROM";

// This window's reporter; `rest` follows the description.
auto LogError(const char* rest) {
    return [rest](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_ERROR, "ERROR #{}: {}{}", f.Number, f.Description, rest);
    };
}

enum CheckColumn { ADDRESS, VERDICT, FINDING, COLUMNS };
constexpr int GAP = 6;
constexpr double TREE_SHARE = 0.6; // of the frame's height while the checks are shown

// The address at the start of a row's text; empty for a row without an address or without a quadlet.
std::string AddressText(const std::string& rowText) {
    return rowText.starts_with("0x") && rowText.size() > 13 ? rowText.substr(0, 10) : "";
}

std::string AddressText(const basConfigRom::RomFinding& finding) {
    return fmt::format("0x{:08X}", finding.Address);
}

QIcon VerdictIcon(basConfigRom::Verdict severity, const QSize& size) {
    QPixmap blank(size);
    switch (severity) {
    case basConfigRom::Verdict::Fault:
        return QApplication::style()->standardIcon(QStyle::SP_MessageBoxCritical);
    case basConfigRom::Verdict::Note:
        return QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning);
    default:
        blank.fill(Qt::transparent);
        return blank;
    }
}

} // namespace

frmConfigROM::frmConfigROM()
    : Form("frmConfigROM", "Config ROM"), fraConfigRomAppleFormat(new QGroupBox(this)),
      trvConfigRomAppleFormat(new QTreeWidget(fraConfigRomAppleFormat)),
      lstChecks(new QTreeWidget(fraConfigRomAppleFormat)), cmdClose(new QPushButton("&Close", this)),
      cmdCopyConfigRomToClipboard(new QPushButton("Copy to Clip&board", this)),
      cmdSaveToDisk(new QPushButton("&Save to Disk", this)), chkChecks(new QCheckBox("Chec&ks", this)) {
    fraConfigRomAppleFormat->setObjectName("fraConfigRomAppleFormat");
    trvConfigRomAppleFormat->setObjectName("trvConfigRomAppleFormat");
    cmdClose->setObjectName("cmdClose");
    cmdCopyConfigRomToClipboard->setObjectName("cmdCopyConfigRomToClipboard");
    cmdSaveToDisk->setObjectName("cmdSaveToDisk");
    chkChecks->setObjectName("chkChecks");

    const int gap = GAP, line = fontMetrics().height() + 10;
    const int width = fontMetrics().averageCharWidth() * 120, height = fontMetrics().height() * 24;
    fraConfigRomAppleFormat->setGeometry(gap, gap, width, height);
    trvConfigRomAppleFormat->setGeometry(gap, gap, width - 2 * gap, height - 2 * gap);
    const int buttonWidth = fontMetrics().horizontalAdvance("Copy to Clipboard") + 40;
    int left = gap;
    for (QPushButton* button : {cmdSaveToDisk, cmdCopyConfigRomToClipboard, cmdClose}) {
        button->setGeometry(left, height + 2 * gap, buttonWidth, line);
        left += buttonWidth + gap;
    }
    chkChecks->setGeometry(left + gap, height + 2 * gap, chkChecks->sizeHint().width() + gap, line);
    chkChecks->setToolTip("Lists CRCs, quadlets that nothing refers to, and entries that break IEEE 1212.");

    QFont font("Courier New");
    font.setStyleHint(QFont::Monospace);
    trvConfigRomAppleFormat->setFont(font);
    trvConfigRomAppleFormat->setHeaderHidden(true);
    trvConfigRomAppleFormat->setColumnCount(1);
    trvConfigRomAppleFormat->setSelectionMode(QAbstractItemView::ExtendedSelection);
    trvConfigRomAppleFormat->setUniformRowHeights(true);
    trvConfigRomAppleFormat->header()->setStretchLastSection(false);
    MakeCopyable(trvConfigRomAppleFormat);
    lstChecks->setFont(font);
    for (QTreeWidget* view : {trvConfigRomAppleFormat, lstChecks})
        view->setIconSize({fontMetrics().ascent(), fontMetrics().ascent()}); // marks no higher than a row of text
    lstChecks->setAccessibleName("Checks");
    lstChecks->setColumnCount(COLUMNS);
    lstChecks->setRootIsDecorated(false);
    lstChecks->setSelectionMode(QAbstractItemView::ExtendedSelection);
    lstChecks->setUniformRowHeights(true);
    MakeCopyable(lstChecks);
    lstChecks->hide();

    connect(chkChecks, &QCheckBox::toggled, this, [this] { ShowChecks(); });
    connect(lstChecks, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* check) { GoToRowOf(check); });
    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
    connect(cmdCopyConfigRomToClipboard, &QPushButton::clicked, this, [this] { cmdCopyConfigRomToClipboard_Click(); });
    connect(cmdSaveToDisk, &QPushButton::clicked, this, [this] { cmdSaveToDisk_Click(); });
}

void frmConfigROM::Form_Load() {
    platform::ResumeNext next(LogError(".  Resuming next..."));
    fitClient(fraConfigRomAppleFormat->geometry().right() + 7, cmdClose->geometry().bottom() + 7);
    layout_ = std::make_unique<clsLayoutManager>();
    next([this] { layout_->SetLayoutForm(this); });
    next([this] { layout_->RestoreLayout(); });
    next([this] { layout_->VerifyFormPosition(this); });
}

void frmConfigROM::setNodeNum(std::int32_t nodeNum) {
    const auto render = [&] {
        rows_.Rows.clear();
        findings_.clear();
        const auto& table = bas1394::globals.DeviceTable;
        if (nodeNum < 0 || std::size_t(nodeNum) >= table.size()) {
            const std::string text = fmt::format("frmConfigROM: Invalid Node Number: {}", nodeNum);
            rows_.Add(-1, "", text);
            basDebug::Display(MODULE, LEVEL_ERROR, "{}", text);
            return;
        }
        const ConfigRomRecord& rom = table[std::size_t(nodeNum)].ConfigRom;
        if (!rom.RawData.empty() && rom.RawData[0] == 1) {
            basDebug::Display(MODULE, LEVEL_USER, "Minimal config rom on node # {}", nodeNum);
        } else if (rom.RawData.size() >= 2) {
            const std::int32_t code = basConfigRom::FormatConfigRomApple(rows_, rom);
            if (code != 1)
                basDebug::Display(MODULE, LEVEL_ERROR, "frmConfigROM: FormatConfigRomApple failed, code {}", code);
        }
        findings_ = basConfigRom::CheckConfigRom(rom);
    };
    platform::Attempt(render, LogError(" in frmConfigROM.NodeNum"));
    ShowRows();
    ShowChecks();
}

void frmConfigROM::ShowRows() {
    trvConfigRomAppleFormat->clear();
    items_.clear();
    items_.reserve(rows_.Rows.size());
    QList<QTreeWidgetItem*> top;
    for (const basConfigRom::RomRow& row : rows_.Rows) {
        auto* item = new QTreeWidgetItem(QStringList{QString::fromStdString(row.Text)});
        if (row.Parent >= 0)
            items_[std::size_t(row.Parent)]->addChild(item);
        else
            top << item;
        items_.push_back(item);
    }
    trvConfigRomAppleFormat->addTopLevelItems(top);
    for (std::size_t i = 0; i < items_.size(); ++i)
        items_[i]->setExpanded(rows_.Rows[i].Expanded);
    trvConfigRomAppleFormat->resizeColumnToContents(0);
}

void frmConfigROM::ShowChecks() {
    const bool shown = chkChecks->isChecked();
    lstChecks->clear();
    lstChecks->setHeaderLabels(
        {"Address", "Verdict", QString::fromStdString("Checks: " + basConfigRom::SummaryText(findings_))});
    std::multimap<std::string, const basConfigRom::RomFinding*> marked; // in the tree
    QList<QTreeWidgetItem*> checks;
    for (const basConfigRom::RomFinding& finding : findings_) {
        auto* item =
            new QTreeWidgetItem({QString::fromStdString(AddressText(finding)),
                                 basConfigRom::VerdictName(finding.Severity), QString::fromStdString(finding.Text)});
        item->setIcon(VERDICT, VerdictIcon(finding.Severity, lstChecks->iconSize()));
        item->setToolTip(FINDING, item->text(FINDING));
        checks << item;
        if (finding.Severity != basConfigRom::Verdict::Good)
            marked.emplace(AddressText(finding), &finding);
    }
    lstChecks->addTopLevelItems(checks);
    for (int column = 0; column < COLUMNS; ++column) {
        lstChecks->resizeColumnToContents(column);
        lstChecks->setColumnWidth(column, lstChecks->columnWidth(column) + 2 * GAP);
    }
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const auto [from, to] = marked.equal_range(AddressText(rows_.Rows[i].Text));
        QString tip;
        for (auto at = from; at != to; ++at)
            tip += (tip.isEmpty() ? "" : "\n") + QString::fromStdString(at->second->Text);
        // A blank icon where there is no mark, so that the columns of the rows line up.
        const auto severity = from != to ? from->second->Severity : basConfigRom::Verdict::Good;
        items_[i]->setIcon(0, shown ? VerdictIcon(severity, lstChecks->iconSize()) : QIcon());
        items_[i]->setToolTip(0, shown ? tip : QString());
    }
    trvConfigRomAppleFormat->resizeColumnToContents(0);
    lstChecks->setVisible(shown);
    ArrangeChecks();
}

// The tree gives a share of its area to the checks.
void frmConfigROM::ArrangeChecks() {
    if (layout_)
        layout_->ResizeForm();
    if (lstChecks->isHidden())
        return;
    const QRect all = trvConfigRomAppleFormat->geometry();
    const int tree = int(all.height() * TREE_SHARE);
    trvConfigRomAppleFormat->setGeometry(all.x(), all.y(), all.width(), tree);
    lstChecks->setGeometry(all.x(), all.y() + tree + GAP, all.width(), all.height() - tree - GAP);
}

// Selects the row of the finding's quadlet. Without such a row it only scrolls to the last one before it.
void frmConfigROM::GoToRowOf(const QTreeWidgetItem* check) {
    if (check == nullptr)
        return;
    const std::string address = check->text(ADDRESS).toStdString();
    QTreeWidgetItem* before = nullptr;
    std::string nearest;
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const std::string row = AddressText(rows_.Rows[i].Text);
        if (row > nearest && row <= address) { // of equal length, so text order is numeric order
            nearest = row;
            before = items_[i];
        }
    }
    trvConfigRomAppleFormat->clearSelection();
    if (before == nullptr)
        return;
    if (nearest == address)
        trvConfigRomAppleFormat->setCurrentItem(before);
    trvConfigRomAppleFormat->scrollToItem(before);
}

std::vector<std::string> frmConfigROM::Lines() const {
    std::vector<std::string> lines;
    for (const basConfigRom::RomRow& row : rows_.Rows)
        lines.push_back(row.Text);
    if (chkChecks->isChecked())
        for (std::string& line : basConfigRom::CheckLines(findings_))
            lines.push_back(std::move(line));
    return lines;
}

void frmConfigROM::cmdCopyConfigRomToClipboard_Click() {
    std::string text;
    for (const std::string& line : Lines())
        text += line + "\r\n";
    QApplication::clipboard()->clear();
    QApplication::clipboard()->setText(QString::fromStdString(text));
}

void frmConfigROM::cmdSaveToDisk_Click() {
    const auto save = [this] {
        const std::string name =
            platform::CurrentDialogs().SaveFile("Save Config ROM", "", "Text files (*.txt);;All files (*)");
        if (!name.empty() && basApp::FileExists(name) &&
            !platform::CurrentDialogs().YesNo(fmt::format("'{}' exists.  Overwrite (y/n)?", name), "Overwrite"))
            return;
        if (name.empty())
            platform::Raise(platform::PATH_ACCESS_ERROR, "No file name was given");
        platform::OutputFile file(name);
        std::string exe, folder;
        basUtils::SplitPath(platform::ExecutablePath(), folder, exe);
        file.WriteLine(RULE);
        file.WriteLine(windowTitle().toStdString());
        file.WriteLine("Config Rom read on: " +
                       basUtils::FormatSystemTime(platform::GetLocalTime(), "yyyy-mm-dd hh:nn:ss"));
        file.WriteLine(fmt::format("App='{}' Ver={}.{}.{}", exe.substr(0, exe.rfind('.')), basApp::VERSION_MAJOR,
                                   basApp::VERSION_MINOR, basApp::VERSION_REVISION));
        file.WriteLine(RULE);
        file.WriteLine("");
        for (const std::string& line : Lines())
            file.WriteLine(line);
    };
    platform::Attempt(save, LogError(" in cmdSaveToDisk.  Aborting operation..."));
}

void frmConfigROM::Form_Resize() {
    ArrangeChecks();
}

void frmConfigROM::Form_Unload() {
    if (!layout_)
        basDebug::Display(MODULE, LEVEL_WARNING, "clsLayoutMan terminated prior to form termination.");
    layout_.reset();
}
