#include "frmMain.h"

#include "Controls.h"
#include "MDIForm1.h"
#include "Program.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basDebug.h"

#include <QApplication>
#include <QFontDatabase>
#include <QHeaderView>
#include <QKeyEvent>

#include <fmt/format.h>

#include <cmath>
#include <utility>

namespace {

constexpr int GAP = 6;                   // pixels between controls
constexpr int CELL_MARGINS = 10;         // pixels, both sides together
constexpr std::int32_t HINT_DELAY = 500; // ms, in case no bus is read at the start

} // namespace

frmMain::frmMain() : Form("frmMain", "Available Devices") {
    BuildControls();
    BuildMenus();
    setFocusProxy(mfgDevices); // keys go to the list by default
    tmrBusReset = new WindowTimer(this, "tmrBusReset", pump_.tmrBusReset);
    tmrIncomingData = new WindowTimer(this, "tmrIncomingData", pump_.tmrIncomingData);
    tmrAutomationScheduler = new WindowTimer(this, "tmrAutomationScheduler", pump_.tmrAutomationScheduler);
    tmrHint = new WindowTimer(this, "tmrHint", HINT_DELAY, [this] { ShowHint(); });
    tmrHint->setEnabled(true);
    StartBusTimers();
}

// The design layout, in lines of the current font; the layout keeper scales it.
void frmMain::BuildControls() {
    const int line = Line();
    const int gap = GAP;
    const int longest =
        fontMetrics().horizontalAdvance("Hardware Version (from config ROM):  MODULE_HW_VERSION=131072");
    const int width = std::max({940, fontMetrics().averageCharWidth() * 130, longest * 5 / 3 + 8 * gap});
    const int gridHeight = line * 7;

    fraDeviceList = Named(new QGroupBox("Device List (select target)", this), "fraDeviceList");
    fraDeviceList->setGeometry(gap, gap, width, gridHeight + line + 2 * gap);
    mfgDevices = Named(new DeviceGrid(fraDeviceList), "mfgDevices");
    mfgDevices->setGeometry(gap, line, width - 2 * gap, gridHeight);

    fraSelectedDevice = Named(new QGroupBox("Selected Device", this), "fraSelectedDevice");
    const int panelTop = fraDeviceList->geometry().bottom() + gap;
    const int hardwareHeight = line * 6 + 2 * gap;
    const int firmwareHeight = line * 5 + 5 * gap;
    fraSelectedDevice->setGeometry(gap, panelTop, width, hardwareHeight + firmwareHeight + line + 3 * gap);
    fraHardware = Named(new QGroupBox("Hardware Identification", fraSelectedDevice), "fraHardware");
    fraHardware->setGeometry(gap, line, width - 2 * gap, hardwareHeight);
    fraFirmware = Named(new QGroupBox("Firmware", fraSelectedDevice), "fraFirmware");
    fraFirmware->setGeometry(gap, line + hardwareHeight + gap, width - 2 * gap, firmwareHeight);
    BuildHardwareLabels(width - 4 * gap);
    BuildFirmwareRows(width - 4 * gap);

    txtDebugSpew = Named(new QPlainTextEdit(this), "txtDebugSpew");
    txtDebugSpew->hide();
    connect(txtDebugSpew, &QPlainTextEdit::textChanged, this, &frmMain::txtDebugSpew_Change);
}

void frmMain::BuildHardwareLabels(int width) {
    const int line = Line(), gap = GAP;
    const int left = width * 2 / 5; // the texts on the right are longer
    const auto label = [&](const char* name, int column, int row) {
        auto* made = Named(new QLabel(fraHardware), name);
        made->setGeometry(gap + column * left, line * (row + 1) + gap, (column == 0 ? left : width - left) - gap, line);
        MakeCopyable(made);
        return made;
    };
    lblDriver = label("lblDriver", 0, 0);
    lblNode = label("lblNode", 0, 1);
    lblDeviceState = label("lblDeviceState", 0, 2);
    lblManufacturer = label("lblManufacturer", 0, 3);
    lblModelName = label("lblModelName", 0, 4);
    lblGUID = label("lblGUID", 1, 0);
    lblBootloaderGuidInfo = label("lblBootloaderGuidInfo", 1, 1);
    lblBootloaderGuidGet = label("lblBootloaderGuidGet", 1, 2);
    lblHardwareVersion = label("lblHardwareVersion", 1, 3);
    lblModelID = label("lblModelID", 1, 4);
}

