/* Numbers as text. The functions append, so that a view's buffer is the only one. */
#ifndef NUMBERTEXT_H
#define NUMBERTEXT_H

#include "computation.h"
#include "figure.h"

#include <string>
#include <string_view>

namespace tvsistat {

void appendInteger(std::string& text, int64_t value);
void appendInteger(std::string& text, uint64_t value);

/* A decimal with at most `decimals` (0 to 6) digits behind the point and no zeros at its end;
 * exponents from 1e15 on. */
void appendDecimal(std::string& text, double value, int decimals);

/* The number in full: an integer exactly, a decimal with up to three digits behind the point, six
 * below one. Nothing for nothing. */
void appendFull(std::string& text, samples::Number number);

/* At most six characters: "12.3k", "0.25", "-1.2M". */
void appendShort(std::string& text, double value);
/* A number of bytes in at most six characters, with binary prefixes: "12.3Mi". */
void appendShortBytes(std::string& text, double bytes);
/* A time in at most six characters: "42s", "10m05s", "3h12m", "12d04h". */
void appendShortSeconds(std::string& text, double seconds);

/* A figure's value for a narrow column, at most six characters except for codes, which are never
 * scaled. */
void appendShortFigure(std::string& text, const samples::Figure& figure, samples::Number number,
                       bool isRate);

/* What stands in the heading behind or below the figure's name: "", "/s", "ms", "ms/s", "?". A
 * short form shows bytes and ages in units of their own. */
void appendUnit(std::string& text, const samples::Figure& figure, bool isRate, bool isShort);

/* As JSON: exact integers, beyond 2^53 as strings; null for nothing. */
void appendJson(std::string& text, samples::Number number);

} // namespace tvsistat

#endif
