#include "ChildArea.h"

#include "Form.h"

#include <QApplication>
#include <QKeyEvent>

#include <algorithm>

namespace {

bool IsUsable(const QMdiSubWindow* frame) {
    return frame->isVisible() && frame->widget() != nullptr && frame->widget()->isEnabled();
}

} // namespace

ChildArea::ChildArea(QWidget* parent) : QMdiArea(parent) {
    connect(this, &QMdiArea::subWindowActivated, this, &ChildArea::Activated);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* control) { RememberFocus(control); });
}

void ChildArea::RememberFocus(QWidget* control) {
    for (QWidget* at = control; at != nullptr; at = at->parentWidget())
        if (qobject_cast<QMdiSubWindow*>(at) != nullptr && at != control)
            focus_[at] = control;
}

// The base class gives the focus to the window's first control. Afterwards the control that had it before gets it
// back, unless a click has already chosen one.
void ChildArea::Activated(QMdiSubWindow* frame) {
    if (frame == nullptr)
        return;
    const bool chosen = frame->isAncestorOf(QApplication::focusWidget());
    const auto finish = [this, chosen, frame = QPointer(frame), control = focus_.value(frame)] {
        if (frame == nullptr || frame != activeSubWindow())
            return;
        if (!IsUsable(frame))
            ActivateLatest();
        else if (!chosen && control != nullptr && frame->isAncestorOf(control))
            control->setFocus();
    };
    QMetaObject::invokeMethod(this, finish, Qt::QueuedConnection);
}

void ChildArea::ActivateLatest(const QMdiSubWindow* besides) {
    const QList<QMdiSubWindow*> frames = subWindowList(ActivationHistoryOrder);
    const auto latest = std::find_if(frames.rbegin(), frames.rend(), [besides](const QMdiSubWindow* frame) {
        return frame != besides && IsUsable(frame);
    });
    if (latest != frames.rend())
        setActiveSubWindow(*latest);
}

void ChildArea::Leave(const QMdiSubWindow* frame) {
    if (frame == nullptr || frame != activeSubWindow())
        return;
    setOption(DontMaximizeSubWindowOnActivation); // otherwise the next window would take over a maximized state
    ActivateLatest(frame);
    setOption(DontMaximizeSubWindowOnActivation, false);
}

void ChildArea::Step(int by) {
    QList<QMdiSubWindow*> frames = subWindowList(CreationOrder);
    frames.removeIf([](const QMdiSubWindow* frame) { return !IsUsable(frame); });
    const qsizetype at = frames.indexOf(activeSubWindow());
    if (at < 0)
        ActivateLatest();
    else
        setActiveSubWindow(frames[(at + by + frames.size()) % frames.size()]);
}

// The base class filters the events of the whole application. Its own Ctrl+Tab doesn't skip disabled windows, and
// ignores a key that reaches only the parent.
bool ChildArea::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)
        return QMdiArea::eventFilter(watched, event);
    if (activeSubWindow() != nullptr)
        if (const auto* form = qobject_cast<Form*>(activeSubWindow()->widget());
            form != nullptr && form->takesAllKeys())
            return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    const auto* widget = qobject_cast<QWidget*>(watched);
    const bool tab = key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab;
    if (widget == nullptr || widget->window() != window() || !tab || !(key->modifiers() & Qt::ControlModifier))
        return QMdiArea::eventFilter(watched, event);
    if (event->type() == QEvent::KeyPress)
        Step(key->key() == Qt::Key_Tab ? 1 : -1);
    return true;
}
