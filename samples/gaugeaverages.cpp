#include "gaugeaverages.h"

#include <algorithm>
#include <cstring>

namespace samples {
namespace {

/* To the nearest whole number, halves away from 0; std::llround() would be the only need for
 * another library. */
uint64_t roundedOff(double value) {
    constexpr double most = 9.2e18; /* what is no statistic may be beyond what an integer holds */
    return static_cast<uint64_t>(
        static_cast<int64_t>(std::clamp(value, -most, most) + (value < 0 ? -0.5 : 0.5)));
}

/* Of two numbers as they are read. */
bool isLess(statscatalogue::FieldType type, uint64_t one, uint64_t other) {
    return isSignedType(type) ? static_cast<int64_t>(one) < static_cast<int64_t>(other)
                              : one < other;
}

/* How far something is from a value. */
uint64_t unsignedAt(const std::byte* from, statscatalogue::FieldType type) {
    const uint64_t bits = statscatalogue::read(from, type).bits;
    return widthOf(type) == sizeof(uint32_t) ? static_cast<uint32_t>(bits) : bits;
}

} // namespace

using statscatalogue::read;

const std::vector<GaugeAverages::GaugePlace>&
GaugeAverages::placesOf(const statscatalogue::Kind& kind) {
    auto& found = places[static_cast<size_t>(kind.index)];
    if (!found) {
        found.emplace();
        for (const Figure& figure : figuresOf(kind, known)) {
            const bool isGauge = figure.meaning == statscatalogue::Meaning::Gauge;
            if (figure.field != nullptr && (isGauge || figure.field->isApplications)) {
                found->push_back({figure.packedOffset, figure.field->type, isGauge});
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
    numMerged += std::max(sample.merged, 1U);
    lastEntries.clear();
    for (const Record& record : sample.records()) {
        if (record.kind == nullptr) {
            lastEntries.push_back(nullptr);
            continue;
        }
        Entry& entry = entryOf(record);
        addRecord(record, entry);
        entry.lastSample = numSamples;
        lastEntries.push_back(&entry);
    }
}

void GaugeAverages::addRecord(const Record& record, Entry& entry) {
    const auto& gauges = placesOf(*record.kind);
    const uint32_t weight = std::max(record.merged, 1U);
    entry.first.resize(gauges.size());
    entry.growth.resize(gauges.size());
    entry.lowest.resize(gauges.size());
    entry.highest.resize(gauges.size());
    for (size_t i = 0; i < gauges.size(); i++) {
        const auto [offset, type, isAveraged] = gauges[i];
        const uint64_t value = read(record.blocks + offset, type).bits;
        if (entry.count == 0) {
            entry.first[i] = value;
        }
        const uint64_t growth = value - entry.first[i];
        entry.growth[i] += static_cast<double>(static_cast<int64_t>(growth)) * weight;
        const bool hasSpread = record.merged > 0;
        const uint64_t below = hasSpread ? unsignedAt(record.below() + offset, type) : 0;
        const uint64_t above = hasSpread ? unsignedAt(record.above() + offset, type) : 0;
        if (entry.count == 0 || isLess(type, value - below, entry.lowest[i])) {
            entry.lowest[i] = value - below;
        }
        if (entry.count == 0 || isLess(type, entry.highest[i], value + above)) {
            entry.highest[i] = value + above;
        }
    }
    entry.count += weight;
}

void GaugeAverages::applyTo(Sample& sample) {
    const auto most = uint64_t{UINT32_MAX};
    counts.clear();
    for (const Entry* entry : lastEntries) {
        counts.push_back(entry == nullptr ? 1
                                          : static_cast<uint32_t>(std::min(entry->count, most)));
    }
    sample.merge(static_cast<uint32_t>(std::min(numMerged, most)), counts);
    for (size_t i = 0; i < sample.records().size(); i++) {
        const Record& record = sample.records()[i];
        if (record.kind == nullptr) {
            continue;
        }
        const Entry& entry = *lastEntries[i];
        const auto& gauges = placesOf(*record.kind);
        const size_t packed = record.kind->packedSize();
        std::byte* const blocks = sample.blocksOf(i);
        for (size_t j = 0; j < gauges.size(); j++) {
            const auto [offset, type, isAveraged] = gauges[j];
            uint64_t value = read(blocks + offset, type).bits;
            if (isAveraged) {
                value =
                    entry.first[j] + roundedOff(entry.growth[j] / static_cast<double>(entry.count));
            }
            const uint64_t below = value - entry.lowest[j];
            const uint64_t above = entry.highest[j] - value;
            std::memcpy(blocks + offset, &value, widthOf(type));
            std::memcpy(blocks + packed + offset, &below, widthOf(type));
            std::memcpy(blocks + 2 * packed + offset, &above, widthOf(type));
        }
    }
}

void GaugeAverages::clear() {
    entries.clear();
    lastEntries.clear();
    numSamples = 0;
    numMerged = 0;
}

} // namespace samples
