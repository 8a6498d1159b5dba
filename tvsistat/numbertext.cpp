#include "numbertext.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <iterator>

namespace tvsistat {
namespace {

using samples::Figure;
using samples::Number;
using statscatalogue::Base;
using statscatalogue::Unit;

template <class Integer> void appendConverted(std::string& text, Integer value) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

constexpr std::array<int64_t, 7> powersOfTen{1, 10, 100, 1000, 10000, 100000, 1000000};

/* To the next whole number; std::llround() would be the only need for another library. */
int64_t roundedOff(double value) {
    const auto whole = static_cast<int64_t>(value);
    return whole + (value - static_cast<double>(whole) >= 0.5 ? 1 : 0);
}

/* The number with so many digits behind the point, or without the zeros at its end. Its size is
 * below 1e15 / 10^decimals. Written from the back: a report has thousands of them. */
void appendFixed(std::string& text, double value, size_t decimals, bool isTrimmed) {
    const double scaled = std::fabs(value) * static_cast<double>(powersOfTen[decimals]);
    auto rest = static_cast<uint64_t>(roundedOff(scaled));
    const bool isNegative = value < 0 && rest != 0;
    std::array<char, 24> digits;
    char* const end = digits.data() + digits.size();
    char* first = end;
    for (; isTrimmed && decimals > 0 && rest % 10 == 0; decimals--) {
        rest /= 10;
    }
    if (decimals > 0) {
        for (; decimals > 0; decimals--) {
            *--first = static_cast<char>('0' + rest % 10);
            rest /= 10;
        }
        *--first = '.';
    }
    do {
        *--first = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (isNegative) {
        *--first = '-';
    }
    text.append(first, end);
}

/* Three digits that tell, as "1.23", "12.3", "123", in at most `room` characters. */
void appendThreeDigits(std::string& text, double value, size_t room) {
    const double size = std::fabs(value);
    const size_t before = size < 9.995 ? 1 : size < 99.95 ? 2 : 3;
    const size_t taken = before + (value < 0 ? 1 : 0) + 1; /* with the point */
    appendFixed(text, value, std::min(3 - before, taken < room ? room - taken : 0), false);
}

/* Scales by `step` until the number fits, and appends the prefix. */
void appendPrefixed(std::string& text, double value, double step,
                    std::span<const std::string_view> prefixes, double limit) {
    size_t prefix = 0;
    while (std::fabs(value) >= limit && prefix + 1 < prefixes.size()) {
        value /= step;
        prefix++;
    }
    appendThreeDigits(text, value, 6 - prefixes[prefix].size());
    text += prefixes[prefix];
}

/* Only for numbers that an int64_t holds. */
bool isWhole(double value) {
    return value == static_cast<double>(static_cast<int64_t>(value));
}

constexpr bool isBytes(Unit unit) {
    return scaleOf(unit).base == Base::Bytes;
}

/* Gauges in seconds are ages and settings: a person reads them as times. */
bool isAge(const Figure& figure) {
    return figure.unit == Unit::Seconds && !figure.isCounter();
}

void appendTwoDigits(std::string& text, int64_t value) {
    text += static_cast<char>('0' + value / 10 % 10);
    text += static_cast<char>('0' + value % 10);
}

} // namespace

void appendInteger(std::string& text, int64_t value) {
    appendConverted(text, value);
}

void appendInteger(std::string& text, uint64_t value) {
    appendConverted(text, value);
}

void appendDecimal(std::string& text, double value, int decimals) {
    const auto places = static_cast<size_t>(decimals);
    if (!(std::fabs(value) * static_cast<double>(powersOfTen[places]) < 1e15)) {
        fmt::format_to(std::back_inserter(text), "{:.15g}", value);
        return;
    }
    appendFixed(text, value, places, true);
}

void appendFull(std::string& text, Number number) {
    switch (number.form()) {
    case Number::Form::Nothing:
        break;
    case Number::Form::Signed:
        appendInteger(text, number.asSigned());
        break;
    case Number::Form::Unsigned:
        appendInteger(text, number.asUnsigned());
        break;
    case Number::Form::Decimal:
        appendDecimal(text, number.asDouble(), std::fabs(number.asDouble()) < 1 ? 6 : 3);
        break;
    }
}

void appendShort(std::string& text, double value) {
    static constexpr std::array<std::string_view, 7> prefixes{"", "k", "M", "G", "T", "P", "E"};
    const double size = std::fabs(value);
    if (size < 9999.95) {
        appendDecimal(text, value, size < 0.995 ? 2 : value > -999.95 ? 1 : 0);
    } else if (size < 99999.5 && isWhole(value)) {
        appendDecimal(text, value, 0);
    } else {
        appendPrefixed(text, value, 1000, prefixes, 999.5);
    }
}

void appendShortBytes(std::string& text, double bytes) {
    static constexpr std::array<std::string_view, 7> prefixes{"",   "Ki", "Mi", "Gi",
                                                              "Ti", "Pi", "Ei"};
    if (std::fabs(bytes) < 1023.5 && isWhole(bytes)) {
        appendDecimal(text, bytes, 0);
    } else {
        appendPrefixed(text, bytes, 1024, prefixes, 999.5);
    }
}

void appendShortSeconds(std::string& text, double seconds) {
    const auto whole = static_cast<int64_t>(std::min(std::fabs(seconds), 1e15));
    if (seconds < 0) {
        appendShort(text, seconds);
    } else if (whole < 60) {
        appendDecimal(text, seconds, seconds < 10 ? 1 : 0);
        text += 's';
    } else if (whole < 3600) {
        appendInteger(text, whole / 60);
        text += 'm';
        appendTwoDigits(text, whole % 60);
        text += 's';
    } else if (whole < 86400) {
        appendInteger(text, whole / 3600);
        text += 'h';
        appendTwoDigits(text, whole / 60 % 60);
        text += 'm';
    } else if (whole < 8640000) {
        appendInteger(text, whole / 86400);
        text += 'd';
        appendTwoDigits(text, whole / 3600 % 24);
        text += 'h';
    } else {
        appendShort(text, static_cast<double>(whole / 86400)); // NOLINT(bugprone-integer-division)
        text += 'd';
    }
}

void appendShortFigure(std::string& text, const Figure& figure, Number number, bool isRate) {
    using statscatalogue::Meaning;
    if (isCode(figure.meaning) || figure.meaning == Meaning::Position) {
        appendFull(text, number);
    } else if (isBytes(figure.unit)) {
        appendShortBytes(text, number.asDouble() * scaleOf(figure.unit).factor);
    } else if (isAge(figure) && !isRate) {
        appendShortSeconds(text, number.asDouble());
    } else {
        appendShort(text, number.asDouble());
    }
}

void appendUnit(std::string& text, const Figure& figure, bool isRate, bool isShort) {
    if (isShort && isBytes(figure.unit)) {
        text += 'B';
    } else if (!isShort || !isAge(figure)) {
        text += symbolOf(figure.unit);
    }
    text += isRate || figure.isPerSecond() ? "/s" : "";
}

void appendJson(std::string& text, Number number) {
    constexpr uint64_t exact = 1ULL << 53;
    if (!number) {
        text += "null";
        return;
    }
    const bool isString =
        (number.form() == Number::Form::Unsigned && number.asUnsigned() > exact) ||
        (number.form() == Number::Form::Signed &&
         (number.asSigned() > static_cast<int64_t>(exact) ||
          number.asSigned() < -static_cast<int64_t>(exact)));
    if (!isString) {
        appendFull(text, number);
        return;
    }
    text += '"';
    appendFull(text, number);
    text += '"';
}

} // namespace tvsistat
