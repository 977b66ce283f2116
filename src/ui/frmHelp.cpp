#include "frmHelp.h"

#include "Dialogs.h"
#include "Guarded.h"
#include "basDebug.h"

#include <QShortcut>

#include <fmt/format.h>

frmHelp::frmHelp() : Form("frmHelp", "User Guide"), WebBrowser1(new QTextBrowser(this)), Text1(new QLineEdit(this)) {
    WebBrowser1->setObjectName("WebBrowser1");
    Text1->setObjectName("Text1");
    Text1->setPlaceholderText("Find in page (Ctrl+F, then Enter)");
    Text1->setClearButtonEnabled(true);
    WebBrowser1->setOpenExternalLinks(true);
    connect(Text1, &QLineEdit::returnPressed, this, [this] { FindNext(); });
    auto* find = new QShortcut(QKeySequence::Find, this);
    find->setContext(Qt::WidgetWithChildrenShortcut);
    connect(find, &QShortcut::activated, this, [this] {
        Text1->setFocus();
        Text1->selectAll();
    });
}

void frmHelp::Form_Load() {
    fitClient(fontMetrics().averageCharWidth() * 100, fontMetrics().height() * 34);
    layout_ = std::make_unique<clsLayoutManager>();
    Guarded("frmHelp", "Form_Load", [this] {
        layout_->SetLayoutForm(this);
        layout_->VerifyFormPosition(this);
    });
}

void frmHelp::navigate(const QString& url) {
    WebBrowser1->setSource(QUrl(url));
    if (WebBrowser1->toPlainText().isEmpty())
        WebBrowser1->setPlainText("The page could not be opened:\n" + url +
                                  "\n\nThe user guide lies in the folder docs/help beside the program.");
}

void frmHelp::FindNext() {
    const QString text = Text1->text();
    if (text.isEmpty() || WebBrowser1->find(text))
        return;
    WebBrowser1->moveCursor(QTextCursor::Start); // from the top again
    if (!WebBrowser1->find(text))
        platform::CurrentDialogs().MessageBox(fmt::format("'{}' does not stand on this page.", text.toStdString()),
                                              "Find");
}

void frmHelp::Form_Resize() {
    const int find = Text1->sizeHint().height();
    WebBrowser1->setGeometry(0, 0, width(), height() - find);
    Text1->setGeometry(0, height() - find, width(), find);
}

void frmHelp::Form_Unload() {
    if (!layout_)
        basDebug::Display("frmHelp", LEVEL_WARNING, "clsLayoutMan terminated prior to form termination.");
    layout_.reset();
}
