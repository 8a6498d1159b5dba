#include "metricnumber.h"

#include <array>
#include <charconv>

namespace samples {
namespace {

__extension__ using Wide = __int128; /* a 64-bit number times a factor doesn't overflow it */

constexpr size_t numberRoom = 32;

template <class Value> void appendPlain(std::string& text, Value value) {
    std::array<char, numberRoom> digits;
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    text.append(digits.data(), error == std::errc() ? end : digits.data());
}

} // namespace

/* Below one, factors are powers of ten. */
void appendMetricNumber(std::string& text, Number number, double factor) {
    if (number.form() == Number::Form::Decimal) {
        appendPlain(text, number.asDouble() * factor);
        return;
    }
    const Wide value =
        number.form() == Number::Form::Signed ? Wide{number.asSigned()} : Wide{number.asUnsigned()};
    if (factor >= 1) {
        const Wide product = value * static_cast<Wide>(factor);
        if (product >= INT64_MIN && product <= INT64_MAX) {
            appendPlain(text, static_cast<int64_t>(product));
        } else if (product >= 0 && product <= UINT64_MAX) {
            appendPlain(text, static_cast<uint64_t>(product));
        } else {
            appendPlain(text, static_cast<double>(product));
        }
        return;
    }
    /* To the nearest whole number; std::lround() would be the only need for another library. */
    const double inverse = 1 / factor;
    auto divisor = static_cast<uint64_t>(inverse);
    divisor += inverse - static_cast<double>(divisor) >= 0.5 ? 1U : 0U;
    const auto size = static_cast<uint64_t>(value < 0 ? -value : value);
    text += value < 0 ? "-" : "";
    appendPlain(text, size / divisor);
    if (const uint64_t rest = size % divisor; rest != 0) {
        const size_t at = text.size();
        appendPlain(text, divisor + rest); /* a one, the zeros in front of the rest, the rest */
        text[at] = '.';
        text.resize(text.find_last_not_of('0') + 1);
    }
}

} // namespace samples
