#include "Viewers.h"

#include "CneText.h"
#include "MDIForm1.h"
#include "WindowSystem.h"
#include "Windows.h"
#include "frmConfig.h"
#include "frmViewMemory.h"

#include <fmt/format.h>

void ShowCneData(const ByteArray& cne, std::uint32_t startAddress, const std::string& fileName) {
    auto& list = windows::globals.memoryWindows;
    const std::size_t slot = windows::EmptySlot(list);
    auto* memory = new frmViewMemory;
    list[slot] = memory;
    memory->Index = std::int16_t(slot);
    windows::globals.parent->AddChild(memory);
    memory->Form_Load();
    memory->setWindowTitle(QString::fromStdString(fmt::format("View Memory - CNE data from '{}'", fileName)));
    memory->StartAddress = startAddress;
    memory->setByteData(cne);
    windows::globals.parent->ShowChild(memory);
    platform::DoEvents();
    if (windows::globals.parent == nullptr || windows::globals.main == nullptr)
        return; // the program was ended in that turn

    auto* config = new frmConfig;
    windows::globals.parent->AddChild(config);
    config->Form_Load();
    config->RTB1->setPlainText(QString::fromStdString(cneText::TextOf(cne)));
    config->setWindowTitle(QString::fromStdString(fmt::format("Config (CNE) data from '{}'", fileName)));
    windows::globals.parent->ShowChild(config);
}
