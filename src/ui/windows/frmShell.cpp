#include "frmShell.h"

#include "CodePage.h"
#include "Controls.h"
#include "ShellText.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr const char* MODULE = frmShell::NAME;
constexpr int PASSES_PER_TICK = 3;
constexpr std::uint8_t PASTE = 22;          // Control V
constexpr std::size_t LONG_PASTE = 4 << 10; // characters, a third of a second

std::int32_t NumberSetting(const char* key, std::int32_t lowest, std::int32_t defaultValue) {
    const std::string text = windowSettings::Get(MODULE, key, std::to_string(defaultValue));
    std::int32_t number = defaultValue;
    platform::Attempt([&] { number = platform::NumberFromText(text); }, platform::IgnoreFailure);
    return number < lowest ? defaultValue : number;
}

QPixmap Lamp(const QColor& colour) {
    QPixmap picture(20, 20);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::gray);
    painter.setBrush(colour);
    painter.drawEllipse(3, 3, 14, 14);
    return picture;
}

// A failure that ends a procedure, at a lower level than those of Form::LogFailure.
auto LogExit(const char* procedure) {
    return [procedure](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_WARNING, "ERROR #{}: {} in {}.  Exiting...", f.Number, f.Description,
                          procedure);
    };
}

bool IsNothing(const ByteArray& bytes) {
    return bytes.empty() || (bytes.size() == 1 && bytes.front() == 0);
}

std::string LineOf(const BootloaderTarget& target) {
    return fmt::format("Node={}  Handle={}  GUID={}  State={}", target.Device.NodeNum, target.Handle,
                       basUtils::ByteArrayToHexString(target.Info.GUID.data(), target.Info.GUID.size()),
                       target.Info.BootloaderVersion != 0 ? "bootloader running" : "app running");
}

} // namespace

frmShell::frmShell() : Form(NAME, "Tarnwell 1394 Shell Window") {
    BuildControls();
    BuildMenus();
    tmrPollForShellData = new WindowTimer(this, "tmrPollForShellData", settingKeys::DEFAULT_POLLING_INTERVAL,
                                          [this] { tmrPollForShellData_Timer(); });
}

void frmShell::BuildControls() {
    const int gap = 6, line = fontMetrics().height() + 10;
    txtShell = new ShellTerminal(nullptr);
    const QFontMetrics fixed(txtShell->font());
    const int width = fixed.averageCharWidth() * 80 + 60, height = fixed.lineSpacing() * 25 + 20;

    Frame2 = Named(new QGroupBox("Device Details", this), "Frame2");
    Frame2->setGeometry(gap, gap, width, 2 * line);
    cmbDeviceDetails = Named(new QComboBox(Frame2), "cmbDeviceDetails");
    cmbDeviceDetails->setGeometry(gap, line - 4, width - 40, line);
    cmbDeviceDetails->setEditable(true); // it also shows texts that aren't in its list
    cmbDeviceDetails->setInsertPolicy(QComboBox::NoInsert);
    cmbDeviceDetails->lineEdit()->setReadOnly(true);
    imgConnected = Named(new QLabel(Frame2), "imgConnected");
    imgNotConnected = Named(new QLabel(Frame2), "imgNotConnected");
    imgConnected->setPixmap(Lamp(QColor(0x2e, 0xa0, 0x43)));
    imgConnected->setToolTip("Connected: the device's console answers");
    imgNotConnected->setPixmap(Lamp(QColor(0xb0, 0x30, 0x30)));
    imgNotConnected->setToolTip("Not connected: the last read failed, or there is no device");
    for (QLabel* picture : {imgConnected, imgNotConnected})
        picture->setGeometry(width - 28, line - 2, 22, 22);

    fraRawInterface = Named(new QGroupBox("Raw Command Interface", this), "fraRawInterface");
    fraRawInterface->setGeometry(gap, Frame2->geometry().bottom() + gap, width, height + line + gap);
    txtShell->setParent(fraRawInterface);
    Named(txtShell, "txtShell")->setGeometry(gap, line - 4, width - 2 * gap, height);
    txtShell->keyPress = [this](std::uint8_t keyAscii) { txtShell_KeyPress(keyAscii); };
    txtShell->sendSequence = [this](const ByteArray& sequence) { Send(sequence); };
    txtShell->sendText = [this](const QString& text) { Paste(text); };

    fraInvisible = Named(new QGroupBox("Invisible Controls", this), "fraInvisible");
    fraInvisible->hide();
    chkAlwaysOnTop = Named(new QCheckBox("Always on &Top", fraInvisible), "chkAlwaysOnTop");
    cmdCheckForData = Named(new QPushButton("Re-enable polling", fraInvisible), "cmdCheckForData");

    connect(cmdCheckForData, &QPushButton::clicked, this, [this] {
        tmrPollForShellData->setEnabled(true);
        cmdCheckForData->setVisible(!tmrPollForShellData->isEnabled());
    });
    connect(cmbDeviceDetails, &QComboBox::textActivated, this, [this] { cmbDeviceDetails_Click(); });
    connect(cmbDeviceDetails, &QComboBox::editTextChanged, this,
            [] { basDebug::Display(MODULE, LEVEL_WATCH, "cmbDeviceDetails_Change"); });
    cmbDeviceDetails->installEventFilter(this);
    setFocusProxy(txtShell);
    setTabOrder(txtShell, cmbDeviceDetails);
}

