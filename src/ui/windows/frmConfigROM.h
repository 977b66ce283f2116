// The config ROM of one node as a tree, a snapshot of the moment at which the node was set. The findings of its checks
// are listed below it on request.
#pragma once

#include "ConfigRomText.h"
#include "Form.h"
#include "RomChecks.h"
#include "clsLayoutManager.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QPushButton>
#include <QTreeWidget>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

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
    QTreeWidget* lstChecks; // has no name, so that the layout keeper leaves it alone
    QPushButton *cmdClose, *cmdCopyConfigRomToClipboard, *cmdSaveToDisk;
    QCheckBox* chkChecks; // while off, rows, copied and saved text contain no checks

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    void ShowRows();
    void ShowChecks(); // or hides them
    void ArrangeChecks();
    void GoToRowOf(const QTreeWidgetItem* check);
    std::vector<std::string> Lines() const; // what is copied and saved

    basConfigRom::RomTree rows_;
    std::vector<QTreeWidgetItem*> items_; // of rows_
    std::vector<basConfigRom::RomFinding> findings_;
    std::unique_ptr<clsLayoutManager> layout_;
};
