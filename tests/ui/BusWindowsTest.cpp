// The strip that names the bus, the dialog that chooses another, and the window with the checks of this machine.
#include "Checks.h"
#include "WindowTest.h"
#include "frmBus.h"
#include "frmDoctor.h"

#include <QApplication>
#include <QClipboard>

using namespace testing_support;

namespace {

class BusWindows : public WindowTest {
protected:
    BusWindows() {
        for (std::string* path : {&machine_.Sys, &machine_.Dev, &machine_.Proc, &machine_.Etc, &machine_.Lib})
            *path = folder_.path() + *path;
        doctor::UseMachine(&machine_);
    }
    ~BusWindows() override { doctor::UseMachine(nullptr); }
    static MDIForm1& parent() { return *windows::globals.parent; }
    // What the dialog stores after `fill`.
    std::string Stored(const std::function<void(frmBus&)>& fill) {
        frmBus dialog(&parent());
        dialog.Form_Load();
        fill(dialog);
        dialog.cmdOK->click();
        return Setting("Global", "Bus");
    }
    std::string LastBox() const { return program->dialogs.shown.back().text; }

    TestFolder folder_;
    doctor::Machine machine_ = doctor::ThisMachine();
};

} // namespace

TEST_F(BusWindows, TheDialogStoresWhatCanBeUsedAndStartsNothingByItself) {
    Start(Bus({}));
    EXPECT_EQ(parent().cmdBus->text(), "Bus: simulated (named by HOISTLINE_BUS) - no real device is reached");
    EXPECT_EQ(Stored([](frmBus& dialog) { dialog.txtCard->insert("x"); }), "<none>") << "nothing is chosen yet";
    EXPECT_EQ(Stored([](frmBus& dialog) {
                  dialog.optKernel->setChecked(true);
                  dialog.txtCard->setText("x");
              }),
              "<none>");
    EXPECT_NE(LastBox().find("\"kernel:x\" can't be used"), std::string::npos) << LastBox();
    EXPECT_EQ(Stored([](frmBus& dialog) {
                  dialog.optSimulated->setChecked(true);
                  dialog.txtDescription->setText("/racks/bus 7.json");
              }),
              "simulated:/racks/bus 7.json");
    EXPECT_NE(LastBox().find("HOISTLINE_BUS"), std::string::npos) << "it outranks the setting: " << LastBox();
    EXPECT_EQ(Stored([](frmBus& dialog) { EXPECT_EQ(dialog.txtDescription->text(), "/racks/bus 7.json"); }),
              "simulated:/racks/bus 7.json");
    program::globals.BusVariable.clear();
    program->dialogs.answers = {"no"};
    EXPECT_EQ(Stored([](frmBus& dialog) { dialog.optProgram->setChecked(true); }), "<none>");
    EXPECT_NE(LastBox().find("Start the program again now?"), std::string::npos) << LastBox();
    EXPECT_FALSE(windows::globals.startAgain);
    program->dialogs.answers = {"yes"};
    Stored([](frmBus& dialog) { dialog.optLibrary->setChecked(true), dialog.txtLibrary->setText("/x.so"); });
    EXPECT_TRUE(windows::globals.startAgain);
}

TEST_F(BusWindows, TheChecksShowWhatMendsTheFirstFault) {
    Start(Bus({}));
    folder_.Put("sys/bus/pci/devices/0000:03:00.0/class", "0x0c0010\n");
    machine_.Release = "6.1.0";
    parent().ShowDoctor();
    parent().ShowDoctor();
    const auto open = parent().findChildren<frmDoctor*>();
    ASSERT_EQ(open.size(), 1) << "a second window";
    frmDoctor& window = *open.front();
    EXPECT_EQ(window.mfgChecks->rowCount(), int(doctor::Examine(machine_).size()));
    EXPECT_EQ(window.mfgChecks->item(window.mfgChecks->currentRow(), 0)->text(), "driver");
    window.cmdCopyCommand->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "sudo modprobe firewire_ohci");
    machine_.Release = "2.6.35";
    window.cmdCheckAgain->click();
    EXPECT_EQ(window.mfgChecks->currentRow(), 0);
    EXPECT_FALSE(window.cmdCopyCommand->isEnabled()) << "no command mends an old kernel";
}