QString frmShell::whichOne() const {
    const BootloaderTarget* target = TargetOf(currentHandle_);
    if (target == nullptr)
        return "no device";
    const std::string guid = basUtils::ByteArrayToHexString(target->Info.GUID.data(), target->Info.GUID.size(), 4);
    const std::int16_t node = target->Device.NodeNum;
    return Q(node > LAST_NODE ? guid + ", gone" : fmt::format("node {}, {}", node, guid));
}

void frmShell::Form_Load() {
    fitClient(fraRawInterface->geometry().right() + 7, fraRawInterface->geometry().bottom() + 7);
    layout_ = std::make_unique<clsLayoutManager>();
    platform::Attempt([this] { layout_->SetLayoutForm(this); }, LogFailure("Form_Load"));
    txtShell->SetScrollBack(NumberSetting(settingKeys::SCROLL_BACK_LINES, 0, settingKeys::DEFAULT_SCROLL_BACK));
    tmrPollForShellData->setInterval(
        NumberSetting(settingKeys::SHELL_POLLING_INTERVAL, 1, settingKeys::DEFAULT_POLLING_INTERVAL));
    tmrPollForShellData->setEnabled(true);
    txtShell->Replace({});
    cmdCheckForData->setVisible(!tmrPollForShellData->isEnabled());
    setConnected(false);
    basDebug::Display(MODULE, LEVEL_WATCH, "frmShell created.");
}

void frmShell::Form_Resize() {
    if (layout_)
        layout_->ResizeForm();
}

void frmShell::Form_Unload() {
    basDebug::Display(MODULE, LEVEL_WATCH, "destroying frmShell, index #{}", Index);
    tmrPollForShellData->setEnabled(false);
    log_.reset();
    layout_.reset();
    auto& list = windows::globals.shellWindows;
    std::replace(list.begin(), list.end(), static_cast<Form*>(this), static_cast<Form*>(nullptr));
}

// The keys of this window's own menu items and, with Alt, the access keys of its menus. Alt alone would move the
// focus to the menu bar without any sign of it, as after Alt+Tab on some desktops.
bool frmShell::IsCommandKey(const QKeyEvent& event) const {
    const std::array<QMenu*, 5> opened{mnuFile, mnuCommand, mnuView, mnuSettings, mnuWindow};
    if (event.modifiers() == Qt::AltModifier)
        return std::any_of(opened.begin(), opened.end(), [&](const QMenu* menu) {
            return QKeySequence::mnemonic(menu->title()) == QKeySequence(Qt::ALT | Qt::Key(event.key()));
        });
    if (event.modifiers().testFlag(Qt::AltModifier))
        return false;
    const bool letter = event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z;
    const Qt::KeyboardModifiers counting = Qt::ControlModifier | (letter ? Qt::ShiftModifier : Qt::NoModifier);
    const QKeySequence keys(QKeyCombination(event.modifiers() & counting, Qt::Key(event.key()))); // a "+" needs Shift
    const QList<QAction*> actions = findChildren<QAction*>();
    return std::any_of(actions.begin(), actions.end(),
                       [&](const QAction* action) { return action->shortcut() == keys; });
}

// Every other key goes to the device; some of them would make the frame close the window.
bool frmShell::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && !IsCommandKey(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return Form::event(event);
}

