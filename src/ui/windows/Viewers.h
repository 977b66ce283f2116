// Shows the CNE data of a package.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>

// Opens a memory viewer, in the first empty slot of their list, and a text viewer on the bytes. The
// window system gets a turn between the two.
void ShowCneData(const ByteArray& cne, std::uint32_t startAddress, const std::string& fileName);
