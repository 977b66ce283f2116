#include "frmCRCs.h"

#include "Controls.h"
#include "Guarded.h"
#include "Windows.h"
#include "basBootloader.h"
#include "frmMain.h"

#include <QApplication>
#include <QFontDatabase>

#include <fmt/format.h>

frmCRCs::frmCRCs() : Form("frmCRCs", "Firmware Image CRCs on Device") {
    const int gap = 8, line = fontMetrics().height() + 10, width = fontMetrics().averageCharWidth() * 90;
    Frame2 = Named(new QGroupBox("Device Details", this), "Frame2");
    Frame2->setGeometry(gap, gap, width, 2 * line + gap);
    txtDeviceDetails = Named(new QLineEdit(Frame2), "txtDeviceDetails");
    txtDeviceDetails->setGeometry(gap, line - 2, width - 2 * gap, line);
    txtDeviceDetails->setReadOnly(true);
    int top = Frame2->geometry().bottom() + gap;
    const auto label = [&](const char* name) {
        auto* made = Named(new QLabel(this), name);
        made->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
        made->setGeometry(2 * gap, top, width - 2 * gap, line);
        MakeCopyable(made);
        top += line;
        return made;
    };
    lblApplicationCRC = label("lblApplicationCRC");
    lblBootloaderCRC = label("lblBootloaderCRC");
    lblDebuggerCRC = label("lblDebuggerCRC");
    lblCNE_CRC = label("lblCNE_CRC");
    top += gap;
    chkAlwaysOnTop = Named(new QCheckBox("Always on &Top", this), "chkAlwaysOnTop");
    chkAlwaysOnTop->setGeometry(2 * gap, top, width / 2, line);
    cmdClose = Named(new QPushButton("&Close", this), "cmdClose");
    cmdClose->setGeometry(width - 10 * line / 3, top, 10 * line / 3, line);
    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
}

void frmCRCs::Form_Load() {
    fitClient(Frame2->geometry().right() + 9, cmdClose->geometry().bottom() + 9);
    layout_ = std::make_unique<clsLayoutManager>();
    Guarded("frmCRCs", "Form_Load", [this] { layout_->SetLayoutForm(this); });
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
    };
    const Line lines[] = {{lblBootloaderCRC, "  Bootloader: ", IMAGE_BOOTLOADER},
                          {lblApplicationCRC, " Application: ", IMAGE_APPLICATION},
                          {lblCNE_CRC, "Config (CNE): ", IMAGE_CONFIG},
                          {lblDebuggerCRC, "    Debugger: ", IMAGE_DEBUGGER}};
    QApplication::setOverrideCursor(Qt::WaitCursor);
    for (const Line& line : lines)
        line.label->setText(QString::fromStdString(line.prefix + GetCrcText(line.imageType)));
    QApplication::restoreOverrideCursor();
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
