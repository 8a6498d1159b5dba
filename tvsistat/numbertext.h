/* Numbers as text for people, besides those in full. The functions append, so that a view's buffer
 * is the only one. */
#ifndef NUMBERTEXT_H
#define NUMBERTEXT_H

#include "computation.h"
#include "exactnumber.h"
#include "figure.h"

#include <string>
#include <string_view>

namespace tvsistat {

using samples::appendDecimal;
using samples::appendFixed;
using samples::appendFull;
using samples::appendInteger;
using samples::appendJson;

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

} // namespace tvsistat

#endif