void frmMain::BuildFirmwareRows(int width) {
    const int line = Line(), gap = GAP;
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const int captionWidth = width * 27 / 100, buttonWidth = captionWidth,
              boxWidth = width - captionWidth - buttonWidth;
    const auto firmwareRow = [&](int row, QLabel*& caption, const char* captionName, const char* captionText,
                                 QLineEdit*& box, const char* boxName, QPushButton*& button, const char* buttonName,
                                 const char* buttonText) {
        const int top = line + gap + row * (line + 4); // clear of the title when all is scaled down
        caption = Named(new QLabel(captionText, fraFirmware), captionName);
        caption->setGeometry(gap, top, captionWidth - gap, line);
        box = Named(new QLineEdit(fraFirmware), boxName);
        box->setGeometry(gap + captionWidth, top, boxWidth - gap, line);
        box->setReadOnly(true);
        box->setFont(fixed);
        button = Named(new QPushButton(buttonText, fraFirmware), buttonName);
        button->setGeometry(gap + captionWidth + boxWidth, top, buttonWidth - gap, line);
        button->setEnabled(false);
    };
    firmwareRow(0, lblApplicationImageVersion, "lblApplicationImageVersion", "Application Image Version",
                txtApplicationImageVersion, "txtApplicationImageVersion", cmdUpdateApplicationImage,
                "cmdUpdateApplicationImage", "Update Application &Image...");
    firmwareRow(1, lblDebugMonitorVersion, "lblDebugMonitorVersion", "Debug Monitor Firmware Version",
                txtDebugMonitorVersion, "txtDebugMonitorVersion", cmdUpdateDebugMonitor, "cmdUpdateDebugMonitor",
                "Update &Debug Monitor Image...");
    firmwareRow(2, lblBootloaderVersion, "lblBootloaderVersion", "Bootloader Firmware Version", txtBootloaderVersion,
                "txtBootloaderVersion", cmdUpdateBootloader, "cmdUpdateBootloader", "&Update Bootloader Image...");

    lblWhyNot = Named(new QLabel(fraFirmware), "lblWhyNot");
    lblWhyNot->setGeometry(gap, line + 3 * (line + gap) - gap / 2, width - gap,
                           line + 5 * gap / 2); // of two lines in a large font
    lblWhyNot->setWordWrap(true);
    lblWhyNot->setAlignment(Qt::AlignTop);
}

void frmMain::SetUpGrid() {
    mfgDevices->setColumnCount(int(deviceRows::COLUMNS));
    QStringList headers;
    for (const deviceRows::Column& column : deviceRows::COLUMN_TABLE)
        headers << column.header;
    mfgDevices->setHorizontalHeaderLabels(headers);
    for (const int column : {deviceRows::DRIVER, deviceRows::NODE})
        mfgDevices->horizontalHeaderItem(column)->setTextAlignment(Qt::AlignCenter);
    mfgDevices->setRowCount(0);
    mfgDevices->setSelectionBehavior(QAbstractItemView::SelectRows);
    mfgDevices->setSelectionMode(QAbstractItemView::SingleSelection);
    mfgDevices->setEditTriggers(QAbstractItemView::NoEditTriggers);
    mfgDevices->setTabKeyNavigation(false);
    mfgDevices->setWordWrap(false);
    mfgDevices->setAlternatingRowColors(true);
    mfgDevices->verticalHeader()->hide();
    mfgDevices->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    mfgDevices->horizontalHeader()->setMinimumSectionSize(fontMetrics().horizontalAdvance("63") + CELL_MARGINS);
    mfgDevices->horizontalHeader()->setHighlightSections(false);
    mfgDevices->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    mfgDevices->horizontalHeader()->setSectionResizeMode(deviceRows::FIRMWARE, QHeaderView::Stretch);
    mfgDevices->setColumnOfWords(deviceRows::FIRMWARE);
    MakeCopyable(mfgDevices, CopyAs::Table);
    BuildContextMenu();
    connect(mfgDevices, &QTableWidget::currentCellChanged, this, [this](int row, int, int previousRow, int) {
        if (row >= 0 && row != previousRow)
            mfgDevices_RowColChange();
    });
    // Only what the user does is remembered, not what a redraw selects.
    mfgDevices->installEventFilter(this);
    mfgDevices->viewport()->installEventFilter(this);
}

