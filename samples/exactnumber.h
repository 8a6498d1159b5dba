/* Numbers in full, as text and as JSON. The functions append; they know no locale. */
#ifndef EXACTNUMBER_H
#define EXACTNUMBER_H

#include "computation.h"

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

} // namespace samples

#endif
