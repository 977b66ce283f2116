#include "Recorder.h"

#include "RecordFormat.h"
#include "RecordVariables.h"
#include "WallClock.h"

#include <cstdlib>
#include <dlfcn.h>

namespace recorder {

Globals globals;

namespace {

using recording::Entry;
using recording::Kind;

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

template <class Function> bool Find(void* module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(module, name));
    return function != nullptr;
}

bool FindAll(void* module, Below& below) {
    below.module = module;
    return Find(module, "Twl1394InterfaceVersion", below.InterfaceVersion) &&
           Find(module, "RegisterClient", below.RegisterClient) &&
           Find(module, "DeRegisterClient", below.DeRegisterClient) &&
           Find(module, "HookSystemModule", below.HookSystemModule) &&
           Find(module, "SetDebugSpew", below.SetDebugSpew) &&
           Find(module, "GetVirtualDeviceList", below.GetVirtualDeviceList) &&
           Find(module, "AddVirtualDriver", below.AddVirtualDriver) &&
           Find(module, "RemoveVirtualDriver", below.RemoveVirtualDriver) &&
           Find(module, "Get1394AddressFromDeviceObject", below.Get1394AddressFromDeviceObject) &&
           Find(module, "GetLocalHostInformation", below.GetLocalHostInformation) &&
           Find(module, "BusReset", below.BusReset) &&
           Find(module, "AllocateAddressRange", below.AllocateAddressRange) &&
           Find(module, "FreeAddressRange", below.FreeAddressRange) &&
           Find(module, "AsyncReadWrapper", below.AsyncReadWrapper) &&
           Find(module, "AsyncWriteWrapper", below.AsyncWriteWrapper) &&
           Find(module, "QueryElapsedTimeMsLongInt", below.QueryElapsedTimeMsLongInt);
}

std::int64_t ClockNow() {
    return globals.clock == nullptr ? simulator::MonotonicNow() : globals.clock->Now();
}

void Tell(const std::string& text) {
    if (const Twl1394Client* client = globals.client)
        client->AppendDebugText(client->Context, ("record: " + text + "\r\n").c_str());
}

Entry TextEntry(Kind kind, std::string text) {
    Entry entry;
    entry.kind = kind;
    entry.text = std::move(text);
    entry.start = entry.end = Now();
    return entry;
}

} // namespace

bool LoadLibrary() {
    const std::string file = Variable(TWL1394_RECORDED_VARIABLE);
    void* module = file.empty() ? nullptr : dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL); // it stays loaded
    Below below{};
    const bool complete = module != nullptr && FindAll(module, below);
    globals.below = complete ? below : Below{};
    return complete;
}

void BeginRecord() {
    static std::string begun;
    const std::string file = Variable(TWL1394_RECORD_VARIABLE);
    std::string reason;
    {
        const std::lock_guard lock(globals.mutex);
        if (file.empty() || file == begun)
            return;
        begun = file;
        globals.redacts =
            Variable(TWL1394_REDACT_VARIABLE).empty() ? nullptr : std::make_unique<recording::Redaction>();
        globals.start = ClockNow();
        globals.writer.Create(file, reason);
    }
    if (!reason.empty())
        return Tell("can't write '" + file + "': " + reason);
    Note(TextEntry(Kind::About, Variable(TWL1394_ABOUT_VARIABLE) + recording::ABOUT_TIME + "=" + MachineTime() + "\n"));
}

std::int64_t Now() {
    constexpr std::int64_t MICROSECOND = 1000;
    return (ClockNow() - globals.start) / MICROSECOND;
}

void Note(Entry entry) noexcept {
    try {
        std::string failure;
        {
            const std::lock_guard lock(globals.mutex);
            if (!globals.writer.IsOpen())
                return;
            entry.end = Now();
            if (!recording::IsOperation(entry.kind))
                entry.start = entry.end;
            if (globals.redacts && !globals.redacts->Apply(entry))
                return;
            if (!globals.writer.Append(entry))
                failure = globals.writer.Reason();
        }
        if (!failure.empty())
            Tell("the record ends here, it can't be written: " + failure);
    } catch (...) { // without memory the call goes on without its record
    }
}

void NoteDescription() noexcept {
    const char* (*description)() = nullptr;
    const char* text = Find(globals.below.module, "SimulatorDescription", description) ? description() : nullptr;
    try {
        if (text != nullptr && *text != '\0')
            Note(TextEntry(Kind::Description, text));
    } catch (...) {
    }
}

} // namespace recorder
