#include "MDIForm1.h"

#include "Controls.h"
#include "Dialogs.h"
#include "Form.h"
#include "Layout.h"
#include "LogFailure.h"
#include "Menus.h"
#include "SettingKeys.h"
#include "StartUp.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "basApp.h"
#include "frmAbout.h"
#include "frmHelp.h"
#include "frmMain.h"
#include "frmSelectFirmware.h"
#include "frmStatus.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {

constexpr const char* MODULE = "MDIForm1"; // also the section of its settings
constexpr QSize ABOUT_DESIGNED(960, 690);

} // namespace

MDIForm1::MDIForm1()
    : mdiArea(new ChildArea(this)), cmdBus(Named(new Strip(this), "cmdBus")), lblNotice(new QLabel(this)) {
    setObjectName("MDIForm1");
    mdiArea->setObjectName("mdiArea");
    mdiArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    lblNotice->setObjectName("lblNotice");
    lblNotice->setTextFormat(Qt::PlainText);
    lblNotice->setWordWrap(true); // a long path must not widen the window
    lblNotice->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lblNotice->setMargin(4);
    lblNotice->hide();
    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(cmdBus);
    column->addWidget(lblNotice);
    column->addWidget(mdiArea, 1);
    setCentralWidget(central);
    BuildMenus();
    connect(cmdBus, &QPushButton::clicked, this, &MDIForm1::cmdBus_Click);
    connect(mdiArea, &QMdiArea::subWindowActivated, this, &MDIForm1::ShowMenusOfActiveChild);
}

void MDIForm1::BuildMenus() {
    const auto autoScale = [this] {
        mnuAutoScaleChildren->toggle(); // undoes what the click did; the next line flips the mark
        mnuAutoScaleChildren_Click();
    };
    mnuFile2 = MakeMenu(this, "mnuFile2", "&File", {{&mnuExit, "mnuExit", "E&xit", [this] { mnuExit_Click(); }}});
    mnuView2 = MakeMenu(this, "mnuView2", "&View",
                        {{&mnuStatusWindow, "mnuStatusWindow", "&Status Window", [this] { mnuStatusWindow_Click(); }},
                         {&mnuDebugLoggingLevel, "mnuDebugLoggingLevel", "Debug &Logging Level",
                          [this] { mnuDebugLoggingLevel_Click(); }},
                         {&mnuDebugMessageLevel, "mnuDebugMessageLevel", "Debug &Message Level",
                          [this] { mnuDebugMessageLevel_Click(); }}});
    mnuWindow = MakeMenu(this, "mnuWindow", "&Window",
                         {Separator("space"),
                          Checkable({&mnuAutoScaleChildren, "mnuAutoScaleChildren", "&Auto-Scale Children", autoScale}),
                          {&mnuTile, "mnuTile", "&Tile", [this] { mnuTile_Click(); }},
                          {&mnuCascade, "mnuCascade", "&Cascade"}});
    connect(mnuWindow, &QMenu::aboutToShow, this, [this] { windows::ListChildWindows(mnuWindow); });
    mnuHelp2 = MakeMenu(this, "mnuHelp2", "&Help",
                        {{&mnuUserGuide, "mnuUserGuide", "&User Guide", [this] { mnuUserGuide_Click(); }},
                         {&mnuReleaseNotes, "mnuReleaseNotes", "&Release Notes", [this] { mnuReleaseNotes_Click(); }},
                         {&mnuAbout, "mnuAbout", "&About", [this] { mnuAbout_Click(); }}});
    ShowMenusOfActiveChild();
}

void MDIForm1::ShowMenusOfActiveChild() {
    const QMdiSubWindow* active = mdiArea->activeSubWindow();
    auto* form = active == nullptr ? nullptr : qobject_cast<Form*>(active->widget());
    // A disabled window offers no commands either.
    std::vector<QMenu*> menus = form == nullptr || !form->isEnabled() ? std::vector<QMenu*>() : form->menus();
    if (menus.empty())
        menus = {mnuFile2, mnuView2, mnuWindow, mnuHelp2};
    menuBar()->clear();
    for (QMenu* menu : menus) {
        menuBar()->addMenu(menu);
        menu->installEventFilter(this);
    }
}

