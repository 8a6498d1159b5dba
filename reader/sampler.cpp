#include "sampler.h"

#include "streamoutput.h"
#include "tvsi.h"

#include <algorithm>
#include <span>

namespace reader {

Sampler::Sampler(uint32_t kinds, bool hasUsers, bool isOnce)
    : mask(kinds), processes(isOnce ? 0 : ProcessWatch::descriptorLimit(), hasUsers) {}

int Sampler::take(samples::StreamEncoder& encoder, uint64_t sequence, int64_t lateNs) {
    samples::Sample sample;
    sample.sequence = sequence;
    sample.lateNs = lateNs;
    int count = 0;
    const int status = fill(sample, count);
    if (status != TVSI_SUCCESS) {
        return status;
    }
    const std::span<const TvsiResultSType> found(records.get(), static_cast<size_t>(count));
    processes.update(found);
    encoder.clear();
    encoder.beginSample(sample, found.size());
    for (size_t i = 0; i < found.size(); i++) {
        encoder.addRecord(found[i], processes.facts(i));
    }
    encoder.endSample();
    return TVSI_SUCCESS;
}

/* The table's size is read each time: a table may grow. */
int Sampler::fill(samples::Sample& sample, int& count) {
    int status = TvsiFetchMaxProcessesInCache(&sample.slots);
    if (status != TVSI_SUCCESS) {
        return status;
    }
    /* A cache that has just died may show no slot; the query, which tells, takes no empty buffer.
     */
    reserve(std::clamp(sample.slots, 1, static_cast<int>(samples::maxRecords)));
    if (mask != SHRPC_ALL) {
        status = query(SHRPC_ALL, sample.used); /* the slots in use, of all kinds */
    }
    if (status == TVSI_SUCCESS) {
        sample.times = timesNow();
        status = query(mask, count);
    }
    if (mask == SHRPC_ALL) {
        sample.used = count;
    }
    if (sample.used == static_cast<int>(samples::maxRecords)) {
        sample.used = -1; /* that many at least */
    }
    return status;
}

int Sampler::query(uint32_t kinds, int& count) {
    count = capacity;
    return TvsiAllStatsForMask(kinds, records.get(), &count);
}

void Sampler::reserve(int slots) {
    if (slots > capacity) {
        capacity = slots;
        records = std::make_unique_for_overwrite<TvsiResultSType[]>(static_cast<size_t>(slots));
    }
}

} // namespace reader
