#include "Form.h"

#include "Clock.h"
#include "MDIForm1.h"
#include "Menus.h"
#include "WindowSystem.h"
#include "Windows.h"
#include "basApp.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QEventLoop>
#include <QItemSelectionModel>
#include <QLabel>
#include <QShortcut>
#include <QWindow>

#include <algorithm>
#include <utility>

Form::Form(const char* name, const QString& caption) {
    setObjectName(name);
    setWindowTitle(caption);
}

Form::~Form() = default;

QWidget* Form::frame() {
    auto* subWindow = qobject_cast<QMdiSubWindow*>(parentWidget());
    return subWindow != nullptr ? static_cast<QWidget*>(subWindow) : this;
}

namespace {

QRect PixelsOf(const layout::Rectangle& place) {
    return {layout::Pixels(place.Left), layout::Pixels(place.Top), layout::Pixels(place.Width),
            layout::Pixels(place.Height)};
}

} // namespace

layout::Rectangle Form::place() {
    const QRect rect = frame()->geometry();
    if (rect == PixelsOf(place_))
        return place_;
    return {layout::Twips(rect.left()), layout::Twips(rect.top()), layout::Twips(rect.width()),
            layout::Twips(rect.height())};
}

void Form::setPlace(const layout::Rectangle& place) {
    if (isMaximizedForm() || isMinimizedForm())
        return; // the area manages it, and its frame remembers the place to return to
    place_ = place;
    frame()->setGeometry(PixelsOf(place));
}

bool Form::isMaximizedForm() {
    return frame()->isMaximized();
}
bool Form::isMinimizedForm() {
    return frame()->isMinimized();
}

bool Form::hasPlaceToKeep() {
    return !isMaximizedForm() && !isMinimizedForm() && !basApp::globals.PerformUnattendedOperations;
}

void Form::showForm() {
    show();
    frame()->show();
}

// A window that has just been shown is first painted some turns later; only from then on does it repaint at once.
void Form::WaitUntilSeen() {
    constexpr int TURNS = 50, BETWEEN = 10; // half a second at most; a desktop needs a tenth of that
    const auto seen = [this] { return windowHandle() != nullptr && windowHandle()->isExposed(); };
    for (int turn = 0; turn < TURNS && !seen(); ++turn) {
        platform::DoEvents();
        platform::Sleep(BETWEEN);
    }
    platform::DoEvents();
}

void Form::showModal(QWidget* owner, const std::function<void()>& onceSeen) {
    const QRect at = geometry();
    setParent(owner, Qt::Dialog);
    setWindowModality(Qt::ApplicationModal);
    resize(at.size());
    move(at.topLeft().isNull() ? owner->window()->geometry().center() - rect().center() : at.topLeft());
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &Form::Unload);
    QEventLoop loop;
    connect(this, &QObject::destroyed, &loop, &QEventLoop::quit);
    show();
    if (onceSeen) {
        const Stay stay(*this);
        WaitUntilSeen();
        onceSeen();
    }
    loop.exec();
}

void Form::fitClient(int width, int height) {
    resize(width, height); // a hidden frame doesn't lay out its contents
    QWidget* outer = frame();
    if (outer == this)
        return;
    outer->ensurePolished();
    const QMargins margins = outer->contentsMargins();
    outer->resize(width + margins.left() + margins.right(), height + margins.top() + margins.bottom());
}

void Form::Unload() {
    frame()->close();
}

void Form::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (!isMinimizedForm())
        Form_Resize();
}

Form::Stay::~Stay() {
    if (--form_.stays_ == 0 && form_.wanted_)
        QMetaObject::invokeMethod(std::exchange(form_.wanted_, nullptr), &QWidget::close, Qt::QueuedConnection);
}

bool Form::closesLater(QWidget* wanted) {
    if (stays_ > 0 && (!wanted_ || wanted->isWindow())) // closing the program closes the window too
        wanted_ = wanted;
    return stays_ > 0;
}

void Form::closeEvent(QCloseEvent* event) {
    if (closesLater(frame()))
        return event->ignore();
    event->accept();
    if (std::exchange(unloaded_, true))
        return;
    const auto leave = [this] {
        if (windows::globals.parent != nullptr && windows::globals.main != nullptr)
            windows::globals.parent->mdiArea->Leave(qobject_cast<QMdiSubWindow*>(frame()));
    };
    if (staysInItsSlot())
        leave(); // before Form_Unload hides it
    Form_Unload();
    leave();
    if (!staysInItsSlot())
        frame()->deleteLater();
}

namespace {

QModelIndexList SelectedRows(const QAbstractItemView* view) {
    QModelIndexList rows = view->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    return rows;
}

QModelIndexList AllRows(const QAbstractItemView* view) {
    QModelIndexList rows;
    for (int row = 0; row < view->model()->rowCount(); ++row)
        rows << view->model()->index(row, 0);
    return rows;
}

QString TextOf(const QAbstractItemView* view, const QModelIndexList& rows, CopyAs as) {
    QStringList lines;
    if (as == CopyAs::Table) {
        QStringList headings;
        for (int column = 0; column < view->model()->columnCount(); ++column)
            headings << view->model()->headerData(column, Qt::Horizontal).toString();
        lines << headings.join('\t');
    }
    for (const QModelIndex& row : rows) {
        QStringList cells;
        for (int column = 0; column < view->model()->columnCount(row.parent()); ++column)
            cells << row.siblingAtColumn(column).data().toString();
        lines << cells.join('\t');
    }
    return lines.join('\n');
}

} // namespace

void MakeCopyable(QAbstractItemView* view, CopyAs as) {
    const auto copy = [view, as](const QModelIndexList& rows) {
        QApplication::clipboard()->setText(TextOf(view, rows, as));
    };
    AddContextItem(view, "Copy", QKeySequence::Copy, [view, copy] { copy(SelectedRows(view)); });
    if (as == CopyAs::Table)
        AddContextItem(view, "Copy All Rows", {}, [view, copy] { copy(AllRows(view)); });
    if (view->selectionMode() != QAbstractItemView::SingleSelection)
        AddContextItem(view, "Select All", QKeySequence::SelectAll, [view] { view->selectAll(); });
    view->setContextMenuPolicy(Qt::ActionsContextMenu);
}

void MakeCopyable(QLabel* label) {
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setFocusPolicy(Qt::ClickFocus);
}
