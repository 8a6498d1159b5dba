/* Numbers in full, as text and as JSON. The functions know no locale. */
#ifndef EXACTNUMBER_H
#define EXACTNUMBER_H

#include "computation.h"
#include "digits.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

namespace samples {

void appendInteger(std::string& text, int64_t value);
void appendInteger(std::string& text, uint64_t value);

/* The number with so many digits (0 to 6) behind the point, or without the zeros at its end. Its
 * size is below 1e15 / 10^decimals. */
void appendFixed(std::string& text, double value, size_t decimals, bool isTrimmed);

/* A decimal with at most `decimals` (0 to 6) digits behind the point and no zeros at its end;
 * exponents from 1e15 on. */
void appendDecimal(std::string& text, double value, int decimals);

/* The number in full: an integer exactly, a decimal with up to three digits behind the point, six
 * below one. Nothing for nothing. */
void appendFull(std::string& text, Number number);

/* As JSON: exact integers, beyond 2^53 as strings; null for nothing. */
void appendJson(std::string& text, Number number);

/* The same in memory of the caller's, as in digits.h. */
char* putDecimal(char* to, double value, int decimals);
char* putJson(char* to, Number number);

inline constexpr uint64_t mostExact = 1ULL << 53;

inline char* putJsonUnsigned(char* to, uint64_t value) {
    if (value <= mostExact) {
        return putUnsigned(to, value);
    }
    *to = '"';
    to = putUnsigned(to + 1, value);
    *to = '"';
    return to + 1;
}

inline char* putJsonSigned(char* to, int64_t value) {
    if (value >= 0) {
        return putJsonUnsigned(to, static_cast<uint64_t>(value));
    }
    const bool isString = value < -static_cast<int64_t>(mostExact);
    *to = '"';
    to = putSigned(isString ? to + 1 : to, value);
    *to = '"';
    return isString ? to + 1 : to;
}

inline char* putJsonDecimal(char* to, double value) {
    const double size = std::fabs(value);
    return size < 1      ? putFixed(to, value, 6, true)
           : size < 1e12 ? putFixed(to, value, 3, true)
                         : putDecimal(to, value, 3);
}

} // namespace samples

#endif
