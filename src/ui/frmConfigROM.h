// The config ROM of one node as a tree: a picture of the moment in which the node was set.
#pragma once

#include "ConfigRomText.h"
#include "Form.h"
#include "clsLayoutManager.h"

#include <QGroupBox>
#include <QPushButton>
#include <QTreeWidget>

#include <cstdint>
#include <memory>

class frmConfigROM : public Form {
    Q_OBJECT
public:
    frmConfigROM();

    void Form_Load() override;
    // Index in the node table. Renders the tree.
    void setNodeNum(std::int32_t nodeNum);

    void cmdCopyConfigRomToClipboard_Click();
    void cmdSaveToDisk_Click();

    QGroupBox* fraConfigRomAppleFormat;
    QTreeWidget* trvConfigRomAppleFormat;
    QPushButton *cmdClose, *cmdCopyConfigRomToClipboard, *cmdSaveToDisk;

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    void ShowRows();

    basConfigRom::RomTree rows_;
    std::unique_ptr<clsLayoutManager> layout_;
};
