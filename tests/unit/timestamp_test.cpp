/* Clocks, the environment and the texts of dates. The time is a fixed one unless a test says. */
#include "hostprocess.h"
#include "hostunix.h"
#include "rows.h"
#include "utl.h"

#include <barrier>
#include <cstring>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <langinfo.h>
#include <poll.h>
#include <thread>

namespace {
const char* formatOfLocale; /* null: the real one */
bool hasRaisedPrivileges;
} // namespace

extern "C" char* nl_langinfo(nl_item item) noexcept {
    if (formatOfLocale != nullptr && item == D_FMT) {
        return const_cast<char*>(formatOfLocale);
    }
    static const auto real = reinterpret_cast<decltype(&nl_langinfo)>(dlsym(RTLD_NEXT, __func__));
    return real(item);
}

extern "C" char* secure_getenv(const char* name) noexcept {
    return hasRaisedPrivileges ? nullptr : getenv(name);
}

namespace {

using testing::EndsWith;
using testing::Pair;
using testing::StartsWith;
using testsupport::inNovember;
using testsupport::november16;
using testsupport::ScopedFault;
using testsupport::ScopedOverride;

std::string stamp() {
    char text[128];
    const ssize_t length = UtlTimeStampMs(text, sizeof text);
    EXPECT_EQ(length, static_cast<ssize_t>(strlen(text)));
    return text;
}

std::string date(time_t t) {
    TciCTimeStringType text;
    UtlCtime(t, &text);
    return text.msg;
}

/* The texts with milliseconds and without, and the warnings. */
testsupport::Outcome datesWith(const std::string& format, const char* ofLocale = nullptr) {
    return inNovember([&] {
        formatOfLocale = ofLocale;
        setenv("TX_CFTIME", format.c_str(), 1);
        printf("%s|%s", stamp().c_str(), date(november16).c_str());
    });
}

std::string lacks(const std::string& fields) {
    return "\nWARNING: Missing fields in $TX_CFTIME: " + fields + "!\nUsing locale default.\n\n";
}

const std::string localeDefault = "11/16/26 18:20:07.042 UTC|11/16/26 18:20:07 UTC";
const std::string invalid = "\nWARNING: Invalid format for $TX_CFTIME!\nUsing locale default.\n\n";
const std::string x79(79, 'x');
/* Its text has 98 characters: it fits without the milliseconds, not with them. */
const std::string textOf98 = "%m%d%H%M%S%c%c%c" + std::string(16, 'x');

TEST(DateFormat, IsTheConfiguredOneIfItHasEveryFieldAndFits) {
    const std::string base = "%m %d %H:%M:%S"; /* as long as its text */
    const std::string c = "Mon Nov 16 18:20:07 2026";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"", localeDefault, ""},
        {"%Y-%m-%d %H:%M:%S", "2026-11-16 18:20:07.042|2026-11-16 18:20:07", ""},
        {"%b %d %I:%M:%S %p", "Nov 16 06:20:07.042 PM|Nov 16 06:20:07 PM", ""},
        {"%B%d%I%M%S%P", "November16062007.042pm|November16062007pm", ""},
        {"%h%d %H%M%S%r", "Nov16 182007.04206:20:07 PM.042|Nov16 18200706:20:07 PM", ""},
        {"%%%d %H:%M:%S %b", "%16 18:20:07.042 Nov|%16 18:20:07 Nov", ""},
        {"%b %d %H:%M:%S%%S%", "Nov 16 18:20:07.042%S%|Nov 16 18:20:07%S%", ""},
        {"%b %d %H:%M:%S%%%%.3d%%%%", "Nov 16 18:20:07.042%.3d%|Nov 16 18:20:07%%.3d%%", ""},
        {"%b %d %I:%M:%S", localeDefault, lacks("hour")},
        {"%%d %H:%M:%S %b", localeDefault, lacks("day")},
        {"%-m %e %H:%S", localeDefault, lacks("month day minutes")},
        {"%T %D%ES", localeDefault, lacks("month day hour minutes seconds")},
        {"%c%c%c%c%c", localeDefault, invalid},
        {textOf98, "|1116182007" + c + c + c + std::string(16, 'x'), ""},
        {textOf98 + "x", localeDefault, invalid},
        /* format of 99 characters with the milliseconds, and of one more */
        {base + x79, "11 16 18:20:07.042" + x79 + "|11 16 18:20:07" + x79, ""},
        {base + x79 + "x", localeDefault, invalid},
        {std::string(100, 'x'), localeDefault, ""}};
    for (const auto& [format, texts, warning] : cases) {
        const auto outcome = datesWith(format);
        EXPECT_THAT((std::pair(outcome.out, outcome.err)), Pair(texts, warning)) << format;
    }
}

