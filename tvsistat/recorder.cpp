#include "recorder.h"

#include "output.h"
#include "streamfile.h"
#include "thinning.h"

namespace tvsistat {

Recorder::Recorder(samples::RecordingWriter opened, const RecordingRequest& asked)
    : writer(std::move(opened)), thinning(asked.thinning, asked.path), tells(complain) {
    if (asked.options.isDirectory) {
        samples::removeUnfinishedThinning(asked.path);
    }
}

std::variant<std::unique_ptr<Recorder>, samples::Failure>
Recorder::open(const RecordingRequest& asked) {
    auto opened = samples::RecordingWriter::open(asked.path, asked.options);
    if (auto* failure = std::get_if<samples::Failure>(&opened)) {
        return std::move(*failure);
    }
    return std::unique_ptr<Recorder>(
        new Recorder(std::move(std::get<samples::RecordingWriter>(opened)), asked));
}

void Recorder::take(uint32_t cache, const samples::Message& message) {
    writer.add(cache, message);
    tell(writer.takeProblem());
    tell(thinning.advance(samples::currentTimes().realNs));
}

Deadline Recorder::nextDeadline() const {
    const auto due = writer.nextDueNs();
    return due ? Deadline(std::chrono::nanoseconds(*due)) : noDeadline;
}

Deadline Recorder::advance() {
    if (std::chrono::steady_clock::now() >= nextDeadline()) {
        writer.tick(samples::currentTimes());
        tell(writer.takeProblem());
    }
    return nextDeadline();
}

/* The view goes on, whatever becomes of the recording. */
void Recorder::tell(std::string_view problem) const {
    if (!problem.empty()) {
        tells(problem);
    }
}

} // namespace tvsistat