void frmShell::keyPressEvent(QKeyEvent* event) {
    if (txtShell->hasFocus())
        event->ignore(); // it was passed on from there
    else
        txtShell->keyPressEvent(event); // called directly: a sent event that isn't accepted would come back for ever
}

bool frmShell::eventFilter(QObject* watched, QEvent* event) {
    if (watched == cmbDeviceDetails && event->type() == QEvent::KeyRelease) {
        basDebug::Display(MODULE, LEVEL_WATCH, "cmbDeviceDetails_Keypress");
        RefreshDeviceList();
    }
    return Form::eventFilter(watched, event);
}

void frmShell::setConnected(bool connected) {
    imgConnected->setVisible(connected);
    imgNotConnected->setVisible(!connected);
}

void frmShell::setCurrentHandle(std::int32_t handle) {
    const bool moves = handle != currentHandle_;
    if (moves) {
        CloseOthersOn(handle);
        txtShell->Replace({});
        txtShell->setNotice({}); // it was about the other device
        ToLog([](ShellLog& log) { log.Mark("the window moved to another device"); });
    }
    currentHandle_ = handle;
    if (moves) {
        const BootloaderTarget* target = TargetOf(handle);
        bootloader_ = target != nullptr && target->Info.BootloaderVersion != 0;
        absent_ = false;
        if (log_)
            OpenLog(); // each device has a log of its own
    }
    RefreshDeviceList();
}

// No two windows show the same target.
void frmShell::CloseOthersOn(std::int32_t handle) {
    const std::vector<Form*> list = windows::globals.shellWindows; // a copy, since closing changes the list
    for (Form* form : list) {
        auto* other = qobject_cast<frmShell*>(form);
        if (other != nullptr && other != this && other->CurrentHandle() == handle)
            other->Unload();
    }
}

void frmShell::EnableCommands(bool enabled) {
    cmdCheckForData->setEnabled(enabled);
    for (QAction* action : {mnuGetDebugGUID, mnuHalt, mnuInitializePersistentParameters, mnuReset, mnuStartApplication,
                            mnuStartDebugger, mnuSwitchTo1394shell})
        action->setEnabled(enabled);
}

void frmShell::ShowNoTarget(const QString& text) {
    cmbDeviceDetails->setCurrentIndex(-1);
    cmbDeviceDetails->setEditText(text);
}

// One line per target, with the handle by which it can be chosen; the current one is selected.
void frmShell::ShowTargets() {
    const QSignalBlocker quiet(cmbDeviceDetails);
    cmbDeviceDetails->clear();
    for (const BootloaderTarget& target : basBootloader::globals.TargetList) {
        if (target.Device.NodeNum != NO_NODE)
            basBootloader::OpenBootloaderDevice(target.Device);
        cmbDeviceDetails->addItem(Q(LineOf(target)));
    }
    const std::int32_t index = basBootloader::GetDeviceIndex(currentHandle_);
    if (currentHandle_ == 0)
        ShowNoTarget("INVALID DEVICE HANDLE: 0x0");
    else if (index < 0)
        ShowNoTarget(Q(fmt::format("INVALID DEVICE INDEX: {}", index)));
    else if (basBootloader::GetNodeNum(currentHandle_).NodeNum > LAST_NODE)
        ShowNoTarget(Q(fmt::format("Node has disappeared from the bus!  No current nodes match handle 0x{:X}",
                                   std::uint32_t(currentHandle_))));
    else
        cmbDeviceDetails->setCurrentIndex(index);
}

void frmShell::RefreshDeviceList() {
    EnableCommands(false);
    ShowTargets();
    setConnected(false);
    if (currentHandle_ == 0) {
        txtShell->Replace("  INVALID DEVICE HANDLE: 0x0");
        return;
    }
    const BootloaderTarget* target = TargetOf(currentHandle_);
    if (target == nullptr || target->Device.NodeNum > LAST_NODE)
        return;
    txtShell->Replace({});
    EnableCommands(true);
    mnuFirmwareCRCs->setEnabled(true);
    ShowHistory(target->Shell);
}

