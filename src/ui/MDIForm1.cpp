#include "MDIForm1.h"

#include "Windows.h"
#include "basApp.h"
#include "frmMain.h"
#include "frmStatus.h"

#include <QCloseEvent>
#include <QMdiSubWindow>

#include <utility>

#include <fmt/format.h>

MDIForm1::MDIForm1() : mdiArea(new QMdiArea(this)) {
    setObjectName("MDIForm1");
    setAttribute(Qt::WA_DeleteOnClose, false);
    mdiArea->setObjectName("mdiArea");
    setCentralWidget(mdiArea);
}

void MDIForm1::MDIForm_Load() {
    ParentLoaded = false;
    setWindowTitle(
        QString::fromStdString(fmt::format("Hoistline / Shell Application v{}.{}.{} (Engineering Version) "
                                           "(ORV Custom Build)",
                                           basApp::VERSION_MAJOR, basApp::VERSION_MINOR, basApp::VERSION_REVISION)));
    resize(980, 640);
    show();

    windows::globals.main = new frmMain;
    QMdiSubWindow* mainFrame = mdiArea->addSubWindow(windows::globals.main);
    windows::globals.main->Form_Load();
    mainFrame->setGeometry(0, 0, mdiArea->width(), mdiArea->height() * 3 / 4);
    mainFrame->show();

    auto* status = new frmStatus;
    windows::globals.statusWindows.assign(1, status);
    QMdiSubWindow* statusFrame = mdiArea->addSubWindow(status);
    status->Form_Load();
    statusFrame->setGeometry(0, mainFrame->height(), mdiArea->width(), mdiArea->height() - mainFrame->height());
    statusFrame->show();
    ParentLoaded = true;
}

void MDIForm1::closeEvent(QCloseEvent* event) {
    MDIForm_Unload();
    event->accept();
}

void MDIForm1::MDIForm_Unload() {
    if (std::exchange(unloaded_, true))
        return;
    basDebug::StatusDisplay("Unloading parent form...", LEVEL_TRACE, "MDIForm1");
    ParentLoaded = false;
    if (windows::globals.main != nullptr)
        windows::globals.main->close();
    for (frmStatus*& window : windows::globals.statusWindows)
        if (frmStatus* closing = std::exchange(window, nullptr))
            closing->close();
    if (windows::hooks.shutdownApplication)
        windows::hooks.shutdownApplication();
}
