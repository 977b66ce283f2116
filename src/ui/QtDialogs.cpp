#include "QtDialogs.h"

#include "Controls.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

QtDialogs::QtDialogs() {
    platform::UseDialogs(this);
}
QtDialogs::~QtDialogs() {
    platform::UseDialogs(nullptr);
}

void QtDialogs::MessageBox(const std::string& text, const std::string& caption) {
    QMessageBox box(QMessageBox::NoIcon, Q(caption), Q(text), QMessageBox::Ok, QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

bool QtDialogs::YesNo(const std::string& text, const std::string& caption) {
    QMessageBox box(QMessageBox::Question, Q(caption), Q(text), QMessageBox::Yes | QMessageBox::No,
                    QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

std::string QtDialogs::InputBox(const std::string& prompt, const std::string& title, const std::string& first) {
    bool accepted = false;
    const QString answer = QInputDialog::getText(QApplication::activeWindow(), Q(title), Q(prompt), QLineEdit::Normal,
                                                 Q(first), &accepted);
    return accepted ? answer.toStdString() : std::string();
}

std::string QtDialogs::SaveFile(const std::string& title, const std::string& first, const std::string& filter) {
    return QFileDialog::getSaveFileName(QApplication::activeWindow(), Q(title), Q(first), Q(filter), nullptr,
                                        QFileDialog::DontConfirmOverwrite)
        .toStdString();
}
