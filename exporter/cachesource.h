/*
 * One cache: the stream of a reader, or of a socket that a reader is behind; another one a moment
 * after it was lost, each with a fresh baseline.
 *
 *    Waiting ── a moment later ──> Starting ── sample ──> Running
 *       ^                             │                      │
 *       └── lost, ended, or silent ───┴──────────────────────┘
 *
 * For the collecting thread.
 */
#ifndef CACHESOURCE_H
#define CACHESOURCE_H

#include "accumulation.h"
#include "board.h"
#include "readerprocess.h"
#include "readerstream.h"
#include "streamdecoder.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace exporter {

/* Where a cache's samples come from. */
struct Target {
    enum class By : uint8_t { Brox, Location, Socket };
    By by;
    std::string name; /* of the Brox; location; path of the socket */

    bool operator==(const Target&) const = default;
    /* "cache of Brox prod", "cache prod~1f2e", "cache behind /run/tvsi/prod". */
    std::string title() const;
};

class CacheSource {
public:
    /* References must outlive it. Keeps the last two samples as they are, too, if it is to. */
    CacheSource(Target target, const SeriesChoice& choice, const MetricPlan& plan,
                std::chrono::nanoseconds sampleInterval, bool keepsSamples);

    /* What to poll for reading; -1: nothing. */
    int fd() const;
    /* When advance() is to be called at the latest. */
    Clock::time_point deadline() const { return due; }

    /* Takes what has come. */
    void readOn();
    /* Does what is due. */
    void advance(Clock::time_point now);

    const Target& target() const { return wanted; }
    /* The cache's own names; empty until it has been attached once. */
    const std::string& location() const { return knownLocation; }
    const std::string& brox() const { return knownBrox; }
    const CacheStatus& status() const { return state; }
    /* When it was lost, or never came; nothing while it is attached. */
    std::optional<Clock::time_point> missingSince() const;
    /* Counts the changes of its status. */
    uint64_t version() const { return changes; }

private:
    void start(Clock::time_point now);
    std::optional<std::string> connect();
    void take(samples::Message message);
    void takeHeader(const samples::StreamHeader& header);
    void takeSample(samples::Sample sample);
    void lose(std::string_view reason, std::string sentence);
    void setLabels();

    const Target wanted;
    const std::chrono::nanoseconds interval;
    const uint32_t kinds;
    const bool keeps; /* samples */
    Accumulation sums;
    CacheStatus state;
    std::string knownLocation, knownBrox;
    std::optional<samples::ReaderProcess> reader;
    std::optional<samples::Descriptor> socket;
    samples::StreamDecoder decoder;
    bool isRunning = false; /* a sample of this stream has come */
    Clock::time_point due;
    Clock::time_point lostAt;
    samples::RetryPause pause;
    uint64_t changes = 0;
};

/* Says a line on standard error, for the journal. */
void say(std::string_view sentence);

} // namespace exporter

#endif
