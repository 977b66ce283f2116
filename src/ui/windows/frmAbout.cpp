#include "frmAbout.h"

#include "Form.h"
#include "Paths.h"
#include "Program.h"
#include "basApp.h"
#include "basUtils.h"

#include <QVBoxLayout>

#include <fmt/format.h>

namespace {

constexpr const char* COPYRIGHT = "Copyright (c) 2026 the HoistlineApp founders.  All rights reserved.";
constexpr int WIDTH = 76; // characters

} // namespace

frmAbout::frmAbout(QWidget* owner) : QDialog(owner) {
    setObjectName("frmAbout");
    setWindowTitle("About");
    auto* column = new QVBoxLayout(this);
    const auto label = [&](QLabel*& made, const char* name) {
        made = new QLabel(this);
        made->setObjectName(name);
        made->setWordWrap(true);
        MakeCopyable(made);
        column->addWidget(made);
    };
    label(lblApplicationName, "lblApplicationName");
    label(lblVersion, "lblVersion");
    label(lblBuildDate, "lblBuildDate");
    label(lblExeFilename, "lblExeFilename");
    label(lblExePath, "lblExePath");
    label(lblDataPath, "lblDataPath");
    label(lblBus, "lblBus");
    label(lblCopyright, "lblCopyright");
    cmdClose = new QPushButton("&Close", this);
    cmdClose->setObjectName("cmdClose");
    cmdClose->setDefault(true);
    column->addWidget(cmdClose, 0, Qt::AlignRight);
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::accept);
    setFixedWidth(fontMetrics().averageCharWidth() * WIDTH);
}

void frmAbout::Form_Load() {
    const std::string executable = platform::ExecutablePath();
    std::string folder, name;
    basUtils::SplitPath(executable, folder, name);
    const auto set = [](QLabel* label, const std::string& text) { label->setText(QString::fromStdString(text)); };
    set(lblCopyright, COPYRIGHT);
    set(lblApplicationName, fmt::format("Application Name: {}", basApp::TITLE));
    set(lblVersion,
        fmt::format("Version: {}.{}.{}", basApp::VERSION_MAJOR, basApp::VERSION_MINOR, basApp::VERSION_REVISION));
    set(lblExeFilename, fmt::format("Exe Filename: {}.exe", name.substr(0, name.rfind('.'))));
    set(lblExePath, "Application Path: " + folder);
    set(lblDataPath, "Data Path: " + platform::CurrentDirectory());
    set(lblBus, "Bus: " + program::BusText(program::globals.Bus));
    set(lblBuildDate,
        "Build Date: " + basUtils::FormatWinDateTime(basApp::GetFileDate64(executable), "yyyy-mm-dd hh:nn:ss utc"));
    setFixedHeight(layout()->heightForWidth(width())); // the size hint of wrapped labels leaves gaps
}
