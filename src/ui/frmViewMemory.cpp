#include "frmViewMemory.h"

#include "Dialogs.h"
#include "Guarded.h"
#include "Windows.h"

#include <QShortcut>

#include <fmt/format.h>

#include <utility>

frmViewMemory::frmViewMemory()
    : Form("frmViewMemory", "Memory Viewer"), fraBounding(new QGroupBox(this)),
      txtNodeMemory(new HexDumpView(fraBounding)), txtFind(new QLineEdit(fraBounding)),
      cmdClose(new QPushButton("&Close", fraBounding)) {
    fraBounding->setObjectName("fraBounding");
    txtNodeMemory->setObjectName("txtNodeMemory");
    txtFind->setObjectName("txtFind");
    cmdClose->setObjectName("cmdClose");

    const int gap = 6, width = 580, height = 340; // 16 bytes a line
    const int line = fontMetrics().height() + 10, buttonWidth = fontMetrics().horizontalAdvance("Close") + 50;
    fraBounding->setGeometry(0, 0, width + 2 * gap, height + line + 3 * gap);
    txtNodeMemory->setGeometry(gap, gap, width, height);
    txtFind->setGeometry(gap, height + 2 * gap, width - buttonWidth - gap, line);
    cmdClose->setGeometry(width + gap - buttonWidth, height + 2 * gap, buttonWidth, line);
    setMinimumSize(300, 160);

    txtFind->setPlaceholderText("Find hex bytes (0A 1B) or text (Ctrl+F, then Enter)");
    txtFind->setClearButtonEnabled(true);
    txtFind->setMaxLength(256);
    connect(txtFind, &QLineEdit::returnPressed, this, [this] { FindNext(); });
    const auto shortcut = [this](QKeySequence::StandardKey key, auto done) {
        auto* made = new QShortcut(key, this);
        made->setContext(Qt::WidgetWithChildrenShortcut);
        connect(made, &QShortcut::activated, this, done);
    };
    shortcut(QKeySequence::Find, [this] {
        txtFind->setFocus();
        txtFind->selectAll();
    });
    shortcut(QKeySequence::FindNext, [this] { FindNext(); });
    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
}

void frmViewMemory::Form_Load() {
    fitClient(fraBounding->width(), fraBounding->height());
    layout_ = std::make_unique<clsLayoutManager>();
    Guarded("frmViewMemory", "Form_Load", [this] {
        layout_->SetLayoutForm(this); // restores the saved layout too
        layout_->VerifyFormPosition(this);
    });
}

void frmViewMemory::setByteData(ByteArray bytes) {
    txtNodeMemory->setColumns(ColumnCount);
    txtNodeMemory->setBytes(std::move(bytes), StartAddress);
}

void frmViewMemory::FindNext() {
    const std::string text = txtFind->text().toStdString();
    const auto sought = hexDump::SoughtBytes(text);
    if (!sought.empty() && !txtNodeMemory->find(sought))
        platform::CurrentDialogs().MessageBox(fmt::format("'{}' does not stand in this memory.", text), "Find");
}

void frmViewMemory::Form_Resize() {
    if (!layout_)
        return;
    layout_->ResizeForm();
    if (ByteData().size() <= 1)
        return;
    const std::int32_t columns = hexDump::ColumnsOfWidth(layout::Twips(txtNodeMemory->width()));
    if (std::exchange(ColumnCount, columns) != columns)
        txtNodeMemory->setColumns(columns);
}

void frmViewMemory::Form_Unload() {
    layout_.reset(); // saves the layout
    auto& list = windows::globals.memoryWindows;
    if (Index >= 0 && std::size_t(Index) < list.size() && list[std::size_t(Index)] == this)
        list[std::size_t(Index)] = nullptr;
}