void frmMain::Form_Load() {
    if (MDIForm1* parent = windows::globals.parent)
        mnuAutoScaleChildren->setChecked(parent->mnuAutoScaleChildren->isChecked());
    mnuRemove1394VirtualDriverOnShutdown->setChecked(
        windowSettings::GetFlag(nameText(), settingKeys::REMOVE_DRIVER, "0"));
    SetUpGrid();
    fitClient(fraDeviceList->geometry().right() + 1 + fraDeviceList->x(), fraSelectedDevice->geometry().bottom() + 7);
    FindSmallestFrame();
    layout_ = std::make_unique<clsLayoutManager>();
    platform::Attempt([this] { layout_->SetLayoutForm(this); }, ShowFailure("Form_Load"));
    ClearDeviceDetails();
    platform::DoEvents();
    txtDebugSpew->clear();
    pump_.TakeNotices();
    for (QAction* action : {mnuLaunchShell, mnuFactoryDefaults, mnuReset, mnuResetToBootloader})
        action->setEnabled(false);
}

// All controls are scaled alike, so the one with the least room to spare in the design is decisive.
void frmMain::FindSmallestFrame() {
    double wide = 0, high = 0;
    const auto needs = [&](const QWidget* control, const QSize& least) {
        wide = std::max(wide, double(least.width()) / control->width());
        high = std::max(high, double(least.height()) / control->height());
    };
    for (const QPushButton* button : {cmdUpdateApplicationImage, cmdUpdateDebugMonitor, cmdUpdateBootloader})
        needs(button, fontMetrics().size(Qt::TextShowMnemonic, button->text()) + QSize(CELL_MARGINS, 4));
    for (const QLabel* label : {lblApplicationImageVersion, lblDebugMonitorVersion, lblBootloaderVersion})
        needs(label, fontMetrics().size(0, label->text()));
    needs(lblHardwareVersion, fontMetrics().size(0, "Hardware Version (from config ROM):  MODULE_HW_VERSION=131072"));
    needs(lblModelID, fontMetrics().size(0, "Info Registers Hardware Model ID = 18 / Version: 2.0.0.0"));
    const QSize border = frame()->size() - size();
    smallestFrame_ = QSize(int(std::ceil(width() * wide)), int(std::ceil(height() * high))) + border;
}

void frmMain::StartBusTimers() {
    pump_.StartBusTimers();
}

// A message that names no module shows its level in the module's place.
void frmMain::StatusDisplayText(std::int32_t level, const std::string& text, std::string_view module) {
    basDebug::StatusDisplayOfMainWindow(text, basDebug::GetLevelName(level), module);
}

void frmMain::Form_Resize() {
    if (!layout_)
        return;
    layout_->ResizeForm();
    ResizeMFG();
}

