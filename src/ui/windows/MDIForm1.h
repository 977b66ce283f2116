// The parent window: holds every other window as a child, arranges them, and owns the dialogs
// that change the message levels and the transaction time-out.
#pragma once

#include "ChildArea.h"
#include "Strip.h"

#include <QAction>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>

#include <cstdint>
#include <string>

class Form;

class MDIForm1 : public QMainWindow {
    Q_OBJECT
public:
    MDIForm1();

    void MDIForm_Load();
    void MDIForm_Resize();
    // 1 tiles the main and the status windows, 2 scales them with the client area.
    void ArrangeChildren(int mode);
    // Shows the text in a strip above the children from now on.
    void ShowNotice(const QString& text);
    void ShowHelp(const QString& url, const QString& title);
    void ShowDoctor(); // the checks of this machine
    // Stores the choice ("" leaves it to the program), and starts the program again with it if the user agrees.
    void UseBus(const std::string& bus);
    void ShowGuide(const QString& page); // of the user guide, such as "index.html"
    void VerifyFormPosition();
    void VerifyFormPosition(Form* child) const; // moves it into view in the area

    // Puts a window into a frame of its own. The caller loads and shows it.
    void AddChild(Form* form);
    void ShowMenusOfActiveChild();
    // Loads a new firmware browser into the first empty slot of its list: the slot, or -1.
    [[nodiscard]] std::int32_t CreateDownloadWindow();
    // Shows it, all of it in view as far as it fits into the area.
    void ShowChild(Form* form);
    // Shows and activates it, even if it was minimized.
    void BringForward(QMdiSubWindow* frame);

    void mnuStatusWindow_Click();
    void mnuDebugLoggingLevel_Click();
    void mnuDebugMessageLevel_Click();
    void mnuDllMessageLevel_Click();
    void mnuDefault1394TransactionTimeout_Click();
    void mnuAutoScaleChildren_Click();
    void mnuTile_Click() { ArrangeChildren(1); }
    void mnuUserGuide_Click();
    void mnuReleaseNotes_Click();
    void mnuAbout_Click();
    void cmdBus_Click();
    void mnuExit_Click() { close(); }

    ChildArea* mdiArea;
    Strip* cmdBus;     // the strip that names the bus
    QLabel* lblNotice; // hidden while there is nothing to say
    QMenu *mnuFile2, *mnuView2, *mnuWindow, *mnuHelp2;
    QAction *mnuExit, *mnuStatusWindow, *mnuDebugLoggingLevel, *mnuDebugMessageLevel, *mnuAutoScaleChildren, *mnuTile,
        *mnuCascade, *mnuUserGuide, *mnuReleaseNotes, *mnuAbout;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildMenus();
    void ShowBus();
    void MDIForm_Unload();
    QSize SmallestSize() const;
    void ShareHeightAsAtStart();
    // Of the area for the children, in twips, whether or not it shows scroll bars.
    int ClientHeight() const;
    int ClientWidth() const;

    bool ParentLoaded = false;
    bool unloaded_ = false;
    std::int32_t lastClientHeight_ = 0, lastClientWidth_ = 0; // twips
};
