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

#include <fmt/format.h>

namespace {

constexpr const char* RULE = "********************************************************";

constexpr const char* MODULE = "frmConfigROM";

} // namespace

frmConfigROM::frmConfigROM()
    : Form("frmConfigROM", "Config ROM"), fraConfigRomAppleFormat(new QGroupBox(this)),
      trvConfigRomAppleFormat(new QTreeWidget(fraConfigRomAppleFormat)), cmdClose(new QPushButton("&Close", this)),
      cmdCopyConfigRomToClipboard(new QPushButton("Copy to Clip&board", this)),
      cmdSaveToDisk(new QPushButton("&Save to Disk", this)) {
    fraConfigRomAppleFormat->setObjectName("fraConfigRomAppleFormat");
    trvConfigRomAppleFormat->setObjectName("trvConfigRomAppleFormat");
    cmdClose->setObjectName("cmdClose");
    cmdCopyConfigRomToClipboard->setObjectName("cmdCopyConfigRomToClipboard");
    cmdSaveToDisk->setObjectName("cmdSaveToDisk");

    const int gap = 6, line = fontMetrics().height() + 10;
    const int width = fontMetrics().averageCharWidth() * 120, height = fontMetrics().height() * 24;
    fraConfigRomAppleFormat->setGeometry(gap, gap, width, height);
    trvConfigRomAppleFormat->setGeometry(gap, gap, width - 2 * gap, height - 2 * gap);
    const int buttonWidth = fontMetrics().horizontalAdvance("Copy to Clipboard") + 40;
    int left = gap;
    for (QPushButton* button : {cmdSaveToDisk, cmdCopyConfigRomToClipboard, cmdClose}) {
        button->setGeometry(left, height + 2 * gap, buttonWidth, line);
        left += buttonWidth + gap;
    }

    QFont font("Courier New");
    font.setStyleHint(QFont::Monospace);
    trvConfigRomAppleFormat->setFont(font);
    trvConfigRomAppleFormat->setHeaderHidden(true);
    trvConfigRomAppleFormat->setColumnCount(1);
    trvConfigRomAppleFormat->setSelectionMode(QAbstractItemView::ExtendedSelection);
    trvConfigRomAppleFormat->setUniformRowHeights(true);
    trvConfigRomAppleFormat->header()->setStretchLastSection(false);
    MakeCopyable(trvConfigRomAppleFormat);

    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
    connect(cmdCopyConfigRomToClipboard, &QPushButton::clicked, this, [this] { cmdCopyConfigRomToClipboard_Click(); });
    connect(cmdSaveToDisk, &QPushButton::clicked, this, [this] { cmdSaveToDisk_Click(); });
}

void frmConfigROM::Form_Load() {
    platform::ResumeNext next([](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_ERROR, "ERROR #{}: {}.  Resuming next...", f.Number, f.Description);
    });
    fitClient(fraConfigRomAppleFormat->geometry().right() + 7, cmdClose->geometry().bottom() + 7);
    layout_ = std::make_unique<clsLayoutManager>();
    next([this] { layout_->SetLayoutForm(this); });
    next([this] { layout_->RestoreLayout(); });
    next([this] { layout_->VerifyFormPosition(this); });
}

void frmConfigROM::setNodeNum(std::int32_t nodeNum) {
    const auto render = [&] {
        rows_.Rows.clear();
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
    };
    platform::Attempt(render, [](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_ERROR, "ERROR #{}: {} in frmConfigROM.NodeNum", f.Number, f.Description);
    });
    ShowRows();
}

void frmConfigROM::ShowRows() {
    trvConfigRomAppleFormat->clear();
    std::vector<QTreeWidgetItem*> items;
    items.reserve(rows_.Rows.size());
    QList<QTreeWidgetItem*> top;
    for (const basConfigRom::RomRow& row : rows_.Rows) {
        auto* item = new QTreeWidgetItem(QStringList{QString::fromStdString(row.Text)});
        if (row.Parent >= 0)
            items[std::size_t(row.Parent)]->addChild(item);
        else
            top << item;
        items.push_back(item);
    }
    trvConfigRomAppleFormat->addTopLevelItems(top);
    for (std::size_t i = 0; i < items.size(); ++i)
        items[i]->setExpanded(rows_.Rows[i].Expanded);
    trvConfigRomAppleFormat->resizeColumnToContents(0);
}

void frmConfigROM::cmdCopyConfigRomToClipboard_Click() {
    QApplication::clipboard()->clear();
    QApplication::clipboard()->setText(QString::fromStdString(basConfigRom::RomText(rows_)));
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
        for (const basConfigRom::RomRow& row : rows_.Rows)
            file.WriteLine(row.Text);
    };
    platform::Attempt(save, [](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_ERROR, "ERROR #{}: {} in cmdSaveToDisk.  Aborting operation...", f.Number,
                          f.Description);
    });
}

void frmConfigROM::Form_Resize() {
    if (layout_)
        layout_->ResizeForm();
}

void frmConfigROM::Form_Unload() {
    if (!layout_)
        basDebug::Display(MODULE, LEVEL_WARNING, "clsLayoutMan terminated prior to form termination.");
    layout_.reset();
}
