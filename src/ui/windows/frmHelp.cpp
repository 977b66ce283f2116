#include "frmHelp.h"

#include "basDebug.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

frmHelp::frmHelp()
    : Form("frmHelp", "User Guide"), WebBrowser1(new QTextBrowser(this)),
      Text1(new FindLine(
          WebBrowser1, "Find in the guide (Ctrl+F, then Enter)",
          [this](const QString& text, bool backward) { return Find(text, backward); }, "No page with '%1' found.")),
      cmdBack(Button("Back", "Alt+Left", QStyle::SP_ArrowBack)),
      cmdForward(Button("Forward", "Alt+Right", QStyle::SP_ArrowForward)) {
    WebBrowser1->setObjectName("WebBrowser1");
    Text1->setObjectName("Text1");
    WebBrowser1->setOpenExternalLinks(true);
    connect(cmdBack, &QToolButton::clicked, WebBrowser1, &QTextBrowser::backward);
    connect(cmdForward, &QToolButton::clicked, WebBrowser1, &QTextBrowser::forward);
    connect(WebBrowser1, &QTextBrowser::backwardAvailable, cmdBack, &QWidget::setEnabled);
    connect(WebBrowser1, &QTextBrowser::forwardAvailable, cmdForward, &QWidget::setEnabled);
}

QToolButton* frmHelp::Button(const char* caption, const char* keys, QStyle::StandardPixmap icon) {
    auto* button = new QToolButton(this);
    button->setText(caption);
    button->setToolTip(QString("%1 (%2)").arg(caption, keys));
    button->setIcon(style()->standardIcon(icon));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setFocusPolicy(Qt::StrongFocus);
    button->setEnabled(false);
    return button;
}

void frmHelp::Form_Load() {
    fitClient(fontMetrics().averageCharWidth() * 100, fontMetrics().height() * 34);
    layout_ = std::make_unique<clsLayoutManager>();
    const auto restore = [this] {
        layout_->SetLayoutForm(this);
        layout_->VerifyFormPosition(this);
    };
    platform::Attempt(restore, LogFailure("Form_Load"));
    Form_Resize(); // the bottom line keeps its height
}

void frmHelp::navigate(const QString& url) {
    WebBrowser1->setSource(QUrl(url));
    if (WebBrowser1->toPlainText().isEmpty())
        WebBrowser1->setPlainText("The page could not be opened:\n" + url +
                                  "\n\nThe user guide lies in the folder docs/help beside the program.");
}

std::vector<QUrl> frmHelp::OtherPages(bool backward) const {
    const QFileInfo shown(WebBrowser1->source().toLocalFile());
    QStringList names;
    if (shown.isFile())
        names = shown.dir().entryList({"*.html"}, QDir::Files, QDir::Name);
    const auto here = names.indexOf(shown.fileName());
    std::vector<QUrl> pages;
    for (qsizetype step = 1; step < names.size(); ++step) {
        const auto at = (here + (backward ? names.size() - step : step)) % names.size();
        pages.push_back(QUrl::fromLocalFile(shown.dir().filePath(names[at])));
    }
    return pages;
}

bool frmHelp::Find(const QString& text, bool backward) {
    const auto flags = backward ? QTextDocument::FindBackward : QTextDocument::FindFlags();
    if (WebBrowser1->find(text, flags))
        return true;
    for (const QUrl& page : OtherPages(backward)) {
        QFile file(page.toLocalFile());
        QTextDocument document;
        if (file.open(QIODevice::ReadOnly))
            document.setHtml(QString::fromUtf8(file.readAll()));
        if (document.find(text).isNull())
            continue;
        WebBrowser1->setSource(page);
        return FindInText(WebBrowser1, text, backward);
    }
    return FindInText(WebBrowser1, text, backward);
}

void frmHelp::Form_Resize() {
    const int line = std::max(Text1->lineHeight(), cmdBack->sizeHint().height()), top = height() - line;
    WebBrowser1->setGeometry(0, 0, width(), top);
    int left = 0;
    for (QToolButton* button : {cmdBack, cmdForward}) {
        button->setGeometry(left, top, button->sizeHint().width(), line);
        left += button->width();
    }
    Text1->setGeometry(left, top, std::max(0, width() - left), line);
}

void frmHelp::Form_Unload() {
    if (!layout_)
        basDebug::Display("frmHelp", LEVEL_WARNING, "clsLayoutMan terminated prior to form termination.");
    layout_.reset();
}
