#include "WindowTest.h"

#include "SingleInstance.h"
#include "WindowFrontEnd.h"
#include "WindowSettings.h"

#include <QApplication>
#include <QTimer>
#include <QtTest/QTest>

#include <cstdlib>

namespace testing_support {

namespace {

// The windows, whose messages from TRACE on a test reads as well.
class KeptWindows : public WindowFrontEnd {
public:
    explicit KeptWindows(HeadlessProgram& program) : program_(program) {}
    bool StatusWindowWants(std::size_t, std::int32_t level) const override { return level >= LEVEL_TRACE; }
    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override {
        program_.Keep(message, level);
        WindowFrontEnd::PostToStatusWindow(slot, message, elapsedTime, level, module);
    }

private:
    HeadlessProgram& program_;
};

} // namespace

void WindowTest::Start(const std::string& bus, const std::string& commandLine) {
    End();
    program = std::make_unique<HeadlessProgram>(bus);
    program->windowSystem.eachTurn = [] { QCoreApplication::processEvents(); };
    Load(commandLine);
}

void WindowTest::Load(const std::string& commandLine) {
    frontEnd = std::make_unique<KeptWindows>(*program);
    program::UseFrontEnd(*frontEnd);
    ASSERT_TRUE(basApp::Main(commandLine));
    Pass(3000);
}

void WindowTest::Unload() {
    if (windows::globals.parent != nullptr)
        windows::globals.parent->close();
    delete windows::globals.parent;
    windows::globals = {};
    if (program)
        program::UseFrontEnd(*program);
    frontEnd.reset();
}

void WindowTest::End() {
    Unload();
    program.reset();
}

void WindowTest::Restart() {
    Unload();
    platform::ReleaseSingleInstance();
    HeadlessProgram::ResetGlobals();
    ForgetTold();
    Load({});
}

WindowTest::~WindowTest() {
    End();
}

void WindowTest::Pass(std::int64_t milliseconds) {
    program->windowSystem.RunUntil([] { return false; }, milliseconds);
}

void WindowTest::SelectRow(int row) {
    QTableWidget* grid = form().mfgDevices;
    ASSERT_GE(row, 0);
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
    for (const QMenu* menu : form().findChildren<QMenu*>())
        if (menu->actions().contains(item) && !(menu->menuAction()->isEnabled() && menu->menuAction()->isVisible()))
            return false;
    QTimer::singleShot(0, qApp, [] {
        if (QWidget* box = QApplication::activeModalWidget())
            box->close();
    });
    item->trigger();
    Pass(20);
    return true;
}

std::string WindowTest::Setting(const std::string& section, const std::string& key) const {
    return windowSettings::Get(section, key, "<none>");
}

void WindowTest::ForgetTold() {
    program->messages.clear();
    program->dialogs.shown.clear();
}

} // namespace testing_support

int main(int argc, char** argv) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1); // the panel shows local times too
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