TEST(DateFormat, IsOtherwiseTheLocalesOneIfThatFits) {
    EXPECT_EQ(datesWith("", "%d.%m.%Y").out, "16.11.2026 18:20:07.042 UTC|16.11.2026 18:20:07 UTC");
    const std::string x85(85, 'x');
    EXPECT_THAT(datesWith("", x85.c_str()).out, EndsWith("|" + x85 + " 18:20:07 UTC"));
    EXPECT_THAT(datesWith("", (x85 + "x").c_str()).out, EndsWith("|"));
    EXPECT_THAT(datesWith("", (x85 + x85).c_str()).out, EndsWith("|"));
}

/* A text from outside is never a print format of its own. */
TEST(DateFormat, BringsNoConversionOfItsOwnIntoTheStamp) {
    for (const std::string text :
         {"%n", "%s", "%hhn", "%1$n", "%*d", "%99999999d", "%", "%.3", "%.3ld"}) {
        EXPECT_THAT(datesWith("%m %d %H:%M:%S %" + text).out,
                    StartsWith("11 16 18:20:07.042 " + text + "|"));
        EXPECT_THAT(datesWith("", ("%" + text).c_str()).out,
                    StartsWith(text + " 18:20:07.042 UTC|"));
    }
}

TEST(DateFormat, IsFixedByItsFirstUseAndWarnedOfOnce) {
    const auto outcome = inNovember([] {
        setenv("TX_CFTIME", "%H", 1);
        std::barrier start(8);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                EXPECT_EQ(stamp(), "11/16/26 18:20:07.042 UTC");
            });
        }
        threads.clear();
        setenv("TX_CFTIME", "%Y-%m-%d %H:%M:%S", 1);
        printf("%s", stamp().c_str());
        char cut[9];
        EXPECT_EQ(UtlTimeStampMs(cut, sizeof cut), 25);
        EXPECT_STREQ(cut, "11/16/26");
    });
    EXPECT_EQ(outcome.out, "11/16/26 18:20:07.042 UTC");
    EXPECT_EQ(outcome.err, lacks("month day minutes seconds"));
}

TEST(TimeStamp, FixedFormKeepsNineCharactersOfTheZone) {
    const std::tuple<const char*, size_t, const char*> cases[] = {
        {"<+0530>-5:30", 62, "2026-11-16 23:50:07.042 +0530"},
        {"ABCDEFGHI0", 62, "2026-11-16 18:20:07.042 ABCDEFGHI"},
        {"ABCDEFGHIJKL0", 36, "2026-11-16 18:20:07.042 ABCDEFGHI"},
        {"ABCDEFGHIJKL0", 35, ""},
        {"UTC0", 28, "2026-11-16 18:20:07.042 UTC"},
        {"UTC0", 27, "2026-11-16 18:20:07.042 UT"},
        {"UTC0", 26, ""},
        {"UTC0", 1, ""}};
    testsupport::forEachRow(cases, [&](const auto& zone, const auto& size, const auto& expected) {
        const auto body = [&] {
            std::string text(80, '#');
            UtlTimeStampMsStr_hostagent(text.data(), 0);
            EXPECT_EQ(text[0], '#');
            UtlTimeStampMsStr_hostagent(text.data(), size);
            EXPECT_EQ(text.substr(size), std::string(80 - size, '#'));
            printf("%s", text.c_str());
        };
        EXPECT_EQ(inNovember(body, zone).out, expected) << zone << " in " << size;
    });
}

TEST(TimeStamp, LineHasTheTimeInMillisecondsAndTheThread) {
    char id[32];
    snprintf(id, sizeof id, "%lx", pthread_self()); /* the child's thread has the same id */
    const std::string end = std::string(" 1794853207042ms thread 0x") + id;
    const std::pair<std::string, std::string> cases[] = {
        {"", "11/16/26 18:20:07.042 UTC" + end},
        {"%m %d %H:%M:%S" + x79, ("11 16 18:20:07.042" + x79 + end).substr(0, 125)},
        {textOf98, "(error from UtlTimeStampMs)"}};
    testsupport::forEachRow(cases, [&](const auto& format, const auto& line) {
        const auto outcome = inNovember([&] {
            setenv("TX_CFTIME", format.c_str(), 1);
            threadSafePrintTimestamp();
        });
        EXPECT_EQ(outcome.err, line + "\n");
    });
}

TEST(Clock, ReadsAsZeroWhenItFailsOrTheTimeHasNoLocalForm) {
    const auto outcome = inNovember([] {
        unsigned short milliseconds = 7;
        EXPECT_EQ(HostFtime(&milliseconds), november16);
        EXPECT_EQ(milliseconds, 42) << "whole ones";
        const ScopedFault fault("clock_gettime", EINVAL);
        EXPECT_EQ(HostFtime(&milliseconds), 0);
        EXPECT_EQ(milliseconds, 0);

        time_t outOfRange = INT64_MAX;
        struct tm local;
        memset(&local, 0xFF, sizeof local);
        EXPECT_EQ(HostLocaltimeR(&outOfRange, &local), &local);
        EXPECT_EQ(local.tm_year, 0);
        printf("%s", date(outOfRange).c_str());
    });
    EXPECT_EQ(outcome.out, "01/00/00 00:00:00 UTC");
    const std::string line = "NULL from localtime_r, errno = 75\n";
    EXPECT_EQ(outcome.err, line + line);
}

