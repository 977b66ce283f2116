// Stretches a window's controls in proportion when the window is resized, and remembers the
// window's size and place from one run to the next.
#pragma once

#include "Layout.h"

#include <cstdint>
#include <string>
#include <vector>

class Form;
class QWidget;

class clsLayoutManager {
public:
    clsLayoutManager() = default;
    // Saves the layout, if it has a window, and ignores a failure.
    ~clsLayoutManager();
    clsLayoutManager(const clsLayoutManager&) = delete;
    clsLayoutManager& operator=(const clsLayoutManager&) = delete;

    Form* LayoutForm() const { return layoutForm_; }
    void TakeLayoutSnapshot();
    // Takes the window, then TakeLayoutSnapshot and RestoreLayout.
    void SetLayoutForm(Form* form);
    std::int32_t SaveLayout();    // 1, or -1 when nothing was saved
    std::int32_t RestoreLayout(); // 1, or -1
    std::int32_t ResetLayout();   // deletes the stored place and returns to the design size
    std::int32_t ResizeForm();    // fits the controls to the window
    void VerifyFormPosition(Form* form);

    // The edges of a window's frame in its settings, in pixels. A missing one is as it is now.
    static void SaveEdges(Form* form);
    static layout::Rectangle StoredPlace(Form* form);

    // The kind of control that a widget counts as ("TextBox"); empty if the keeper ignores it.
    static std::string ControlType(const QWidget* widget);

private:
    template <class Apply> void ForEachControl(const char* missing, Apply apply);

    std::vector<layout::ControlLayout> Controls = std::vector<layout::ControlLayout>(1); // element 0 unused
    std::int32_t FormTop = 0, FormLeft = 0;
    std::int32_t ClientHeight = 0, ClientWidth = 0; // pixels, at the snapshot
    Form* layoutForm_ = nullptr;
};
