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
    bool running = false;       // a target in state 2: the selection is brought along
    std::int32_t badState = -1; // a state that a target can't have, to be logged; else -1
};
Row RowOf(const Device& device);

// What to do when the bus shows nothing to work on, and where that leads: "#" and a command of the device window,
// or a page of the user guide. Empty while the bus is being read, or when it does.
struct Hint {
    struct Link {
        std::string caption, target;
    };
    std::string text;
    std::vector<Link> links;
};
Hint HintOfBus();

// The words of a cell that there is room for, from the first on: a version before its date, a date before its time.
// The first word stays in any case.
std::string WordsThatFit(const std::string& text, const std::function<bool(const std::string&)>& fits);

// Whether the ID column's text is worth remembering as the selected one: 16 hexadecimal digits less
// blanks, not all zero, and beginning with one of 0 to 9.
bool IsMemorableId(const std::string& idColumn);

// Twips (15 to a pixel) of each column; a width that isn't above 0 leaves a column alone.
std::int32_t ColumnWidth(std::int32_t gridWidthTwips, double share);

inline constexpr const char* PICK_A_DEVICE = "Pick a device in the list first.";

// The panel. Every text is set; an empty panel is Panel{} .
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
    bool targetBehindRow = false;   // shell, resets, factory defaults
    bool bootloaderRunning = false; // the bootloader menu, the firmware updates
    // Why these commands are off, and what to do about it; empty where they aren't.
    std::string whyNoTarget = PICK_A_DEVICE, whyNoBootloader = PICK_A_DEVICE;
};
// `targetIndex` is the index in the target list, -1 for none.
Panel PanelOf(const Device& device, std::int32_t targetIndex);

} // namespace deviceRows
