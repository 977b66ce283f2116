// The cost of the windows, offscreen. The bus takes no time and the clock is virtual, so only the
// program's own work is measured.
#include "CneText.h"
#include "ConfigRomText.h"
#include "HeadlessProgram.h"
#include "MDIForm1.h"
#include "RomFile.h"
#include "WindowFrontEnd.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmConfigROM.h"
#include "frmMain.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"
#include "frmStatus.h"
#include "frmViewMemory.h"

#include <QApplication>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int TARGETS = 62; // and this computer

std::string BusOf(int targets) {
    std::string nodes;
    for (int node = 0; node < targets; ++node)
        nodes += testing_support::Target(fmt::format("000F1B{:010X}", node + 1), "bootloader") + ", ";
    return R"({"transactionMicroseconds": 0, "nodes": [)" + nodes + R"({"kind": "host"}]})";
}

struct ProgramWithWindows : testing_support::HeadlessProgram {
    explicit ProgramWithWindows(int targets = TARGETS) : ProgramWithWindows(BusOf(targets)) {}
    explicit ProgramWithWindows(const std::string& bus) : HeadlessProgram(bus, LEVEL_WARNING) {
        windowSystem.eachTurn = [] { QCoreApplication::processEvents(); };
        program::UseFrontEnd(windows_);
        basApp::Main("");
        windowSystem.RunUntil([] { return bas1394::globals.BusEnumerated; }, 60'000);
    }
    ~ProgramWithWindows() {
        windows::globals.parent->close();
        delete windows::globals.parent;
        windows::globals = {};
        basApp::UseFrontEnd(nullptr);
    }
    WindowFrontEnd windows_;
};

frmShell* OpenShell() {
    auto* shell = new frmShell;
    windows::globals.shellWindows[0] = shell;
    windows::globals.parent->AddChild(shell);
    shell->Form_Load();
    shell->setCurrentHandle(basBootloader::OpenBootloaderDevice(bas1394::globals.DeviceTable[0]));
    windows::globals.parent->ShowChild(shell);
    return shell;
}

void RedrawOf63Nodes(benchmark::State& state) {
    const ProgramWithWindows program;
    if (windows::globals.main->mfgDevices->rowCount() != TARGETS + 1)
        return state.SkipWithError("the grid isn't complete");
    for (auto _ : state)
        windows::globals.main->IEEE1394Bus_NodesChanged();
}
BENCHMARK(RedrawOf63Nodes)->Unit(benchmark::kMillisecond);

// A 1 KiB ROM: a root directory with as many text leaves as fit.
ByteArray RomOf1KiB() {
    constexpr std::uint32_t LEAVES = 40, LEAF_QUADLETS = 5;
    std::vector<std::uint32_t> quadlets{0x04FF0000, 0x31333934, 0, 0x000F1B00, 1, LEAVES << 16};
    for (std::uint32_t leaf = 0; leaf < LEAVES; ++leaf)
        quadlets.push_back(0x81000000 | (LEAVES - leaf + leaf * LEAF_QUADLETS));
    for (std::uint32_t leaf = 0; leaf < LEAVES; ++leaf)
        quadlets.insert(quadlets.end(), {(LEAF_QUADLETS - 1) << 16, 0, 0, 0x5461726E, 0x77656C6C});
    quadlets.resize(256);
    ByteArray bytes;
    for (const std::uint32_t quadlet : quadlets)
        for (const int shift : {24, 16, 8, 0})
            bytes.push_back(static_cast<std::uint8_t>(quadlet >> shift));
    return bytes;
}

void RomAsRows(benchmark::State& state) {
    ConfigRomRecord rom;
    std::ignore = basConfigRom::ReadRomImage(RomOf1KiB(), rom);
    for (auto _ : state) {
        basConfigRom::RomTree tree;
        if (basConfigRom::FormatConfigRomApple(tree, rom) != 1 || tree.Rows.size() < 200)
            return state.SkipWithError("rows are missing");
        benchmark::DoNotOptimize(tree);
    }
}
BENCHMARK(RomAsRows)->Unit(benchmark::kMillisecond);

void RomInItsWindow(benchmark::State& state) {
    ConfigRomRecord rom;
    std::ignore = basConfigRom::ReadRomImage(RomOf1KiB(), rom);
    const ProgramWithWindows program;
    bas1394::globals.DeviceTable[0].ConfigRom = rom;
    for (auto _ : state) {
        auto* window = new frmConfigROM;
        windows::globals.parent->AddChild(window);
        window->Form_Load();
        window->setNodeNum(0);
        windows::globals.parent->ShowChild(window);
        QCoreApplication::processEvents(); // the first paint
        state.PauseTiming();
        window->Unload();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        state.ResumeTiming();
    }
}
BENCHMARK(RomInItsWindow)->Unit(benchmark::kMillisecond);

// 2,000 messages within a second: one every 500 us of the virtual clock, with events for
// painting every 20 ms. The time of an iteration is the share of a core.
void Second2000Messages(benchmark::State& state) {
    ProgramWithWindows program;
    windows::globals.statusWindows[0]->MessageLevel = LEVEL_DETAIL;
    std::int32_t number = 0;
    for (auto _ : state) {
        for (int i = 0; i < 2000; ++i) {
            basDebug::Display("bas1394", LEVEL_TRACE, "Message {} of a flood, as long as they often are.", number++);
            program.clock.Sleep(500'000);
            if (i % 40 == 39)
                program.windowSystem.Turn();
        }
    }
}
BENCHMARK(Second2000Messages)->Unit(benchmark::kMillisecond);

double ResidentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::stod(line.substr(6));
    return 0;
}

// 1 MB of console text in 256-byte blocks, painted every 80 ms of the virtual clock, which advances
// 3 ms a block; with an argument of 1 each line has two colours.
void ShellOutputOf1MB(benchmark::State& state) {
    ProgramWithWindows program(1);
    ShellTerminal terminal(nullptr);
    terminal.SetScrollBack(10000);
    terminal.resize(700, 400);
    terminal.show();
    ByteArray block;
    for (int i = 0; block.size() < 256; ++i)
        for (const char c :
             fmt::format(fmt::runtime(state.range(0) == 0 ? "line {} of the console\r\n"
                                                          : "\x1b[1;32mline {}\x1b[0m of the console\r\n"),
                         i))
            block.push_back(static_cast<std::uint8_t>(c));
    block.resize(256);
    for (auto _ : state)
        for (int i = 0; i < 4096; ++i) {
            terminal.ShowOutput(block);
            program.clock.Sleep(3'000'000);
            if (i % 10 == 9)
                program.windowSystem.Turn();
        }
    state.counters["KiB"] = ResidentKiB();
}

BENCHMARK(ShellOutputOf1MB)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A minute with an open shell window on a silent console at the default interval, minus the same
// minute without the window.
void MinuteOfAnOpenShell(benchmark::State& state) {
    ProgramWithWindows program(1);
    if (state.range(0) != 0)
        OpenShell();
    for (auto _ : state)
        program.windowSystem.RunUntil([] { return false; }, 60'000);
}
BENCHMARK(MinuteOfAnOpenShell)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// How long (in bus time) a shell window on a silent device blocks the only thread, and so may delay
// a key typed into another window.
void PollOfASilentDevice(benchmark::State& state) {
    const std::string bus = testing_support::Bus({testing_support::Target("000F1B0000000001", "bootloader")},
                                                 R"({"node": 0, "command": 8, "count": 1000000, "do": "silence"})");
    ProgramWithWindows program(bus);
    auto* shell = OpenShell();
    double longest = 0;
    for (auto _ : state) {
        const std::int64_t before = program.clock.Now();
        shell->tmrPollForShellData_Timer();
        longest = std::max(longest, double(program.clock.Now() - before) / 1e6);
    }
    state.counters["bus_ms_a_poll"] = longest;
}
BENCHMARK(PollOfASilentDevice)->Iterations(5);

ByteArray EveryByte(std::size_t count) {
    ByteArray bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 256);
    return bytes;
}

void HexDumpOf1MB(benchmark::State& state) {
    const ByteArray bytes = EveryByte(1 << 20);
    for (auto _ : state)
        benchmark::DoNotOptimize(basUtils::FormatHexDump(0xC000, bytes, "<columnwidth = 4>"));
}
BENCHMARK(HexDumpOf1MB)->Unit(benchmark::kMillisecond);

// Until the first painting is done.
void MemoryWindowOf16MB(benchmark::State& state) {
    const ByteArray bytes = EveryByte(16 << 20);
    const ProgramWithWindows program(1);
    for (auto _ : state) {
        auto* window = new frmViewMemory;
        windows::globals.parent->AddChild(window);
        window->Form_Load();
        window->setByteData(bytes);
        windows::globals.parent->ShowChild(window);
        QCoreApplication::processEvents();
        state.PauseTiming();
        if (window->txtNodeMemory->lineCount() != 1 << 20)
            return state.SkipWithError("the window doesn't hold 16 bytes a line");
        window->Unload();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        state.ResumeTiming();
    }
}
BENCHMARK(MemoryWindowOf16MB)->Unit(benchmark::kMillisecond);

// The firmware browser on a folder of packages, including a 5 GB file and odd names.
struct BrowserOnFolder : ProgramWithWindows {
    explicit BrowserOnFolder(std::int64_t packages) : ProgramWithWindows(1) {
        const ByteArray package = testing_support::Package(ByteArray(3000, 0x5A));
        for (std::int64_t i = 0; i < packages - 3; ++i)
            Write(fmt::format("packages/package {}.twd", i), package);
        for (const char* odd : {"packages/it's a \"name\" [x].twd", "packages/größe µ.twd", "packages/large.twd"})
            Write(odd, package);
        std::filesystem::resize_file(directory.file("packages/large.twd"), 5'000'000'000);
        const auto slot = std::size_t(windows::globals.parent->CreateDownloadWindow());
        browser = static_cast<frmSelectFirmware*>(windows::globals.firmwareWindows[slot]);
        browser->setFirmwareType(basBootloader::IMAGE_APPLICATION);
        browser->setHDevice(basBootloader::OpenBootloaderDevice(bas1394::globals.DeviceTable[0]));
        windows::globals.parent->ShowChild(browser);
    }
    frmSelectFirmware* browser;
};

void ListFolderOfPackages(benchmark::State& state) {
    const BrowserOnFolder program(state.range(0));
    for (auto _ : state)
        program.browser->setFolder(program.directory.file("packages"));
    if (program.browser->ListView1->topLevelItemCount() != state.range(0))
        state.SkipWithError("the list isn't complete");
}
BENCHMARK(ListFolderOfPackages)->Arg(1000)->Arg(10'000)->Unit(benchmark::kMillisecond);

void ClickOnAPackage(benchmark::State& state) {
    constexpr const char* NAMES[] = {"package 7.twd", "it's a \"name\" [x].twd", "größe µ.twd", "large.twd"};
    const BrowserOnFolder program(1000);
    const auto path = [&](std::int64_t i) { return program.directory.file(std::string("packages/") + NAMES[i]); };
    program.browser->SelectFile(path(state.range(0)));
    for (auto _ : state) { // a click on the current row reads its file again, with the next events
        Q_EMIT program.browser->ListView1->itemClicked(program.browser->ListView1->currentItem(), 0);
        platform::DoEvents();
    }
    if (!program.browser->cmdLoadSelected->isEnabled())
        state.SkipWithError("the package isn't taken");
}
BENCHMARK(ClickOnAPackage)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

// Groups with 20 pairs each, four deep; the argument's other choices are a flood of brackets and noise.
ByteArray CneOf1MB(std::int64_t kind) {
    if (kind == 1)
        return ByteArray(1 << 20, '[');
    if (kind == 2)
        return EveryByte(1 << 20);
    std::string text;
    for (int group = 0; text.size() < 1 << 20; ++group) {
        text += fmt::format("[Group{}", group) + '\0';
        for (int pair = 0; pair < 20; ++pair)
            text += fmt::format("key{}", pair) + '\0' + fmt::format("value of {}", pair) + '\0';
        if (group % 4 == 3)
            text += std::string("]\0]\0]\0]\0", 8);
    }
    return {text.begin(), text.end()};
}

void CneTextOf1MB(benchmark::State& state) {
    const ByteArray cne = CneOf1MB(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(cneText::TextOf(cne));
}
BENCHMARK(CneTextOf1MB)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

// Memory after 100 runs of `step`, and after ten times as many more.
template <class Step> void ReportMemory(benchmark::State& state, Step step) {
    for (auto _ : state) {
        for (int i = 0; i < 100; ++i)
            step();
        state.counters["KiB_after_100"] = ResidentKiB();
        for (int i = 0; i < 1000; ++i)
            step();
        state.counters["KiB_after_1100"] = ResidentKiB();
    }
}

void MemoryOfBusResets(benchmark::State& state) {
    ProgramWithWindows program(2);
    ReportMemory(state, [&program] {
        bas1394::ResetBus();
        program.windowSystem.RunUntil([] { return false; }, 1000);
        if (windows::globals.main->mfgDevices->rowCount() != 3)
            std::abort();
    });
}
BENCHMARK(MemoryOfBusResets)->Unit(benchmark::kMillisecond)->Iterations(1);

// A step is 100 messages.
void MemoryOfMessages(benchmark::State& state) {
    ProgramWithWindows program(2);
    ReportMemory(state, [&program] {
        for (int i = 0; i < 100; ++i)
            basDebug::Display("bas1394", LEVEL_USER, "Message {} of a flood, as long as they often are.", i);
        program.clock.Sleep(50'000'000);
        program.windowSystem.Turn();
    });
}
BENCHMARK(MemoryOfMessages)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
