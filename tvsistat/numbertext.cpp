#include "numbertext.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace tvsistat {
namespace {

using samples::Figure;
using samples::Number;
using statscatalogue::Base;
using statscatalogue::Unit;

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

} // namespace tvsistat
