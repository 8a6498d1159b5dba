/* Texts that may come from anywhere, made harmless for what they are printed to. */
#ifndef PRINTABLE_H
#define PRINTABLE_H

#include <string>
#include <string_view>

namespace samples {

/* For a terminal: everything but printable ASCII becomes \xNN, and a backslash is doubled. */
void appendPrintable(std::string& text, std::string_view bytes);
std::string printable(std::string_view bytes);

/* For JSON and CSV, which are UTF-8: each byte that is no part of UTF-8 becomes the four characters
 * \xNN, and a backslash is doubled, so that the bytes can be told from the text. */
void appendUtf8(std::string& text, std::string_view bytes);

/* The bytes that appendUtf8() made the text of. */
std::string bytesOfUtf8(std::string_view text);

/* The same as a JSON string, with its quotes. */
void appendJsonString(std::string& text, std::string_view bytes);

/* The same as a field of CSV: in quotes where it needs them. */
void appendCsvField(std::string& text, std::string_view bytes);

/* What stands between the quotes of a label in Prometheus's text, which is UTF-8. Each byte that is
 * no part of UTF-8 becomes \xNN, which other bytes may become, too. */
void appendLabelValue(std::string& text, std::string_view bytes);

} // namespace samples

#endif
