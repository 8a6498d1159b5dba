/* The queries: which entries they find, in which order, and the bytes that they hand out. */
#include <climits>
#include <cstring>
#include <gmock/gmock.h>
#include <numeric>
#include <optional>
#include <regex.h>

#include "attachcall.h"
#include "basetypes.h"
#include "testcache.h"

namespace {

using namespace testsupport;

constexpr std::uint32_t slots = 64;
using Slots = std::vector<std::uint32_t>;

TvsiResultSType poisoned() {
    TvsiResultSType result;
    std::memset(&result, 0x5A, sizeof result);
    return result;
}

bool isPoisoned(const TvsiResultSType& result) {
    const TvsiResultSType expected = poisoned();
    return std::memcmp(&result, &expected, sizeof result) == 0;
}

/* Each entry has its slot's number in a field that nobody else looks at. */
std::uint32_t slotOf(const TvsiResultSType& result) {
    std::uint32_t slot;
    std::memcpy(&slot, &result.stats.cmn64, sizeof slot);
    return slot;
}

class Queries : public testing::Test {
protected:
    void SetUp() override {
        TvsiInit();
        ASSERT_EQ(attach(cache.name()), success);
        occupy(0, SHRPC_MONITOR, "", 0, getpid());
        occupy(1, SHRPC_BROX, "", 0, getpid());
    }
    void TearDown() override { TvsiDetachSharedCache(); }

    void occupy(std::uint32_t slot, std::uint32_t kind, const std::string& name = {},
                std::int32_t sessionId = 0, pid_t pid = 0, std::int32_t vokKind = 0) {
        cache.occupy(slot, kind, name, sessionId, pid);
        std::memcpy(&cache.entry(slot).stats.cmn64, &slot, sizeof slot);
        cache.entry(slot).stats.u.vok.vokKind = vokKind;
    }

    /* The slot that a query for one entry finds; -status otherwise, with the record untouched. */
    static int found(const std::function<int(TvsiResultSType*)>& query) {
        TvsiResultSType result = poisoned();
        const int status = query(&result);
        EXPECT_TRUE(status == TVSI_SUCCESS || isPoisoned(result));
        return status == TVSI_SUCCESS ? static_cast<int>(slotOf(result)) : -status;
    }
    static int withPid(int pid) { return found(std::bind_front(TvsiStatsForProcessId, pid)); }
    static int vokOfSession(int id) { return found(std::bind_front(TvsiStatsForVokSessionId, id)); }
    static int pgsvrOfSession(int id) {
        return found(std::bind_front(TvsiStatsForPgsvrSessionId, id));
    }
    static int vokNamed(const std::string& name) {
        return found(std::bind_front(TvsiStatsForVokSessionWithName, name.c_str()));
    }