// Esc in an open menu returns the focus to the window. Qt would leave it in the menu bar, with nothing highlighted:
// what is typed into a terminal next would choose commands, such as Command, Reset.
bool MDIForm1::eventFilter(QObject* watched, QEvent* event) {
    auto* menu = qobject_cast<QMenu*>(watched);
    if (menu == nullptr || event->type() != QEvent::KeyPress || static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
        return QMainWindow::eventFilter(watched, event);
    menu->close();
    if (menuBar()->hasFocus()) // the user got there with Alt alone
        QCoreApplication::sendEvent(menuBar(), event);
    return true;
}

int MDIForm1::ClientHeight() const {
    return layout::Twips(mdiArea->maximumViewportSize().height());
}
int MDIForm1::ClientWidth() const {
    return layout::Twips(mdiArea->maximumViewportSize().width());
}

void MDIForm1::AddChild(Form* form) {
    QMdiSubWindow* frame = mdiArea->addSubWindow(form);
    frame->setAttribute(Qt::WA_DeleteOnClose, false); // the form deletes its frame
    frame->hide();
    // Not Ctrl+W, which deletes a word in a terminal: typed in the wrong window it would close the device window, and
    // the program with it.
    for (QAction* action : frame->actions() + frame->systemMenu()->actions())
        if (action->shortcuts().contains(QKeySequence(Qt::CTRL | Qt::Key_W)))
            action->setShortcut(Qt::CTRL | Qt::Key_F4);
    // One step right of and below the previous window, rather than where the area finds most room.
    constexpr int STEP = 24, STEPS = 8;
    const int step = STEP * int(mdiArea->subWindowList().size() % STEPS);
    frame->move(step, step);
}

void MDIForm1::ShowChild(Form* form) {
    const QSize area = mdiArea->maximumViewportSize();
    QWidget* frame = form->frame();
    frame->move(std::clamp(frame->x(), 0, std::max(0, area.width() - frame->width())),
                std::clamp(frame->y(), 0, std::max(0, area.height() - frame->height())));
    form->showForm();
}

void MDIForm1::BringForward(QMdiSubWindow* frame) {
    if (frame->isMinimized())
        frame->showNormal();
    mdiArea->setActiveSubWindow(frame);
}

void MDIForm1::ShowNotice(const QString& text) {
    lblNotice->setText(text);
    lblNotice->setVisible(!text.isEmpty());
    if (ParentLoaded && mnuAutoScaleChildren->isChecked()) {
        centralWidget()->layout()->activate();
        ArrangeChildren(2); // the area has become lower, or higher
    }
}

void MDIForm1::MDIForm_Load() {
    ParentLoaded = false;
    ShowBus();
    if (!basApp::globals.StoreNotice.empty())
        ShowNotice(QString::fromStdString(basApp::globals.StoreNotice));
    mnuAutoScaleChildren->setChecked(windowSettings::GetFlag(MODULE, settingKeys::AUTO_SCALE_CHILDREN, "1"));
    setWindowTitle(
        QString::fromStdString(fmt::format("Hoistline / Shell Application v{}.{}.{} (Engineering Version)"
                                           " (ORV Custom Build)",
                                           basApp::VERSION_MAJOR, basApp::VERSION_MINOR, basApp::VERSION_REVISION)));
    windows::globals.shellWindows.assign(1, nullptr);
    windows::globals.memoryWindows.assign(1, nullptr);
    windows::globals.firmwareWindows.assign(1, nullptr);

    auto* main = new frmMain;
    windows::globals.main = main;
    AddChild(main);
    main->Form_Load();
    resize(ABOUT_DESIGNED); // a window manager places the window by the size first shown
    show();
    const auto fitHeight = [this](std::int32_t childTwips) {
        resize(width(), height() - layout::Pixels(ClientHeight()) + layout::Pixels(childTwips));
    };
    resize(width() - layout::Pixels(ClientWidth()) + layout::Pixels(main->place().Width), height());
    fitHeight(main->place().Height);
    main->showForm();
    layout::Rectangle place = main->place();
    place.Top = place.Left = 0;
    main->setPlace(place);

    auto* status = new frmStatus;
    windows::globals.statusWindows.assign(1, status);
    AddChild(status);
    status->Form_Load();
    status->MessageLevel = basApp::globals.DebugMessageLevel;
    status->setPlace({0, place.Top + place.Height, place.Width, status->place().Height});
    status->showForm();
    fitHeight(place.Height + status->place().Height);
    resize(size().expandedTo(SmallestSize())); // an earlier session may have stored a smaller one
    ArrangeChildren(1);
    const QSize designed = size();
    VerifyFormPosition();
    if (size() != designed)
        ArrangeChildren(1); // a screen that is too small for the design
    setMinimumSize(SmallestSize().boundedTo(size()));
    ParentLoaded = true;
    MDIForm_Resize();
    mdiArea->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(main->frame()));
}

