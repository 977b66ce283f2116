// What keeps this machine from working with devices on a real bus, a row for each check, and the command that mends it.
#pragma once

#include "Form.h"

#include <QLabel>
#include <QPushButton>
#include <QTableWidget>

class frmDoctor : public Form {
    Q_OBJECT
public:
    frmDoctor();

    void Form_Load() override;

    QTableWidget* mfgChecks; // check, verdict, what was found and what mends it
    QLabel* lblHow;
    QPushButton *cmdCheckAgain, *cmdCopyCommand, *cmdClose;

private:
    void Examine();
    void CopyCommand() const; // of the selected row
};
