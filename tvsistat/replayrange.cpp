#include "replayrange.h"

#include "timetext.h"

#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::ExitStatus;
using samples::Failure;

int64_t nowNs() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

std::string textOf(int64_t realNs, bool isUtc) {
    std::string text;
    TimeText(isUtc).append(text, realNs, realNs % 1000000000 == 0 ? 0 : 3);
    return text;
}

} // namespace

std::variant<ReplayRange, Failure> rangeOf(const Request& request, MessageSource& source,
                                           std::optional<int64_t> firstNs) {
    ReplayRange range;
    if (!request.start && !request.end) {
        return range;
    }
    const auto span = source.span();
    const bool isUtc = request.layout.isUtc;
    GivenMoment::Surroundings around{nowNs(), firstNs, {}, {}, isUtc};
    if (span) {
        around.firstNs = span->firstNs;
        around.lastNs = span->lastNs;
    }
    if (request.start) {
        range.startNs = request.start->resolve(Edge::Start, around);
        around.startNs = range.startNs;
    }
    if (request.end) {
        range.endNs = request.end->resolve(Edge::End, around);
    }
    if (range.startNs > range.endNs) {
        return Failure{ExitStatus::Usage,
                       fmt::format("--start is {}, which is after --end, {}",
                                   textOf(range.startNs, isUtc), textOf(range.endNs, isUtc))};
    }
    const bool isBehind = span && range.startNs > span->lastNs;
    const bool isBefore = span && range.endNs < span->firstNs;
    if (isBehind || isBefore) {
        return Failure{ExitStatus::Usage,
                       fmt::format("nothing was recorded {} {}: the recording goes from {} to {}",
                                   isBehind ? "after --start," : "before --end,",
                                   textOf(isBehind ? range.startNs : range.endNs, isUtc),
                                   textOf(span->firstNs, isUtc), textOf(span->lastNs, isUtc))};
    }
    return range;
}

std::string wordsFor(const ReplayRange& range, bool isUtc) {
    const bool hasStart = range.startNs != INT64_MIN;
    const bool hasEnd = range.endNs != INT64_MAX;
    if (hasStart && hasEnd) {
        return fmt::format(" from {} to {}", textOf(range.startNs, isUtc),
                           textOf(range.endNs, isUtc));
    }
    return hasStart ? " from " + textOf(range.startNs, isUtc) + " on"
           : hasEnd ? " until " + textOf(range.endNs, isUtc)
                    : "";
}

} // namespace tvsistat