void frmMain::ResizeMFG() {
    const std::int32_t gridWidth = layout::Twips(mfgDevices->width());
    // Driver name, node number and state always fit; the two widest columns give up the room for that.
    const auto textWidth = [this](const char* text) { return fontMetrics().horizontalAdvance(text) + CELL_MARGINS; };
    std::array<int, deviceRows::COLUMNS> least{};
    least[deviceRows::DRIVER] = textWidth("vdev");
    least[deviceRows::NODE] = textWidth("63");
    least[deviceRows::STATE] = textWidth("Bootloader Running");
    int taken = 0;
    for (std::size_t column = 0; column + 1 < deviceRows::COLUMNS; ++column) { // the last one takes the rest
        const int share = layout::Pixels(deviceRows::ColumnWidth(gridWidth, deviceRows::COLUMN_TABLE[column].share));
        int width = share;
        if (column == deviceRows::MANUFACTURER || column == deviceRows::MODEL)
            width -= taken / 2;
        else
            width = std::max(share, least[column]);
        if (width > share)
            taken += width - share;
        if (width > 0)
            mfgDevices->setColumnWidth(int(column), width);
    }
}

void frmMain::keyPressEvent(QKeyEvent* event) {
    if (!event->text().isEmpty()) // a character, not Shift or a function key
        StatusDisplay(LEVEL_WATCH, "keypress");
    Form::keyPressEvent(event);
}

void frmMain::changeEvent(QEvent* event) {
    Form::changeEvent(event);
    if (event->type() == QEvent::EnabledChange)
        ShowReasons();
}

bool frmMain::eventFilter(QObject* watched, QEvent* event) {
    const bool handled = Form::eventFilter(watched, event);
    const bool byUser = (watched == mfgDevices && event->type() == QEvent::KeyRelease) ||
                        (watched == mfgDevices->viewport() && event->type() == QEvent::MouseButtonRelease);
    if (byUser)
        RememberSelectedId();
    return handled;
}

void frmMain::IEEE1394Bus_NodesChanged() {
    mfgDevices->setRowCount(0);
    ClearDeviceDetails();
    RefreshDeviceList();
    ShowHint();
    repaint();
    platform::DoEvents();
}

// "" where there is a bus, and where it isn't for the checks of this machine to tell.
static std::string WhyNoBus() {
    const program::WhichBus& bus = program::globals.Bus;
    if (!bus.Fault.empty())
        return bus.Fault;
    const bool hasBus = bus.Choice.Kind != bas1394::BusKind::Kernel || bas1394::globals.LibraryModule == nullptr ||
                        bas1394::globals.VirtualDeviceList.DeviceCount > 0;
    if (hasBus)
        return {};
    const std::string reason = program::WhyNoBus();
    return reason.empty() ? "The adapter can't be used; the status window may tell why." : reason;
}

void frmMain::ShowHint() {
    tmrHint->setEnabled(false);
    mfgDevices->setHint(deviceRows::HintOfBus(WhyNoBus()), [this](const QString& target) { FollowHint(target); });
}

std::int32_t frmMain::RefreshDeviceList() {
    mfgDevices->setRowCount(0);
    const auto& table = bas1394::globals.DeviceTable;
    for (std::size_t i = 0; i < table.size() && table.front().NodeNum != NO_NODE; ++i) {
        platform::Attempt(
            [&] {
                const deviceRows::Row row = deviceRows::RowOf(table[i]);
                if (row.badState != -1)
                    StatusDisplayText(
                        LEVEL_ERROR,
                        fmt::format("Invalid Bootloader state for node {}: {}", table[i].NodeNum, row.badState),
                        "frmMain");
                const int at = mfgDevices->rowCount();
                mfgDevices->insertRow(at);
                for (std::size_t column = 0; column < deviceRows::COLUMNS; ++column) {
                    auto* item = new QTableWidgetItem(Q(row.text[column]));
                    item->setToolTip(item->text());
                    if (deviceRows::COLUMN_TABLE[column].centred)
                        item->setTextAlignment(Qt::AlignCenter);
                    mfgDevices->setItem(at, int(column), item);
                }
                if (row.running)
                    BringSelectionAlong();
            },
            platform::IgnoreFailure);
    }
    return 1;
}

