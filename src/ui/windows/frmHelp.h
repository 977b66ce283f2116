// The help pane: a text browser with find, back and forward.
#pragma once

#include "FindLine.h"
#include "Form.h"
#include "clsLayoutManager.h"

#include <QStyle>
#include <QTextBrowser>
#include <QToolButton>
#include <QUrl>

#include <memory>
#include <vector>

class frmHelp : public Form {
    Q_OBJECT
public:
    frmHelp();

    void Form_Load() override;
    void navigate(const QString& url);

    QTextBrowser* WebBrowser1;
    FindLine* Text1; // what to find in the guide
    QToolButton *cmdBack, *cmdForward;

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    QToolButton* Button(const char* caption, const char* keys, QStyle::StandardPixmap icon);
    // On the page, then on the other pages of its folder, then from the other end of the page.
    bool Find(const QString& text, bool backward);
    // In order, starting after (or before) the shown page and wrapping around.
    std::vector<QUrl> OtherPages(bool backward) const;

    std::unique_ptr<clsLayoutManager> layout_;
};
