/* The cells of a screen: what is laid out, tested and painted. */
#ifndef SCREENGRID_H
#define SCREENGRID_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tvsistat {

/* How a cell stands out. Never the only thing that says something. */
inline constexpr uint8_t plainLook = 0, boldLook = 1, dimLook = 2, reverseLook = 4;
inline constexpr uint8_t alarmLook = 8;   /* red where there are colours */
inline constexpr uint8_t accentLook = 16; /* cyan where there are colours */

struct GridCell {
    char32_t glyph = U' ';
    uint8_t look = plainLook;

    bool operator==(const GridCell&) const = default;
};

/* Every glyph takes one column. What lies outside is cut off. */
class Grid {
public:
    Grid() = default;
    Grid(size_t columns, size_t lines)
        : numColumns(columns), numLines(lines), cells(columns * lines) {}

    size_t width() const { return numColumns; }
    size_t height() const { return numLines; }
    const GridCell& at(size_t x, size_t y) const { return cells[y * numColumns + x]; }

    void set(size_t x, size_t y, char32_t glyph, uint8_t look) {
        if (x < numColumns && y < numLines) {
            cells[y * numColumns + x] = {glyph, look};
        }
    }
    /* Text of printable ASCII, at most `room` of it; returns the column behind it. */
    size_t put(size_t x, size_t y, std::string_view text, uint8_t look = plainLook,
               size_t room = SIZE_MAX) {
        for (const char c : text.substr(0, room)) {
            set(x++, y, static_cast<unsigned char>(c), look);
        }
        return x;
    }
    size_t put(size_t x, size_t y, std::u32string_view text, uint8_t look = plainLook) {
        for (const char32_t c : text) {
            set(x++, y, c, look);
        }
        return x;
    }
    /* The same, ending before column `end`. */
    void putBefore(size_t end, size_t y, std::string_view text, uint8_t look = plainLook) {
        put(end - std::min(end, text.size()), y, text, look);
    }
    /* Adds a look to cells of a line. */
    void add(size_t x, size_t y, size_t columns, uint8_t look) {
        for (size_t i = x; i < std::min(x + columns, numColumns) && y < numLines; i++) {
            cells[y * numColumns + i].look |= look;
        }
    }
    void clear(size_t x, size_t y, size_t columns, size_t lines) {
        for (size_t line = y; line < y + lines; line++) {
            for (size_t i = x; i < x + columns; i++) {
                set(i, line, U' ', plainLook);
            }
        }
    }
    /* A line as UTF-8, without the blanks at its end. */
    std::string textOf(size_t y) const;

private:
    size_t numColumns = 0;
    size_t numLines = 0;
    std::vector<GridCell> cells;
};

} // namespace tvsistat

#endif
