#include "screenkeys.h"

#include <algorithm>

namespace tvsistat {
namespace {

using enum KeyGroup;

constexpr auto table = std::to_array<KeyEntry>({
    {Command::Up, Moving, {keys::up, 'k'}, "Up, k", "the process above"},
    {Command::Down, Moving, {keys::down, 'j'}, "Down, j", "the process below"},
    {Command::Left, Moving, {keys::left, 'h'}, "Left, h", "columns further left"},
    {Command::Right, Moving, {keys::right, 'l'}, "Right, l", "columns further right"},
    {Command::PageUp, Moving, {keys::pageUp}, "PgUp", "a page up"},
    {Command::PageDown, Moving, {keys::pageDown}, "PgDn", "a page down"},
    {Command::First, Moving, {'g'}, "g", "the first process"},
    {Command::Last, Moving, {'G'}, "G", "the last process"},
    {Command::Home, Moving, {keys::home}, "Home", "as g; of a recording, its first sample"},
    {Command::End, Moving, {keys::end}, "End", "as G; of a recording, its last sample"},
    {Command::NextView, Moving, {keys::tab}, "Tab", "the next view"},
    {Command::View,
     Moving,
     {'1', '2', '3', '4', '5'},
     "1 to 5",
     "the view Voks, Brox, Cache, I/O or Everything"},
    {Command::Detail, Moving, {keys::enter}, "Enter", "every field of the selected process"},
    {Command::Back, Moving, {keys::escape}, "Esc", "back; without a detail: no filters"},
    {Command::NextCache, Moving, {'B'}, "B", "the next cache"},

    {Command::FilterRows,
     Choosing,
     {'/'},
     "/",
     "only processes whose name, pid or kind matches a regular expression"},
    {Command::FilterFields, Choosing, {'\\'}, "\\", "only fields whose name holds a text"},
    {Command::HideIdle, Choosing, {'z'}, "z", "hide or show processes that show only zeros"},
    {Command::Columns, Choosing, {'c'}, "c", "choose the columns"},
    {Command::SortLeft, Choosing, {'<'}, "<", "sort by the column further left"},
    {Command::SortRight, Choosing, {'>'}, ">", "sort by the column further right"},
    {Command::Reverse, Choosing, {'r'}, "r", "sort the other way round"},

    {Command::Pause, Numbers, {' '}, "Space", "keep the picture, or go on; sampling never stops"},
    {Command::LongerInterval, Numbers, {'+'}, "+", "a longer interval"},
    {Command::ShorterInterval, Numbers, {'-'}, "-", "a shorter interval"},
    {Command::Printing, Numbers, {'t'}, "t", "counters as rate, growth or total"},
    {Command::Scaled, Numbers, {'u'}, "u", "numbers scaled or in full"},

    {Command::SampleBack, Replay, {'['}, "[", "the sample before"},
    {Command::SampleForward, Replay, {']'}, "]", "the next sample"},
    {Command::MinuteBack, Replay, {'{'}, "{", "a minute back"},
    {Command::MinuteForward, Replay, {'}'}, "}", "a minute forward"},
    {Command::Play, Replay, {'p'}, "p", "play, or stand still; Space does the same"},
    {Command::Faster, Replay, {'x'}, "x", "play faster: 1, 2, 5, 10, 60 or 300 times"},
    {Command::Slower, Replay, {'X'}, "X", "play slower"},
    {Command::GoTo, Replay, {'b'}, "b", "go to a time, which is typed as for --start"},
    {Command::NextEvent, Replay, {'n'}, "n", "the next event or mark"},
    {Command::PreviousEvent, Replay, {'N'}, "N", "the event or mark before"},

    {Command::Events,
     General,
     {'e'},
     "e",
     "all events; in a replay, Enter goes to the selected one"},
    {Command::Record, General, {'w'}, "w", "begin or end a recording"},
    {Command::Mark, General, {'m'}, "m", "set a mark, with a text, into events and recording"},
    {Command::Help, General, {'?'}, "?", "this help"},
    {Command::Redraw, General, {keys::redraw}, "Ctrl-L", "paint the screen anew"},
    {Command::Quit, General, {'q'}, "q", "quit"},
});

} // namespace

std::string_view nameOf(KeyGroup group) {
    constexpr std::array<std::string_view, 5> names{"Moving", "Choosing", "Numbers", "Replay",
                                                    "General"};
    return names[static_cast<size_t>(group)];
}

std::span<const KeyEntry> keyTable() {
    return table;
}

std::optional<Command> commandOf(Key key) {
    for (const KeyEntry& entry : table) {
        if (key != keys::none && std::ranges::find(entry.keys, key) != entry.keys.end()) {
            return entry.command;
        }
    }
    return std::nullopt;
}

} // namespace tvsistat
