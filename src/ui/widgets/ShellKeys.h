// What a key sends to a console.
#pragma once

#include "Bytes.h"

#include <QKeyEvent>

namespace shellKeys {

// The characters of a text key, after an ESC if Alt is held. Some window systems supply no text for control letters.
ByteArray Characters(const QKeyEvent& event);
// The sequence of an arrow, Home, End, Page or F key as xterm sends it, with its modifiers; those of an arrow count
// only if Alt is among them. Empty for other keys.
ByteArray NamedKey(const QKeyEvent& event);
bool IsArrow(const QKeyEvent& event);

} // namespace shellKeys
