#include "QtDialogs.h"

#include "Controls.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QRegularExpression>

QtDialogs::QtDialogs() {
    platform::UseDialogs(this);
}
QtDialogs::~QtDialogs() {
    platform::UseDialogs(nullptr);
}

namespace {

constexpr int PROMPT_CHARACTERS = 72; // per line

// Keeps GUIDs and MAC addresses on one line, since users compare them by eye before they confirm.
QString Unbroken(const std::string& text) {
    static const QRegularExpression betweenBytes("(?<=\\b[0-9A-Fa-f]{2}) (?=[0-9A-Fa-f]{2}\\b)");
    return Q(text).replace(betweenBytes, QString(QChar::Nbsp));
}

void ShowBox(QMessageBox::Icon icon, const std::string& text, const std::string& caption) {
    QMessageBox box(icon, Q(caption), Unbroken(text), QMessageBox::Ok, QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

} // namespace

void QtDialogs::MessageBox(const std::string& text, const std::string& caption) {
    ShowBox(QMessageBox::Warning, text, caption);
}

void QtDialogs::Inform(const std::string& text, const std::string& caption) {
    ShowBox(QMessageBox::Information, text, caption);
}

bool QtDialogs::YesNo(const std::string& text, const std::string& caption) {
    QMessageBox box(QMessageBox::Question, Q(caption), Unbroken(text), QMessageBox::Yes | QMessageBox::No,
                    QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

std::string QtDialogs::InputBox(const std::string& prompt, const std::string& title, const std::string& first) {
    QInputDialog dialog(QApplication::activeWindow());
    dialog.setWindowTitle(Q(title));
    dialog.setLabelText(Unbroken(prompt).remove('\r'));
    dialog.setTextValue(Q(first)); // creates the label
    for (QLabel* label : dialog.findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setFixedWidth(PROMPT_CHARACTERS * label->fontMetrics().averageCharWidth());
        label->setMinimumHeight(label->heightForWidth(label->maximumWidth())); // the dialog's own layout asks for less
    }
    return dialog.exec() == QDialog::Accepted ? dialog.textValue().toStdString() : std::string();
}

std::string QtDialogs::SaveFile(const std::string& title, const std::string& first, const std::string& filter) {
    return QFileDialog::getSaveFileName(QApplication::activeWindow(), Q(title), Q(first), Q(filter), nullptr,
                                        QFileDialog::DontConfirmOverwrite)
        .toStdString();
}
