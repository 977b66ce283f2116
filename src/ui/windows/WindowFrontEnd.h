// The windows as the front end of the program.
#pragma once

#include "MDIForm1.h"
#include "PrintingFrontEnd.h"
#include "Windows.h"
#include "frmMain.h"
#include "frmShell.h"
#include "frmStatus.h"

// A window that doesn't exist (yet, or any more) is passed over.
class WindowFrontEnd : public program::PrintingFrontEnd {
public:
    using PrintingFrontEnd::PrintingFrontEnd;

    void Open() override { windows::LoadParentWindow(); }
    bool IsOpen() const override { return Main() != nullptr; }
    void TakeFocus() override {
        if (Main() != nullptr && Main()->isVisible())
            Main()->setFocus();
    }
    bool ReadyToEnd() override { return windows::ReadyToEnd(); }
    void Close() override { windows::UnloadParentWindow(); }

    std::size_t StatusWindowCount() const override { return windows::globals.statusWindows.size(); }
    bool StatusWindowWants(std::size_t slot, std::int32_t level) const override {
        return windows::StatusWindowWants(slot, level);
    }
    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override {
        windows::PostToStatusWindow(slot, message, elapsedTime, level, module);
    }
    void AppendDebugSpew(const std::string& text) override {
        if (Main() != nullptr)
            Main()->AppendDebugSpew(text);
    }
    void ShowStoreNotice(const std::string& text) override {
        PrintingFrontEnd::ShowStoreNotice(text);
        if (windows::globals.parent != nullptr)
            windows::globals.parent->ShowNotice(QString::fromStdString(text));
    }

    void StartBusTimers() override {
        if (Main() != nullptr)
            Main()->StartBusTimers();
    }
    void NodesChanged() override {
        if (Main() != nullptr)
            Main()->IEEE1394Bus_NodesChanged();
    }
    void ResetComplete() override {
        if (Main() != nullptr)
            Main()->IEEE1394Bus_ResetComplete();
        windows::ForEachShell([](frmShell& shell) { shell.BusWasReset(); });
    }
    void ShellCharactersLost(std::int32_t handle, std::int32_t count) override {
        windows::ForEachShell([=](frmShell& shell) {
            if (shell.CurrentHandle() == handle)
                shell.CharactersLost(count);
        });
    }

    void EnableInput(bool enabled) override { windows::EnableMainWindow(enabled); }
    void EnableScheduler(bool enabled) override {
        if (Main() != nullptr)
            Main()->tmrAutomationScheduler->setEnabled(enabled);
    }
    void EndRun() override { windows::EndUnattendedRun(); }

private:
    static ::frmMain* Main() { return windows::globals.main; }
};
