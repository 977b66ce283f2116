// The whole program with its windows, offscreen: the simulated bus, a program directory of its own, scripted dialogs,
// and the virtual clock. Every turn also processes Qt's events.
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

    // Starts the program on a bus, and lets the first enumeration finish. A program that ran before
    // ends first.
    void Start(const std::string& bus, const std::string& commandLine = {});
    void End();
    // Ends the program and starts it again on the same bus, in the same directory.
    void Restart();
    // Runs the message loop for that much time of the virtual clock.
    void Pass(std::int64_t milliseconds);
    void SelectRow(int row); // with a click, as the user does
    // The row of a node, -1 if it has none.
    int RowOf(int node) const;
    std::vector<std::string> Cells(int row) const;
    // Chooses an item of the device window as the user does; false if it is disabled, hidden or missing. A box that
    // opens is closed again.
    bool Choose(const char* itemName);
    std::string Setting(const std::string& section, const std::string& key) const; // "<none>" without one
    // Texts of all messages and dialogs since the start or the last ForgetTold.
    std::vector<std::string> Told() const { return program->Told(); }
    bool WasTold(const std::string& part) const { return program->Said(part); }
    void ForgetTold();

    MDIForm1& parent() const { return *windows::globals.parent; }
    frmMain& form() const { return *windows::globals.main; }
    frmStatus& status(std::size_t slot = 0) const { return *windows::globals.statusWindows[slot]; }
    // The last opened child window of a class, null if there is none.
    template <class Window> Window* Newest() const {
        const QList<Window*> all = parent().findChildren<Window*>();
        return all.isEmpty() ? nullptr : all.last();
    }

    std::unique_ptr<HeadlessProgram> program;

    std::unique_ptr<basApp::FrontEnd> frontEnd; // the windows

private:
    void Load(const std::string& commandLine);
    void Unload();
};

} // namespace testing_support
