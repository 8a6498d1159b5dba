/* The status that a watch over several caches exits with. */
#ifndef VERDICT_H
#define VERDICT_H

#include "exitstatus.h"

#include <optional>
#include <span>

namespace tvsistat {

/* How the watch over one cache has ended. */
struct WatchEnd {
    std::optional<samples::Failure> failure;
    bool hasMatched; /* some process was ever selected */
};

/* The status of all of them together: the common one, where a match in one cache does for all.
 * `error` is the errno that ended the output, EINTR for a stop, or 0. Says on standard error what
 * was wrong with the output, or that nothing was selected; why a cache was given up has been said.
 */
samples::ExitStatus verdictOf(std::span<const WatchEnd> ends, int error);

} // namespace tvsistat

#endif
