// A text viewer for CNE data. Caption and text come from its caller.
#pragma once

#include "FindLine.h"
#include "Form.h"
#include "basDebug.h"
#include "clsLayoutManager.h"

#include <QPlainTextEdit>

#include <cstdint>
#include <memory>
#include <utility>

class RichTextBox : public QPlainTextEdit {
    Q_OBJECT // the layout keeper needs the class name
        public : using QPlainTextEdit::QPlainTextEdit;
};

class frmConfig : public Form {
    Q_OBJECT
public:
    frmConfig();

    void Form_Load() override;
    template <class... Arguments>
    void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        basDebug::Display("frmConfig", level, text, std::forward<Arguments>(arguments)...);
    }

    RichTextBox* RTB1;
    FindLine* txtFind;

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    std::unique_ptr<clsLayoutManager> layout_;
};
