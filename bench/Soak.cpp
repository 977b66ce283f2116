// A long run on the virtual clock: bus resets, loads from the firmware browser, and every window
// opened and closed, with reports of memory, open files and log rows.
// Arguments: resets, loads, rounds of windows (10000 1000 1000).
#include "AppIcon.h"
#include "Database.h"
#include "HeadlessProgram.h"
#include "MDIForm1.h"
#include "WindowFrontEnd.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basBootloader.h"
#include "frmConfigROM.h"
#include "frmHelp.h"
#include "frmMain.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"
#include "frmStatus.h"

#include <QApplication>

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <string>

namespace {

using namespace testing_support;

const std::string BUS = Bus({Target("000F1B0000000001", "bootloader"), Target("000F1B0000000002", "bootloader")});

struct LongLife : HeadlessProgram {
    LongLife() : HeadlessProgram(BUS) {
        windowSystem.eachTurn = [] {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        };
        program::UseFrontEnd(windows_);
        basApp::Main("");
        Settle();
    }
    ~LongLife() {
        windows::globals.parent->close();
        delete windows::globals.parent;
        windows::globals = {};
    }
    WindowFrontEnd windows_;
    void Settle() {
        windowSystem.RunUntil([] { return !bas1394::globals.BusResetPending && bas1394::globals.BusEnumerated; },
                              60'000);
        if (basBootloader::globals.TargetList.size() != 2 || windows::globals.main->mfgDevices->rowCount() != 3) {
            fmt::print("the list isn't complete\n");
            std::exit(1);
        }
    }
};

long ResidentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::stol(line.substr(6));
    return 0;
}

long OpenFiles() {
    return long(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

// Repeats `step`, with a report after the first tenth and at the end.
template <class Step> void Repeat(const char* what, int times, Step step) {
    for (int i = 1; i <= times; ++i) {
        step();
        if (i == times / 10 || i == times) {
            fmt::print("{:6} {:<22} {:7} KiB resident {:7} KiB in use {:3} open files\n", i, what, ResidentKiB(),
                       mallinfo2().uordblks / 1024, OpenFiles());
            std::fflush(stdout);
        }
    }
}

void ResetBus(LongLife& program) {
    bas1394::ResetBus();
    program.windowSystem.RunUntil([] { return bas1394::globals.BusResetPending; }, 1000);
    program.Settle();
}

frmSelectFirmware* OpenBrowser() {
    MDIForm1& parent = *windows::globals.parent;
    const std::int32_t slot = parent.CreateDownloadWindow();
    auto* browser = static_cast<frmSelectFirmware*>(windows::globals.firmwareWindows[std::size_t(slot)]);
    browser->setFirmwareType(basBootloader::IMAGE_APPLICATION);
    browser->setHDevice(basBootloader::OpenBootloaderDevice(bas1394::globals.DeviceTable[0]));
    parent.ShowChild(browser);
    return browser;
}

void Load(LongLife& program, const ByteArray& image) {
    frmSelectFirmware* browser = OpenBrowser();
    browser->SelectFile(program.directory.file("packages/soak.twd"));
    browser->cmdLoadSelected->click();
    if (program.Flash(0, "application") != image) {
        fmt::print("a load failed\n");
        std::exit(1);
    }
    browser->Unload();
    program.Settle();
}

void OpenAndCloseWindows(LongLife& program) {
    MDIForm1& parent = *windows::globals.parent;
    auto* rom = new frmConfigROM;
    parent.AddChild(rom);
    rom->Form_Load();
    rom->setNodeNum(0);
    parent.ShowChild(rom);
    auto* shell = new frmShell;
    windows::globals.shellWindows[windows::EmptySlot(windows::globals.shellWindows)] = shell;
    parent.AddChild(shell);
    shell->Form_Load();
    shell->setCurrentHandle(basBootloader::OpenBootloaderDevice(bas1394::globals.DeviceTable[1]));
    parent.ShowChild(shell);
    auto* help = new frmHelp;
    parent.AddChild(help);
    help->Form_Load();
    parent.ShowChild(help);
    frmSelectFirmware* browser = OpenBrowser();
    program.windowSystem.RunUntil([] { return false; }, 300);
    for (Form* form :
         {static_cast<Form*>(rom), static_cast<Form*>(shell), static_cast<Form*>(help), static_cast<Form*>(browser)})
        form->Unload();
    program.windowSystem.RunUntil([] { return false; }, 20);
}

} // namespace

int main(int argc, char** argv) {
    const auto count = [&](int index, int otherwise) { return argc > index ? std::atoi(argv[index]) : otherwise; };
    const int resets = count(1, 10'000), loads = count(2, 1'000), rounds = count(3, 1'000);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(AppIcon()); // as in the program; otherwise each frame would draw and cache its own
    LongLife program;
    const ByteArray image(3000, 0x5A);
    program.Write("packages/soak.twd", Package(image));
    Repeat("bus resets", resets, [&] { ResetBus(program); });
    Repeat("loads", loads, [&] { Load(program, image); });
    Repeat("rounds of windows", rounds, [&] { OpenAndCloseWindows(program); });
    platform::Database log(program.directory.file("db1.mdb"));
    fmt::print("{} rows in the stored log\n", log.OpenRecordset("SELECT * FROM tblStatus")->RecordCount());
    return 0;
}