// Tiled with one status window, the device window isn't cut off, provided that the screen has room.
QSize MDIForm1::SmallestSize() const {
    const QSize device = windows::globals.main->SmallestFrame();
    const QSize border = size() - mdiArea->maximumViewportSize();
    return QSize(device.width(), device.height() * 4 / 3 + 1) + border;
}

void MDIForm1::VerifyFormPosition() {
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    // The title bar has to fit on the screen as well; at the start a window doesn't know its height yet.
    const QSize border =
        (frameGeometry().size() - size()).expandedTo({0, style()->pixelMetric(QStyle::PM_TitleBarHeight)});
    const QSize outer = size() + border;
    const basApp::WindowPlace place = basApp::VerifyFormPosition(
        "MDIForm1",
        {layout::Twips(x()), layout::Twips(y()), layout::Twips(outer.width()), layout::Twips(outer.height())},
        layout::Twips(screen.width()), layout::Twips(screen.height()));
    const QSize fitting = QSize(layout::Pixels(place.Width), layout::Pixels(place.Height)) - border;
    if (fitting != size())
        resize(fitting);
    if (const QPoint at(layout::Pixels(place.Left), layout::Pixels(place.Top)); at != pos())
        move(at); // including the frame, like pos(), so that the title bar stays on the screen
}

void MDIForm1::VerifyFormPosition(Form* child) const {
    const layout::Rectangle at = child->place();
    const basApp::WindowPlace place = basApp::VerifyFormPosition(
        child->nameText(), {at.Left, at.Top, at.Width, at.Height}, ClientWidth(), ClientHeight());
    child->setPlace({place.Left, place.Top, place.Width, place.Height});
}

void MDIForm1::MDIForm_Resize() {
    if (!ParentLoaded || windows::globals.main == nullptr || isMinimized())
        return;
    if (mnuAutoScaleChildren->isChecked())
        ArrangeChildren(2);
}

void MDIForm1::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    MDIForm_Resize();
}

void MDIForm1::ArrangeChildren(int mode) {
    frmMain* main = windows::globals.main;
    if (main == nullptr)
        return;
    const auto arrange = [&] {
        std::vector<Form*> forms{main};
        for (frmStatus* status : windows::globals.statusWindows)
            if (status != nullptr && status->isVisible())
                forms.push_back(status);
        if (mode == 1) {
            const auto places = layout::Tile(ClientWidth(), ClientHeight(), forms.size() - 1);
            for (std::size_t i = 0; i < forms.size(); ++i) {
                if (forms[i]->isMaximizedForm())
                    forms[i]->frame()->showNormal(); // or it would cover the others
                forms[i]->setPlace(places[i]);
            }
            return;
        }
        for (Form* form : forms)
            form->setPlace(layout::ScaleWithClient(form->place(), ClientWidth(), ClientHeight(), lastClientWidth_,
                                                   lastClientHeight_));
        lastClientHeight_ = ClientHeight();
        lastClientWidth_ = ClientWidth();
    };
    platform::Attempt(arrange, LogFailure(MODULE, "ArrangeChildren"));
}

void MDIForm1::mnuAutoScaleChildren_Click() {
    mnuAutoScaleChildren->setChecked(!mnuAutoScaleChildren->isChecked());
    if (frmMain* main = windows::globals.main)
        main->mnuAutoScaleChildren->setChecked(mnuAutoScaleChildren->isChecked());
    if (mnuAutoScaleChildren->isChecked())
        ArrangeChildren(1);
}

void MDIForm1::mnuStatusWindow_Click() {
    auto& list = windows::globals.statusWindows;
    const auto empty = std::find(list.begin(), list.end(), nullptr);
    const auto slot = std::size_t(empty - list.begin());
    if (empty == list.end())
        list.push_back(nullptr);
    auto* status = new frmStatus;
    list[slot] = status;
    AddChild(status);
    status->Form_Load();
    status->WindowIndex = std::int32_t(slot);
    status->MessageLevel = basApp::globals.DebugMessageLevel;
    status->showForm();
    if (mnuAutoScaleChildren->isChecked())
        ArrangeChildren(1);
}