void frmShell::cmbDeviceDetails_Click() {
    const auto choose = [this] {
        basDebug::Display(MODULE, LEVEL_TRACE, "cmbDeviceDetails_Click");
        const std::string text = platform::UpperCase(cmbDeviceDetails->currentText().toStdString());
        constexpr std::string_view LABEL = "HANDLE=";
        const std::size_t at = text.find(LABEL);
        if (at == std::string::npos)
            return;
        const std::size_t start = at + LABEL.size();
        const std::int32_t handle = platform::NumberFromText(text.substr(start, text.find(' ', start) - start));
        if (handle == currentHandle_)
            return;
        setCurrentHandle(handle);
        txtShell->setFocus();
    };
    platform::Attempt(choose, LogExit("cmbDeviceDetails_Click"));
}

// Reports a target that can't be polled; rebuilds the window whenever that changes.
bool frmShell::HasUsableNode() {
    const std::int16_t node = basBootloader::GetNodeNum(currentHandle_).NodeNum;
    const bool usable = currentHandle_ != 0 && node >= 0 && node <= LAST_NODE;
    if (usable != targetWasValid_)
        RefreshDeviceList();
    targetWasValid_ = usable;
    if (!usable)
        txtShell->Replace(currentHandle_ == 0
                              ? QString("  <NO ACTIVE DEVICE HANDLE>")
                              : Q(fmt::format("  <INVALID NODE NUMBER FOR HANDLE {}>", currentHandle_)));
    return usable;
}

void frmShell::tmrPollForShellData_Timer() {
    if (std::exchange(polling_, true))
        return;
    platform::Attempt([this] { ReadPasses(); }, LogExit("tmrPollForShellData"));
    polling_ = false;
}

void frmShell::ReadPasses() {
    if (!HasUsableNode())
        return setConnected(false);
    bool more = true;
    for (int pass = 0; more && pass < PASSES_PER_TICK; ++pass) {
        if (pass > 0)
            platform::DoEvents(); // other windows get a turn even during a flood
        if (unloaded() || currentHandle_ == 0)
            return;
        // Until then it isn't known whose console this would be, nor where its mark belongs.
        if (bas1394::globals.HandlingBusReset)
            return;
        more = ReadOnce();
    }
}

bool frmShell::ReadOnce() {
    const std::int32_t handle = currentHandle_;
    ByteArray bytes;
    const std::int32_t code = basBootloader::ReadShellCharacters(handle, bytes, mnuBufferWrapNotices->isChecked());
    setConnected(code == basBootloader::SUCCESS);
    if (code != basBootloader::SUCCESS) {
        basDebug::Display(MODULE, LEVEL_WARNING, "Failed receiving data from the UART, code {}", code);
        return false;
    }
    if (IsNothing(bytes))
        return false;
    basDebug::Display(MODULE, LEVEL_TRACE, "tmrPollForShellData_Timer: Received {} bytes from the UART.", bytes.size());
    txtShell->ShowOutput(bytes);
    ToLog([&](ShellLog& log) { log.Write(bytes); });
    if (BootloaderTarget* target = TargetOf(handle))
        target->Shell.Append(bytes);
    return bytes.front() != 0;
}

void frmShell::txtShell_KeyPress(std::uint8_t keyAscii) {
    if (keyAscii == PASTE)
        Paste(QApplication::clipboard()->text());
    else
        Send({keyAscii});
}

void frmShell::Paste(const QString& text) {
    const ByteArray bytes = platform::AnsiFromText(shellText::PasteText(text.toStdString()));
    if (bytes.empty())
        return txtShell->setNotice({});
    if (bytes.size() < LONG_PASTE)
        return Send(bytes);
    txtShell->setNotice(Q(fmt::format("{} pasted characters go out ...", bytes.size())));
    txtShell->repaint(); // no turn until they are sent
    QApplication::setOverrideCursor(Qt::WaitCursor);
    Send(bytes);
    QApplication::restoreOverrideCursor();
}

void frmShell::Send(const ByteArray& bytes) {
    const std::int32_t code = basBootloader::WriteShellCharacters(currentHandle_, bytes);
    txtShell->setNotice({});
    if (code == basBootloader::SUCCESS)
        return;
    basDebug::Display(MODULE, LEVEL_TRACE, "txtShell_KeyPress failed: WriteShellCharacters failed, code {}", code);
    const std::int32_t longest = basBootloader::LongestShellText(currentHandle_);
    if (longest > 0 && bytes.size() > std::size_t(longest))
        txtShell->setNotice(Q(fmt::format("Nothing of the pasted text was sent: it has {} characters, and this device "
                                          "takes {} at once.",
                                          bytes.size(), longest)));
}
