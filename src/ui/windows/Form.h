// A child window of the parent. The window's place is that of its frame in the parent's client
// area, in twips; without a parent the window is its own frame.
#pragma once

#include "Layout.h"
#include "LogFailure.h"

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
    // Held by a procedure that processes events, so that its window isn't destroyed meanwhile: a request to close it
    // is carried out when the last one ends.
    class Stay {
    public:
        explicit Stay(Form& form) : form_(form) { ++form_.stays_; }
        ~Stay();
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;

    private:
        Form& form_;
    };
    // False when nothing holds the window. Otherwise `wanted`, this window or the whole program, is closed later.
    bool closesLater(QWidget* wanted);

    Form(const char* name, const QString& caption);
    ~Form() override;

    virtual void Form_Load() {}
    // Runs Form_Unload; the window is deleted at the next turn.
    void Unload();

    bool unloaded() const { return unloaded_; }

    // The menus that the parent shows while this window is active; if empty, the parent's own.
    virtual std::vector<QMenu*> menus() { return {}; }

    // Whether keys with Ctrl go to the window as well, rather than to its frame and the area around it.
    virtual bool takesAllKeys() const { return false; }

    // What distinguishes it from windows of the same caption in a list; empty if the caption suffices.
    virtual QString whichOne() const { return {}; }

    QWidget* frame();
    // As last set, while the window is still there to the pixel, so that repeated scaling loses nothing.
    layout::Rectangle place();
    void setPlace(const layout::Rectangle& place); // does nothing while maximized or minimized
    bool isMaximizedForm();
    bool isMinimizedForm();
    // False while maximized or minimized, and in an unattended run, where nobody has arranged the window and there may
    // be no screen.
    bool hasPlaceToKeep();
    void showForm();
    // Shows the window as a dialog over `owner` until it is unloaded. `onceSeen` runs when the window is on the screen;
    // a request to close the window waits until it has finished.
    void showModal(QWidget* owner, const std::function<void()>& onceSeen = {});
    // Sizes the frame so that the client area holds these pixels.
    void fitClient(int width, int height);
    std::string nameText() const { return objectName().toStdString(); }
    auto LogFailure(const char* procedure) const { return ::LogFailure(nameText(), procedure); }

protected:
    virtual void Form_Resize() {}
    virtual void Form_Unload() {}
    // Whether the window stays in memory, hidden, after it is unloaded.
    virtual bool staysInItsSlot() const { return false; }
    void resizeEvent(QResizeEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void WaitUntilSeen();

    layout::Rectangle place_; // as it was set last
    bool unloaded_ = false;
    int stays_ = 0;
    QPointer<QWidget> wanted_; // closed after the last Stay
};

// Adds a context menu and the copy shortcut to a view. Its selected rows are copied as lines of tab-separated columns,
// in a table below the headings. A table can also be copied whole; in a view with multiple selection all rows can be
// selected.
class QAbstractItemView;
enum class CopyAs { Rows, Table };
void MakeCopyable(QAbstractItemView* view, CopyAs as = CopyAs::Rows);
class QLabel;
void MakeCopyable(QLabel* label);
