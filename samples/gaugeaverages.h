/* Thins samples out without losing what lay between: gauges become averages, with their minimum and
 * maximum. For one thread. */
#ifndef GAUGEAVERAGES_H
#define GAUGEAVERAGES_H

#include "figure.h"
#include "sample.h"

#include <array>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace samples {

/* The gauges of one cache's processes over several samples. */
class GaugeAverages {
public:
    /* The annotations, which say what is a gauge of an application's, must outlive it. */
    explicit GaugeAverages(const Annotations& annotations) : known(annotations) {}

    /* Takes a sample's gauges. */
    void add(const Sample& sample);
    /* Nothing was added since the last clear(). */
    bool isEmpty() const { return numSamples == 0; }
    /* Lets the sample, which was added as the last one, stand for all of them: it gets the average
     * of each gauge over the samples that its process was in, rounded to a whole number, and the
     * minimum and maximum. One that stands for several already counts as so many. Of what
     * applications keep it has these, too, but an average only where annotations call it a gauge.
     */
    void applyTo(Sample& sample);
    void clear();

private:
    struct GaugePlace {
        uint16_t packedOffset;
        statscatalogue::FieldType type;
        bool isAveraged;
    };
    /* One process. */
    struct Entry {
        std::vector<uint64_t> first; /* of each gauge */
        std::vector<double> growth;  /* since the first, summed over the samples */
        std::vector<uint64_t> lowest;
        std::vector<uint64_t> highest;
        uint64_t count = 0; /* samples */
        unsigned lastSample = 0;
    };

    const std::vector<GaugePlace>& placesOf(const statscatalogue::Kind& kind);
    Entry& entryOf(const Record& record);
    void addRecord(const Record& record, Entry& entry);

    const Annotations& known;
    std::array<std::optional<std::vector<GaugePlace>>, SHRPC_numStatTypes> places;
    std::unordered_map<std::string, Entry> entries; /* by what tells processes apart */
    std::vector<Entry*> lastEntries;                /* by the last sample's records */
    std::string key;                                /* scratch */
    std::vector<uint32_t> counts;                   /* scratch */
    unsigned numSamples = 0;                        /* that were added */
    uint64_t numMerged = 0;                         /* that these stand for */
};

} // namespace samples

#endif
