/* What has changed between two samples. */
#ifndef RATES_H
#define RATES_H

#include "statscatalogue.h"

#include <optional>
#include <span>
#include <vector>

namespace tvsistat {

/* A counter's growth per second. 32-bit counters may have wrapped around once. Nothing when the
 * counter went back (its owner started anew) or no time has passed. */
std::optional<double> ratePerSecond(statscatalogue::FieldType type, statscatalogue::Value now,
                                    statscatalogue::Value before, double seconds);

/* Finds each process of a sample in the sample before it. Made to be reused. */
class ProcessMatcher {
public:
    /* For each record of `now` the record of `before` with the same pid, session, kind and name,
     * or null. When several are alike they are paired in order. Valid until the next call and
     * while `before` lives. */
    std::span<const TvsiResultSType* const> match(std::span<const TvsiResultSType> now,
                                                  std::span<const TvsiResultSType> before);

private:
    std::vector<const TvsiResultSType*> matches;
    std::vector<bool> isTaken; /* by position in `before` */
};

} // namespace tvsistat

#endif
