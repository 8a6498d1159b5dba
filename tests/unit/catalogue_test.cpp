/* The catalogue of statistics fields: what the compiler has not checked already. */
#include "statscatalogue.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
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
    const std::map<std::string_view, std::string> blocks = {
        {"monitor", "cmn u.monitor cmn64 u64.monitor64"},
        {"brox", "cmn u.brox cmn64 u64.brox64 uTimeStats.brox"},
        {"pgsvr", "cmn u.vokPgsvr cmn64 u64.vokPgsvr64"},
        {"vok", "cmn u.vok cmn64 u64.vok64 uTimeStats.vok"},
        {"statmon", "cmn cmn64"},
        {"app", "cmn cmn64"},
        {"psc", "cmn cmn64"},
        {"pagemgr", "cmn u.pageMgr cmn64 u64.pageMgr64"},
        {"restorethr", "cmn cmn64 u64.restoreThr64"},
        {"vokthr", "cmn u.vokthr cmn64 u64.vokthr64"},
        {"aiothr", "cmn u.aioThd cmn64 u64.aioThd64"},
        {"ffthr", "cmn u.ffThd cmn64 u64.ffThd64"},
        {"cachepgsvr", "cmn u.cachePgsvr cmn64 u64.cachePgsvr64"},
        {"pgsvrthr", "cmn u.vokPgsvr cmn64 u64.vokPgsvr64"},
        {"system", "cmn cmn64"},
    };
    std::map<std::string_view, std::string> found;
    for (const Kind& kind : kinds()) {
        std::string& own = found[kind.shortName];
        for (const BlockPlace& place : kind.blocks()) {
            own += (own.empty() ? "" : " ") + std::string(place.member);
        }
        EXPECT_EQ(kindOfBit(kind.bit), &kind);
        EXPECT_EQ(kindNamed(kind.shortName), &kind);
        EXPECT_EQ(kindNamed(kind.name), &kind);
    }
    EXPECT_EQ(found, blocks);
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

/* A packed record is the kind's blocks, wherever the library's record has them. */
TEST(Catalogue, APackedRecordHoldsEveryValueOfTheRecord) {
    TvsiResultSType record;
    std::minstd_rand random(1);
    auto* bytes = reinterpret_cast<std::byte*>(&record);
    std::generate_n(bytes, sizeof record, [&] { return std::byte(random() & 0xFF); });
    for (const Kind& kind : kinds()) {
        std::vector<std::byte> packed(1); // one byte off, as records in a stream may lie
        for (const BlockPlace& place : kind.blocks()) {
            const std::byte* block = bytes + place.recordOffset;
            packed.insert(packed.end(), block, block + place.block.size);
        }
        EXPECT_EQ(packed.size() - 1, kind.packedSize()) << kind.name;
        forEachField(kind, [&](const FieldPlace& place) {
            for (std::size_t i = 0; i < place.field->count; i++) {
                const Value value = read(packed.data() + 1, place, i);
                const Value expected = read(record, place, i);
                EXPECT_EQ(value.bits, expected.bits) << kind.name << ' ' << place.field->name;
                EXPECT_EQ(value.isSigned, expected.isSigned) << place.field->name;
            }
            const FieldPlace found = findField(kind, place.field->name).value();
            EXPECT_EQ(found.field, place.field);
            EXPECT_EQ(found.packedOffset, place.packedOffset);
        });
    }
}

