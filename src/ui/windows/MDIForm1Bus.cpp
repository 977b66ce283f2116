// The parent window's strip that names the bus, and the way to another one.

#include "Dialogs.h"
#include "MDIForm1.h"
#include "Program.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "basApp.h"
#include "frmBus.h"
#include "frmDoctor.h"

#include <fmt/format.h>

void MDIForm1::ShowBus() {
    const program::WhichBus& bus = program::globals.Bus;
    const bas1394::BusKind kind = bus.Choice.Kind;
    const bool simulated =
        bus.Fault.empty() && (kind == bas1394::BusKind::Simulated || kind == bas1394::BusKind::Replay);
    const std::string text = bus.Fault.empty() ? program::BusText(bus) : "none.  " + bus.Fault;
    cmdBus->setLine("Bus: " + Q(simulated ? text + " - no real device is reached" : text),
                    "Click to choose another bus.");
    cmdBus->setWarning(simulated || !bus.Fault.empty());
    cmdBus->setAccessibleDescription("Opens the dialog that chooses the bus");
}

void MDIForm1::cmdBus_Click() {
    frmBus dialog(this);
    dialog.Form_Load();
    dialog.exec();
}

void MDIForm1::ShowDoctor() {
    if (auto* open = findChild<frmDoctor*>()) {
        BringForward(qobject_cast<QMdiSubWindow*>(open->frame()));
        return;
    }
    auto* doctor = new frmDoctor;
    AddChild(doctor);
    doctor->Form_Load();
    ShowChild(doctor);
}

void MDIForm1::UseBus(const std::string& bus) {
    if (bus.empty()) // a stored setting can't be empty
        windowSettings::Remove(settingKeys::GLOBAL_SECTION, settingKeys::BUS);
    else if (windowSettings::HasStore())
        windowSettings::Save(settingKeys::GLOBAL_SECTION, settingKeys::BUS, bus);
    if (program::GlobalSetting(settingKeys::BUS, "") != bus) {
        platform::CurrentDialogs().MessageBox("The choice can't be stored.  Set the environment variable HOISTLINE_BUS "
                                              "in its place.",
                                              basApp::TITLE);
        return;
    }
    if (!program::globals.BusVariable.empty()) {
        platform::CurrentDialogs().Inform(
            "The choice is stored.  It counts from the first start on without the environment variable HOISTLINE_BUS.",
            basApp::TITLE);
        return;
    }
    if (!platform::CurrentDialogs().YesNo("The choice is stored for this program, its unattended runs and hoistline.  "
                                          "It counts from the next start on.  "
                                          "Start the program again now?",
                                          basApp::TITLE))
        return;
    windows::globals.startAgain = true;
    close();
    if (!unloaded_) // a load has to end first
        windows::globals.startAgain = false;
}
