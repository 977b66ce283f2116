#include "frmBus.h"

#include "Controls.h"
#include "Dialogs.h"
#include "MDIForm1.h"
#include "Program.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "Windows.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QVBoxLayout>

#include <fmt/format.h>

namespace {

constexpr const char* CAPTION = "Bus";
constexpr int WIDTH = 84; // characters

} // namespace

frmBus::frmBus(QWidget* owner) : QDialog(owner) {
    setObjectName("frmBus");
    setWindowTitle(CAPTION);
    auto* column = new QVBoxLayout(this);
    auto* grid = new QGridLayout;
    lblNow = Named(new QLabel, "lblNow");
    lblNow->setTextFormat(Qt::PlainText);
    lblNow->setWordWrap(true);
    column->addWidget(lblNow);
    column->addLayout(grid);
    AddChoices(grid);
    column->addLayout(MakeButtons());
    setMinimumWidth(fontMetrics().averageCharWidth() * WIDTH);
}

void frmBus::AddChoices(QGridLayout* grid) {
    int row = 0;
    const auto choice = [&](const char* name, const char* text) {
        auto* option = Named(new QRadioButton(text), name);
        grid->addWidget(option, row++, 0);
        return option;
    };
    // What belongs to the choice of the last row; typing into it chooses it.
    const auto field = [&](QRadioButton* option, const char* name, const char* placeholder) {
        auto* made = Named(new QLineEdit, name);
        made->setPlaceholderText(placeholder);
        grid->addWidget(made, row - 1, 1);
        connect(made, &QLineEdit::textEdited, option, [option] { option->setChecked(true); });
        return made;
    };
    const auto browse = [&](QRadioButton* option, QLineEdit* line, const char* name, const char* filter) {
        auto* button = Named(new QPushButton("Browse..."), name);
        grid->addWidget(button, row - 1, 2);
        connect(button, &QPushButton::clicked, this, [this, option, line, filter] {
            const QString path = QFileDialog::getOpenFileName(this, CAPTION, line->text(), filter);
            if (path.isEmpty())
                return;
            line->setText(path);
            option->setChecked(true);
        });
        return button;
    };
    optProgram = choice("optProgram", "&Decided by the program");
    auto* rule = new QLabel("Simulated if simulated-bus.json lies beside the program, else a real adapter.");
    rule->setWordWrap(true);
    grid->addWidget(rule, row - 1, 1, 1, 2);
    optKernel = choice("optKernel", "&Real adapter");
    txtCard = field(optKernel, "txtCard", "number of a card, or nothing");
    optSimulated = choice("optSimulated", "&Simulated bus");
    txtDescription = field(optSimulated, "txtDescription", "file that describes it, or nothing");
    cmdBrowseDescription = browse(optSimulated, txtDescription, "cmdBrowseDescription", "Bus descriptions (*.json)");
    optLibrary = choice("optLibrary", "Another access &library");
    txtLibrary = field(optLibrary, "txtLibrary", "file of the library");
    cmdBrowseLibrary = browse(optLibrary, txtLibrary, "cmdBrowseLibrary", "Libraries (*.so)");
    grid->setColumnStretch(1, 1);
}

QHBoxLayout* frmBus::MakeButtons() {
    auto* buttons = new QHBoxLayout;
    const auto button = [&](const char* name, const char* text) {
        auto* made = Named(new QPushButton(text), name);
        buttons->addWidget(made);
        return made;
    };
    cmdDoctor = button("cmdDoctor", "Check This &Machine");
    buttons->addStretch(1);
    cmdOK = button("cmdOK", "OK");
    cmdCancel = button("cmdCancel", "Cancel");
    cmdOK->setDefault(true);
    connect(cmdOK, &QPushButton::clicked, this, &frmBus::Store);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(cmdDoctor, &QPushButton::clicked, this, [this] {
        reject();
        windows::globals.parent->ShowDoctor();
    });
    return buttons;
}

void frmBus::Form_Load() {
    const program::WhichBus& bus = program::globals.Bus;
    const std::string now = bus.Fault.empty() ? "In use now: " + program::BusText(bus) + "." : bus.Fault;
    const bool outranked = !program::globals.BusVariable.empty();
    lblNow->setText(Q(outranked ? now + "  As long as HOISTLINE_BUS is set, it has the first say." : now));
    const std::string stored = program::GlobalSetting(settingKeys::BUS, "");
    const auto choice = bas1394::ParseBus(stored);
    if (!choice || !program::StoredBusFault(stored).empty()) {
        optProgram->setChecked(true);
        return;
    }
    struct Place {
        QRadioButton* option;
        QLineEdit* line;
    };
    const auto place = [&]() -> Place {
        if (choice->Kind == bas1394::BusKind::Kernel)
            return {optKernel, txtCard};
        return choice->Kind == bas1394::BusKind::Simulated ? Place{optSimulated, txtDescription}
                                                           : Place{optLibrary, txtLibrary};
    }();
    place.option->setChecked(true);
    place.line->setText(Q(choice->Description));
}

std::string frmBus::Chosen() const {
    const auto described = [](const char* kind, const QLineEdit* line) {
        const std::string text = line->text().trimmed().toStdString();
        return text.empty() ? std::string(kind) : fmt::format("{}:{}", kind, text);
    };
    if (optKernel->isChecked())
        return described("kernel", txtCard);
    if (optSimulated->isChecked())
        return described("simulated", txtDescription);
    return optLibrary->isChecked() ? described("library", txtLibrary) : "";
}

void frmBus::Store() {
    const std::string chosen = Chosen();
    if (const std::string fault = program::StoredBusFault(chosen); !fault.empty()) {
        platform::CurrentDialogs().MessageBox(fmt::format("\"{}\" can't be used: {}.", chosen, fault), CAPTION);
        return;
    }
    accept();
    windows::globals.parent->UseBus(chosen);
}
