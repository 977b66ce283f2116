#include "WindowTest.h"

#include "WindowSettings.h"
#include "WindowWiring.h"
#include "Wiring.h"
#include "basApp.h"

#include <QApplication>
#include <QtTest/QTest>

namespace testing_support {

void WindowTest::Start(const std::string& bus, const std::string& commandLine) {
    program = std::make_unique<HeadlessProgram>(bus);
    program->windowSystem.eachTurn = [] { QCoreApplication::processEvents(); };
    WireWindows([] {});
    ASSERT_TRUE(basApp::Main(commandLine));
    Pass(3000);
}

WindowTest::~WindowTest() {
    if (windows::globals.parent != nullptr)
        windows::globals.parent->close();
    delete windows::globals.parent;
    windows::globals = {};
    windows::hooks = {};
    windowSettings::hooks = {};
}

void WindowTest::Pass(std::int64_t milliseconds) {
    program->windowSystem.RunUntil([] { return false; }, milliseconds);
}

void WindowTest::SelectRow(int row) {
    QTableWidget* grid = form().mfgDevices;
    ASSERT_LT(row, grid->rowCount());
    const QPoint at = grid->visualItemRect(grid->item(row, deviceRows::ID)).center();
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, at);
    Pass(20);
}

int WindowTest::RowOf(int node) const {
    for (int row = 0; row < form().mfgDevices->rowCount(); ++row)
        if (Cells(row)[deviceRows::NODE] == std::to_string(node))
            return row;
    return -1;
}

std::vector<std::string> WindowTest::Cells(int row) const {
    std::vector<std::string> texts;
    for (int column = 0; column < form().mfgDevices->columnCount(); ++column)
        texts.push_back(form().mfgDevices->item(row, column)->text().toStdString());
    return texts;
}

bool WindowTest::Choose(const char* itemName) {
    auto* item = form().findChild<QAction*>(itemName);
    if (item == nullptr || !item->isEnabled() || !item->isVisible())
        return false;
    item->trigger();
    Pass(20);
    return true;
}

std::string WindowTest::Setting(const std::string& section, const std::string& key) const {
    return windowSettings::Get(section, key, "<none>");
}

std::string WindowTest::LastStatusLine() const {
    const QAbstractItemModel* rows = status().mfgStatus->model();
    return rows->index(rows->rowCount() - 1, 3).data().toString().toStdString();
}

} // namespace testing_support

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