std::int32_t MDIForm1::CreateDownloadWindow() {
    const auto create = [this] {
        const std::size_t slot = windows::EmptySlot(windows::globals.firmwareWindows);
        auto* browser = new frmSelectFirmware;
        windows::globals.firmwareWindows[slot] = browser;
        AddChild(browser);
        browser->Form_Load();
        browser->SlotNumber = std::int16_t(slot);
        return std::int32_t(slot);
    };
    return platform::ResultOf(create, LogFailure(MODULE, "CreateDownloadWindow"));
}

// A target in the middle of a load would be left without an image.
void MDIForm1::closeEvent(QCloseEvent* event) {
    event->ignore();
    if (windows::LoadInProgress()) {
        if (!windows::TellLoadInProgress())
            platform::CurrentDialogs().MessageBox(
                "A load is under way.  Wait until it has ended, then close the program.", basApp::TITLE);
        return;
    }
    if (windows::ParentClosesLater())
        return;
    event->accept();
    MDIForm_Unload();
}

// The next start adds up the stored heights of the device window and of one status window. Without this the shares of
// further status windows would be lost, and the parent would shrink from session to session.
void MDIForm1::ShareHeightAsAtStart() {
    std::vector<Form*> arranged{windows::globals.main};
    for (frmStatus* status : windows::globals.statusWindows)
        if (status != nullptr && status->isVisible())
            arranged.push_back(status);
    const auto hasNoPlace = [](Form* form) {
        return form == nullptr || form->isMaximizedForm() || form->isMinimizedForm();
    };
    if (arranged.size() < 3 || !mnuAutoScaleChildren->isChecked() || std::ranges::any_of(arranged, hasNoPlace))
        return;
    for (std::size_t i = 2; i < arranged.size(); ++i)
        arranged[i]->frame()->hide();
    ArrangeChildren(1);
    for (std::size_t i = 2; i < arranged.size(); ++i)
        arranged[i]->setPlace(arranged[1]->place()); // all of them are stored under one name
}

void MDIForm1::MDIForm_Unload() {
    if (std::exchange(unloaded_, true))
        return;
    basDebug::Display(MODULE, LEVEL_TRACE, "Unloading parent form...");
    ParentLoaded = false;
    ShareHeightAsAtStart();
    if (frmMain* main = windows::globals.main)
        main->Unload();
    windows::UnloadAll(windows::globals.firmwareWindows);
    windows::UnloadAll(windows::globals.shellWindows);
    for (frmStatus*& slot : windows::globals.statusWindows)
        if (frmStatus* status = std::exchange(slot, nullptr))
            status->Unload();
    for (QMdiSubWindow* frame : mdiArea->subWindowList()) // ROMs, viewers, help: each stores its place
        frame->close();
    basApp::ShutdownApplication();
}

void MDIForm1::mnuUserGuide_Click() {
    ShowGuide("index.html");
}

void MDIForm1::ShowGuide(const QString& page) {
    ShowHelp(QString::fromStdString(windows::HelpHost() + "/twl/hoistline/help/v1.8.1/") + page, "User Guide v1.8.1");
}

void MDIForm1::mnuReleaseNotes_Click() {
    ShowHelp(QString::fromStdString(windows::HelpHost() + "/twl/hoistline/help/index.v1.1.6.html#Recent"),
             "Release Notes");
}

void MDIForm1::ShowHelp(const QString& url, const QString& title) {
    frmHelp* help = nullptr;
    if (!platform::Attempt(
            [&] {
                help = new frmHelp;
                AddChild(help);
                help->Form_Load();
            },
            platform::IgnoreFailure)) {
        basDebug::Display(MODULE, LEVEL_ERROR, "Could not create help window in mnuUserGuide_Click");
        return;
    }
    help->navigate(url);
    platform::Sleep(10);
    ShowChild(help);
    help->Text1->setFocus();
    help->Text1->lower();
    help->WebBrowser1->setFocus();
    help->setWindowTitle(title);
}

void MDIForm1::mnuAbout_Click() {
    frmAbout about(this);
    about.Form_Load();
    about.exec();
}
