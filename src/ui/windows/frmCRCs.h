// The CRCs of the firmware images on a target, as the target reports them.
#pragma once

#include "Form.h"
#include "clsLayoutManager.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <cstdint>
#include <memory>
#include <string>

class frmCRCs : public Form {
    Q_OBJECT
public:
    frmCRCs();

    void Form_Load() override;

    std::int32_t hDevice() const { return hDevice_; }
    void setHDevice(std::int32_t handle); // asks the target; returns when all four answers have arrived
    bool AlwaysOnTop() const { return chkAlwaysOnTop->isChecked(); }
    void setAlwaysOnTop(bool onTop) { chkAlwaysOnTop->setChecked(onTop); }
    std::string GetCrcText(std::int32_t imageType) const;

    QCheckBox* chkAlwaysOnTop;
    QPushButton* cmdClose;
    QGroupBox* Frame2;
    QLineEdit* txtDeviceDetails;
    QLabel *lblApplicationCRC, *lblBootloaderCRC, *lblDebuggerCRC, *lblCNE_CRC;
    QLabel* lblProgress; // which answer it is waiting for

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    void ReadCRCs();
    void CopyAll() const;

    std::int32_t hDevice_ = 0;
    std::unique_ptr<clsLayoutManager> layout_;
};
