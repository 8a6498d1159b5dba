/* The texts of dates, at a fixed time unless a test says, and the bit primitives. */
#include "hostprocess.h"
#include "hostunix.h"
#include "rows.h"
#include "utl.h"

#include <barrier>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <langinfo.h>
#include <thread>

using namespace testing;
using namespace testsupport;

static const char* formatOfLocale; /* null: the real one */

extern "C" char* nl_langinfo(nl_item item) noexcept {
    if (formatOfLocale != nullptr && item == D_FMT) {
        return const_cast<char*>(formatOfLocale);
    }
    static const auto real = reinterpret_cast<decltype(&nl_langinfo)>(dlsym(RTLD_NEXT, __func__));
    return real(item);
}

namespace {

std::string stamp() {
    char text[128];
    const ssize_t length = UtlTimeStampMs(text, sizeof text);
    EXPECT_EQ(length, static_cast<ssize_t>(strlen(text)));
    return text;
}

/* The texts with milliseconds and without, and the warnings. */
Outcome datesWith(const std::string& format, const char* ofLocale = nullptr) {
    return inNovember([&] {
        formatOfLocale = ofLocale;
        setenv("TX_CFTIME", format.c_str(), 1);
        TciCTimeStringType date;
        UtlCtime(november16, &date);
        printf("%s|%s", stamp().c_str(), date.msg);
    });
}

std::string lacks(const std::string& fields) {
    return "\nWARNING: Missing fields in $TX_CFTIME: " + fields + "!\nUsing locale default.\n\n";
}

const std::string localeDefault = "11/16/26 18:20:07.042 UTC|11/16/26 18:20:07 UTC";
const std::string x79(79, 'x');
/* Its text has 98 characters: it fits without the milliseconds, not with them. */
const std::string textOf98 = "%m%d%H%M%S%c%c%c" + std::string(16, 'x');

TEST(DateFormat, IsTheConfiguredOneIfItHasEveryFieldAndFits) {
    const std::string invalid =
        "\nWARNING: Invalid format for $TX_CFTIME!\nUsing locale default.\n\n";
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
        EXPECT_THAT(std::pair(outcome.out, outcome.err), Pair(texts, warning)) << format;
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
        char cut[9];
        EXPECT_EQ(UtlTimeStampMs(cut, sizeof cut), 25);
        printf("%s %s", stamp().c_str(), cut);
    });
    EXPECT_EQ(outcome.out, "11/16/26 18:20:07.042 UTC 11/16/26");
    EXPECT_EQ(outcome.err, lacks("month day minutes seconds"));
}

TEST(TimeStamp, FixedFormKeepsNineCharactersOfTheZone) {
    const std::tuple<const char*, size_t, std::string> cases[] = {
        {"<+0530>-5:30", 62, "2026-11-16 23:50:07.042 +0530"},
        {"ABCDEFGHI0", 62, "2026-11-16 18:20:07.042 ABCDEFGHI"},
        {"ABCDEFGHIJKL0", 36, "2026-11-16 18:20:07.042 ABCDEFGHI"},
        {"ABCDEFGHIJKL0", 35, ""},
        {"UTC0", 28, "2026-11-16 18:20:07.042 UTC"},
        {"UTC0", 27, "2026-11-16 18:20:07.042 UT"},
        {"UTC0", 26, ""},
        {"UTC0", 1, ""}};
    forEachRow(cases, [&](auto& zone, size_t size, auto& expected) {
        const auto body = [&] {
            std::string text(80, '#');
            UtlTimeStampMsStr_hostagent(text.data(), 0);
            EXPECT_EQ(text[0], '#');
            UtlTimeStampMsStr_hostagent(text.data(), size);
            printf("%s|%s", text.c_str(), text.substr(size).c_str());
        };
        EXPECT_EQ(inNovember(body, zone).out, expected + "|" + std::string(80 - size, '#'));
    });
}