void frmMain::FollowHint(const QString& target) {
    if (target == deviceRows::CHECK_MACHINE) {
        windows::globals.parent->ShowDoctor();
    } else if (target == deviceRows::USE_SIMULATED_BUS) {
        windows::globals.parent->UseBus("simulated");
    } else if (target.startsWith('#')) {
        if (auto* action = findChild<QAction*>(target.mid(1)))
            action->trigger();
    } else if (windows::globals.parent != nullptr) {
        windows::globals.parent->ShowGuide(target);
    }
}

// The current row moves down with each running target until it reaches the remembered ID.
void frmMain::BringSelectionAlong() {
    const int last = mfgDevices->rowCount() - 1;
    const int current = mfgDevices->currentRow();
    if (current == last || (current >= 0 && CellText(deviceRows::ID) == SelectedId))
        mfgDevices_RowColChange();
    else
        mfgDevices->setCurrentCell(last, 0);
}

void frmMain::RememberSelectedId() {
    const std::string id = CellText(deviceRows::ID);
    if (deviceRows::IsMemorableId(id))
        SelectedId = id;
}

void frmMain::mfgDevices_RowColChange() {
    mfgDevices->selectRow(mfgDevices->currentRow());
    for (QPushButton* button : {cmdUpdateApplicationImage, cmdUpdateBootloader, cmdUpdateDebugMonitor})
        button->setEnabled(false);
    for (QAction* action : {mnuUpdateApplicationFirmware, mnuUpdateBootloaderFirmware, mnuUpdateDebuggerFirmware})
        action->setEnabled(false);
    ClearDeviceDetails();
    DrawScreen();
}

std::string frmMain::CellText(int column) const {
    const QTableWidgetItem* item = mfgDevices->item(mfgDevices->currentRow(), column);
    return item == nullptr ? std::string() : item->text().toStdString();
}

Device frmMain::DeviceOfCurrentRow() const {
    const std::string node = CellText(deviceRows::NODE);
    if (node.empty())
        return bas1394::globals.NullDevice;
    return bas1394::FindDevice(CellText(deviceRows::DRIVER), std::int16_t(std::stoi(node)));
}

std::string frmMain::InvalidNodeText() const {
    return fmt::format("Invalid Node: {}  GUID={} Mfg={} Model={}", CellText(deviceRows::NODE),
                       CellText(deviceRows::ID), CellText(deviceRows::MANUFACTURER), CellText(deviceRows::MODEL));
}

void frmMain::AppendDebugSpew(const std::string& text) {
    debugSpew_ += text;
    txtDebugSpew->insertPlainText(Q(text));
}

void frmMain::txtDebugSpew_Change() {
    const std::string text = std::exchange(debugSpew_, {});
    if (text.empty())
        return; // the call that clear() below causes
    if (mnuShowDllMessages->isChecked())
        for (const std::string& line : bas1394::TakeDebugLines(text))
            basDebug::StatusDisplay(line, basDebug::GetLevelNumber("DLL DEBUG SPEW"), "");
    txtDebugSpew->clear();
}

// Closing this window closes the parent, which says why if it can't close now.
void frmMain::closeEvent(QCloseEvent* event) {
    if (!windows::LoadInProgress() && !windows::ParentClosesLater())
        return Form::closeEvent(event);
    event->ignore();
    windows::UnloadParentWindow();
}

void frmMain::Form_Unload() {
    StatusDisplay(LEVEL_TRACE, "Unloading main child form...");
    if (mnuRemove1394VirtualDriverOnShutdown->isChecked())
        platform::Attempt([] { bas1394::RemoveVirtualDevice(bas1394::VIRTUAL_DEVICE); }, platform::IgnoreFailure);
    layout_.reset();
    pump_.Stop();
    windows::globals.main = nullptr;
    windows::UnloadParentWindow();
}
