#include "frmViewMemory.h"

#include "Windows.h"

#include <utility>

namespace {

constexpr int GAP = 6; // pixels between controls

} // namespace

frmViewMemory::frmViewMemory()
    : Form("frmViewMemory", "Memory Viewer"), fraBounding(new QGroupBox(this)),
      txtNodeMemory(new HexDumpView(fraBounding)),
      txtFind(new FindLine(
          txtNodeMemory, "Find hex bytes (0A 1B) or text (Ctrl+F, then Enter)",
          [this](const QString& text, bool backward) {
              return txtNodeMemory->find(hexDump::SoughtBytes(text.toStdString()), backward);
          },
          "No '%1' found in this memory.")),
      cmdClose(new QPushButton("&Close", fraBounding)) {
    fraBounding->setObjectName("fraBounding");
    txtNodeMemory->setObjectName("txtNodeMemory");
    txtFind->setObjectName("txtFind");
    cmdClose->setObjectName("cmdClose");

    const int width = 580, height = 340; // 16 bytes a line
    const int line = txtFind->lineHeight(), buttonWidth = fontMetrics().horizontalAdvance("Close") + 50;
    fraBounding->setGeometry(0, 0, width + 2 * GAP, height + line + 3 * GAP);
    txtNodeMemory->setGeometry(GAP, GAP, width, height);
    txtFind->setGeometry(GAP, height + 2 * GAP, width - buttonWidth - GAP, line);
    cmdClose->setGeometry(width + GAP - buttonWidth, height + 2 * GAP, buttonWidth, line);
    setMinimumSize(300, 160);

    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
}

void frmViewMemory::Form_Load() {
    fitClient(fraBounding->width(), fraBounding->height());
    layout_ = std::make_unique<clsLayoutManager>();
    const auto restore = [this] {
        layout_->SetLayoutForm(this); // restores the saved layout too
        layout_->VerifyFormPosition(this);
    };
    platform::Attempt(restore, LogFailure("Form_Load"));
}

void frmViewMemory::setByteData(ByteArray bytes) {
    txtNodeMemory->setColumns(ColumnCount);
    txtNodeMemory->setBytes(std::move(bytes), StartAddress);
}

// A find line that scaled with the window couldn't be read in a small one: it keeps its height, and the dump takes the
// rest.
void frmViewMemory::KeepFindLine() {
    const int line = txtFind->lineHeight(), top = fraBounding->height() - line - GAP;
    for (QWidget* control : {static_cast<QWidget*>(txtFind), static_cast<QWidget*>(cmdClose)})
        control->setGeometry(control->x(), top, control->width(), line);
    txtNodeMemory->resize(txtNodeMemory->width(), top - GAP - txtNodeMemory->y());
}

void frmViewMemory::Form_Resize() {
    if (!layout_)
        return;
    layout_->ResizeForm();
    KeepFindLine();
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