TEST(TimeStamp, LineHasTheTimeInMillisecondsAndTheThread) {
    char end[64]; /* the child's thread has the same id */
    snprintf(end, sizeof end, " 1794853207042ms thread 0x%lx", pthread_self());
    const std::pair<std::string, std::string> cases[] = {
        {"", "11/16/26 18:20:07.042 UTC" + std::string(end)},
        {"%m %d %H:%M:%S" + x79, ("11 16 18:20:07.042" + x79 + end).substr(0, 125)},
        {textOf98, "(error from UtlTimeStampMs)"}};
    forEachRow(cases, [&](auto& format, auto& line) {
        const auto outcome = inNovember([&] {
            setenv("TX_CFTIME", format.c_str(), 1);
            threadSafePrintTimestamp();
        });
        EXPECT_EQ(outcome.err, line + "\n");
    });
}

TEST(ListingTime, FollowsItsFormatAsFixedByItsFirstUse) {
    const auto print = [](time_t t, size_t size = 200) {
        std::string text(size, '#');
        UtlListTimeStr(t, text.data(), size);
        printf("%s|", text.c_str());
    };
    const std::string x120(120, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"%Y %m", "2026 05|2026 09|2026 05|"},
        {x120 + "%B", x120 + "May|Sep 16 18:20|May 16 18:20|"},
        {x120 + "1234567", x120 + "1234567|" + x120 + "1234567|" + x120 + "1234567|"},
        {x120 + "12345678", "May 16 18:20|Sep 16 18:20|May 16 18:20|"}};
    forEachRow(cases, [&](auto& format, auto& texts) {
        const auto outcome = inNovember([&] {
            setenv("TX_TXLIST_TIME_FORMAT", format.c_str(), 1);
            for (const time_t t : {1778955607, 1789582807, 1778955607}) {
                print(t);
                unsetenv("TX_TXLIST_TIME_FORMAT");
            }
            print(0);
            print(0, 4);
        });
        EXPECT_EQ(outcome.out, texts + "unknown date|unk|") << format;
    });
}

/* Wrong for one value. */
template <auto primitive, auto value> auto broken(decltype(value) argument) {
    const auto result = primitive(argument);
    return static_cast<decltype(primitive(argument))>(argument == value ? result ^ 1 : result);
}

/* What is wrong stands at the ends of what is looked at. */
TEST(BitPrimitives, SelfTestNamesTheBrokenOne) {
    using P = TxBitPrimitivesSType;
    const auto fault = [](auto member, auto primitive) -> std::string {
        P primitives = txBitPrimitives;
        primitives.*member = primitive;
        return txBitPrimitivesFault(&primitives);
    };
    constexpr uint64_t top = uint64_t{1} << 63;
    EXPECT_EQ(txBitPrimitivesFault(&txBitPrimitives), nullptr);
    EXPECT_EQ(fault(&P::ffs, broken<tx_ffs, 0U>), "bad tx_ffs() result");
    EXPECT_EQ(fault(&P::ffs, broken<tx_ffs, 0x80000000>), "bad tx_ffs() result");
    EXPECT_EQ(fault(&P::ffs8, broken<tx_ffs8, top>), "bad tx_ffs8() result");
    EXPECT_EQ(fault(&P::msb, broken<tx_msb, 0x80000000>), "bad tx_msb() result");
    EXPECT_EQ(fault(&P::msb8, broken<tx_msb8, uint64_t{1}>), "bad tx_msb8() result");
    EXPECT_EQ(fault(&P::popcnt, broken<tx_popcnt, 0xFFFFEC1F>), "bad tx_popcnt() result");
    EXPECT_EQ(fault(&P::popcnt8, broken<tx_popcnt8, ~uint64_t{0x1F4C}>), "bad tx_popcnt8() result");
    EXPECT_EQ(fault(&P::bswap2, broken<tx_bswap2, uint16_t{1 << 15}>), "bad tx_bswap2() result");
    EXPECT_EQ(fault(&P::bswap4, broken<tx_bswap4, 2U>), "bad tx_bswap4() result");
    EXPECT_EQ(fault(&P::bswap8, broken<tx_bswap8, top>), "bad tx_bswap8() result");
    EXPECT_EQ(fault(&P::bitfit8, broken<tx_bitfit8, (top >> 1) + 2>), "bad bit fitting result");
    EXPECT_EQ(tx_ffs(0) + tx_ffs8(0) + tx_msb(0) + tx_msb8(0) + tx_bitfit8(0), -4);
}

} // namespace
