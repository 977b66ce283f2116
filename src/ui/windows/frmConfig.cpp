#include "frmConfig.h"

frmConfig::frmConfig()
    : Form("frmConfig", ""), RTB1(new RichTextBox(this)),
      txtFind(new FindLine(
          RTB1, "Find in the text (Ctrl+F, then Enter)",
          [this](const QString& text, bool backward) { return FindInText(RTB1, text, backward); },
          "No '%1' found in this text.")) {
    RTB1->setObjectName("RTB1");
    RTB1->setGeometry(0, 0, fontMetrics().averageCharWidth() * 90, fontMetrics().height() * 28);
    RTB1->setReadOnly(true);
    RTB1->setUndoRedoEnabled(false);
    RTB1->setLineWrapMode(QPlainTextEdit::NoWrap);
    RTB1->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

void frmConfig::Form_Load() {
    fitClient(RTB1->width(), RTB1->height() + txtFind->lineHeight());
    layout_ = std::make_unique<clsLayoutManager>();
    platform::Attempt([this] { layout_->SetLayoutForm(this); }, LogFailure("Form_Load")); // restores the layout too
    QFont font("Courier New", 8);
    font.setStyleHint(QFont::Monospace);
    RTB1->setFont(font);
    RTB1->setFocus();
    Form_Resize();
}

void frmConfig::Form_Resize() {
    if (layout_)
        layout_->ResizeForm();
    const int line = txtFind->lineHeight();
    RTB1->setGeometry(0, 0, width(), height() - line);
    txtFind->setGeometry(0, height() - line, width(), line);
}

void frmConfig::Form_Unload() {
    if (!layout_)
        StatusDisplay(LEVEL_WARNING, "clsLayoutMan terminated prior to form termination.");
    layout_.reset();
}
