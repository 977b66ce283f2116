#include "frmSelectFirmwarePreferences.h"

#include "CodePage.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "basApp.h"

#include <QVBoxLayout>

namespace {

constexpr const char* SECTION = settingKeys::SELECT_FIRMWARE_SECTION;

} // namespace

frmSelectFirmwarePreferences::frmSelectFirmwarePreferences(QWidget* owner) : QDialog(owner) {
    setObjectName("frmSelectFirmwarePreferences");
    setWindowTitle("Firmware Update Preferences");
    auto* column = new QVBoxLayout(this);
    const auto add = [](QLayout* to, auto* widget, const char* name) {
        widget->setObjectName(name);
        to->addWidget(widget);
        return widget;
    };
    chkAlwaysLoadConfig =
        add(column, new QCheckBox("&Always Load Config with Application Image"), "chkAlwaysLoadConfig");
    fraDefaultLoadBehavior =
        add(column, new QGroupBox("Default Download Behavior (double-click, etc)"), "fraDefaultLoadBehavior");
    auto* options = new QVBoxLayout(fraDefaultLoadBehavior);
    optDefaultLoadImageAndConfig =
        add(options, new QRadioButton("Load Config &and Image"), "optDefaultLoadImageAndConfig");
    optDefaultLoadImage = add(options, new QRadioButton("Load &Image"), "optDefaultLoadImage");
    optDefaultLoadConfig = add(options, new QRadioButton("Load &Config"), "optDefaultLoadConfig");
    chkOverrideHardwareCompatibility =
        add(column, new QCheckBox("&Override Hardware ID Incompatibility"), "chkOverrideHardwareCompatibility");
    cmdClose = add(column, new QPushButton("&Close"), "cmdClose");
    cmdClose->setDefault(true); // Enter and Escape close the dialog, even on a check box

    connect(chkAlwaysLoadConfig, &QCheckBox::clicked, this,
            [](bool checked) { windowSettings::Save(SECTION, settingKeys::ALWAYS_LOAD_CONFIG, checked ? "1" : "0"); });
    connect(chkOverrideHardwareCompatibility, &QCheckBox::clicked, this,
            [](bool checked) { basApp::globals.OverrideHardwareCompatibility = checked; });
    std::int32_t behavior = 0;
    for (QRadioButton* option : {optDefaultLoadImageAndConfig, optDefaultLoadImage, optDefaultLoadConfig})
        connect(option, &QRadioButton::clicked, this,
                [behavior = behavior++] { SetDefaultDownloadBehavior(behavior); });
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::accept);
}

bool frmSelectFirmwarePreferences::Form_Load() {
    if (!windowSettings::HasStore())
        return false;
    chkAlwaysLoadConfig->setChecked(AlwaysLoadConfig());
    chkOverrideHardwareCompatibility->setChecked(basApp::globals.OverrideHardwareCompatibility);
    QRadioButton* const options[] = {optDefaultLoadImageAndConfig, optDefaultLoadImage, optDefaultLoadConfig};
    const std::int32_t behavior = GetDefaultDownloadBehavior();
    if (behavior >= 0 && behavior < 3)
        options[behavior]->setChecked(true);
    return true;
}

bool frmSelectFirmwarePreferences::AlwaysLoadConfig() {
    return windowSettings::Get(SECTION, settingKeys::ALWAYS_LOAD_CONFIG, "0") == "1";
}

std::int32_t frmSelectFirmwarePreferences::GetDefaultDownloadBehavior() {
    const double stored =
        platform::LeadingNumber(windowSettings::Get(SECTION, settingKeys::DEFAULT_LOAD_BEHAVIOR, "0"));
    return stored == 1 || stored == 2 ? std::int32_t(stored) : 0; // anything else counts as missing
}

void frmSelectFirmwarePreferences::SetDefaultDownloadBehavior(std::int32_t behavior) {
    windowSettings::Save(SECTION, settingKeys::DEFAULT_LOAD_BEHAVIOR, std::to_string(behavior));
}
