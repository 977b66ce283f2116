#include "frmCRCs.h"

#include "Controls.h"
#include "Windows.h"
#include "basBootloader.h"
#include "frmMain.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QFontInfo>
#include <QKeyEvent>

#include <fmt/format.h>

namespace {

// A row that is copied whole, by its menu or with Ctrl+C, unless a part of it is selected.
class Row : public QLabel {
public:
    explicit Row(QWidget* parent) : QLabel(parent) {
        MakeCopyable(this);
        setFocusPolicy(Qt::StrongFocus);
        auto* copy = new QAction("&Copy\tCtrl+C", this);
        connect(copy, &QAction::triggered, this, [this] { Copy(); });
        addAction(copy);
        setContextMenuPolicy(Qt::ActionsContextMenu);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->matches(QKeySequence::Copy))
            Copy();
        else
            QLabel::keyPressEvent(event);
    }
    void focusInEvent(QFocusEvent* event) override {
        QLabel::focusInEvent(event);
        if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
            setSelection(0, int(text().size())); // shows which row has the focus
    }

private:
    void Copy() { QApplication::clipboard()->setText((hasSelectedText() ? selectedText() : text()).trimmed()); }
};

// The desktop's font of fixed pitch, for which the rows are aligned; another one where the desktop has none configured.
QFont FixedFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (!QFontInfo(font).fixedPitch()) {
        font.setFamily("Courier New");
        font.setStyleHint(QFont::Monospace);
    }
    return font;
}

} // namespace

frmCRCs::frmCRCs() : Form("frmCRCs", "Firmware Image CRCs on Device") {
    const int gap = 8, line = fontMetrics().height() + 10, width = fontMetrics().averageCharWidth() * 90;
    Frame2 = Named(new QGroupBox("Device Details", this), "Frame2");
    Frame2->setGeometry(gap, gap, width, 2 * line + gap);
    txtDeviceDetails = Named(new QLineEdit(Frame2), "txtDeviceDetails");
    txtDeviceDetails->setGeometry(gap, line - 2, width - 2 * gap, line);
    txtDeviceDetails->setReadOnly(true);
    int top = Frame2->geometry().bottom() + gap;
    const auto label = [&](const char* name) {
        auto* made = Named(new Row(this), name);
        made->setFont(FixedFont());
        made->setGeometry(2 * gap, top, width - 2 * gap, line);
        auto* all = new QAction("Copy &All", made);
        connect(all, &QAction::triggered, this, [this] { CopyAll(); });
        made->addAction(all);
        top += line;
        return made;
    };
    lblApplicationCRC = label("lblApplicationCRC");
    lblBootloaderCRC = label("lblBootloaderCRC");
    lblDebuggerCRC = label("lblDebuggerCRC");
    lblCNE_CRC = label("lblCNE_CRC");
    lblProgress = Named(new QLabel(this), "lblProgress");
    lblProgress->setGeometry(2 * gap, top, width - 2 * gap, line);
    top += line + gap;
    chkAlwaysOnTop = Named(new QCheckBox("Always on &Top", this), "chkAlwaysOnTop");
    chkAlwaysOnTop->setGeometry(2 * gap, top, width / 2, line);
    cmdClose = Named(new QPushButton("&Close", this), "cmdClose");
    cmdClose->setGeometry(width - 10 * line / 3, top, 10 * line / 3, line);
    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
    cmdClose->setFocus();
}

void frmCRCs::Form_Load() {
    fitClient(Frame2->geometry().right() + 9, cmdClose->geometry().bottom() + 9);
    layout_ = std::make_unique<clsLayoutManager>();
    platform::Attempt([this] { layout_->SetLayoutForm(this); }, LogFailure("Form_Load"));
}

void frmCRCs::Form_Resize() {
    if (layout_)
        layout_->ResizeForm();
}

void frmCRCs::Form_Unload() {
    layout_.reset();
}

void frmCRCs::setHDevice(std::int32_t handle) {
    hDevice_ = handle;
    ReadCRCs();
}

void frmCRCs::ReadCRCs() {
    lblApplicationCRC->setText(" Application CRC: <failed to read>");
    lblBootloaderCRC->setText("  Bootloader CRC: <failed to read>");
    lblCNE_CRC->setText("Config (CNE) CRC: <failed to read>");
    lblDebuggerCRC->setText("    Debugger CRC: <failed to read>");
    if (hDevice_ <= 0) {
        if (frmMain* main = windows::globals.main)
            main->StatusDisplay(LEVEL_TRACE, "frmCRCs.ReadCRCs error: INVALID DEVICE HANDLE: {}", hDevice_);
        return;
    }
    using namespace basBootloader;
    struct Line {
        QLabel* label;
        const char* prefix;
        std::int32_t imageType;
        const char* image;
    };
    const Line lines[] = {{lblBootloaderCRC, "  Bootloader: ", IMAGE_BOOTLOADER, "bootloader"},
                          {lblApplicationCRC, " Application: ", IMAGE_APPLICATION, "application"},
                          {lblCNE_CRC, "Config (CNE): ", IMAGE_CONFIG, "configuration"},
                          {lblDebuggerCRC, "    Debugger: ", IMAGE_DEBUGGER, "debugger"}};
    const auto show = [](QLabel* label, const std::string& text) {
        label->setText(QString::fromStdString(text));
        label->repaint(); // a device that is busy with its application takes seconds for each
    };
    const Stay stay(*this); // reading an answer by quadlets processes events
    QApplication::setOverrideCursor(Qt::WaitCursor);
    for (const Line& line : lines)
        line.label->setEnabled(false); // what it says isn't the device's answer yet
    repaint();
    for (const Line& line : lines) {
        show(lblProgress, fmt::format("Asking the device for the CRC of its {} image...", line.image));
        const std::string text = line.prefix + GetCrcText(line.imageType);
        line.label->setEnabled(true);
        show(line.label, text);
    }
    QApplication::restoreOverrideCursor();
    show(lblProgress, "To copy a row: Tab to it and Ctrl+C, or its context menu.");
}

void frmCRCs::CopyAll() const {
    QStringList lines{txtDeviceDetails->text()};
    for (const QLabel* label : {lblBootloaderCRC, lblApplicationCRC, lblCNE_CRC, lblDebuggerCRC})
        lines << label->text();
    QApplication::clipboard()->setText(lines.join('\n'));
}

std::string frmCRCs::GetCrcText(std::int32_t imageType) const {
    using namespace basBootloader;
    if (imageType < IMAGE_APPLICATION)
        return "Invalid Image Type";
    if (imageType > IMAGE_BOOTLOADER)
        return "UnknownImageType";
    std::int32_t crc = 0, validity = 0;
    const std::int32_t code = ReadImageCRC(hDevice_, imageType, crc, validity);
    if (code != SUCCESS)
        return fmt::format("Read CRC failed, code {}", code);
    return validity == 0 ? fmt::format("CRC ok!  0x{:08X}", std::uint32_t(crc)) : "Invalid CRC indicated by target";
}
