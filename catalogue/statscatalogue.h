/*
 * The catalogue of statistics fields: every field of every block of a statistics record by
 * name, type, place and meaning, for each process kind the blocks that its record holds, and
 * the figures that are computed from them.
 *
 * Programs that show or move statistics by name are compiled with it; the library neither
 * contains nor exports it. fieldlists.h, kindtable.h and figuretable.h hold the entries. The
 * compiler checks them against shrpcstats.h: a field that is missing, doubled, of another type or
 * elsewhere does not compile.
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
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace statscatalogue {

/* The width and signedness of a field, or of each element of an array. */
enum class FieldType : uint8_t { I32, U32, I64, U64 };

/* What a field's number says, and so what may be done with it. */
enum class Meaning : uint8_t {
    Counter,    /* only grows while its owner runs (32-bit ones wrap): its rate is what tells */
    Gauge,      /* a level, a setting or the measure of a last event: moves both ways */
    Position,   /* how far something has come (log records, log files, commit records): its value
                   and its difference tell, a rate does not */
    Flag,       /* 0 for no, anything else for yes */
    State,      /* one of the server's numbered states, kinds or reasons */
    Identifier, /* names something: a session, process, page, frame, slot, command, error */
    EventTime   /* time stamp in seconds since the Unix epoch; 0 when the event was never seen */
};

/* Codes name something or stand for a state; no arithmetic makes sense of them. */
constexpr bool isCode(Meaning meaning) {
    return meaning == Meaning::Flag || meaning == Meaning::State || meaning == Meaning::Identifier;
}

/* What a value is measured in. A duration whose unit nobody recorded is Unknown; a number shown
 * as the server writes it (codes, positions, time stamps) has None. */
enum class Unit : uint8_t {
    None,
    Unknown,
    Number, /* of things: pages, commits, sessions */
    Nanoseconds,
    Microseconds,
    Milliseconds,
    Seconds,
    Bytes,
    Kilobytes, /* of 1,024 bytes */
    Megabytes, /* of 1,048,576 bytes */
    Percent,
    Ratio
};

/* A unit's base and what one of it is there: milliseconds are 0.001 seconds. */
enum class Base : uint8_t { None, Unknown, Number, Seconds, Bytes, Ratio };
struct Scale {
    Base base;
    double factor;
};
constexpr Scale scaleOf(Unit unit) {
    switch (unit) {
    case Unit::None:
        return {Base::None, 1};
    case Unit::Unknown:
        return {Base::Unknown, 1};
    case Unit::Number:
        return {Base::Number, 1};
    case Unit::Nanoseconds:
        return {Base::Seconds, 1e-9};
    case Unit::Microseconds:
        return {Base::Seconds, 1e-6};
    case Unit::Milliseconds:
        return {Base::Seconds, 1e-3};
    case Unit::Seconds:
        return {Base::Seconds, 1};
    case Unit::Bytes:
        return {Base::Bytes, 1};
    case Unit::Kilobytes:
        return {Base::Bytes, 1024};
    case Unit::Megabytes:
        return {Base::Bytes, 1048576};
    case Unit::Percent:
        return {Base::Ratio, 1e-2};
    case Unit::Ratio:
        return {Base::Ratio, 1};
    }
    return {Base::None, 1};
}

/* How the values of several processes become one. None: a value tells only where all are equal. */
enum class Aggregation : uint8_t { None, Sum, Max };

/* What a field is about; each field is in one group. */
enum class Group : uint8_t {
    Commit,   /* commits, aborts, commit records and their queue */
    Cache,    /* pages and frames of the shared cache */
    Io,       /* disk reads and writes, checkpoints, extents */
    Waiting,  /* queues, and what waits in them */
    Gc,       /* garbage collection, of the repository and of a session's memory */
    Memory,   /* a session's object memory */
    Log,      /* transaction logs, recovery and restore from them */
    Network,  /* page servers, remote caches, messages, compression */
    Locks,    /* object locks and spin locks */
    Sessions, /* sessions, processes, slots, logins */
    Objects,  /* objects, classes, methods and symbols read, made and committed */
    Threads   /* loops, sleeps, running times and progress of threads */
};
inline constexpr size_t numFieldGroups = 12;

/* A short constant text that lies where it stands, without a pointer: nothing of the tables has to
 * be relocated when a program starts. Stands for a std::string_view of itself, in both directions
 * without a cast. */
