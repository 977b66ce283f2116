#include "ShellKeys.h"

#include "CodePage.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace shellKeys {

namespace {

constexpr std::uint8_t ESCAPE = 27;

struct Key {
    int key;
    char last;  // of its sequence: ESC [ last, or ESC O last for the first four F keys
    int number; // ESC [ number ~
};
constexpr Key KEYS[] = {
    {Qt::Key_Up, 'A', 0},   {Qt::Key_Down, 'B', 0}, {Qt::Key_Right, 'C', 0},  {Qt::Key_Left, 'D', 0},
    {Qt::Key_Home, 'H', 0}, {Qt::Key_End, 'F', 0},  {Qt::Key_F1, 'P', 0},     {Qt::Key_F2, 'Q', 0},
    {Qt::Key_F3, 'R', 0},   {Qt::Key_F4, 'S', 0},   {Qt::Key_PageUp, '~', 5}, {Qt::Key_PageDown, '~', 6},
    {Qt::Key_F5, '~', 15},  {Qt::Key_F6, '~', 17},  {Qt::Key_F7, '~', 18},    {Qt::Key_F8, '~', 19},
    {Qt::Key_F9, '~', 20},  {Qt::Key_F10, '~', 21}, {Qt::Key_F11, '~', 23},   {Qt::Key_F12, '~', 24},
};

// As xterm encodes them.
int ModifierNumber(Qt::KeyboardModifiers modifiers) {
    return 1 + (modifiers.testFlag(Qt::ShiftModifier) ? 1 : 0) + (modifiers.testFlag(Qt::AltModifier) ? 2 : 0) +
           (modifiers.testFlag(Qt::ControlModifier) ? 4 : 0);
}

} // namespace

bool IsArrow(const QKeyEvent& event) {
    return event.key() >= Qt::Key_Left && event.key() <= Qt::Key_Down;
}

ByteArray NamedKey(const QKeyEvent& event) {
    const auto key = std::find_if(std::begin(KEYS), std::end(KEYS), [&](const Key& k) { return k.key == event.key(); });
    if (key == std::end(KEYS))
        return {};
    const bool plain = IsArrow(event) && !event.modifiers().testFlag(Qt::AltModifier);
    const int modifiers = plain ? 1 : ModifierNumber(event.modifiers());
    std::string sequence;
    if (key->number != 0)
        sequence = modifiers == 1 ? fmt::format("[{}~", key->number) : fmt::format("[{};{}~", key->number, modifiers);
    else if (modifiers != 1)
        sequence = fmt::format("[1;{}{}", modifiers, key->last);
    else
        sequence = fmt::format("{}{}", key->last >= 'P' ? 'O' : '[', key->last);
    ByteArray bytes{ESCAPE};
    bytes.insert(bytes.end(), sequence.begin(), sequence.end());
    return bytes;
}

ByteArray Characters(const QKeyEvent& event) {
    const auto modifiers = event.modifiers();
    const bool letter = event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z;
    const bool alt = modifiers.testFlag(Qt::AltModifier);
    ByteArray bytes;
    if (letter && (modifiers & ~Qt::AltModifier) == Qt::ControlModifier)
        bytes = {std::uint8_t(event.key() - Qt::Key_A + 1)};
    else if (letter && alt && event.text().isEmpty())
        bytes = {std::uint8_t(event.key() + (modifiers.testFlag(Qt::ShiftModifier) ? 0 : 'a' - 'A'))};
    else
        bytes = platform::AnsiFromText(event.text().toStdString());
    if (alt && !bytes.empty())
        bytes.insert(bytes.begin(), ESCAPE);
    return bytes;
}

} // namespace shellKeys
