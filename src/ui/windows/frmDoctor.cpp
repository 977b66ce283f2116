#include "frmDoctor.h"

#include "Checks.h"
#include "Controls.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QVBoxLayout>

namespace {

enum Column { CHECK, VERDICT, FOUND, COLUMNS };
constexpr int COMMAND = Qt::UserRole; // data of a row's first item

QTableWidgetItem* Cell(const std::string& text, const std::string& command) {
    auto* item = new QTableWidgetItem(Q(text));
    item->setData(COMMAND, Q(command));
    item->setTextAlignment(Qt::AlignLeft | Qt::AlignTop);
    return item;
}

} // namespace

frmDoctor::frmDoctor() : Form("frmDoctor", "Check of This Machine") {
    mfgChecks = Named(new KeepsItsRow<QTableWidget>(this), "mfgChecks");
    mfgChecks->setColumnCount(COLUMNS);
    mfgChecks->setHorizontalHeaderLabels({"Check", "Verdict", "Found, and what mends it"});
    mfgChecks->setEditTriggers(QAbstractItemView::NoEditTriggers);
    mfgChecks->setSelectionBehavior(QAbstractItemView::SelectRows);
    mfgChecks->setSelectionMode(QAbstractItemView::SingleSelection);
    mfgChecks->setWordWrap(true);
    mfgChecks->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    mfgChecks->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    mfgChecks->verticalHeader()->hide();
    mfgChecks->horizontalHeader()->setStretchLastSection(true);
    MakeCopyable(mfgChecks, CopyAs::Table);
    lblHow = Named(new QLabel("Causes come before effects: mend the first bad one, then check again.  The commands "
                              "are for a terminal."),
                   "lblHow");
    lblHow->setWordWrap(true);
    cmdCheckAgain = Named(new QPushButton("Check &Again"), "cmdCheckAgain");
    cmdCopyCommand = Named(new QPushButton("Copy Co&mmand"), "cmdCopyCommand");
    cmdClose = Named(new QPushButton("&Close"), "cmdClose");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(lblHow, 1);
    for (QPushButton* button : {cmdCheckAgain, cmdCopyCommand, cmdClose})
        buttons->addWidget(button);
    auto* column = new QVBoxLayout(this);
    column->addWidget(mfgChecks, 1);
    column->addLayout(buttons);
    connect(cmdCheckAgain, &QPushButton::clicked, this, &frmDoctor::Examine);
    connect(cmdCopyCommand, &QPushButton::clicked, this, &frmDoctor::CopyCommand);
    connect(cmdClose, &QPushButton::clicked, this, [this] { Unload(); });
    connect(mfgChecks, &QTableWidget::currentCellChanged, this, [this](int row) {
        const QTableWidgetItem* first = mfgChecks->item(row, CHECK);
        cmdCopyCommand->setEnabled(first != nullptr && !first->data(COMMAND).toString().isEmpty());
    });
}

void frmDoctor::Form_Load() {
    fitClient(fontMetrics().averageCharWidth() * 110, fontMetrics().height() * 24);
    Examine();
}

void frmDoctor::Examine() {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const std::vector<doctor::Row> rows = doctor::Examine(doctor::ThisMachine());
    QApplication::restoreOverrideCursor();
    mfgChecks->setCurrentCell(-1, -1);
    mfgChecks->setRowCount(int(rows.size()));
    int firstBad = -1;
    for (int row = 0; row < int(rows.size()); ++row) {
        const doctor::Row& check = rows[std::size_t(row)];
        const std::string remedy = check.Command.empty() ? "" : "\nMend it with: " + check.Command;
        mfgChecks->setItem(row, CHECK, Cell(check.Name, check.Command));
        mfgChecks->setItem(row, VERDICT, Cell(doctor::WordOf(check.Verdict), check.Command));
        mfgChecks->setItem(row, FOUND, Cell(check.Found + remedy, check.Command));
        if (firstBad < 0 && check.Verdict == doctor::Health::Bad)
            firstBad = row;
    }
    for (const int column : {CHECK, VERDICT})
        mfgChecks->resizeColumnToContents(column);
    mfgChecks->setCurrentCell(std::max(firstBad, 0), CHECK);
}

void frmDoctor::CopyCommand() const {
    if (const QTableWidgetItem* first = mfgChecks->item(mfgChecks->currentRow(), CHECK))
        QApplication::clipboard()->setText(first->data(COMMAND).toString());
}
