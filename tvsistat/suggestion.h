/* Finds the name that a user most likely meant. */
#ifndef SUGGESTION_H
#define SUGGESTION_H

#include <span>
#include <string_view>

namespace tvsistat {

/* The candidate closest to `wrong`, by the number of letters to insert, delete or replace, case
 * ignored; empty when none is close enough to be meant. The first one wins a tie. */
std::string_view closestName(std::string_view wrong, std::span<const std::string_view> candidates);

} // namespace tvsistat

#endif
