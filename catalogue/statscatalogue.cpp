/* Owns the catalogue's look-ups and the compile-time checks of its kind table; the checks of
 * the single blocks stand in fieldlists.h. */
#include "statscatalogue.h"

#include "kindtable.h"

#include <strings.h>

#include <utility>

namespace statscatalogue {
namespace {

using tables::blockTable;
using tables::kindTable;

consteval bool kindsStandAtTheirIndex() {
    for (size_t i = 0; i < kindTable.size(); i++) {
        if (kindTable[i].index != static_cast<int>(i) || kindTable[i].bit != 1U << i) {
            return false;
        }
    }
    return true;
}
static_assert(kindTable.size() == SHRPC_numStatTypes, "every kind is listed");
static_assert(kindsStandAtTheirIndex(), "kinds are listed by index, each with its bit");

consteval bool kindNamesAreUnique() {
    for (size_t i = 0; i < kindTable.size(); i++) {
        for (size_t j = 0; j < i; j++) {
            if (kindTable[i].name == kindTable[j].name ||
                kindTable[i].shortName == kindTable[j].shortName) {
                return false;
            }
        }
    }
    return true;
}
static_assert(kindNamesAreUnique(), "a kind's names are its own");

consteval bool has(const Kind& kind, const BlockPlace& place) {
    for (const BlockPlace& own : kind.blocks()) {
        if (own.member == place.member) {
            return true;
        }
    }
    return false;
}

consteval bool everyKindHasTheCommonBlocks() {
    for (const Kind& kind : kindTable) {
        if (!has(kind, tables::cmn) || !has(kind, tables::cmn64)) {
            return false;
        }
    }
    return true;
}
static_assert(everyKindHasTheCommonBlocks(), "every kind keeps the common counters");

/* The blocks of one record follow one another, inside the record. */
consteval bool blocksDoNotOverlap() {
    for (const Kind& kind : kindTable) {
        size_t end = offsetof(ShrPcStatsSType, cmn);
        for (const BlockPlace& place : kind.blocks()) {
            if (place.recordOffset < end) {
                return false;
            }
            end = place.recordOffset + place.block.size;
        }
        if (end > sizeof(ShrPcStatsSType)) {
            return false;
        }
    }
    return true;
}
static_assert(blocksDoNotOverlap(), "a kind has at most one block in each part of the record");

consteval bool everyBlockIsUsed() {
    for (const BlockPlace& place : blockTable) {
        bool used = false;
        for (const Kind& kind : kindTable) {
            used = used || has(kind, place);
        }
        if (!used) {
            return false;
        }
    }
    return true;
}
static_assert(everyBlockIsUsed(), "every block belongs to a kind");

/* The largest block of a union gives the union its size, so a forgotten largest one shows. */
consteval size_t largestBlockAt(size_t recordOffset) {
    size_t largest = 0;
    for (const BlockPlace& place : blockTable) {
        if (place.recordOffset == recordOffset && place.block.size > largest) {
            largest = place.block.size;
        }
    }
    return largest;
}
static_assert(largestBlockAt(offsetof(ShrPcStatsSType, u)) == sizeof(ShrPcStatUnion));
static_assert(largestBlockAt(offsetof(ShrPcStatsSType, u64)) == sizeof(ShrPcStat64Union));
static_assert(largestBlockAt(offsetof(ShrPcStatsSType, uTimeStats)) ==
              sizeof(ShrRelativeStatUnion));

/* Two blocks that one record holds share no field name. */
consteval bool shareNoName(std::span<const Field> one, std::span<const Field> other) {
    for (const Field& field : one) {
        for (const Field& otherField : other) {
            if (field.name == otherField.name) {
                return false;
            }
        }
    }
    return true;
}

template <size_t kindIndex> consteval bool fieldNamesAreUnique() {
    constexpr Kind kind = kindTable[kindIndex];
    for (size_t i = 0; i < kind.numPlaces; i++) {
        for (size_t j = 0; j < i; j++) {
            if (!shareNoName(kind.places[i].block.fields, kind.places[j].block.fields)) {
                return false;
            }
        }
    }
    return true;
}

/* Each kind is an evaluation of its own: clang limits the steps of one. */
template <size_t kindIndex> constexpr bool hasUniqueFieldNames = fieldNamesAreUnique<kindIndex>();

template <size_t... kindIndex>
consteval bool fieldNamesAreUniqueInEveryKind(std::index_sequence<kindIndex...>) {
    return (hasUniqueFieldNames<kindIndex> && ...);
}
static_assert(fieldNamesAreUniqueInEveryKind(std::make_index_sequence<SHRPC_numStatTypes>()),
              "a field's name is unique in the record of a kind");

struct GroupText {
    std::string_view name;
    std::string_view sentence;
};
constexpr std::array<GroupText, numFieldGroups> groupTable{{
    {"commit", "commits, aborts, commit records and their queue"},
    {"cache", "pages and frames of the shared cache"},
    {"io", "disk reads and writes, checkpoints, extents, pages of the repository"},
    {"waiting", "queues, and what waits in them"},
    {"gc", "garbage collection, of the repository and of a session's memory"},
    {"memory", "a session's object memory"},
    {"log", "transaction logs, recovery and restore from them"},
    {"network", "page servers, remote caches, messages, compression"},
    {"locks", "object locks and spin locks"},
    {"sessions", "sessions, processes, slots, logins"},
    {"objects", "objects, classes, methods and symbols"},
    {"threads", "loops, sleeps, running times and progress of threads"},
}};

bool sameIgnoringCase(std::string_view one, std::string_view other) {
    return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

} // namespace

std::string_view nameOf(FieldType type) {
    constexpr std::array<std::string_view, 4> names{"i32", "u32", "i64", "u64"};
    return names[static_cast<size_t>(type)];
}

std::string_view nameOf(Meaning meaning) {
    constexpr std::array<std::string_view, 7> names{"counter", "gauge",      "position", "flag",
                                                    "state",   "identifier", "time"};
    return names[static_cast<size_t>(meaning)];
}

std::string_view nameOf(Unit unit) {
    constexpr std::array<std::string_view, 12> names{
        "none",    "unknown", "number",    "nanoseconds", "microseconds", "milliseconds",
        "seconds", "bytes",   "kilobytes", "megabytes",   "percent",      "ratio"};
    return names[static_cast<size_t>(unit)];
}

std::string_view symbolOf(Unit unit) {
    constexpr std::array<std::string_view, 12> symbols{"",  "?", "",    "ns",  "us", "ms",
                                                       "s", "B", "KiB", "MiB", "%",  ""};
    return symbols[static_cast<size_t>(unit)];
}

std::string_view nameOf(Aggregation aggregation) {
    constexpr std::array<std::string_view, 3> names{"none", "sum", "max"};
    return names[static_cast<size_t>(aggregation)];
}

std::string_view nameOf(Group group) {
    return groupTable[static_cast<size_t>(group)].name;
}

std::string_view sentenceOf(Group group) {
    return groupTable[static_cast<size_t>(group)].sentence;
}

std::optional<Group> groupNamed(std::string_view name) {
    for (size_t i = 0; i < groupTable.size(); i++) {
        if (sameIgnoringCase(name, groupTable[i].name)) {
            return static_cast<Group>(i);
        }
    }
    return std::nullopt;
}

std::span<const Kind, SHRPC_numStatTypes> kinds() {
    return kindTable;
}

const Kind* kindOfBit(uint32_t statType) {
    for (const Kind& kind : kindTable) {
        if (kind.bit == statType) {
            return &kind;
        }
    }
    return nullptr;
}

const Kind* kindNamed(std::string_view name) {
    for (const Kind& kind : kindTable) {
        if (sameIgnoringCase(name, kind.shortName) || sameIgnoringCase(name, kind.name)) {
            return &kind;
        }
    }
    return nullptr;
}

std::span<const BlockPlace> allBlocks() {
    return blockTable;
}

} // namespace statscatalogue
