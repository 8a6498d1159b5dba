#include "countermover.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <stdexcept>
#include <string_view>

#include "census.h"

namespace standin {
namespace {

using statscatalogue::Field;
using statscatalogue::FieldPlace;
using statscatalogue::FieldType;
using statscatalogue::Kind;
using statscatalogue::Meaning;

constexpr std::int64_t usualGrowth = 7;
constexpr std::int64_t usualTop = 1000;

constexpr std::string_view agePrefix = "secondsSince";

/* Gauges that are no levels up to usualTop, by a part of their names; a top of 0 keeps them. */
struct GaugeTop {
    std::string_view namePart;
    std::int64_t top;
};
constexpr std::array gaugeTops = std::to_array<GaugeTop>({
    {"Percent", 100},
    {"timeLastEpochGc", 0},
    {"unusedStat", 0},
});

std::int64_t topOf(std::string_view gauge) {
    for (const GaugeTop& row : gaugeTops) {
        if (gauge.find(row.namePart) != std::string_view::npos) {
            return row.top;
        }
    }
    return usualTop;
}

/* How often what is stamped happens, and the counters that count it. */
struct EventPattern {
    std::uint32_t kind;
    std::string_view time;
    std::uint32_t oneIn;
    std::array<std::string_view, 2> counters;
};
constexpr std::array eventPatterns = std::to_array<EventPattern>({
    {SHRPC_BROX, "timeLastAbort", 4, {"totalAborts"}},
    {SHRPC_BROX, "timeLastCheckpoint", 300, {"checkpointCount", "completedCheckpointCount"}},
    {SHRPC_BROX, "timeLastCommit", 2, {"totalCommits"}},
    {SHRPC_BROX, "timeLastFailedCommit", 60, {"totalFailedCommits"}},
    {SHRPC_BROX, "timeLastCrDisposal", 10, {"commitRecordsDisposedCount"}},
    {SHRPC_BROX, "timeLastExtentGrow", 500, {"totalExtentGrows"}},
    {SHRPC_BROX, "timeLastLogin", 200, {"loginRequestsCount"}},
    {SHRPC_BROX, "timeLastLogout", 200, {}},
    {SHRPC_BROX, "timeLastLowFreespace", 2000, {"lowFreespaceCount"}},
    {SHRPC_BROX, "timeLastNewTranlog", 1000, {}},
    {SHRPC_BROX, "timeLastReclaim", 50, {"reclaimcount"}},
    {SHRPC_BROX, "timeLastReclaimDead", 100, {"deadObjsReclaimedCount"}},
    {SHRPC_BROX, "timeLastStartBrox", 0, {}},
    {SHRPC_BROX, "timeLastTranlogFull", 5000, {"tranlogFullCount"}},
    {SHRPC_VOK, "timeLastAbort", 10, {"abortCount"}},
    {SHRPC_VOK, "timeLastCommit", 5, {"commitCount"}},
    {SHRPC_VOK, "timeLastLogin", 0, {}},
    {SHRPC_VOK, "timeLastSigAbort", 300, {"sigAbortsReceived", "sigAbortsSent"}},
    {SHRPC_VOK, "timeLastSigLostOt", 1000, {"lostOtsReceived", "lostOtsSent"}},
    {SHRPC_VOK, "timeLastStartLongPrim", 50, {}},
    {SHRPC_VOK, "timeLastFailedCommit", 100, {"failedCommitCount"}},
});

bool isCountedByAnEvent(std::uint32_t kind, std::string_view field) {
    return std::any_of(eventPatterns.begin(), eventPatterns.end(), [&](const EventPattern& row) {
        return row.kind == kind &&
               std::find(row.counters.begin(), row.counters.end(), field) != row.counters.end();
    });
}

bool onlyGrows(const Field& field) {
    return field.meaning == Meaning::Counter || field.meaning == Meaning::Position;
}

bool movesByItself(const Kind& kind, const Field& field) {
    if (field.meaning != Meaning::Gauge && !onlyGrows(field)) {
        return false;
    }
    return !field.name.view().starts_with(agePrefix) && !isCountedByAnEvent(kind.bit, field.name) &&
           !isKeptByCensus(kind.bit, field.name);
}

bool is64Bit(FieldType type) {
    return statscatalogue::widthOf(type) == 8;
}

FieldPlace placeOf(const Kind& kind, std::string_view field) {
    const auto place = statscatalogue::findField(kind, field);
    if (!place) {
        throw std::logic_error("kind " + std::string(kind.name) + " has no field " +
                               std::string(field));
    }
    return *place;
}

} // namespace

CounterMover::CounterMover(ShrPcStatsSType& record, std::uint32_t kind, std::uint32_t seed)
    : record_(record), random_(seed) {
    const Kind* description = statscatalogue::kindOfBit(kind);
    if (description == nullptr) {
        throw std::invalid_argument("no process kind has the bit " + std::to_string(kind));
    }
    addFields(*description);
    addEvents(*description);
}

void CounterMover::addFields(const Kind& kind) {
    for (const statscatalogue::BlockPlace& place : kind.blocks()) {
        for (const Field& field : place.block.fields) {
            if (!movesByItself(kind, field)) {
                continue;
            }
            const bool isCounter = onlyGrows(field);
            const std::int64_t top = isCounter ? usualGrowth : topOf(field.name);
            for (std::size_t i = 0; i < field.count; ++i) {
                const std::size_t offset =
                    place.recordOffset + field.offset + i * statscatalogue::widthOf(field.type);
                moving_.push_back(
                    {static_cast<std::uint16_t>(offset), is64Bit(field.type), isCounter, top});
            }
        }
    }
}

void CounterMover::addEvents(const Kind& kind) {
    for (const EventPattern& row : eventPatterns) {
        if (row.kind != kind.bit) {
            continue;
        }
        const std::string age =
            std::string(agePrefix) + std::string(row.time.substr(std::size("timeLast") - 1));
        Event event{
            placeOf(kind, row.time).recordOffset, placeOf(kind, age).recordOffset, row.oneIn, {}};
        for (const std::string_view counter : row.counters) {
            if (counter.empty()) {
                continue;
            }
            const FieldPlace place = placeOf(kind, counter);
            event.counters.push_back(
                {place.recordOffset, is64Bit(place.field->type), true, usualGrowth});
        }
        events_.push_back(std::move(event));
    }
}

void CounterMover::start(std::time_t now) {
    for (const Moving& field : moving_) {
        write(field.offset, field.is64Bit, field.isCounter ? 0 : randomUpTo(field.top));
    }
    for (const Event& event : events_) {
        write(event.timeOffset, true, now);
    }
    setAges(now);
}

void CounterMover::update(std::time_t now) {
    for (const Moving& field : moving_) {
        if (field.isCounter) {
            grow(field, 0);
        } else {
            wander(field);
        }
    }
    for (const Event& event : events_) {
        if (event.oneIn == 0 || randomUpTo(event.oneIn - 1) != 0) {
            continue;
        }
        for (const Moving& counter : event.counters) {
            grow(counter, 1);
        }
        write(event.timeOffset, true, now);
    }
    setAges(now);
}

void CounterMover::setAges(std::time_t now) {
    for (const Event& event : events_) {
        write(event.ageOffset, false, now - read(event.timeOffset, true));
    }
}

/* The owner alone writes its record, so it may read it back; others see whole words at any time. */
std::int64_t CounterMover::read(std::uint16_t offset, bool is64Bit) const {
    const std::byte* field = reinterpret_cast<const std::byte*>(&record_) + offset;
    return is64Bit ? *reinterpret_cast<const std::int64_t*>(field)
                   : *reinterpret_cast<const std::int32_t*>(field);
}

void CounterMover::write(std::uint16_t offset, bool is64Bit, std::int64_t value) {
    std::byte* field = reinterpret_cast<std::byte*>(&record_) + offset;
    if (is64Bit) {
        std::atomic_ref<std::int64_t>(*reinterpret_cast<std::int64_t*>(field))
            .store(value, std::memory_order_relaxed);
        return;
    }
    std::atomic_ref<std::int32_t>(*reinterpret_cast<std::int32_t*>(field))
        .store(static_cast<std::int32_t>(value), std::memory_order_relaxed);
}

void CounterMover::grow(const Moving& counter, std::int64_t atLeast) {
    const std::int64_t growth = atLeast + randomUpTo(counter.top - atLeast);
    write(counter.offset, counter.is64Bit, read(counter.offset, counter.is64Bit) + growth);
}

void CounterMover::wander(const Moving& gauge) {
    const std::int64_t stride = (gauge.top + 19) / 20;
    const std::int64_t level = read(gauge.offset, gauge.is64Bit) + randomUpTo(2 * stride) - stride;
    write(gauge.offset, gauge.is64Bit, std::clamp<std::int64_t>(level, 0, gauge.top));
}

std::int64_t CounterMover::randomUpTo(std::int64_t top) {
    return static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(top + 1));
}

} // namespace standin