// NOLINTBEGIN(google-explicit-constructor)
template <size_t capacity> class FixedText {
public:
    constexpr FixedText() = default;
    /* A longer text does not compile. */
    constexpr FixedText(std::string_view from) : length_(static_cast<uint8_t>(from.size())) {
        for (size_t i = 0; i < from.size(); i++) {
            text_.at(i) = from[i];
        }
    }
    template <size_t size>
    constexpr FixedText(const char (&from)[size]) : FixedText(std::string_view(from)) {}

    constexpr std::string_view view() const { return {text_.data(), length_}; }
    constexpr operator std::string_view() const { return view(); }

    constexpr bool empty() const { return length_ == 0; }
    constexpr size_t size() const { return length_; }

private:
    uint8_t length_ = 0;
    std::array<char, capacity> text_{};
};
// NOLINTEND(google-explicit-constructor)

template <size_t capacity>
constexpr bool operator==(const FixedText<capacity>& one, std::string_view other) {
    return one.size() == other.size() && one.view() == other;
}
template <size_t oneCapacity, size_t otherCapacity>
constexpr bool operator==(const FixedText<oneCapacity>& one,
                          const FixedText<otherCapacity>& other) {
    return one == other.view();
}
template <class Traits, size_t capacity>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream,
                                             const FixedText<capacity>& text) {
    return stream << text.view();
}

inline constexpr size_t maxTitle = 8;
inline constexpr size_t maxSentence = 70;
using Name = FixedText<39>;
using Title = FixedText<maxTitle>;
using Sentence = FixedText<maxSentence>;

struct Field {
    Name name;
    Title title;       /* for a narrow column: at most maxTitle letters, an array's with
                                  room for its index ("ses[47]"); unique in the records of a kind,
                                  but for other cases of letters */
    Sentence sentence; /* what the value is; lower case, no full stop */
    uint16_t offset;   /* bytes from the start of its block */
    uint16_t count;    /* elements: 1, or the length of an array */
    FieldType type;
    Meaning meaning;
    Unit unit;
    Aggregation aggregation;
    Group group;
    bool isApplications; /* applications decide what it says; nothing to show while it is zero */
};

/* A block's fields in the order of their offsets, without a gap. */
struct Block {
    Name typeName; /* its structure in shrpcstats.h */
    uint16_t size; /* bytes; 0 for a block without fields */
    std::span<const Field> fields;
};

/* A block in the record of a kind. */
struct BlockPlace {
    Block block;
    uint16_t recordOffset; /* bytes from the start of TvsiResultSType */
    Name member;           /* as in shrpcstats.h: "cmn", "u.vok", "uTimeStats.brox" */
    Name shortName;        /* "common", "vok": the same for the parts of a structure that stand in
                              several blocks; of a block that one kind has, the kind's */
};

inline constexpr size_t maxBlocksOfKind = 5;

struct Kind {
    Name name;      /* "SHRPC_VOK" */
    Name shortName; /* "vok": lower case, as users type it */
    Name title;     /* "Vok session, main thread" */
    int index;      /* SHRPC_VOK_IDX */
    uint32_t bit;   /* SHRPC_VOK: what statType holds */
    std::array<BlockPlace, maxBlocksOfKind> places;
    size_t numPlaces;

    /* The blocks that a record of this kind holds, by record offset, the common ones among
     * them. Bytes of the record outside of them carry no meaning for the kind. */
    constexpr std::span<const BlockPlace> blocks() const {
        return std::span<const BlockPlace>(places).first(numPlaces);
    }

    /* Bytes of the kind's packed record: its blocks one after the other, in this order and
     * without gaps. That is how records travel between programs. */
    constexpr size_t packedSize() const {
        size_t size = 0;
        for (const BlockPlace& place : blocks()) {
            size += place.block.size;
        }
        return size;
    }
};

