/* Connects to the cache, and turns what the library says about a failure into one sentence. */
#ifndef ATTACH_H
#define ATTACH_H

#include "exitstatus.h"

#include <optional>
#include <string>
#include <string_view>

namespace tvsistat {

using samples::ExitStatus;
using samples::Failure;

/* The cache to attach: by the name of its Brox or by its location. */
struct Target {
    bool isBrox = false;
    std::string name;

    /* "cache of Brox prod", "cache prod~1f2e". */
    std::string title() const;
};

/* Initialises the library and attaches the cache, which may take up to four seconds. */
std::optional<Failure> attachTo(const Target& target);

/* The failure behind a status of the library's attach functions and the text they gave. */
Failure attachFailure(const Target& target, int status, std::string_view libraryText);

} // namespace tvsistat

#endif
