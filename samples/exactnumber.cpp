#include "exactnumber.h"

#include <algorithm>
#include <charconv>

namespace samples {

void appendFixed(std::string& text, double value, size_t decimals, bool isTrimmed) {
    char written[mostDigits];
    text.append(written, putFixed(written, value, decimals, isTrimmed));
}

void appendInteger(std::string& text, int64_t value) {
    char written[mostDigits];
    text.append(written, putSigned(written, value));
}

void appendInteger(std::string& text, uint64_t value) {
    char written[mostDigits];
    text.append(written, putUnsigned(written, value));
}

void appendDecimal(std::string& text, double value, int decimals) {
    char written[mostDigits];
    text.append(written, putDecimal(written, value, decimals));
}

char* putDecimal(char* to, double value, int decimals) {
    const auto places = static_cast<size_t>(decimals);
    if (!(std::fabs(value) * static_cast<double>(digits::powersOfTen[places]) < 1e15)) {
        return std::to_chars(to, to + mostDigits, value, std::chars_format::general, 15).ptr;
    }
    return putFixed(to, value, places, true);
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

char* putJson(char* to, Number number) {
    switch (number.form()) {
    case Number::Form::Nothing:
        return std::copy_n("null", 4, to);
    case Number::Form::Signed:
        return putJsonSigned(to, number.asSigned());
    case Number::Form::Unsigned:
        return putJsonUnsigned(to, number.asUnsigned());
    case Number::Form::Decimal:
        break;
    }
    return putJsonDecimal(to, number.asDouble());
}

void appendJson(std::string& text, Number number) {
    char written[mostDigits];
    text.append(written, putJson(written, number));
}

} // namespace samples
