#include "thindirectories.h"

#include "output.h"
#include "printable.h"
#include "stopsignal.h"

#include <algorithm>
#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::ExitStatus;

/* Says how one of them went. */
ExitStatus tell(const std::string& directory, const samples::ThinningOutcome& outcome) {
    std::string line;
    if (!outcome.failure || outcome.numThinned > 0) {
        line = fmt::format("{}: {} of {} files thinned, of {} bytes, now {}\n",
                           samples::printable(directory), outcome.numThinned, outcome.numFiles,
                           outcome.bytesBefore, outcome.bytesAfter);
    }
    const int error = writeOut(line);
    ExitStatus status = ExitStatus::Ok;
    for (const std::string& sentence : outcome.leftAsTheyAre) {
        complain(sentence + "; it is left as it is");
        status = ExitStatus::DamagedInput;
    }
    if (error != 0) {
        const samples::Failure failure = outputFailure(error);
        complain(failure.sentence);
        status = failure.status;
    }
    if (outcome.failure) {
        complain(outcome.failure->sentence);
        status = outcome.failure->status;
    }
    return status;
}

} // namespace

ExitStatus thinDirectories(const Request& request) {
    catchStopSignals();
    ExitStatus status = ExitStatus::Ok;
    for (const std::string& directory : request.thinning->directories) {
        const auto outcome = samples::thinDirectory(directory, request.thinning->rules,
                                                    samples::currentTimes().realNs,
                                                    [] { return stopSignal() != 0; });
        if (stopSignal() != 0) {
            dieOfStopSignal();
        }
        const ExitStatus own = tell(directory, outcome);
        status = own == ExitStatus::Ok ? status : own;
    }
    return status;
}

} // namespace tvsistat
