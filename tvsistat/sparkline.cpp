#include "sparkline.h"

#include <algorithm>
#include <string_view>

namespace tvsistat {

std::u32string sparkline(std::span<const std::optional<double>> values, Floor floor,
                         bool takesUnicode) {
    const std::u32string_view bars = takesUnicode ? U"▁▂▃▄▅▆▇█" : U".:-=+*#";
    double least = 0;
    double greatest = 0;
    bool isFirst = floor == Floor::Smallest;
    for (const auto& value : values) {
        if (value) {
            least = isFirst ? *value : std::min(least, *value);
            greatest = isFirst ? *value : std::max(greatest, *value);
            isFirst = false;
        }
    }
    std::u32string line;
    for (const auto& value : values) {
        if (!value) {
            line += U' ';
            continue;
        }
        const double share = greatest > least ? (*value - least) / (greatest - least) : 0;
        const auto level = static_cast<size_t>(share * static_cast<double>(bars.size()));
        line += bars[std::min(level, bars.size() - 1)];
    }
    return line;
}

} // namespace tvsistat
