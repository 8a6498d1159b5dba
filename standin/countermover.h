/*
 * Moves the counters of one statistics record as its owner would: counters and positions only grow,
 * gauges wander, and every secondsSince field is the age of the time stamp of the same position.
 * What the census keeps (census.h) is left alone.
 */
#ifndef STANDIN_COUNTERMOVER_H
#define STANDIN_COUNTERMOVER_H

#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "shrpcstats.h"
#include "statscatalogue.h"

namespace standin {

class CounterMover {
public:
    /* `record` belongs to an entry of kind bit `kind` and must outlive the mover; the kind must
       be a known one. The same seed gives the same movements. */
    CounterMover(ShrPcStatsSType& record, std::uint32_t kind, std::uint32_t seed);

    /* Gives gauges a level and all time stamps the value `now`. Once, before the first update. */
    void start(std::time_t now);
    /* One update; `now` must not go back. */
    void update(std::time_t now);

private:
    /* One element of a field that moves by itself. */
    struct Moving {
        std::uint16_t offset;
        bool is64Bit;
        bool isCounter;   /* or a position: only grows */
        std::int64_t top; /* highest level of a gauge; what a counter may grow by in an update */
    };
    /* A time stamp, its age in seconds, and the counters of the same event. */
    struct Event {
        std::uint16_t timeOffset;
        std::uint16_t ageOffset;
        std::uint32_t oneIn; /* happens once in so many updates; 0: only at the start */
        std::vector<Moving> counters;
    };

    void addFields(const statscatalogue::Kind& kind);
    void addEvents(const statscatalogue::Kind& kind);
    void setAges(std::time_t now);
    std::int64_t read(std::uint16_t offset, bool is64Bit) const;
    void write(std::uint16_t offset, bool is64Bit, std::int64_t value);
    void grow(const Moving& counter, std::int64_t atLeast);
    void wander(const Moving& gauge);
    std::int64_t randomUpTo(std::int64_t top);

    ShrPcStatsSType& record_;
    std::vector<Moving> moving_;
    std::vector<Event> events_;
    std::minstd_rand random_;
};

} // namespace standin

#endif
