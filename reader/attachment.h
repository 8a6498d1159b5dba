/* Connects to the cache, and finds out why that fails. */
#ifndef ATTACHMENT_H
#define ATTACHMENT_H

#include "readerarguments.h"

#include <optional>
#include <string>

namespace reader {

/* Initialises the library and attaches the cache, which may take several seconds. `location` is
 * filled in as soon as it is known. On a failure nothing is attached, and the sentence says what is
 * wrong and what to do. */
std::optional<Failure> attachTo(const Target& target, std::string& location);

} // namespace reader

#endif
