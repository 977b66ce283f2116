// The whole program with its windows, offscreen: the simulated bus, a program directory of its own,
// scripted dialogs, and the virtual clock. Qt's events have their share of every turn.
#pragma once

#include "HeadlessProgram.h"
#include "MDIForm1.h"
#include "Windows.h"
#include "frmMain.h"
#include "frmStatus.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

class WindowTest : public ::testing::Test {
protected:
    ~WindowTest() override;

    // Starts the program on a bus, and lets the first enumeration finish.
    void Start(const std::string& bus, const std::string& commandLine = {});
    // The message loop for so much time of the virtual clock.
    void Pass(std::int64_t milliseconds);
    void SelectRow(int row); // with a click, as the user does
    // The row of a node's number, -1 without one.
    int RowOf(int node) const;
    std::vector<std::string> Cells(int row) const;
    // Chooses the item as the user does; false when it is disabled, hidden or not there.
    bool Choose(const char* itemName);
    std::string Setting(const std::string& section, const std::string& key) const; // "<none>" without one
    std::string LastStatusLine() const; // message column of the newest row of window 0

    MDIForm1& parent() const { return *windows::globals.parent; }
    frmMain& form() const { return *windows::globals.main; }
    frmStatus& status(std::size_t slot = 0) const { return *windows::globals.statusWindows[slot]; }

    std::unique_ptr<HeadlessProgram> program;
};

} // namespace testing_support
