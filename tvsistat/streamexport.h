/* What was recorded of a cache as a plain sample stream again, for a program that reads one: whole,
 * whatever a view would choose of it. For one thread. */
#ifndef STREAMEXPORT_H
#define STREAMEXPORT_H

#include "sample.h"
#include "streamencoder.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tvsistat {

class StreamExport {
public:
    /* Appends a message; the first one must be a StreamHeader. */
    void append(std::string& bytes, const samples::Message& message);
    /* Appends the end of the stream under way, at the moment of its last message. */
    void finish(std::string& bytes);

private:
    bool needsHeader(const samples::Message& message) const;
    void add(std::string& bytes, const samples::Message& message);

    samples::StreamEncoder encoder;
    samples::StreamHeader header; /* the last one */
    samples::Times lastTimes;
    bool isRunning = false;               /* a stream has begun, and not ended */
    std::optional<uint64_t> lastSequence; /* in it */
};

} // namespace tvsistat

#endif
