/*
 * Moments as a person gives them to --start and --end: "10:00", "yesterday 23:50",
 * "2026-11-23 10:00", "2026-11-23T10:00:00+01:00", "2h30m" (ago). What such a text leaves open
 * follows from the clock, the time zone and the time that is there to look at.
 */
#ifndef GIVENMOMENT_H
#define GIVENMOMENT_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace tvsistat {

/* What a moment is for. Where it could be two (the hour that a clock put back runs through twice, a
 * day without a time) a start is the earlier one and an end the later one. */
enum class Edge : uint8_t { Start, End };

class GivenMoment {
public:
    /* Nothing when the text is no moment. */
    static std::optional<GivenMoment> parse(std::string_view text);

    struct Surroundings {
        int64_t nowNs;                  /* since the epoch, as all of them */
        std::optional<int64_t> firstNs; /* of what there is to look at, if that is known */
        std::optional<int64_t> lastNs;  /* without it, it is still coming */
        std::optional<int64_t> startNs; /* for an end: where it starts */
        bool isUtc = false;             /* else in the local time zone */
    };
    /* The moment. A time of day without a day is the last one that isn't later than what there is
     * to look at, or of the day on which that begins while its end isn't known; of an end, the
     * first one after the start. One that the clocks skipped is the
     * moment at which they did. */
    int64_t resolve(Edge edge, const Surroundings& around) const;

private:
    enum class Day : uint8_t { Unsaid, Ago, Date };

    int64_t onDay(int64_t daysSinceEpoch, Edge edge, bool isUtc) const;

    std::optional<int64_t> durationNs; /* before now; the rest then says nothing */
    Day day = Day::Unsaid;
    int64_t days = 0;                   /* before today, or since the epoch */
    int64_t timeNs = 0;                 /* since midnight */
    int64_t stepNs = 1;                 /* of the last digit of a fraction: an end is at its end */
    bool hasTime = false;               /* else the whole day is meant */
    std::optional<int64_t> zoneSeconds; /* east of Greenwich, where the text says so */
};

} // namespace tvsistat

#endif
