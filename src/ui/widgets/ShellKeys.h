// What a key sends to a console.
#pragma once

#include "Bytes.h"

#include <QKeyEvent>

namespace shellKeys {

// The characters of a text key; with Alt after an ESC. A control letter has no text on every window system.
ByteArray Characters(const QKeyEvent& event);
// The sequence of an arrow, Home, End, Page or F key as xterm sends it, with the modifiers held; an arrow counts
// them only with Alt. Empty for other keys.
ByteArray NamedKey(const QKeyEvent& event);
bool IsArrow(const QKeyEvent& event);

} // namespace shellKeys
