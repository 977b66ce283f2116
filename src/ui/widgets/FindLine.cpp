#include "FindLine.h"

#include "Dialogs.h"

#include <QKeyEvent>
#include <QShortcut>

#include <utility>

FindLine::FindLine(QWidget* view, const QString& hint, Find find, const QString& nowhere)
    : QLineEdit(view->parentWidget()), view_(view), find_(std::move(find)), nowhere_(nowhere) {
    constexpr int MOST = 256; // characters
    setPlaceholderText(hint);
    setToolTip(hint);
    setClearButtonEnabled(true);
    setMaxLength(MOST);
    const auto shortcut = [this, window = view->window()](const QKeySequence& key, auto done) {
        auto* made = new QShortcut(key, window);
        made->setContext(Qt::WidgetWithChildrenShortcut);
        connect(made, &QShortcut::activated, this, done);
    };
    shortcut(QKeySequence::Find, [this] {
        if (makeRoom)
            makeRoom();
        setFocus(Qt::ShortcutFocusReason);
        selectAll();
    });
    shortcut(Qt::Key_F3, [this] { FindNext(); });
    shortcut(Qt::SHIFT | Qt::Key_F3, [this] { FindNext(true); });
}

void FindLine::FindNext(bool backward) {
    if (!text().isEmpty() && !find_(text(), backward))
        platform::CurrentDialogs().MessageBox(nowhere_.arg(text()).toStdString(), "Find");
}

void FindLine::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        FindNext(event->modifiers().testFlag(Qt::ShiftModifier));
    else if (event->key() == Qt::Key_Escape)
        view_->setFocus();
    else
        QLineEdit::keyPressEvent(event);
}
