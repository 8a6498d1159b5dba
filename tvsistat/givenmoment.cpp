#include "givenmoment.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>

namespace tvsistat {
namespace {

constexpr int64_t second = 1000000000;
constexpr int64_t minute = 60 * second;
constexpr int64_t hour = 60 * minute;
constexpr int64_t daySeconds = 86400;
constexpr int64_t wholeDay = 24 * hour;
constexpr int64_t longestNs = 36500 * wholeDay; /* further back than any recording */

/* Takes the front off a text, or nothing. */
class Scanner {
public:
    explicit Scanner(std::string_view scanned) : text(scanned) {}
    bool isAtEnd() const { return text.empty(); }
    bool take(std::string_view word) {
        if (!text.starts_with(word)) {
            return false;
        }
        text.remove_prefix(word.size());
        return true;
    }
    /* A number of `least` to `most` digits that is not above `limit`. */
    std::optional<int64_t> number(size_t least, size_t most, int64_t limit) {
        int64_t found = 0;
        size_t digits = 0;
        while (digits < most && digits < text.size() && text[digits] >= '0' &&
               text[digits] <= '9') {
            found = found * 10 + (text[digits] - '0');
            digits++;
        }
        if (digits < least || found > limit) {
            return std::nullopt;
        }
        text.remove_prefix(digits);
        return found;
    }
    /* What follows a point, as nanoseconds of a second. */
    std::optional<int64_t> fraction(int64_t& step) {
        int64_t found = 0;
        int64_t unit = second / 10;
        size_t digits = 0;
        for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; digits++) {
            found += (text[digits] - '0') * unit;
            unit /= 10;
        }
        step = std::max<int64_t>(unit * 10, 1);
        text.remove_prefix(digits);
        return digits == 0 ? std::nullopt : std::optional(found);
    }

private:
    std::string_view text;
};

/* "2h30m", "10m20s", "1d": units that get smaller. */
std::optional<int64_t> durationOf(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, int64_t>, 5> units{
        {{"w", 7 * wholeDay}, {"d", wholeDay}, {"h", hour}, {"m", minute}, {"s", second}}};
    Scanner scanner(text.ends_with(" ago") ? text.substr(0, text.size() - 4) : text);
    int64_t total = 0;
    size_t next = 0;
    while (!scanner.isAtEnd()) {
        const auto number = scanner.number(1, 9, longestNs);
        while (next < units.size() && number && !scanner.take(units[next].first)) {
            next++;
        }
        if (!number || next == units.size() || *number > (longestNs - total) / units[next].second) {
            return std::nullopt;
        }
        total += *number * units[next].second;
        next++;
    }
    return text.empty() ? std::nullopt : std::optional(total);
}

std::optional<int64_t> timeOf(Scanner& scanner, int64_t& step) {
    const auto hours = scanner.number(1, 2, 23);
    const auto minutes =
        hours && scanner.take(":") ? scanner.number(2, 2, 59) : std::optional<int64_t>();
    if (!minutes) {
        return std::nullopt;
    }
    int64_t time = *hours * hour + *minutes * minute;
    if (scanner.take(":")) {
        const auto seconds = scanner.number(2, 2, 59);
        const auto rest = seconds && scanner.take(".") ? scanner.fraction(step) : std::optional(0L);
        if (!seconds || !rest) {
            return std::nullopt;
        }
        time += *seconds * second + *rest;
    }
    return time;
}

/* "Z", "+01:00", "+0100", "+01". */
std::optional<int64_t> zoneOf(Scanner& scanner) {
    if (scanner.take("Z") || scanner.take("z")) {
        return 0;
    }
    const bool isWest = scanner.take("-");
    if (!isWest && !scanner.take("+")) {
        return std::nullopt;
    }
    const auto hours = scanner.number(2, 2, 15);
    scanner.take(":");
    const auto minutes = scanner.isAtEnd() ? std::optional(0L) : scanner.number(2, 2, 59);
    if (!hours || !minutes) {
        return std::nullopt;
    }
    const int64_t seconds = *hours * 3600 + *minutes * 60;
    return isWest ? -seconds : seconds;
}

/* Days since the epoch of "2026-11-23". */
std::optional<int64_t> dateOf(Scanner& scanner) {
    const auto year = scanner.number(4, 4, 9999);
    const auto month =
        year && scanner.take("-") ? scanner.number(1, 2, 12) : std::optional<int64_t>();
    const auto day =
        month && scanner.take("-") ? scanner.number(1, 2, 31) : std::optional<int64_t>();
    if (!day) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(*year)),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day)));
    if (!date.ok() || *year < 1970 || *year > 2261) {
        return std::nullopt;
    }
    return std::chrono::sys_days(date).time_since_epoch().count();
}

