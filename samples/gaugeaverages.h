/* Thins samples out without losing what lay between: gauges become averages. For one thread. */
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
    /* Writes into the sample, which was added as the last one, the average of each gauge over the
     * samples that its process was in, rounded to a whole number. */
    void applyTo(Sample& sample);
    void clear();

private:
    struct GaugePlace {
        uint16_t packedOffset;
        statscatalogue::FieldType type;
    };
    /* One process. */
    struct Entry {
        std::vector<uint64_t> first; /* of each gauge */
        std::vector<double> growth;  /* since the first, summed over the samples */
        unsigned count = 0;          /* samples */
        unsigned lastSample = 0;
    };

    const std::vector<GaugePlace>& placesOf(const statscatalogue::Kind& kind);
    Entry& entryOf(const Record& record);

    const Annotations& known;
    std::array<std::optional<std::vector<GaugePlace>>, SHRPC_numStatTypes> places;
    std::unordered_map<std::string, Entry> entries; /* by what tells processes apart */
    std::vector<Entry*> lastEntries;                /* by the last sample's records */
    std::string key;                                /* scratch */
    unsigned numSamples = 0;
};

} // namespace samples

#endif
