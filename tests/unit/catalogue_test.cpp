/* The catalogue of statistics fields: what the compiler has not checked already. */
#include "statscatalogue.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace statscatalogue;

TEST(Catalogue, HasEveryFieldOfEveryBlock) {
    using FieldCounts = std::vector<std::pair<std::string_view, std::size_t>>;
    FieldCounts counts;
    for (const BlockPlace& place : allBlocks()) {
        counts.emplace_back(place.member, place.block.fields.size());
    }
    const FieldCounts expected = {
        {"cmn", 36},        {"cmn64", 2},          {"u.monitor", 88},       {"u64.monitor64", 19},
        {"u.brox", 210},    {"u64.brox64", 28},    {"uTimeStats.brox", 14}, {"u.vok", 141},
        {"u64.vok64", 9},   {"uTimeStats.vok", 7}, {"u.vokthr", 1},         {"u64.vokthr64", 3},
        {"u.vokPgsvr", 39}, {"u64.vokPgsvr64", 0}, {"u.cachePgsvr", 12},    {"u64.cachePgsvr64", 1},
        {"u.pageMgr", 19},  {"u64.pageMgr64", 1},  {"u.ffThd", 8},          {"u64.ffThd64", 0},
        {"u.aioThd", 17},   {"u64.aioThd64", 0},   {"u64.restoreThr64", 3},
    };
    EXPECT_EQ(counts, expected);
}

TEST(Catalogue, KindsHaveTheBlocksOfTheirRecords) {
    const std::string_view blocks[] = {
        "cmn u.monitor cmn64 u64.monitor64",
        "cmn u.brox cmn64 u64.brox64 uTimeStats.brox",
        "cmn u.vokPgsvr cmn64 u64.vokPgsvr64",
        "cmn u.vok cmn64 u64.vok64 uTimeStats.vok",
        "cmn cmn64",
        "cmn cmn64",
        "cmn cmn64",
        "cmn u.pageMgr cmn64 u64.pageMgr64",
        "cmn cmn64 u64.restoreThr64",
        "cmn u.vokthr cmn64 u64.vokthr64",
        "cmn u.aioThd cmn64 u64.aioThd64",
        "cmn u.ffThd cmn64 u64.ffThd64",
        "cmn u.cachePgsvr cmn64 u64.cachePgsvr64",
        "cmn u.vokPgsvr cmn64 u64.vokPgsvr64",
        "cmn cmn64",
    };
    for (const Kind& kind : kinds()) {
        std::string own;
        for (const BlockPlace& place : kind.blocks()) {
            own += (own.empty() ? "" : " ") + std::string(place.member);
        }
        EXPECT_EQ(own, blocks[kind.index]) << kind.name;
        EXPECT_EQ(kindOfBit(kind.bit), &kind);
        EXPECT_EQ(kindNamed(kind.shortName), &kind);
        EXPECT_EQ(kindNamed(kind.name), &kind);
    }
    EXPECT_EQ(kindOfBit(SHRPC_VOK | SHRPC_APP), nullptr);
    EXPECT_EQ(kindNamed("ShrPC_voK")->index, SHRPC_VOK_IDX);
    for (const char* unknown : {"", "vo", "voks", "SHRPC_", "SHRPC_ALL"}) {
        EXPECT_EQ(kindNamed(unknown), nullptr) << unknown;
    }
}

TEST(Catalogue, AFieldIsFoundWhereTheKindHasIt) {
    const std::pair<const char*, std::string> cases[] = {
        {"vok", "vokKind 704 1 i32 state"},
        {"vokthr", "vokKind 152 1 i32 state"},
        {"brox", "numInObjWaitQueue 224 10 u32 gauge"},
        {"brox", "timeLastAbort 1648 1 i64 time"},
        {"restorethr", "checkpointCount 1056 1 u64 counter"},
        {"vok", "sessionStats 1072 48 i64 gauge"},
    };
    for (const auto& [kind, expected] : cases) {
        const auto place = findField(*kindNamed(kind), expected.substr(0, expected.find(' ')));
        std::ostringstream text;
        const Field& field = *place.value().field;
        text << field.name << ' ' << place->recordOffset << ' ' << field.count << ' '
             << nameOf(field.type) << ' ' << nameOf(field.meaning);
        EXPECT_EQ(text.str(), expected);
    }
    EXPECT_FALSE(findField(*kindNamed("statmon"), "vokKind"));
    EXPECT_FALSE(findField(*kindNamed("vok"), "vokkind"));
    EXPECT_FALSE(findField(*kindNamed("vok"), "numInObjWaitQueue"));
}

TEST(Catalogue, ValuesAreReadWithTheirWidthAndSign) {
    TvsiResultSType record;
    std::memset(&record, 0xFF, sizeof record);
    record.stats.u.vok.vokKind = -5;
    record.stats.cmn.rdbfDiskReads = 0xFFFFFFFE;
    record.stats.u64.vok64.sessionStats[47] = INT64_MIN;
    const std::tuple<const char*, const char*, std::size_t, std::int64_t, bool> cases[] = {
        {"vok", "vokKind", 0, -5, true},
        {"vok", "rdbfDiskReads", 0, 0xFFFFFFFE, false},
        {"vok", "sessionStats", 46, -1, true},
        {"vok", "sessionStats", 47, INT64_MIN, true},
        {"restorethr", "commitCount", 0, -1, false}, // UINT64_MAX
    };
    for (const auto& [kind, field, element, expected, isSigned] : cases) {
        const Value value = read(record, findField(*kindNamed(kind), field).value(), element);
        EXPECT_EQ(value.asSigned(), expected) << field;
        EXPECT_EQ(value.asUnsigned(), static_cast<std::uint64_t>(expected)) << field;
        EXPECT_EQ(value.isSigned, isSigned) << field;
    }
}

} // namespace
