// The parent window: holds every other window as a child.
#pragma once

#include <QMainWindow>
#include <QMdiArea>

class MDIForm1 : public QMainWindow {
    Q_OBJECT
public:
    MDIForm1();

    void MDIForm_Load();

    QMdiArea* mdiArea;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void MDIForm_Unload();

    bool ParentLoaded = false;
    bool unloaded_ = false;
};