TEST(Catalogue, OnlyWhatANameTellsHasAUnit) {
    std::map<std::string, int> fields;
    for (const BlockPlace& place : allBlocks()) {
        for (const Field& field : place.block.fields) {
            fields[std::string(nameOf(field.meaning)) + ' ' + std::string(nameOf(field.unit))]++;
        }
    }
    const std::map<std::string, int> expected = {
        {"counter bytes", 5},      {"counter kilobytes", 11}, {"counter milliseconds", 7},
        {"counter number", 273},   {"counter unknown", 46},   {"flag none", 8},
        {"gauge bytes", 2},        {"gauge kilobytes", 9},    {"gauge megabytes", 1},
        {"gauge microseconds", 3}, {"gauge milliseconds", 6}, {"gauge none", 5},
        {"gauge number", 168},     {"gauge percent", 3},      {"gauge seconds", 21},
        {"gauge unknown", 8},      {"identifier none", 31},   {"position none", 7},
        {"state none", 23},        {"time none", 21},
    };
    EXPECT_EQ(fields, expected);
}

TEST(Catalogue, AFieldOfSeveralKindsSaysTheSameInEach) {
    std::map<std::string_view, const Field*> byName;
    std::set<Group> groups;
    for (const BlockPlace& place : allBlocks()) {
        for (const Field& field : place.block.fields) {
            const Field& same = *byName.try_emplace(field.name, &field).first->second;
            EXPECT_EQ(field.meaning, same.meaning) << field.name;
            EXPECT_EQ(field.unit, same.unit) << field.name;
            EXPECT_EQ(field.aggregation, same.aggregation) << field.name;
            EXPECT_EQ(field.group, same.group) << field.name;
            EXPECT_EQ(field.title, same.title) << field.name;
            EXPECT_EQ(field.isApplications, field.name.view().ends_with("essionStats"))
                << field.name;
            groups.insert(field.group);
        }
    }
    EXPECT_EQ(groups.size(), numFieldGroups);
    for (const Group group : groups) {
        EXPECT_EQ(groupNamed(nameOf(group)), group);
        EXPECT_FALSE(sentenceOf(group).empty());
    }
    EXPECT_EQ(groupNamed("GC"), Group::Gc);
    EXPECT_FALSE(groupNamed("all"));
}

TEST(Catalogue, SentencesTellTheFieldsAndFiguresOfAKindApart) {
    for (const Kind& kind : kinds()) {
        std::set<std::string_view> sentences;
        const auto add = [&](std::string_view name, std::string_view sentence) {
            EXPECT_TRUE(sentences.insert(sentence).second) << name << ": " << sentence;
        };
        forEachField(
            kind, [&](const FieldPlace& place) { add(place.field->name, place.field->sentence); });
        for (const DerivedFigure& figure : derivedFigures()) {
            if ((figure.kinds & kind.bit) != 0) {
                add(figure.name, figure.sentence);
            }
        }
    }
}

TEST(Catalogue, FiguresAreFoundAndShowTheirFormula) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"monitor", "usedSlotPercent",
         "100 * (slotsTotalCount - slotsFreeCount) / slotsTotalCount"},
        {"monitor", "mainThreadPercent", "0.1 * mainThreadTimeRunningMs/s"},
        {"brox", "ageLastCommit", "now - timeLastCommit"},
        {"brox", "failedCommitPercent",
         "100 * totalFailedCommits/s / (totalFailedCommits/s + totalCommits/s)"},
        {"vok", "failedCommitPercent",
         "100 * failedCommitCount/s / (failedCommitCount/s + commitCount/s)"},
        {"cachepgsvr", "compressionRatio", "compressionKbIn/s / compressionKbOut/s"},
    };
    for (const auto& [kind, name, formula] : cases) {
        const DerivedFigure* figure = findFigure(*kindNamed(kind), name);
        ASSERT_NE(figure, nullptr) << name;
        EXPECT_EQ(formulaOf(*figure), formula);
    }
    EXPECT_EQ(findFigure(*kindNamed("app"), "ageLastCommit"), nullptr);
    EXPECT_EQ(defaultColumns(*kindNamed("ffthr")).back(), "nextSleepTimeMs");
    EXPECT_TRUE(headlineFigures()[0].isPerSecond());
    EXPECT_FALSE(headlineFigures()[2].isPerSecond());
}

} // namespace