/* Seconds that local time is ahead of UTC. */
int64_t offsetAt(int64_t seconds) {
    const time_t moment = seconds;
    struct tm parts {};
    return localtime_r(&moment, &parts) == nullptr ? 0 : parts.tm_gmtoff;
}

/* The moment at which a local clock shows so many seconds since the epoch. */
int64_t momentShown(int64_t seconds, Edge edge) {
    const int64_t before = offsetAt(seconds - daySeconds);
    const int64_t after = offsetAt(seconds + daySeconds);
    const int64_t early = seconds - std::max(before, after);
    const int64_t late = seconds - std::min(before, after);
    const bool isEarly = early + offsetAt(early) == seconds;
    const bool isLate = late + offsetAt(late) == seconds;
    if (isEarly || isLate) {
        return isEarly && (edge == Edge::Start || !isLate) ? early : late;
    }
    int64_t from = early; /* the clocks were put forward in between */
    int64_t to = late;
    while (to - from > 1) {
        const int64_t middle = from + (to - from) / 2;
        (offsetAt(middle) == before ? from : to) = middle;
    }
    return to;
}

/* Days since the epoch, by the calendar of the zone. */
int64_t dayOf(int64_t nanoseconds, bool isUtc) {
    const int64_t seconds = nanoseconds / second;
    return (seconds + (isUtc ? 0 : offsetAt(seconds))) / daySeconds;
}

} // namespace

std::optional<GivenMoment> GivenMoment::parse(std::string_view text) {
    GivenMoment moment;
    if (text == "now") {
        moment.durationNs = 0;
        return moment;
    }
    if (const auto duration = durationOf(text)) {
        moment.durationNs = duration;
        return moment;
    }
    Scanner scanner(text);
    if (scanner.take("yesterday") || scanner.take("today")) {
        moment.day = Day::Ago;
        moment.days = text.starts_with("y") ? 1 : 0;
    } else if (Scanner(text).number(4, 4, 9999)) {
        const auto found = dateOf(scanner);
        if (!found) {
            return std::nullopt;
        }
        moment.day = Day::Date;
        moment.days = *found;
    }
    if (moment.day != Day::Unsaid) {
        if (scanner.isAtEnd()) {
            return moment;
        }
        if (!scanner.take(" ") && !(moment.day == Day::Date && scanner.take("T"))) {
            return std::nullopt;
        }
    }
    const auto time = timeOf(scanner, moment.stepNs);
    if (!time) {
        return std::nullopt;
    }
    moment.timeNs = *time;
    moment.hasTime = true;
    if (moment.day == Day::Date && !scanner.isAtEnd()) {
        scanner.take(" ");
        moment.zoneSeconds = zoneOf(scanner);
        if (!moment.zoneSeconds) {
            return std::nullopt;
        }
    }
    return scanner.isAtEnd() ? std::optional(moment) : std::nullopt;
}

int64_t GivenMoment::onDay(int64_t daysSinceEpoch, Edge edge, bool isUtc) const {
    const bool isWholeDay = !hasTime && edge == Edge::End;
    const int64_t shown = (daysSinceEpoch + (isWholeDay ? 1 : 0)) * daySeconds + timeNs / second;
    const int64_t seconds = zoneSeconds ? shown - *zoneSeconds
                            : isUtc     ? shown
                                        : momentShown(shown, edge);
    return seconds * second + timeNs % second + (edge == Edge::End ? stepNs - 1 : 0);
}

int64_t GivenMoment::resolve(Edge edge, const Surroundings& around) const {
    if (durationNs) {
        return around.nowNs - *durationNs;
    }
    if (day != Day::Unsaid) {
        const int64_t today = day == Day::Ago ? dayOf(around.nowNs, around.isUtc) - days : days;
        return onDay(today, edge, around.isUtc);
    }
    const bool isComing = around.firstNs && !around.lastNs;
    if (isComing && edge == Edge::Start) {
        return onDay(dayOf(*around.firstNs, around.isUtc), edge, around.isUtc);
    }
    if (around.startNs || isComing) {
        const int64_t start = around.startNs.value_or(around.firstNs.value_or(0));
        const int64_t startDay = dayOf(start, around.isUtc);
        const int64_t sameDay = onDay(startDay, edge, around.isUtc);
        return sameDay >= start ? sameDay : onDay(startDay + 1, edge, around.isUtc);
    }
    const int64_t latest = around.lastNs.value_or(around.nowNs);
    const int64_t lastDay = dayOf(latest, around.isUtc);
    const int64_t sameDay = onDay(lastDay, edge, around.isUtc);
    const int64_t dayBefore = onDay(lastDay - 1, edge, around.isUtc);
    const bool startsLater = around.firstNs && dayBefore < *around.firstNs;
    return sameDay <= latest || startsLater ? sameDay : dayBefore;
}

} // namespace tvsistat
