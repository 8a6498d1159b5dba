/* What a request chooses: fields by name, and one process. Untrusted: bounded, and checked against
 * the catalogue. */
#ifndef FIELDCHOICE_H
#define FIELDCHOICE_H

#include "computation.h"
#include "figure.h"
#include "sample.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace exporter {

inline constexpr size_t maxChosenFields = 16;
inline constexpr size_t maxFieldName = 64;

/* What is wrong with a request, for the user. */
struct BadRequest {
    std::string sentence;
};

/* A number that the records of some kinds have under one name. */
struct ChosenField {
    std::string name; /* "commitCount", "sessionStats[3]", also a derived figure's */
    std::array<std::optional<samples::Figure>, SHRPC_numStatTypes> figures{}; /* by kind */

    const samples::Figure* of(const statscatalogue::Kind& kind) const {
        const auto& figure = figures[static_cast<size_t>(kind.index)];
        return figure ? &*figure : nullptr;
    }
    /* It counts for some kind, so that it has a rate. */
    bool isCounter() const;
};

/* Of names with commas between them; none of an empty list. */
std::variant<std::vector<ChosenField>, BadRequest> chosenFields(std::string_view list);

/* One process of a sample: of those that are alike in kind, pid and session the one that `nth`
 * others stand before. */
struct ProcessAddress {
    const statscatalogue::Kind* kind;
    int32_t pid;
    int32_t session;
    uint32_t nth;

    /* Its index; nothing when it is not there. */
    std::optional<size_t> findIn(std::span<const samples::Process> processes) const;
};

/* From "vok.4711.17.0". */
std::variant<ProcessAddress, BadRequest> processAddress(std::string_view text);

} // namespace exporter

#endif