TEST(Clock, SleepTellsWhetherASignalCutItShort) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(HostNanoSleep(50000000));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
    for (const int error : {EINTR, ERESTART, EINVAL}) {
        const ScopedFault fault("clock_nanosleep", error);
        EXPECT_EQ(HostNanoSleep(1), error != EINVAL) << error;
    }
}

TEST(Clock, SleepOfMillisecondsGoesOnAfterSignals) {
    const ScopedFault signals("poll", EINTR, 1, 3);
    const auto before = std::chrono::steady_clock::now();
    HostMilliSleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
    EXPECT_EQ(signals.hits(), 3);
}

TEST(Clock, SleepOfMillisecondsNeverGrowsWhateverTheClockDoes) {
    /* Milliseconds on the clock at each look at it, -1: it fails; a signal ends each sleep but the
       last. */
    const std::pair<std::vector<int>, std::vector<int>> cases[] = {
        {{5000, 5010, 5029}, {30, 20, 1}},
        {{5000, -1, -1}, {30, 30, 30}},
        {{5000, 5010, -1}, {30, 20, 20}},
        {{5000, 4000, 5020}, {30, 30, 10}},
        {{5000, 5030}, {30}},
        {{-1, 5000}, {30}}};
    testsupport::forEachRow(cases, [&](const auto& looks, const auto& sleeps) {
        auto look = looks.begin();
        std::vector<int> made;
        const ScopedOverride<decltype(clock_gettime)> clock("clock_gettime", [&](auto, auto* now) {
            const int at = *look++;
            *now = at < 0 ? *now : timespec{at / 1000, at % 1000 * 1000000L};
            return at < 0 ? -1 : 0;
        });
        const ScopedOverride<decltype(poll)> interrupted("poll", [&](auto*, auto, int span) {
            made.push_back(span);
            errno = EINTR;
            return look == looks.end() ? 0 : -1;
        });
        HostMilliSleep(30);
        EXPECT_EQ(made, sleeps) << testing::PrintToString(looks);
    });
}

TEST(Environment, ValueThatDoesNotFitOrRaisedPrivilegesCountAsUnset) {
    const std::string v99(99, 'v');
    const std::tuple<std::string, size_t, bool> cases[] = {
        {v99, 100, true}, {v99 + "v", 100, false}, {"", 100, false},
        {"ab", 3, true},  {"ab", 1, false},        {"ab", 0, false}};
    for (const auto& [value, size, fits] : cases) {
        setenv("TX_TEST", value.c_str(), 1);
        for (const bool isRaised : {false, true}) {
            hasRaisedPrivileges = isRaised;
            const bool isFound = fits && !isRaised;
            std::string text(128, '#');
            EXPECT_EQ(HostGetEnv("TX_TEST", text.data(), size), isFound ? TRUE : FALSE);
            EXPECT_EQ(text.substr(size), std::string(128 - size, '#'));
            EXPECT_EQ(text.substr(0, size).c_str(), isFound ? value : "");
            EXPECT_EQ(HostEnvExists("TX_TEST"), isRaised ? FALSE : TRUE);
        }
    }
    char path[16]; /* still with raised privileges */
    HostUnixExpandFileName("/a${TX_TEST}/b", path, sizeof path, TRUE, TRUE);
    EXPECT_STREQ(path, "/a/b");
    hasRaisedPrivileges = false;
}

std::string listed(time_t t, size_t size = 200) {
    std::string text(size, '#');
    UtlListTimeStr(t, text.data(), size);
    return text.c_str();
}

TEST(ListingTime, FollowsItsFormatAsFixedByItsFirstUse) {
    constexpr time_t may16 = 1778955607;
    constexpr time_t september16 = 1789582807;
    const std::string x120(120, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"%Y %m", "2026 05|2026 09|2026 05|"},
        {x120 + "%B", x120 + "May|Sep 16 18:20|May 16 18:20|"},
        {x120 + "1234567", x120 + "1234567|" + x120 + "1234567|" + x120 + "1234567|"},
        {x120 + "12345678", "May 16 18:20|Sep 16 18:20|May 16 18:20|"}};
    testsupport::forEachRow(cases, [&](const auto& format, const auto& texts) {
        const auto outcome = inNovember([&] {
            setenv("TX_TXLIST_TIME_FORMAT", format.c_str(), 1);
            for (const time_t t : {may16, september16, may16}) {
                printf("%s|", listed(t).c_str());
                unsetenv("TX_TXLIST_TIME_FORMAT");
            }
            EXPECT_EQ(listed(0), "unknown date");
            EXPECT_EQ(listed(0, 4), "unk");
        });
        EXPECT_EQ(outcome.out, texts) << format;
    });
}

} // namespace
