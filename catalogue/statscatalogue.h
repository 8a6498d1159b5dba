/*
 * The catalogue of statistics fields: every field of every block of a statistics record by
 * name, type, place and meaning, and for each process kind the blocks that its record holds.
 *
 * Programs that show or move statistics by name are compiled with it; the library neither
 * contains nor exports it. fieldlists.h and kindtable.h hold the entries. The compiler checks
 * them against shrpcstats.h: a field that is missing, doubled, of another type or elsewhere
 * does not compile.
 *
 * All data is constant and immutable; every function may be called from any thread.
 */
#ifndef STATSCATALOGUE_H
#define STATSCATALOGUE_H

#include "shrpcstats.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace statscatalogue {

/* The width and signedness of a field, or of each element of an array. */
enum class FieldType : uint8_t { I32, U32, I64, U64 };

/* What a field's number says, and so what may be done with it. */
enum class Meaning : uint8_t {
    Counter,  /* only grows while its owner runs (32-bit ones wrap): its rate is what tells */
    Gauge,    /* a level, a setting or the measure of a last event: moves both ways */
    Code,     /* names something or stands for a state (ids, kinds, reasons, flags) */
    EventTime /* time stamp in seconds since the Unix epoch; 0 when the event was never seen */
};

struct Field {
    std::string_view name;
    uint16_t offset; /* bytes from the start of its block */
    uint16_t count;  /* elements: 1, or the length of an array */
    FieldType type;
    Meaning meaning;
};

/* A block's fields in the order of their offsets, without a gap. */
struct Block {
    std::string_view typeName; /* its structure in shrpcstats.h */
    uint16_t size;             /* bytes; 0 for a block without fields */
    std::span<const Field> fields;
};

/* A block in the record of a kind. */
struct BlockPlace {
    Block block;
    uint16_t recordOffset;   /* bytes from the start of TvsiResultSType */
    std::string_view member; /* as in shrpcstats.h: "cmn", "u.vok", "uTimeStats.brox" */
};

inline constexpr size_t maxBlocksOfKind = 5;

struct Kind {
    std::string_view name;      /* "SHRPC_VOK" */
    std::string_view shortName; /* "vok": lower case, as users type it */
    std::string_view title;     /* "Vok session, main thread" */
    int index;                  /* SHRPC_VOK_IDX */
    uint32_t bit;               /* SHRPC_VOK: what statType holds */
    std::array<BlockPlace, maxBlocksOfKind> places;
    size_t numPlaces;

    /* The blocks that a record of this kind holds, by record offset, the common ones among
     * them. Bytes of the record outside of them carry no meaning for the kind. */
    constexpr std::span<const BlockPlace> blocks() const {
        return std::span<const BlockPlace>(places).first(numPlaces);
    }
};

/* A field in the record of a kind; refers to constant data, so it is never dangling. */
struct FieldPlace {
    const Field* field;
    uint16_t recordOffset; /* of the field's first element, from the start of TvsiResultSType */
};

/* A field's number with its sign: 32-bit values are extended to 64 bits. */
struct Value {
    uint64_t bits;
    bool isSigned;

    constexpr int64_t asSigned() const { return static_cast<int64_t>(bits); }
    constexpr uint64_t asUnsigned() const { return bits; }
};

constexpr bool isSignedType(FieldType type) {
    return type == FieldType::I32 || type == FieldType::I64;
}

/* Bytes of one element. */
constexpr size_t widthOf(FieldType type) {
    return type == FieldType::I32 || type == FieldType::U32 ? 4 : 8;
}

/* "i32", "u32", "i64", "u64". */
std::string_view nameOf(FieldType type);

/* "counter", "gauge", "code", "time". */
std::string_view nameOf(Meaning meaning);

/* All kinds, by index. */
std::span<const Kind, SHRPC_numStatTypes> kinds();

/* The kind whose bit is statType; null when statType is not exactly one known bit. */
const Kind* kindOfBit(uint32_t statType);

/* The kind with the given short name or SHRPC_ name, in any case of letters, or null. */
const Kind* kindNamed(std::string_view name);

/* Every block once, also those without fields, the common ones first. */
std::span<const BlockPlace> allBlocks();

/* The field with this name (exact) in the records of a kind. Within one kind a name is
 * unique; several kinds may have fields of the same name at different places. */
constexpr std::optional<FieldPlace> findField(const Kind& kind, std::string_view name) {
    for (const BlockPlace& place : kind.blocks()) {
        for (const Field& field : place.block.fields) {
            if (field.name == name) {
                return FieldPlace{&field, static_cast<uint16_t>(place.recordOffset + field.offset)};
            }
        }
    }
    return std::nullopt;
}

/* The number that a record holds in the given element of a field (0 for a plain field). The
 * element must be below the field's count and the field be of the record's kind. */
inline Value read(const TvsiResultSType& record, const FieldPlace& place, size_t element = 0) {
    const FieldType type = place.field->type;
    const char* from =
        reinterpret_cast<const char*>(&record) + place.recordOffset + element * widthOf(type);
    if (widthOf(type) == 8) {
        uint64_t bits;
        std::memcpy(&bits, from, sizeof bits);
        return {bits, isSignedType(type)};
    }
    uint32_t narrow;
    std::memcpy(&narrow, from, sizeof narrow);
    if (!isSignedType(type)) {
        return {narrow, false};
    }
    return {static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(narrow))), true};
}

} // namespace statscatalogue

#endif
