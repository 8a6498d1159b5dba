/* What --start and --end mean, and where --export keeps its values. */
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "givenmoment.h"
#include "seriesspool.h"
#include "timetext.h"

namespace {

using tvsistat::Edge;
using tvsistat::GivenMoment;

constexpr int64_t second = 1000000000;

std::string textOf(int64_t realNs, bool isUtc = false) {
    std::string text;
    tvsistat::TimeText(isUtc).append(text, realNs, realNs % second == 0 ? 0 : 3);
    return text;
}

int64_t momentOf(const char* text) {
    return GivenMoment::parse(text).value().resolve(Edge::Start, {});
}

/* Central European time, whose clocks are put forward on 2026-03-29 at 02:00 and back on 2026-10-25
   at 03:00. */
class Moments : public testing::Test {
protected:
    Moments() {
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    ~Moments() override { unsetenv("TZ"); }
};

TEST_F(Moments, StandWhereAPersonMeansThem) {
    struct Case {
        const char* text;
        const char* start; /* what --start is */
        const char* end;
        bool isUtc = false;
    };
    /* Asked on 2026-11-24 at noon of a recording from the 21st at 09:30 to the 24th at 11:00. */
    const Case cases[] = {
        {"10:00", "2026-11-24T10:00:00+01:00", "2026-11-24T10:00:00+01:00"},
        {"9:05:30.25", "2026-11-24T09:05:30.250+01:00", "2026-11-24T09:05:30.259+01:00"},
        {"11:30", "2026-11-23T11:30:00+01:00", "2026-11-23T11:30:00+01:00"},
        {"10:30", "2026-11-23T10:30:00Z", "2026-11-23T10:30:00Z", true},
        {"09:59", "2026-11-24T09:59:00Z", "2026-11-24T09:59:00Z", true},
        {"yesterday 23:50", "2026-11-23T23:50:00+01:00", "2026-11-23T23:50:00+01:00"},
        {"today 0:00", "2026-11-24T00:00:00+01:00", "2026-11-24T00:00:00+01:00"},
        {"yesterday", "2026-11-23T00:00:00+01:00", "2026-11-24T00:00:00+01:00"},
        {"2026-11-22", "2026-11-22T00:00:00Z", "2026-11-23T00:00:00Z", true},
        {"2026-11-22 10:00", "2026-11-22T10:00:00+01:00", "2026-11-22T10:00:00+01:00"},
        {"2026-11-22T10:00:00Z", "2026-11-22T11:00:00+01:00", "2026-11-22T11:00:00+01:00"},
        {"2026-11-22T10:00-0530", "2026-11-22T16:30:00+01:00", "2026-11-22T16:30:00+01:00"},
        {"2h30m", "2026-11-24T09:30:00+01:00", "2026-11-24T09:30:00+01:00"},
        {"10m20s", "2026-11-24T11:49:40+01:00", "2026-11-24T11:49:40+01:00"},
        {"1d ago", "2026-11-23T12:00:00+01:00", "2026-11-23T12:00:00+01:00"},
        {"now", "2026-11-24T12:00:00+01:00", "2026-11-24T12:00:00+01:00"},
        /* An hour that comes twice, and one that doesn't come. */
        {"2026-10-25 02:30", "2026-10-25T02:30:00+02:00", "2026-10-25T02:30:00+01:00"},
        {"2026-03-29 02:30", "2026-03-29T03:00:00+02:00", "2026-03-29T03:00:00+02:00"},
        {"2026-03-29 03:00", "2026-03-29T03:00:00+02:00", "2026-03-29T03:00:00+02:00"},
        {"2026-03-29", "2026-03-29T00:00:00+01:00", "2026-03-30T00:00:00+02:00"},
    };
    for (const auto& [text, start, end, isUtc] : cases) {
        const auto moment = GivenMoment::parse(text);
        ASSERT_TRUE(moment) << text;
        const GivenMoment::Surroundings around{momentOf("2026-11-24 12:00"),
                                               momentOf("2026-11-21 09:30"),
                                               momentOf("2026-11-24 11:00"),
                                               {},
                                               isUtc};
        EXPECT_EQ(textOf(moment->resolve(Edge::Start, around), isUtc), start) << text;
        EXPECT_EQ(textOf(moment->resolve(Edge::End, around), isUtc), end) << text;
    }
}

TEST_F(Moments, OfADayFollowFromWhatThereIsToLookAt) {
    using Text = const char*;
    /* First and last moment that there is, the start, a time of day; what it is. */
    const std::tuple<Text, Text, Text, Text, Edge, Text> cases[] = {
        {"2026-11-20 09:30", "2026-11-20 11:00", nullptr, "09:00", Edge::Start, "2026-11-20 09:00"},
        {"2026-11-20 09:30", "2026-11-20 11:00", nullptr, "12:00", Edge::Start, "2026-11-20 12:00"},
        {"2026-11-20 09:30", "2026-11-20 11:00", nullptr, "12:00", Edge::End, "2026-11-20 12:00"},
        {"2026-11-20 09:30", "2026-11-20 11:00", nullptr, "09:00", Edge::End, "2026-11-20 09:00"},
        {"2026-11-19 20:00", "2026-11-20 08:00", nullptr, "23:00", Edge::Start, "2026-11-19 23:00"},
        {"2026-11-19 20:00", "2026-11-20 08:00", "2026-11-19 23:00", "01:00", Edge::End,
         "2026-11-20 01:00"},
        {"2026-11-19 20:00", "2026-11-20 08:00", "2026-11-19 23:00", "23:00", Edge::End,
         "2026-11-19 23:00"},
        /* A pipe, whose end nobody knows. */
        {"2026-11-20 23:00", nullptr, nullptr, "23:30", Edge::Start, "2026-11-20 23:30"},
        {"2026-11-20 23:00", nullptr, nullptr, "01:00", Edge::End, "2026-11-21 01:00"},
    };
    const auto maybe = [](Text text) {
        return text == nullptr ? std::nullopt : std::optional(momentOf(text));
    };
    for (const auto& [first, last, start, text, edge, expected] : cases) {
        const GivenMoment::Surroundings around{momentOf("2026-11-24 12:00"), maybe(first),
                                               maybe(last), maybe(start)};
        EXPECT_EQ(textOf(GivenMoment::parse(text).value().resolve(edge, around)),
                  textOf(momentOf(expected)))
            << text << " of " << first;
    }
}

TEST_F(Moments, AreNotGuessedFromNonsense) {
    for (const char* text : {"",
                             " ",
                             "10",
                             "10:",
                             "10:0",
                             "24:00",
                             "10:60",
                             "10:00:60",
                             "10:00:00.",
                             "10:00Z",
                             "10:00 ",
                             " 10:00",
                             "-10:00",
                             "2026",
                             "2026-11",
                             "2026-13-01",
                             "2026-02-29",
                             "0000-01-01",
                             "2026-11-22 ",
                             "2026-11-22X10:00",
                             "2026-11-22T10:00:00+1",
                             "2026-11-22T10:00+01:00x",
                             "yesterdayT10:00",
                             "yesterday 10:00Z",
                             "tomorrow",
                             "2h30",
                             "30m2h",
                             "2h2h",
                             "m",
                             "ago",
                             "-2h",
                             "2 h",
                             "999999999w",
                             "1e3s"}) {
        EXPECT_FALSE(GivenMoment::parse(text)) << text;
    }
}

TEST(SeriesSpool, HoldsManyPointsOfManySeries) {
    constexpr int numPoints = 1000; /* several pieces in the file, and a rest */
    tvsistat::SeriesSpool spool;
    const std::vector<size_t> all{spool.addSeries(), spool.addSeries(), spool.addSeries()};
    for (int i = 0; i < numPoints; i++) {
        for (const size_t one : all) {
            spool.add(one, {i, -1.0});
            spool.add(one, {i, static_cast<double>(i * 10) + static_cast<double>(one)});
            spool.add(one, {i - 1, -2.0});
        }
    }
    EXPECT_EQ(spool.numLeftOut(), 3U * numPoints);
    for (const size_t one : all) {
        int next = 0;
        for (size_t chunk = 0; !spool.read(one, chunk).empty(); chunk++) {
            for (const auto& point : spool.read(one, chunk)) {
                ASSERT_EQ(point.timeMs, next);
                ASSERT_EQ(point.value, next * 10 + static_cast<int>(one));
                next++;
            }
        }
        EXPECT_EQ(next, numPoints);
    }
}

TEST(SeriesSpool, SaysWhereItCannotWrite) {
    setenv("TMPDIR", "/nowhere", 1);
    tvsistat::SeriesSpool spool;
    const size_t one = spool.addSeries();
    std::string sentence;
    try {
        for (int i = 0; i < 1000; i++) {
            spool.add(one, {i, 0});
        }
    } catch (const std::runtime_error& error) {
        sentence = error.what();
    }
    unsetenv("TMPDIR");
    EXPECT_EQ(sentence, "/nowhere, where values are kept until all are known, cannot be used: No "
                        "such file or directory; TMPDIR names another directory");
}

} // namespace
