// What a block of console output does to the text on screen: pure, linear in the block.
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <string>

namespace shellText {

// Take `back` characters away from the end of what is on screen, then add `text`.
struct Edit {
    std::size_t back = 0;
    ByteArray text; // the device's 8-bit characters
};

// Line ends come out as CR LF. A backspace that finds nothing of its own block left reaches onto
// the screen, which holds `onScreen` characters. A single 0 changes nothing.
Edit EditOf(const ByteArray& data, std::size_t onScreen);

// Adds `next` behind `earlier`, which isn't on screen yet: one edit of a screen whose line ends are
// single characters. A 0 becomes a blank, as in the stored history.
void Join(Edit& earlier, const Edit& next);

// What Control V sends: every line end as the Return key sends it.
std::string PasteText(const std::string& clipboard);

} // namespace shellText
