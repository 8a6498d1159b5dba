/* The last minute of a cache, from which the course of any figure of any process can be had. */
#ifndef RECENTSAMPLES_H
#define RECENTSAMPLES_H

#include "computation.h"
#include "figure.h"
#include "sample.h"

#include <deque>
#include <optional>
#include <vector>

namespace tvsistat {

/* Keeps copies of samples, a second or more apart: further when a minute of them would take more
 * than 32 MB. */
class RecentSamples {
public:
    static constexpr int64_t spanNs = 60'000'000'000;

    /* `heldNs`: the moment (monotonic) that is still to be shown; 0: the last one is. */
    void add(const samples::Sample& sample, int64_t heldNs);
    /* The next sample is of another monitor, or time has passed without samples: nothing is
     * compared across. */
    void breakOff() { isBroken = true; }

    /* A process in the samples that are kept, from the oldest on. Valid until the next add(). */
    struct Sighting {
        int64_t monotonicNs;
        int64_t realNs;
        const samples::Record* record;
        bool followsGap;
    };
    std::vector<Sighting> sightingsOf(const samples::Record& process) const;

    /* What the figure was in the minute before `endNs` (monotonic), in so many cells of the same
     * time: rates of counters, values of others; nothing where nobody knows. */
    static std::vector<std::optional<double>> course(const samples::Figure& figure,
                                                     const std::vector<Sighting>& sightings,
                                                     int64_t endNs, size_t cells);

private:
    struct Kept {
        samples::Sample sample;
        bool followsGap;
    };
    std::deque<Kept> kept;
    bool isBroken = false;
};

/* Whether two records are of the same process. */
bool isSameProcess(const samples::Record& one, const samples::Record& other);

} // namespace tvsistat

#endif
