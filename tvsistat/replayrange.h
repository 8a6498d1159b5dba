/* Which part of a source is shown: what --start and --end mean there. */
#ifndef REPLAYRANGE_H
#define REPLAYRANGE_H

#include "messagesource.h"
#include "request.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace tvsistat {

struct ReplayRange {
    int64_t startNs = INT64_MIN; /* real time; both belong to the range */
    int64_t endNs = INT64_MAX;
};

/* The range, or what is wrong with it: it is empty, or nothing was recorded in it. `firstNs`: when
 * a source began that doesn't know its span. */
std::variant<ReplayRange, samples::Failure> rangeOf(const Request& request, MessageSource& source,
                                                    std::optional<int64_t> firstNs);

/* " from TIME to TIME" for a sentence; empty when there are no limits. */
std::string wordsFor(const ReplayRange& range, bool isUtc);

} // namespace tvsistat

#endif