/* A field in the record of a kind; refers to constant data, so it is never dangling. */
struct FieldPlace {
    const Field* field;
    uint16_t recordOffset; /* of the field's first element, from the start of TvsiResultSType */
    uint16_t packedOffset; /* the same, from the start of the packed record */
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

/* "counter", "gauge", "position", "flag", "state", "identifier", "time". */
std::string_view nameOf(Meaning meaning);

/* "none", "unknown", "number", "nanoseconds" ... "kilobytes" ..., "percent", "ratio". */
std::string_view nameOf(Unit unit);

/* What stands behind a number: "ns" ... "s", "B", "KiB", "MiB", "%"; "?" where the unit is
 * unknown, "" where nothing stands. */
std::string_view symbolOf(Unit unit);

/* "none", "sum", "max". */
std::string_view nameOf(Aggregation aggregation);

/* "commit", "cache", "io", "waiting", "gc", "memory", "log", "network", "locks", "sessions",
 * "objects", "threads". */
std::string_view nameOf(Group group);

/* What the group holds, in a few words. */
std::string_view sentenceOf(Group group);

/* The group with the given name, in any case of letters. */
std::optional<Group> groupNamed(std::string_view name);

/* All kinds, by index. */
std::span<const Kind, SHRPC_numStatTypes> kinds();

/* The kind whose bit is statType; null when statType is not exactly one known bit. */
const Kind* kindOfBit(uint32_t statType);

/* The kind with the given short name or SHRPC_ name, in any case of letters, or null. */
const Kind* kindNamed(std::string_view name);

/* Every block once, also those without fields, the common ones first. */
std::span<const BlockPlace> allBlocks();

/* Calls visit(const FieldPlace&) for every field in the records of a kind, in the order of the
 * record, until one returns true; tells whether one did. */
template <class Visitor> constexpr bool findPlace(const Kind& kind, Visitor visit) {
    size_t packed = 0;
    for (const BlockPlace& place : kind.blocks()) {
        for (const Field& field : place.block.fields) {
            if (visit(FieldPlace{&field, static_cast<uint16_t>(place.recordOffset + field.offset),
                                 static_cast<uint16_t>(packed + field.offset)})) {
                return true;
            }
        }
        packed += place.block.size;
    }
    return false;
}

/* Calls visit(const FieldPlace&) for every field in the records of a kind. */
template <class Visitor> constexpr void forEachField(const Kind& kind, Visitor visit) {
    findPlace(kind, [&](const FieldPlace& place) {
        visit(place);
        return false;
    });
}

/* The field with this name (exact) in the records of a kind. Within one kind a name is
 * unique; several kinds may have fields of the same name at different places. */
constexpr std::optional<FieldPlace> findField(const Kind& kind, std::string_view name) {
    std::optional<FieldPlace> found;
    findPlace(kind, [&](const FieldPlace& place) {
        if (place.field->name != name) {
            return false;
        }
        found = place;
        return true;
    });
    return found;
}

/* The columns that a database administrator looks at first, at most six: names of fields of the
 * kind. */
std::span<const Name> defaultColumns(const Kind& kind);

/* How a term of a formula takes its field. */
enum class Reading : uint8_t {
    Value, /* the number itself */
    Rate,  /* a counter's growth per second over the interval; nothing without an interval */
    Age    /* seconds from a time stamp to the reader's clock; nothing while the stamp is 0 */
};

struct Term {
    Name field; /* empty behind the last term */
    Reading reading;
    int8_t sign; /* 1 or -1 */
};

inline constexpr size_t maxTerms = 2;
using Terms = std::array<Term, maxTerms>;

/* A figure computed from the fields of one record: scale * numerator / denominator, each the sum
 * of its terms. Without a denominator it is scale * numerator. Nothing when a term has nothing
 * or the denominator is 0. */
struct DerivedFigure {
    Name name;
    Title title; /* as a field's; unique among fields and figures of a kind */
    Sentence sentence;
    Group group;
    Unit unit;
    Aggregation aggregation; /* Sum of a quotient does not exist: its terms are summed instead */
    uint32_t kinds;          /* bits of the kinds that have it */
    double scale;
    Terms numerator;
    Terms denominator; /* its first field is empty when there is none */

    constexpr bool hasDenominator() const { return !denominator[0].field.empty(); }
    /* Whether the figure is so much per second. */
    constexpr bool isPerSecond() const {
        return !hasDenominator() && numerator[0].reading == Reading::Rate &&
               scaleOf(unit).base != Base::Ratio;
    }
};

/* Every figure that is shown like a field. Within one kind its name is unique, also among the
 * fields; other kinds may have a figure of that name from other fields. */
std::span<const DerivedFigure> derivedFigures();

/* The figure's formula for people: "100 * hits/s / (hits/s + misses/s)", "now - timeLastCommit". */
std::string formulaOf(const DerivedFigure& figure);

/* The figure with this name (exact) that the kind has, or null. */
const DerivedFigure* findFigure(const Kind& kind, std::string_view name);

/* The six figures of a whole cache, each of one kind that a cache has once: commits, aborts, hit
 * percentage, page reads, page writes, free frames. */
inline constexpr size_t numHeadlines = 6;
std::span<const DerivedFigure, numHeadlines> headlineFigures();

/* The number of the given type at the given bytes, which need no alignment. */
inline Value read(const std::byte* from, FieldType type) {
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

/* The number that a packed record holds in the given element of a field (0 for a plain field).
 * The element must be below the field's count and the field be of the record's kind. */
inline Value read(const std::byte* packed, const FieldPlace& place, size_t element = 0) {
    const FieldType type = place.field->type;
    return read(packed + place.packedOffset + element * widthOf(type), type);
}

/* The same from a record as the library returns it. */
inline Value read(const TvsiResultSType& record, const FieldPlace& place, size_t element = 0) {
    const FieldType type = place.field->type;
    return read(reinterpret_cast<const std::byte*>(&record) + place.recordOffset +
                    element * widthOf(type),
                type);
}

} // namespace statscatalogue

#endif
