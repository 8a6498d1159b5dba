/*
 * The keys of the live screen, once: what a key does, the help on the screen and the manual's list
 * are all made from this table.
 */
#ifndef SCREENKEYS_H
#define SCREENKEYS_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tvsistat {

/* A key: the character that it types, or one of these. */
using Key = int32_t;
namespace keys {
inline constexpr Key up = 0x1000000, down = up + 1, left = up + 2, right = up + 3;
inline constexpr Key pageUp = up + 4, pageDown = up + 5, home = up + 6, end = up + 7;
inline constexpr Key backTab = up + 8;
inline constexpr Key tab = '\t', enter = '\r', escape = 27, backspace = 127, redraw = 12,
                     clear = 21; /* Ctrl-U */
inline constexpr Key none = 0;
} // namespace keys

enum class Command : uint8_t {
    Up,
    Down,
    Left,
    Right,
    PageUp,
    PageDown,
    First,
    Last,
    Home,
    End,
    NextView,
    View,
    Detail,
    Back,
    FilterRows,
    FilterFields,
    SortLeft,
    SortRight,
    Reverse,
    HideIdle,
    Pause,
    LongerInterval,
    ShorterInterval,
    Printing,
    Scaled,
    Columns,
    NextCache,
    SampleBack,
    SampleForward,
    MinuteBack,
    MinuteForward,
    Play,
    Faster,
    Slower,
    GoTo,
    PreviousEvent,
    NextEvent,
    Events,
    Record,
    Mark,
    Help,
    Redraw,
    Quit
};

enum class KeyGroup : uint8_t { Moving, Choosing, Numbers, Replay, General };
/* "Moving", ... */
std::string_view nameOf(KeyGroup group);

struct KeyEntry {
    Command command;
    KeyGroup group;
    std::array<Key, 5> keys; /* keys::none behind the last */
    std::string_view text;   /* the keys, as help and manual show them */
    std::string_view sentence;
};

std::span<const KeyEntry> keyTable();
std::optional<Command> commandOf(Key key);

} // namespace tvsistat

#endif
