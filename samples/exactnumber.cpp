#include "exactnumber.h"

#include <array>
#include <charconv>
#include <cmath>

namespace samples {
namespace {

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

} // namespace

/* Written from the back: a report has thousands of them. */
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

void appendInteger(std::string& text, int64_t value) {
    appendConverted(text, value);
}

void appendInteger(std::string& text, uint64_t value) {
    appendConverted(text, value);
}

void appendDecimal(std::string& text, double value, int decimals) {
    const auto places = static_cast<size_t>(decimals);
    if (!(std::fabs(value) * static_cast<double>(powersOfTen[places]) < 1e15)) {
        char digits[32];
        text.append(digits, std::to_chars(digits, digits + sizeof digits, value,
                                          std::chars_format::general, 15)
                                .ptr);
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

} // namespace samples
