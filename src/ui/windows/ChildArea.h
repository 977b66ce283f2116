// The area for the child windows: which of them is active, and which of its controls has the focus.
#pragma once

#include <QHash>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

// Switches windows with Ctrl+Tab, unless the active one takes that key itself. A disabled window is never active: it
// would cover the window that disabled it, and no key would lead out of it.
class ChildArea : public QMdiArea {
    Q_OBJECT
public:
    explicit ChildArea(QWidget* parent);
    // To be called before a window closes: hidden while it has the focus, it would hand that to an arbitrary control.
    void Leave(const QMdiSubWindow* frame);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ActivateLatest(const QMdiSubWindow* besides = nullptr); // the most recently active one
    void Step(int by); // to the next usable window in the order of their creation
    void RememberFocus(QWidget* control);
    void Activated(QMdiSubWindow* frame);

    QHash<const QWidget*, QPointer<QWidget>> focus_; // the control of each frame that last had it
};
