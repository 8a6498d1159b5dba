#include "rates.h"

#include <cstring>

namespace tvsistat {
namespace {

using statscatalogue::FieldType;
using statscatalogue::Value;

bool isSameProcess(const TvsiResultSType& one, const TvsiResultSType& other) {
    return one.stats.processId == other.stats.processId &&
           one.stats.sessionId == other.stats.sessionId && one.statType == other.statType &&
           std::strncmp(one.olvName, other.olvName, sizeof one.olvName) == 0;
}

} // namespace

std::optional<double> ratePerSecond(FieldType type, Value now, Value before, double seconds) {
    if (seconds <= 0) {
        return std::nullopt;
    }
    /* Modulo the counter's width, so that a wrapped counter gives its true growth. A growth of
     * more than half the width is taken for a step back. */
    const uint64_t growth = now.bits - before.bits;
    const auto steps = statscatalogue::widthOf(type) == 4
                           ? static_cast<int64_t>(static_cast<int32_t>(growth))
                           : static_cast<int64_t>(growth);
    if (steps < 0) {
        return std::nullopt;
    }
    return static_cast<double>(steps) / seconds;
}

std::span<const TvsiResultSType* const>
ProcessMatcher::match(std::span<const TvsiResultSType> now,
                      std::span<const TvsiResultSType> before) {
    matches.assign(now.size(), nullptr);
    isTaken.assign(before.size(), false);
    /* Both are in slot order, so the search goes on behind the last hit and nearly always hits at
     * once; it comes round for a process that has moved. */
    size_t next = 0;
    for (size_t i = 0; i < now.size(); i++) {
        for (size_t tried = 0; tried < before.size(); tried++) {
            const size_t candidate = (next + tried) % before.size();
            if (!isTaken[candidate] && isSameProcess(now[i], before[candidate])) {
                matches[i] = &before[candidate];
                isTaken[candidate] = true;
                next = candidate + 1;
                break;
            }
        }
    }
    return matches;
}

} // namespace tvsistat
