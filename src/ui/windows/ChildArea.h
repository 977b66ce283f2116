// The area for the child windows: which of them is active, and which control of it has the keys.
#pragma once

#include <QHash>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

// Changes windows with Ctrl+Tab, unless the active one takes that key itself. A window that is off is never
// the active one: it would cover the window that keeps it off, and no key leads out of it.
class ChildArea : public QMdiArea {
    Q_OBJECT
public:
    explicit ChildArea(QWidget* parent);
    // Before a window goes: hidden while it has the focus, it would hand that to any other control.
    void Leave(const QMdiSubWindow* frame);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ActivateLatest(const QMdiSubWindow* besides = nullptr); // by history
    void Step(int by); // to the next usable window in the order of their creation
    void RememberFocus(QWidget* control);
    void Activated(QMdiSubWindow* frame);

    QHash<const QWidget*, QPointer<QWidget>> focus_; // of each frame, the control that had it last
};
