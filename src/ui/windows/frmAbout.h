// The about box.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QPushButton>

class frmAbout : public QDialog {
    Q_OBJECT
public:
    explicit frmAbout(QWidget* owner);
    void Form_Load();

    QLabel *lblCopyright, *lblApplicationName, *lblVersion, *lblBuildDate, *lblExeFilename, *lblExePath, *lblDataPath,
        *lblBus;
    QPushButton* cmdClose;
};
