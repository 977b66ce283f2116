// Which bus the program works on from the next start on.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include <string>

class QGridLayout;
class QHBoxLayout;

class frmBus : public QDialog {
    Q_OBJECT
public:
    explicit frmBus(QWidget* owner);
    void Form_Load();

    QLabel* lblNow; // the bus in use, and what has decided
    QRadioButton *optProgram, *optKernel, *optSimulated, *optLibrary;
    QLineEdit *txtCard, *txtDescription, *txtLibrary;
    QPushButton *cmdBrowseDescription, *cmdBrowseLibrary, *cmdDoctor, *cmdOK, *cmdCancel;

private:
    void AddChoices(QGridLayout* grid);
    QHBoxLayout* MakeButtons();
    std::string Chosen() const; // as the setting holds it
    void Store();
};
