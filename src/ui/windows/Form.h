// A child window of the parent. The window's place is that of its frame in the parent's client
// area, in twips; without a parent the window is its own frame.
#pragma once

#include "Layout.h"

#include <QMdiSubWindow>
#include <QMenu>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <vector>

class clsLayoutManager;

class Form : public QWidget {
    Q_OBJECT
public:
    // A procedure that gives turns holds one, so that its window isn't closed under it: whoever wanted
    // that is closed when the last one goes.
    class Stay {
    public:
        explicit Stay(Form& form) : form_(form) { ++form_.stays_; }
        ~Stay();
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;

    private:
        Form& form_;
    };
    // False when nothing holds the window; else `wanted`, it or the whole program, is closed later.
    bool closesLater(QWidget* wanted);

    Form(const char* name, const QString& caption);
    ~Form() override;

    virtual void Form_Load() {}
    // Unloads the window: Form_Unload, then it is gone at the next turn.
    void Unload();

    bool unloaded() const { return unloaded_; }

    // The menus that the parent shows while this window is active; none: the parent's own.
    virtual std::vector<QMenu*> menus() { return {}; }

    // Keys with Ctrl are the window's, too: its frame and the area around it leave them alone.
    virtual bool takesAllKeys() const { return false; }

    // What tells it from others of its caption in a list of windows; empty where the caption does.
    virtual QString whichOne() const { return {}; }

    QWidget* frame();
    // As it was set, if it still stands there to the pixel: what scales it again and again loses nothing.
    layout::Rectangle place();
    void setPlace(const layout::Rectangle& place); // nothing while it is maximized or minimized
    bool isMaximizedForm();
    bool isMinimizedForm();
    // Not while it is maximized or minimized, nor in an unattended run, where nobody has arranged it and
    // the screen may be none.
    bool hasPlaceToKeep();
    void showForm();
    // As a dialog over `owner`, until it is unloaded. `onceSeen` runs when the window is on the screen;
    // a wish to close the window waits until its end.
    void showModal(QWidget* owner, const std::function<void()>& onceSeen = {});
    // Sizes the frame so that the client area holds these pixels.
    void fitClient(int width, int height);
    std::string nameText() const { return objectName().toStdString(); }

protected:
    virtual void Form_Resize() {}
    virtual void Form_Unload() {}
    // A window that stays in memory, hidden, when it is unloaded.
    virtual bool staysInItsSlot() const { return false; }
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void WaitUntilSeen();

    layout::Rectangle place_; // as it was set last
    bool unloaded_ = false;
    int stays_ = 0;
    QPointer<QWidget> wanted_; // closed behind the last stay
};

// Adds a context menu and the copy shortcut to a view, so that its selected rows can be copied
// as lines of tab-separated columns: as they are, or as a table below the headings. A table can also be copied
// whole; where more than one row can be picked, all of them can be.
class QAbstractItemView;
enum class CopyAs { Rows, Table };
void MakeCopyable(QAbstractItemView* view, CopyAs as = CopyAs::Rows);
class QLabel;
void MakeCopyable(QLabel* label);
