#include "verdict.h"

#include "output.h"

#include <algorithm>
#include <cerrno>

namespace tvsistat {

using samples::ExitStatus;

ExitStatus verdictOf(std::span<const WatchEnd> ends, int error) {
    if (error == EINTR) {
        return ExitStatus::Ok;
    }
    if (error != 0) {
        const samples::Failure failure = outputFailure(error);
        if (!failure.sentence.empty()) {
            complain(failure.sentence);
        }
        return failure.status;
    }
    const bool anyMatched = std::ranges::any_of(ends, &WatchEnd::hasMatched);
    std::optional<ExitStatus> common;
    for (const WatchEnd& end : ends) {
        ExitStatus own = anyMatched ? ExitStatus::Ok : ExitStatus::NoMatch;
        if (end.failure) {
            own = end.failure->status;
        }
        common = common && *common != own ? ExitStatus::SeveralStatuses : own;
    }
    if (common == ExitStatus::NoMatch) {
        complain("no process was selected");
    }
    return common.value_or(ExitStatus::Ok);
}

} // namespace tvsistat
