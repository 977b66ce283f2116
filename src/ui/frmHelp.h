// The help pane: a text browser with find.
#pragma once

#include "Form.h"
#include "clsLayoutManager.h"

#include <QLineEdit>
#include <QTextBrowser>

#include <memory>

class frmHelp : public Form {
    Q_OBJECT
public:
    frmHelp();

    void Form_Load() override;
    void navigate(const QString& url);

    QTextBrowser* WebBrowser1;
    QLineEdit* Text1; // what to find in the page

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    void FindNext(); // from the top again behind the last place

    std::unique_ptr<clsLayoutManager> layout_;
};
