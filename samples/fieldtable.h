/*
 * The catalogue as a recording carries it: by which fields, in which order, its records are made.
 * It lets a program with another catalogue read them by name.
 */
#ifndef FIELDTABLE_H
#define FIELDTABLE_H

#include "statscatalogue.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace samples {

/* The elements of a kind's records as they were recorded. */
struct RecordedKind {
    /* So many elements of one width, one after the other. */
    struct Run {
        uint16_t count;
        uint8_t width;        /* bytes of an element */
        int32_t packedOffset; /* where they belong in this program's records; -1: nowhere */
    };
    uint32_t bit = 0;
    const statscatalogue::Kind* kind = nullptr; /* in this program; null: it knows none */
    std::vector<Run> runs;                      /* neighbours of one width are one run */
    size_t numElements = 0;
};

class FieldTable {
public:
    /* This program's own. */
    static const FieldTable& own();
    /* From a recording; nothing when the text is none. */
    static std::optional<FieldTable> from(std::string_view text);

    /* What stands in the recording. */
    const std::string& text() const { return written; }
    /* CRC-32C of the text: by it the blocks name their table. */
    uint32_t sum() const { return checksum; }

    /* The kind with this bit, or null: its records hold no elements. */
    const RecordedKind* kindOf(uint32_t statType) const;

    /* This program has a place for every element. */
    bool isKnown() const;

private:
    std::string written;
    uint32_t checksum = 0;
    std::vector<RecordedKind> kinds;
};

} // namespace samples

#endif