    /* The slots that a query for many entries gives for a capacity; what lies behind them in the
       array must be untouched. Nothing when it fails or the count is not theirs. */
    static std::optional<Slots> collected(int capacity,
                                          const std::function<int(TvsiResultSType*, int*)>& query) {
        std::vector<TvsiResultSType> results(slots + 8, poisoned());
        int count = capacity;
        if (query(results.data(), &count) != TVSI_SUCCESS || count < 0 || count > capacity) {
            return std::nullopt;
        }
        EXPECT_TRUE(std::all_of(results.begin() + count, results.end(), isPoisoned));
        Slots found(static_cast<std::size_t>(count));
        std::transform(results.begin(), results.begin() + count, found.begin(), slotOf);
        return found;
    }
    static std::optional<Slots> masked(unsigned int mask, int capacity = slots) {
        return collected(capacity, std::bind_front(TvsiAllStatsForMask, mask));
    }
    static std::optional<Slots> inRange(int low, int high, int capacity = slots) {
        return collected(capacity, std::bind_front(TvsiAllVokStatsForVokKindRange, low, high));
    }
    static std::optional<Slots> matching(const std::string& regex, BoolType ignoreCase = FALSE,
                                         int capacity = slots) {
        return collected(capacity, [&](TvsiResultSType* results, int* size) {
            return TvsiAllVokStatsForRegexName(regex.c_str(), ignoreCase, results, size, nullptr,
                                               0);
        });
    }
    TestCache cache;
};

TEST_F(Queries, ARecordIsTheEntrysBytesAndTheCacheIsNeverWritten) {
    constexpr std::size_t resultOffset = 2544;
    ShrPcPteSType& entry = cache.entry(5);
    auto* bytes = reinterpret_cast<unsigned char*>(&entry);
    std::iota(bytes, bytes + sizeof entry, static_cast<unsigned char>(1));
    entry.statType = SHRPC_VOK;
    entry.stats.processId = 4711;
    entry.stats.sessionId = 12;
    entry.stats.u.vok.vokKind = -3;
    std::memset(entry.processName, 'n', 32); /* no terminator */
    const auto* segment = static_cast<const char*>(cache.segment().address());
    const std::vector<char> before(segment, segment + cache.segment().size());
    const std::function<int(TvsiResultSType*, int*)> queries[] = {
        [](TvsiResultSType* r, int*) { return TvsiStatsForProcessId(4711, r); },
        [](TvsiResultSType* r, int*) { return TvsiStatsForVokSessionId(12, r); },
        std::bind_front(TvsiAllStatsForMask, SHRPC_VOK),
        std::bind_front(TvsiAllVokStatsForVokKindRange, -3, -3),
        [](TvsiResultSType* r, int* n) {
            return TvsiAllVokStatsForRegexName("^n{32}$", FALSE, r, n, nullptr, 0);
        },
    };
    for (const auto& query : queries) {
        TvsiResultSType results[2] = {poisoned(), poisoned()};
        int count = 1;
        ASSERT_EQ(query(results, &count), TVSI_SUCCESS);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(std::memcmp(results, bytes + resultOffset, 1800), 0);
        EXPECT_TRUE(isPoisoned(results[1]));
    }
    TvsiDetachSharedCache();
    EXPECT_EQ(std::memcmp(segment, before.data(), before.size()), 0);
}

/* Whether they begin at the start of a cache line, in its middle or elsewhere. */
TEST(Copies, HoldTheBytesOfEachEntryAndNoneBeside) {
    TestCache registered;
    TvsiInit();
    attach("nobody~1f2e"); /* chooses the directory for good */
    for (const std::uint32_t shift : {0U, 16U, 40U}) {
        standin::SegmentGeometry geometry;
        geometry.processTableOffset = geometry.segmentSize + shift;
        geometry.segmentSize += slots * sizeof(ShrPcPteSType) + 64;
        const TestCache cache({.geometry = geometry});
        registered.recordCache("moved~1f2e", cache.segment().key());
        ASSERT_EQ(attach("moved~1f2e"), success);
        for (std::uint32_t slot = 2; slot < slots; ++slot) {
            auto& stats = cache.entry(slot).stats;
            auto* bytes = reinterpret_cast<unsigned char*>(&stats);
            std::iota(bytes, bytes + 1800, static_cast<unsigned char>(7 * slot));
            cache.occupy(slot, slot % 3 == 0 ? SHRPC_VOK : SHRPC_VOK_PGSVR_MAIN);
        }
        cache.segment().release(9); /* next to one that is in use */
        std::vector<TvsiResultSType> results(slots + 1, poisoned());
        int count = slots;
        ASSERT_EQ(TvsiAllStatsForMask(SHRPC_ALL, results.data(), &count), TVSI_SUCCESS);
        ASSERT_EQ(count, static_cast<int>(slots) - 1);
        for (std::uint32_t slot = 0, i = 0; slot < slots; ++slot) {
            if (slot != 9) {
                const void* expected = &cache.entry(slot).stats;
                EXPECT_EQ(std::memcmp(&results[i++], expected, 1800), 0) << slot << " " << shift;
            }
        }
        EXPECT_TRUE(isPoisoned(results.back()) && isPoisoned(results[slots - 1]));
        std::fill(results.begin(), results.end(), poisoned());
        ASSERT_EQ(TvsiAllStatsForMask(SHRPC_ALL, results.data(), &(count = 5)), TVSI_SUCCESS);
        EXPECT_TRUE(isPoisoned(results[5]));
        TvsiDetachSharedCache();
    }
}

TEST_F(Queries, AProcessIdIsFoundInTheLowestSlotInUse) {
    occupy(7, SHRPC_PAGEMGR, "", 0, 500);
    occupy(9, SHRPC_VOK, "", 0, 500);
    occupy(slots - 1, SHRPC_SYSTEM, "", 0, INT_MAX);
    EXPECT_EQ(withPid(500), 7);
    EXPECT_EQ(withPid(INT_MAX), static_cast<int>(slots) - 1);
    EXPECT_EQ(withPid(getpid()), 0) << "the monitor's, also in slot 1";
    cache.segment().release(7);
    cache.entry(9).inUse = 0x100; /* any value but 0 */
    EXPECT_EQ(withPid(500), 9);
    cache.segment().release(9);
    EXPECT_EQ(withPid(500), -TVSI_ERR_NOT_FOUND);
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
}

TEST_F(Queries, ASessionsVokAndPageServerAreToldApart) {
    occupy(2, SHRPC_VokThr, "", 6);
    occupy(3, SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN, "", 6); /* no single kind */
    occupy(4, SHRPC_VOK_PGSVR_THD, "", 6);
    occupy(5, SHRPC_VOK_PGSVR_MAIN, "", 6);
    occupy(6, SHRPC_VOK, "", 6);
    occupy(7, SHRPC_VOK, "", 6);
    EXPECT_EQ(vokOfSession(6), 6);
    EXPECT_EQ(pgsvrOfSession(6), 4);
    cache.segment().release(4);
    EXPECT_EQ(pgsvrOfSession(6), 5);
    EXPECT_EQ(vokOfSession(7), -TVSI_ERR_NOT_FOUND);
    EXPECT_EQ(pgsvrOfSession(7), -TVSI_ERR_NOT_FOUND);
}

TEST_F(Queries, TheFirstTwoSlotsAreNoVoksButMayBePageServers) {
    for (const std::uint32_t slot : {0U, 1U}) {
        occupy(slot, SHRPC_VOK, "Vok", 5);
    }
    for (const std::uint32_t entries : {slots, 2U}) {
        cache.header().numProcesses = entries;
        EXPECT_EQ(vokOfSession(5), -TVSI_ERR_NOT_FOUND);
        EXPECT_EQ(vokNamed("Vok"), -TVSI_ERR_NOT_FOUND);
        EXPECT_EQ(inRange(INT_MIN, INT_MAX), (Slots{}));
        EXPECT_EQ(matching("."), (Slots{}));
    }
    occupy(2, SHRPC_VOK_PGSVR_MAIN, "", 5, 77);
    EXPECT_EQ(pgsvrOfSession(5), -TVSI_ERR_NOT_FOUND) << "outside of the table";
    EXPECT_EQ(withPid(77), -TVSI_ERR_NOT_FOUND);
    occupy(1, SHRPC_VOK_PGSVR_THD, "", 5);
    EXPECT_EQ(pgsvrOfSession(5), 1);
    occupy(0, SHRPC_VOK_PGSVR_MAIN, "", 5);
    EXPECT_EQ(pgsvrOfSession(5), 0);
}

TEST_F(Queries, ANameIsComparedWholeUpToThirtyTwoCharacters) {
    const std::string a(31, 'a');
    const std::string b(32, 'b');
    occupy(2, SHRPC_PAGEMGR, "Vok1");
    occupy(3, SHRPC_VokThr, "Vok1");
    occupy(4, SHRPC_VOK, "Vok1");
    occupy(5, SHRPC_VOK, a);
    occupy(6, SHRPC_VokThr, "");
    occupy(7, SHRPC_VOK);
    std::memset(cache.entry(7).processName, 'b', 32);
    const std::pair<std::string, int> cases[] = {
        {"Vok1", 3}, {a, 5}, {"", 6}, {b, 7}, {b + "more", 7}};
    for (const auto& [name, slot] : cases) {
        EXPECT_EQ(vokNamed(name), slot) << name;
    }
    cache.segment().release(3);
    EXPECT_EQ(vokNamed("Vok1"), 4);
    const std::string others[] = {"vok1", "Vok", "Vok11", a + "a", b.substr(1)};
    for (const std::string& name : others) {
        EXPECT_EQ(vokNamed(name), -TVSI_ERR_NOT_FOUND) << name;
    }
}

TEST_F(Queries, TheBroxAndTheMonitorOwnTheirSlots) {
    occupy(5, SHRPC_MONITOR);
    occupy(6, SHRPC_BROX);
    EXPECT_EQ(found(TvsiStatsForBrox), 1);
    EXPECT_EQ(found(TvsiStatsForShrPcMon), 0);
    EXPECT_EQ(masked(SHRPC_MONITOR), (Slots{0}));
    EXPECT_EQ(masked(SHRPC_BROX), (Slots{1}));
    EXPECT_EQ(masked(3), (Slots{0, 1}));
    EXPECT_EQ(masked(3, 1), (Slots{0}));
    occupy(0, SHRPC_BROX);
    EXPECT_EQ(found(TvsiStatsForShrPcMon), -TVSI_ERR_CACHE_CONNECTION_SEVERED);
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
    EXPECT_EQ(masked(SHRPC_BROX), (Slots{0, 1}));
    occupy(1, SHRPC_BROX | SHRPC_VOK);
    EXPECT_EQ(found(TvsiStatsForBrox), -TVSI_ERR_NO_BROX);
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
    EXPECT_EQ(masked(SHRPC_BROX), (Slots{})) << "slot 1 is not the Brox's";
    EXPECT_EQ(masked(3), (Slots{0, 1}));
}

TEST_F(Queries, AMaskSelectsTheKindsWhoseBitsItHas) {
    Slots all = {0, 1};
    for (std::uint32_t kind = SHRPC_numStatTypes; kind-- > 0;) {
        const std::uint32_t slot = slots - 1 - 2 * kind;
        occupy(slot, 1U << kind);
        if (kind != SHRPC_SYSTEM_IDX) {
            all.push_back(slot);
        }
        if (kind >= 2 && kind < SHRPC_SYSTEM_IDX) {
            EXPECT_EQ(masked(1U << kind), (Slots{slot})) << kind;
        }
    }
    EXPECT_EQ(masked(SHRPC_ALL), all) << "all but the system's";
    occupy(2, SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN);
    EXPECT_EQ(masked(SHRPC_VOK, 1), (Slots{2})) << "shares a bit";
    EXPECT_EQ(masked(SHRPC_ALL, 5)->size(), 5u);
}

TEST_F(Queries, AKindRangeIsSignedAndInclusive) {
    std::uint32_t slot = 2;
    for (const std::int32_t kind : {INT_MIN, -1, 0, 1, 5, INT_MAX}) {
        occupy(slot++, SHRPC_VOK, "", 0, 0, kind);
    }
    occupy(8, SHRPC_VokThr, "", 0, 0, 5);
    occupy(9, SHRPC_VOK | SHRPC_BROX, "", 0, 0, 5);
    EXPECT_EQ(inRange(INT_MIN, INT_MAX), (Slots{2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(inRange(-1, 1), (Slots{3, 4, 5}));
    EXPECT_EQ(inRange(5, 5), (Slots{6}));
    EXPECT_EQ(inRange(2, 4), (Slots{}));
    EXPECT_EQ(inRange(INT_MIN, INT_MAX, 2), (Slots{2, 3}));
    EXPECT_EQ(inRange(1, 0), std::nullopt);
    int count = -7;
    EXPECT_EQ(TvsiAllVokStatsForVokKindRange(0, INT_MAX, nullptr, &count), TVSI_SUCCESS);
    EXPECT_EQ(count, 4);
}

TEST_F(Queries, AnExpressionMatchesAnywhereInTheNameOfAVok) {
    const char* names[] = {"gem1", "Gem22", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxZ", "", "y"};
    for (std::uint32_t i = 0; i < std::size(names); ++i) {
        occupy(2 + i, SHRPC_VOK, names[i]);
    }
    std::memset(cache.entry(6).processName, 'y', 32);
    occupy(7, SHRPC_VokThr, "gem1");
    const struct {
        const char* regex;
        BoolType ignoreCase;
        Slots expected;
    } cases[] = {{"em", FALSE, {2, 3}},         {"^gem", FALSE, {2}},    {"^GEM", FALSE, {}},
                 {"^GEM", TRUE, {2, 3}},        {"^GEM", 0x100, {2, 3}}, {"[0-9]{2}$", FALSE, {3}},
                 {"(1|Z)$", FALSE, {2, 4}},     {"^$", FALSE, {5}},      {"^y{32}$", FALSE, {6}},
                 {".*", FALSE, {2, 3, 4, 5, 6}}};
    for (const auto& [regex, ignoreCase, expected] : cases) {
        EXPECT_EQ(matching(regex, ignoreCase), expected) << regex;
    }
    EXPECT_EQ(matching(".*", FALSE, 2), (Slots{2, 3}));
    int count = -7;
    EXPECT_EQ(TvsiAllVokStatsForRegexName(".*", 0, nullptr, &count, nullptr, 0), TVSI_SUCCESS);
    EXPECT_EQ(count, 5);
}

TEST_F(Queries, ABadExpressionGivesTheReasonOfTheCLibrary) {
    const auto call = [](const char* regex, std::size_t size = 16) {
        int count = 1;
        TvsiResultSType result;
        return callWithBuffer(
            size, std::bind_front(TvsiAllVokStatsForRegexName, regex, FALSE, &result, &count));
    };
    for (const char* regex : {"(", "[", "a{2", "[[:nothing:]]", "a**b)("}) {
        regex_t compiled;
        char reason[256];
        const int rc = regcomp(&compiled, regex, REG_EXTENDED | REG_NOSUB);
        regerror(rc, &compiled, reason, sizeof reason);
        for (const std::size_t size : {1UL, 5UL, 256UL}) {
            const std::string text = std::string(reason).substr(0, size - 1);
            EXPECT_EQ(call(regex, size), (Answer{TVSI_ERR_BAD_REGEX, text})) << regex;
        }
        EXPECT_EQ(call(regex, 0), (Answer{TVSI_ERR_BAD_REGEX, "(untouched)"}));
    }
    EXPECT_EQ(call("x"), success);
    EXPECT_EQ(call(""), (Answer{TVSI_ERR_BAD_ARG, ""}));
    TvsiDetachSharedCache();
    EXPECT_EQ(call("x"), (Answer{TVSI_ERR_CACHE_NOT_ATTACHED, ""}));
    EXPECT_EQ(call("("), (Answer{TVSI_ERR_CACHE_NOT_ATTACHED, ""})) << "the cache comes first";
}

TEST_F(Queries, BadArgumentsAreRefusedWhateverTheCacheIs) {
    TvsiResultSType result = poisoned();
    int count = 7;
    for (const bool isAttached : {true, false}) {
        for (const unsigned int mask : {0U, 16384U, 0x8000U, 0x4001U, 0x80000001U}) {
            EXPECT_EQ(TvsiAllStatsForMask(mask, &result, &count), TVSI_ERR_BAD_ARG) << mask;
        }
        EXPECT_EQ(TvsiAllVokStatsForVokKindRange(1, 0, nullptr, &count), TVSI_ERR_BAD_ARG);
        EXPECT_EQ(count, 7);
        for (int bad : {0, -1, INT_MIN}) {
            EXPECT_EQ(withPid(bad), -TVSI_ERR_BAD_ARG);
            EXPECT_EQ(vokOfSession(bad), -TVSI_ERR_BAD_ARG);
            EXPECT_EQ(pgsvrOfSession(bad), -TVSI_ERR_BAD_ARG);
            EXPECT_EQ(TvsiAllStatsForMask(1, &result, &bad), TVSI_ERR_BAD_ARG);
            EXPECT_EQ(TvsiAllVokStatsForVokKindRange(0, 1, &result, &bad), TVSI_ERR_BAD_ARG);
            EXPECT_EQ(TvsiAllVokStatsForRegexName("x", FALSE, &result, &bad, nullptr, 0),
                      TVSI_ERR_BAD_ARG);
        }
        EXPECT_EQ(TvsiCacheIsAlive(), isAttached ? 1 : 0);
        TvsiDetachSharedCache();
    }
    EXPECT_TRUE(isPoisoned(result));
}

} // namespace
