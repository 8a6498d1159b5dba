/* Which columns the reports show for the processes of each kind. */
#ifndef COLUMNS_H
#define COLUMNS_H

#include "exitstatus.h"
#include "statscatalogue.h"

#include <array>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tvsistat {

using samples::ExitStatus;
using samples::Failure;

/* A statistic of one kind: a plain field or one element of an array. */
struct Column {
    std::string title; /* "commitCount", "sessionStats[3]" */
    statscatalogue::FieldPlace place;
    size_t element;

    bool isCounter() const { return place.field->meaning == statscatalogue::Meaning::Counter; }
};

/* The processes of a report are grouped by kind, in the order of the kinds' indices. A record
 * whose kind is no known bit (it was copied while its slot changed hands) goes last. */
inline constexpr size_t unknownKindGroup = SHRPC_numStatTypes;
inline constexpr size_t numGroups = SHRPC_numStatTypes + 1;

/* The group of a record's statType. */
size_t groupOf(uint32_t statType);

struct ColumnPlan {
    std::array<std::vector<Column>, numGroups> columns; /* by group */
    /* Set when the user chose the columns: kinds that have none of them are left out. */
    bool hidesKindsWithoutColumns = false;
};

/* The columns that matter most for each kind. */
ColumnPlan defaultColumns();

/* The columns that a user chose, for the kinds in the mask. A field is a catalogue name; for an
 * array, the name alone stands for all elements and name[i] for one. A name that none of the
 * kinds has is a usage failure, with the closest name. */
std::variant<ColumnPlan, Failure> chosenColumns(std::span<const std::string> fields,
                                                uint32_t kindMask);

} // namespace tvsistat

#endif
