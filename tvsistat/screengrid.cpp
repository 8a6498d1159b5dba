#include "screengrid.h"

namespace tvsistat {

std::string Grid::textOf(size_t y) const {
    std::string text;
    for (size_t x = 0; x < numColumns; x++) {
        const char32_t glyph = at(x, y).glyph;
        if (glyph < 0x80) {
            text += static_cast<char>(glyph);
        } else {
            text += static_cast<char>(0xE0 | glyph >> 12);
            text += static_cast<char>(0x80 | (glyph >> 6 & 0x3F));
            text += static_cast<char>(0x80 | (glyph & 0x3F));
        }
    }
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

} // namespace tvsistat
