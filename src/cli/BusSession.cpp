#include "BusSession.h"

#include "BusEnumeration.h"
#include "Modules.h"
#include "Paths.h"
#include "Program.h"
#include "RecordFile.h"
#include "bas1394.h"
#include "basApp.h"

namespace cli {

BusSession::BusSession(Call& call) : call_(call), frontEnd_(call) {
    call_.frontEnd = &frontEnd_;
    program::UseFrontEnd(frontEnd_);
    basApp::globals.PerformUnattendedOperations = true; // nobody answers a box
}

BusSession::~BusSession() {
    if (busOpen_)
        TellOfReplay();
    if (busOpen_)
        frontEnd_.Close();
    else
        program::ReleaseStore();
    basApp::globals.PerformUnattendedOperations = false;
    basApp::UseFrontEnd(nullptr);
    call_.frontEnd = nullptr;
}

// What happened after it isn't what the record holds.
void BusSession::TellOfReplay() {
    platform::DoEvents(); // what the library has said
    if (frontEnd_.replayTrouble.empty())
        return;
    const std::string text =
        "The replay left its record: " + frontEnd_.replayTrouble.substr(sizeof "replay: " - 1) + ".";
    if (call_.report.Concluded() == Verdict::Done)
        call_.report.Spoil(text);
    else
        call_.TellAnyway("hoistline: " + Printable(text));
}

void BusSession::OpenStore() {
    platform::ChangeDirectory(platform::ProgramDirectory()); // where the store looks for its file
    program::CreateStore();
}

// A call logs many rows in a short time; what is kept longer than this would be lost with a process that is killed.
void BusSession::StoreLogInBatches() {
    constexpr std::size_t ROWS = 200;
    constexpr std::int32_t LONGEST_TIME = 250; // ms
    if (!program::globals.DbManager)
        return;
    program::globals.DbManager->StoreInBatches(ROWS);
    storing_ = platform::MakeTimer(LONGEST_TIME, [] {
        if (program::globals.DbManager)
            program::globals.DbManager->StoreKeptRows();
    });
    storing_->SetEnabled(true);
}

bool BusSession::ChooseRecord() {
    const std::string& option = call_.options.Record;
    const std::string file = option.empty() ? program::CallersRecord() : option;
    const std::string fault = file.empty() ? "" : program::RecordFault(file);
    if (!fault.empty())
        return call_.End(Verdict::Refused, fmt::format("The record \"{}\" can't be created: {}.", file, fault));
    bas1394::ChooseRecord({file, call_.options.Redacts});
    return true;
}

bool BusSession::OpenBus() {
    program::globals.BusOption = call_.options.Bus;
    if (!ChooseRecord())
        return false;
    busOpen_ = true;
    basApp::StartBesideOthers();
    const program::WhichBus& bus = program::globals.Bus;
    if (!bus.Fault.empty())
        return call_.End(Verdict::NoBus, bus.Fault);
    ReportBus(bus);
    StoreLogInBatches();
    basApp::globals.PerformUnattendedOperations = true; // the start reads it from a command line
    if (bas1394::globals.LibraryModule == nullptr)
        return call_.End(Verdict::NoBus,
                         fmt::format("The access library can't be loaded: {}.", platform::LastModuleError()));
    platform::DoEvents(); // what the library has to say
    bas1394::BusResetHandlerThread();
    if (call_.MustEnd())
        return false;
    if (!bas1394::globals.BusEnumerated || bas1394::globals.LastVirtualDeviceCount < 1)
        return EndWithoutBus();
    return true;
}

// Nobody is to take a simulated bus for a real one, or the other way round.
void BusSession::ReportBus(const program::WhichBus& bus) {
    call_.report.BusKind = bas1394::NameOf(bus.Choice.Kind);
    call_.report.BusDescription = bus.Choice.Description;
    call_.report.BusReason = NameOf(bus.Reason);
    const bool reachesDevices =
        bus.Choice.Kind != bas1394::BusKind::Simulated && bus.Choice.Kind != bas1394::BusKind::Replay;
    if (reachesDevices || call_.options.Quiet)
        return;
    const std::string line = Printable("Bus: " + program::BusText(bus));
    call_.answerStandsAlone ? call_.Tell(line) : call_.Print(line);
}

bool BusSession::EndWithoutBus() {
    platform::DoEvents();
    const bool isKernel = program::globals.Bus.Choice.Kind == bas1394::BusKind::Kernel;
    if (const std::string reason = isKernel ? program::WhyNoBus() : ""; !reason.empty())
        return call_.End(Verdict::NoBus, reason + "  For the simulated bus: --bus simulated.");
    const std::string& trouble = frontEnd_.libraryTrouble.empty() ? frontEnd_.lastTrouble : frontEnd_.libraryTrouble;
    return call_.End(Verdict::NoBus, trouble.empty() ? "There is no interface to the bus." : trouble);
}

} // namespace cli
