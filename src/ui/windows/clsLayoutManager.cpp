#include "clsLayoutManager.h"

#include "CodePage.h"
#include "Failure.h"
#include "Form.h"
#include "WindowSettings.h"
#include "basApp.h"

#include <QGuiApplication>
#include <QScreen>

#include <array>

namespace {

// Qt classes and the kinds of control that they count as; the first one that a widget inherits applies.
struct Kind {
    const char* qtClass;
    const char* controlType;
};
constexpr Kind ControlTypes[] = {
    {"DriveListBox", "DriveListBox"}, {"DirListBox", "DirListBox"}, {"RichTextBox", "RichTextBox"},
    {"QPlainTextEdit", "TextBox"},    {"QTextEdit", "RichTextBox"}, {"QLineEdit", "TextBox"},
    {"QGroupBox", "Frame"},           {"QTableView", "MSFlexGrid"}, {"QTabWidget", "TabStrip"},
    {"QComboBox", "ComboBox"},        {"QCheckBox", "CheckBox"},    {"QListWidget", "ListBox"},
    {"QPushButton", "CommandButton"}, {"QTreeView", "TreeView"},    {"QListView", "ListView"},
    {"QProgressBar", "ProgressBar"},  {"QLabel", "Label"},          {"HexDumpView", "TextBox"},
    {"ShellTerminal", "TextBox"},
};

constexpr std::array<const char*, 4> EDGES{"Top", "Left", "Bottom", "Right"};

// Edges of the window's frame in pixels, in the order of EDGES.
std::array<std::int32_t, 4> EdgesOf(Form* form) {
    const QRect rect = form->frame()->geometry();
    return {rect.top(), rect.left(), rect.top() + rect.height(), rect.left() + rect.width()};
}

layout::Rectangle GeometryOf(const QWidget* control) {
    return {control->x(), control->y(), control->width(), control->height()};
}

// The controls of a window in the order of their creation, without the parts that Qt creates inside them.
std::vector<QWidget*> ControlsOf(Form* form) {
    std::vector<QWidget*> controls;
    for (QWidget* widget : form->findChildren<QWidget*>())
        if (!widget->objectName().startsWith("qt_") && !widget->objectName().isEmpty() &&
            !clsLayoutManager::ControlType(widget).empty())
            controls.push_back(widget);
    return controls;
}

} // namespace

clsLayoutManager::~clsLayoutManager() {
    if (layoutForm_ != nullptr)
        platform::Attempt([this] { SaveLayout(); }, platform::IgnoreFailure);
}

std::string clsLayoutManager::ControlType(const QWidget* widget) {
    for (const Kind& kind : ControlTypes)
        if (widget->inherits(kind.qtClass))
            return kind.controlType;
    return {};
}

void clsLayoutManager::TakeLayoutSnapshot() {
    Controls.assign(1, {});
    ClientWidth = layoutForm_->width();
    ClientHeight = layoutForm_->height();
    for (const QWidget* control : ControlsOf(layoutForm_)) {
        const layout::Rectangle place = GeometryOf(control);
        const std::string type = ControlType(control);
        const bool fixedHeight = type == "ComboBox" || type == "DriveListBox";
        Controls.push_back({control->objectName().toStdString(), place.Top, place.Left, place.Height, place.Width,
                            false, false, fixedHeight, false});
    }
}

void clsLayoutManager::SetLayoutForm(Form* form) {
    layoutForm_ = form;
    TakeLayoutSnapshot();
    RestoreLayout();
}

template <class Apply> void clsLayoutManager::ForEachControl(const char* missing, Apply apply) {
    std::size_t match = 0;
    for (QWidget* control : ControlsOf(layoutForm_)) {
        const std::string name = control->objectName().toStdString();
        const std::size_t found = layout::FindControl(Controls, match, name);
        if (found == 0) {
            if (basDebug::Wanted(LEVEL_TRACE))
                basDebug::StatusDisplay(fmt::format(fmt::runtime(missing), name), LEVEL_TRACE, "clsLayoutManager");
            continue;
        }
        match = found;
        const layout::Rectangle to = apply(Controls[found], GeometryOf(control));
        control->setGeometry(to.Left, to.Top, to.Width, to.Height);
    }
}

std::int32_t clsLayoutManager::ResizeForm() {
    if (layoutForm_ == nullptr || layoutForm_->isMinimizedForm())
        return 1;
    if (ClientWidth <= 0 || ClientHeight <= 0)
        return -1;
    const double widthRatio = double(layoutForm_->width()) / ClientWidth;
    const double heightRatio = double(layoutForm_->height()) / ClientHeight;
    ForEachControl("Error in frmMain.Resize.  Could not find control named '{}'",
                   [&](const layout::ControlLayout& record, const layout::Rectangle& present) {
                       return layout::Scaled(record, widthRatio, heightRatio, present);
                   });
    return 1;
}

void clsLayoutManager::SaveEdges(Form* form) {
    const auto edges = EdgesOf(form);
    for (std::size_t i = 0; i < EDGES.size(); ++i)
        windowSettings::Save(form->nameText(), EDGES[i], std::to_string(edges[i]));
}

layout::Rectangle clsLayoutManager::StoredPlace(Form* form) {
    auto edges = EdgesOf(form);
    for (std::size_t i = 0; i < EDGES.size(); ++i)
        edges[i] = platform::NumberFromText(windowSettings::Get(form->nameText(), EDGES[i], std::to_string(edges[i])));
    const auto [top, left, bottom, right] = edges;
    return layout::FromEdges(top, left, bottom, right);
}

std::int32_t clsLayoutManager::SaveLayout() {
    if (!layoutForm_->hasPlaceToKeep())
        return -1;
    SaveEdges(layoutForm_);
    return 1;
}

std::int32_t clsLayoutManager::RestoreLayout() {
    const layout::Rectangle stored = StoredPlace(layoutForm_);
    VerifyFormPosition(layoutForm_);
    layoutForm_->setPlace(stored);
    ResizeForm();
    return 1;
}

std::int32_t clsLayoutManager::ResetLayout() {
    if (layoutForm_ == nullptr || !windowSettings::HasStore())
        return -1;
    for (const char* edge : EDGES)
        windowSettings::Remove(layoutForm_->nameText(), edge);
    layoutForm_->setPlace({FormLeft, FormTop, layout::Twips(ClientWidth), layout::Twips(ClientHeight)});
    if (layoutForm_->isMinimizedForm())
        return 1;
    ForEachControl("clsLayoutManager.ResetLayout error: Could not find control named '{}'",
                   [](const layout::ControlLayout& record, const layout::Rectangle& present) {
                       return layout::Scaled(record, 1, 1, present);
                   });
    return 1;
}

void clsLayoutManager::VerifyFormPosition(Form* form) {
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const layout::Rectangle place = form->place();
    const basApp::WindowPlace verified =
        basApp::VerifyFormPosition(form->nameText(), {place.Left, place.Top, place.Width, place.Height},
                                   layout::Twips(screen.width()), layout::Twips(screen.height()));
    form->setPlace({verified.Left, verified.Top, verified.Width, verified.Height});
}
