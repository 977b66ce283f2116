// The firmware browser's preferences. Each takes effect at once; there is no cancel.
#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QGroupBox>
#include <QPushButton>
#include <QRadioButton>

#include <cstdint>

class frmSelectFirmwarePreferences : public QDialog {
    Q_OBJECT
public:
    explicit frmSelectFirmwarePreferences(QWidget* owner);
    // False without a settings store, in which preferences could be kept.
    bool Form_Load();

    static bool AlwaysLoadConfig();
    // What a double-click on a package does: 0 image and config, 1 image, 2 config.
    static std::int32_t GetDefaultDownloadBehavior();
    static void SetDefaultDownloadBehavior(std::int32_t behavior);

    QCheckBox *chkAlwaysLoadConfig, *chkOverrideHardwareCompatibility;
    QGroupBox* fraDefaultLoadBehavior;
    QRadioButton *optDefaultLoadImageAndConfig, *optDefaultLoadImage, *optDefaultLoadConfig;
    QPushButton* cmdClose;
};
