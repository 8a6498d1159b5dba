#include "recorder.h"

#include "output.h"

namespace tvsistat {

Recorder::Recorder(samples::RecordingWriter opened) : writer(std::move(opened)), tells(complain) {}

std::variant<std::unique_ptr<Recorder>, samples::Failure>
Recorder::open(const RecordingRequest& asked) {
    auto opened = samples::RecordingWriter::open(asked.path, asked.options);
    if (auto* failure = std::get_if<samples::Failure>(&opened)) {
        return std::move(*failure);
    }
    return std::unique_ptr<Recorder>(
        new Recorder(std::move(std::get<samples::RecordingWriter>(opened))));
}

void Recorder::take(uint32_t cache, const samples::Message& message) {
    writer.add(cache, message);
    tell();
}

Deadline Recorder::nextDeadline() const {
    const auto due = writer.nextDueNs();
    return due ? Deadline(std::chrono::nanoseconds(*due)) : noDeadline;
}

void Recorder::advance() {
    if (std::chrono::steady_clock::now() >= nextDeadline()) {
        writer.tick(samples::currentTimes());
        tell();
    }
}

/* The view goes on, whatever becomes of the recording. */
void Recorder::tell() {
    const std::string problem = writer.takeProblem();
    if (!problem.empty()) {
        tells(problem);
    }
}

} // namespace tvsistat
