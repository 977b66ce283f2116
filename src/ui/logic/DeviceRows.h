// What the device window shows of a node: the row of the grid and the texts of the panel, worked
// out from the node table and the target list without a widget.
#pragma once

#include "BootloaderRecords.h"
#include "bas1394.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace deviceRows {

inline constexpr std::size_t COLUMNS = 7;
struct Column {
    const char* header;
    double share; // of the grid's width
    bool centred;
};
extern const std::array<Column, COLUMNS> COLUMN_TABLE;

enum ColumnNumber : std::size_t { DRIVER, NODE, ID, STATE, MANUFACTURER, MODEL, FIRMWARE };

struct Row {
    std::array<std::string, COLUMNS> text;
    bool running = false;       // a target in state 2: the selection follows it
    std::int32_t badState = -1; // an invalid target state, to be logged; otherwise -1
};
Row RowOf(const Device& device);

// Targets of links besides pages of the user guide and "#" with a command of the device window.
inline constexpr const char* CHECK_MACHINE = "!doctor";
inline constexpr const char* USE_SIMULATED_BUS = "!simulated";

// What to do if the bus has no device to work on. Empty while the bus is being read, and if there is a device.
struct Hint {
    struct Link {
        std::string caption, target;
    };
    std::string text;
    std::vector<Link> links;
};
// `whyNoBus`: why there is no interface to the bus, "" if that isn't known.
Hint HintOfBus(const std::string& whyNoBus);

// As many of a cell's words as there is room for, at least the first: a version rather than its date, a date rather
// than its time.
std::string WordsThatFit(const std::string& text, const std::function<bool(const std::string&)>& fits);

// Whether the text of the ID column is remembered as the selection: 16 hexadecimal digits apart from blanks, not all
// zero, the first one 0 to 9.
bool IsMemorableId(const std::string& idColumn);

// A column's width in twips (15 to a pixel); one that isn't above 0 leaves the column as it is.
std::int32_t ColumnWidth(std::int32_t gridWidthTwips, double share);

inline constexpr const char* PICK_A_DEVICE = "Pick a device in the list first.";

// The texts of the panel; Panel{} is an empty one.
struct Panel {
    std::string lblDriver = "Driver: ";
    std::string lblNode = "Node: ";
    std::string lblGUID = "ID (ConfigROM):   ";
    std::string lblDeviceState = "Device State: ";
    std::string lblHardwareVersion = "Hardware Version: ";
    std::string lblManufacturer = "Manufacturer: ";
    std::string lblModelID = "Model ID: ";
    std::string lblModelName = "Model Name: ";
    std::string lblBootloaderGuidInfo = "ID (InfoReg):    ";
    std::string lblBootloaderGuidGet = "ID (Bootloader): ";
    std::string txtApplicationImageVersion, txtDebugMonitorVersion, txtBootloaderVersion;
    bool targetBehindRow = false;   // enables shell, resets, factory defaults
    bool bootloaderRunning = false; // enables the bootloader menu and firmware updates
    // Why these commands are disabled, and what to do about it; empty if they aren't.
    std::string whyNoTarget = PICK_A_DEVICE, whyNoBootloader = PICK_A_DEVICE;
};
// `targetIndex` is the index in the target list, -1 for none.
Panel PanelOf(const Device& device, std::int32_t targetIndex);

} // namespace deviceRows
