/* A course of numbers as a line of bars. */
#ifndef SPARKLINE_H
#define SPARKLINE_H

#include <optional>
#include <span>
#include <string>

namespace tvsistat {

/* Where the lowest bar stands: at zero for what is so much per second, at the smallest value for
 * levels, whose small changes tell. */
enum class Floor : uint8_t { Zero, Smallest };

/* A glyph for each value, a blank for none. Without Unicode the bars are `.:-=+*#`. */
std::u32string sparkline(std::span<const std::optional<double>> values, Floor floor,
                         bool takesUnicode);

} // namespace tvsistat

#endif
