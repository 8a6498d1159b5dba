/*
 * Thins a directory of recordings out: what is old enough becomes a sample for each interval, with
 * counters as they were at its end and gauges as average, minimum and maximum (sample.h, merged).
 *
 * A file is made anew beside the old one and takes its name when it is whole and synced; so a
 * reader, a power cut and a killed program meet the old one or the new one. The file that is being
 * recorded to, the last one, is left alone, and so is one that is damaged: what is left of it isn't
 * passed off as all there was.
 */
#ifndef THINNING_H
#define THINNING_H

#include "exitstatus.h"
#include "gaugeaverages.h"
#include "recordingblock.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace samples {

/* Samples that are older than `ageNs` become one for each `stepNs`, a whole part of an hour. */
struct ThinningRule {
    int64_t stepNs;
    int64_t ageNs;
};

/* The messages of several caches, with one sample of each for an interval of the clock. A header
 * that is recorded, a loss and an end also end an interval; notices and marks stay where they were.
 * For one thread. */
class SampleThinner {
public:
    /* Takes a message of a cache, whose number tells it from others. */
    using Sink = std::function<void(uint32_t cache, const BlockMessage& message)>;

    SampleThinner(int64_t intervalNs, Sink to) : stepNs(intervalNs), sink(std::move(to)) {}
    /* In the order of time; the first one of a cache is a header. */
    void add(uint32_t cache, BlockMessage message);
    /* What is held goes on. */
    void flush();

private:
    struct Cache {
        explicit Cache(const Annotations& annotations) : averages(annotations) {}

        StreamHeader header; /* that holds */
        GaugeAverages averages;
        std::optional<BlockMessage> last; /* the interval's last sample so far */
        unsigned numSamples = 0;
        std::vector<BlockMessage> behind; /* notices and marks after it */
    };

    void flush(uint32_t number, Cache& cache);
    void passOn(uint32_t number, std::vector<BlockMessage>& messages) const;

    const int64_t stepNs;
    const Sink sink;
    const Annotations none;
    std::map<uint32_t, Cache> caches;
    int64_t interval = 0; /* since the epoch, in steps */
};

struct ThinningOutcome {
    unsigned numFiles = 0;   /* of the directory */
    unsigned numThinned = 0; /* of them now */
    uint64_t bytesBefore = 0;
    uint64_t bytesAfter = 0;                /* of those */
    std::optional<Failure> failure;         /* why it has ended early */
    std::vector<std::string> leftAsTheyAre; /* sentences on files that can't be thinned */
};

/* Thins each file all of which is old enough at that time, and isn't thinned as far already. The
 * rules are ordered by their step. Ends early when `isStopped` says so. */
ThinningOutcome thinDirectory(const std::string& directory, std::span<const ThinningRule> rules,
                              int64_t nowNs, const std::function<bool()>& isStopped);

/* Removes what a thinning that was killed has left. */
void removeUnfinishedThinning(const std::string& directory);

} // namespace samples

#endif
