#include "gaugeaverages.h"

#include <cstring>

namespace samples {
namespace {

/* To the nearest whole number, halves away from 0; std::llround() would be the only need for
 * another library. */
uint64_t roundedOff(double value) {
    return static_cast<uint64_t>(static_cast<int64_t>(value + (value < 0 ? -0.5 : 0.5)));
}

} // namespace

using statscatalogue::read;

const std::vector<GaugeAverages::GaugePlace>&
GaugeAverages::placesOf(const statscatalogue::Kind& kind) {
    auto& found = places[static_cast<size_t>(kind.index)];
    if (!found) {
        found.emplace();
        for (const Figure& figure : figuresOf(kind, known)) {
            if (figure.field != nullptr && figure.meaning == statscatalogue::Meaning::Gauge) {
                found->push_back({figure.packedOffset, figure.field->type});
            }
        }
    }
    return *found;
}

/* The record's process. Of records that are alike each has its own, by their order. */
GaugeAverages::Entry& GaugeAverages::entryOf(const Record& record) {
    const auto append = [this](const auto& number) {
        key.append(reinterpret_cast<const char*>(&number), sizeof number);
    };
    key = record.name;
    append(record.pid);
    append(record.statType);
    append(record.session);
    append(record.startedNs);
    append(read(record.blocks + offsetof(ShrPcCommonStatSType, cacheSlotIndex),
                statscatalogue::FieldType::U32)
               .bits);
    Entry* entry = &entries[key];
    while (entry->count > 0 && entry->lastSample == numSamples) {
        key += '+';
        entry = &entries[key];
    }
    return *entry;
}

void GaugeAverages::add(const Sample& sample) {
    numSamples++;
    lastEntries.clear();
    for (const Record& record : sample.records()) {
        if (record.kind == nullptr) {
            lastEntries.push_back(nullptr);
            continue;
        }
        const auto& gauges = placesOf(*record.kind);
        Entry& entry = entryOf(record);
        entry.first.resize(gauges.size());
        entry.growth.resize(gauges.size());
        for (size_t i = 0; i < gauges.size(); i++) {
            const uint64_t value =
                read(record.blocks + gauges[i].packedOffset, gauges[i].type).bits;
            if (entry.count == 0) {
                entry.first[i] = value;
            } else {
                entry.growth[i] +=
                    static_cast<double>(static_cast<int64_t>(value - entry.first[i]));
            }
        }
        entry.count++;
        entry.lastSample = numSamples;
        lastEntries.push_back(&entry);
    }
}

void GaugeAverages::applyTo(Sample& sample) {
    for (size_t i = 0; i < sample.records().size(); i++) {
        const Record& record = sample.records()[i];
        if (record.kind == nullptr) {
            continue;
        }
        const Entry& entry = *lastEntries[i];
        const auto& gauges = placesOf(*record.kind);
        for (size_t j = 0; j < gauges.size(); j++) {
            const uint64_t growth = roundedOff(entry.growth[j] / entry.count);
            const uint64_t average = entry.first[j] + growth;
            std::memcpy(sample.blocksOf(i) + gauges[j].packedOffset, &average,
                        widthOf(gauges[j].type));
        }
    }
}

void GaugeAverages::clear() {
    entries.clear();
    lastEntries.clear();
    numSamples = 0;
}

} // namespace samples
