/* Numbers as text in memory that the caller has: the inner loops of views that print tens of
 * thousands of them. Each function writes at `to` and returns what follows its last character; what
 * it writes takes at most mostDigits bytes. */
#ifndef DIGITS_H
#define DIGITS_H

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace samples {

inline constexpr size_t mostDigits = 28;

namespace digits {

/* "00" to "99". */
inline constexpr auto pairs = [] {
    std::array<char, 200> made{};
    for (size_t i = 0; i < made.size(); i++) {
        made.at(i) = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    }
    return made;
}();

inline constexpr auto powersOfTen = [] {
    std::array<uint64_t, 20> made{1};
    for (size_t i = 1; i < made.size(); i++) {
        made.at(i) = 10 * made.at(i - 1);
    }
    return made;
}();

/* How many digits a number has that is not 0. */
inline size_t countOf(uint64_t value) {
    const auto least = static_cast<size_t>(std::bit_width(value)) * 1233 >> 12;
    return least + (value >= powersOfTen[least] ? 1 : 0);
}

inline void putPair(char* to, uint64_t below100) {
    std::memcpy(to, &pairs[2 * below100], 2);
}

/* Ends at `end`; `value` has the digits that fit. */
template <class Unsigned> void putBackwards(char* end, Unsigned value) {
    while (value >= 100) {
        end -= 2;
        putPair(end, value % 100);
        value /= 100;
    }
    if (value >= 10) {
        putPair(end - 2, value);
    } else {
        end[-1] = static_cast<char>('0' + value);
    }
}

} // namespace digits

inline char* putUnsigned(char* to, uint64_t value) {
    if (value < 10) {
        *to = static_cast<char>('0' + value);
        return to + 1;
    }
    char* const end = to + digits::countOf(value);
    if (value <= UINT32_MAX) {
        digits::putBackwards(end, static_cast<uint32_t>(value));
    } else {
        digits::putBackwards(end, value);
    }
    return end;
}

inline char* putSigned(char* to, int64_t value) {
    if (value >= 0) {
        return putUnsigned(to, static_cast<uint64_t>(value));
    }
    *to = '-';
    return putUnsigned(to + 1, -static_cast<uint64_t>(value));
}

/* Of the number with so many digits (0 to 6) behind the point; without the zeros at its end when it
 * is trimmed. Its size is below 1e15 / 10^decimals. */
inline char* putFixed(char* to, double value, size_t decimals, bool isTrimmed) {
    const uint64_t power = digits::powersOfTen[decimals];
    const double scaled = std::fabs(value) * static_cast<double>(power);
    /* To the next whole number; std::llround() would be the only need for another library. */
    const auto below = static_cast<int64_t>(scaled);
    const auto rounded =
        static_cast<uint64_t>(below + (scaled - static_cast<double>(below) >= 0.5 ? 1 : 0));
    if (value < 0 && rounded != 0) {
        *to++ = '-';
    }
    const uint64_t whole = rounded / power;
    auto rest = static_cast<uint32_t>(rounded - whole * power);
    to = putUnsigned(to, whole);
    if (decimals == 0 || (isTrimmed && rest == 0)) {
        return to;
    }
    *to = '.';
    char* const end = to + 1 + decimals;
    for (char* at = end; at > to + 1; rest /= 10) {
        *--at = static_cast<char>('0' + rest % 10);
    }
    to = end;
    while (isTrimmed && to[-1] == '0') {
        to--;
    }
    return to;
}

} // namespace samples

#endif
