#include "streamexport.h"

#include "streamfile.h"

namespace tvsistat {

/* Behind a loss or an end, and where the cache was recorded twice, a stream can't go on. */
bool StreamExport::needsHeader(const samples::Message& message) const {
    const auto* sample = std::get_if<samples::Sample>(&message);
    return !isRunning || (sample != nullptr && lastSequence && sample->sequence <= *lastSequence);
}

void StreamExport::add(std::string& bytes, const samples::Message& message) {
    encoder.add(message);
    const auto made = encoder.bytes();
    bytes.append(reinterpret_cast<const char*>(made.data()), made.size());
    encoder.clear();
}

void StreamExport::append(std::string& bytes, const samples::Message& message) {
    if (const auto* found = std::get_if<samples::StreamHeader>(&message)) {
        header = *found;
        lastSequence.reset();
    } else if (needsHeader(message)) {
        add(bytes, header);
        lastSequence.reset();
    }
    add(bytes, message);
    if (const auto* sample = std::get_if<samples::Sample>(&message)) {
        lastSequence = sample->sequence;
    }
    isRunning = !std::holds_alternative<samples::Lost>(message) &&
                !std::holds_alternative<samples::End>(message);
    lastTimes = samples::timesOf(message);
}

void StreamExport::finish(std::string& bytes) {
    if (isRunning) {
        add(bytes, samples::End{lastTimes});
        isRunning = false;
    }
}

} // namespace tvsistat
