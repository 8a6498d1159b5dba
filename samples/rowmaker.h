/*
 * What of a sample is shown, and in which order: rows of one process each, or of all chosen
 * processes of a kind taken together.
 */
#ifndef ROWMAKER_H
#define ROWMAKER_H

#include "computation.h"
#include "selection.h"

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

namespace samples {

/* How a counter's number is taken; of a gauge the value is its average where a sample stands for
 * several. */
enum class Printing : uint8_t { Total, Rate, Delta, Minimum, Maximum };

/* ":rate" and so on, as a person writes it behind a field; empty for Total. */
std::string_view suffixOf(Printing printing);

/* How a figure is printed: as was asked for it in particular, else as counters are printed. Of
 * other figures only a position follows them, in showing its growth. */
Printing printingOf(const Figure& figure, std::optional<Printing> own, Printing ofCounters);

/* The figure's value, rate, growth, minimum or maximum; nothing where it has none. */
Number printed(const Figure& figure, Printing printing, std::span<const Process> processes,
               const Moment& moment);

struct Row {
    std::span<const Process> processes; /* one, or with sums all of a kind */
    uint32_t index;                     /* place of the (first) process in the sample */

    const Record& record() const { return *processes[0].now; }
    const statscatalogue::Kind* kind() const { return record().kind; }
};

/* Identities that rows may be sorted by. */
enum class SortIdentity : uint8_t { Index, Pid, Session, Name, State };

/* A figure by the kind's index; kinds without it come last. */
struct SortFigure {
    std::array<std::optional<Figure>, SHRPC_numStatTypes> byKind;
    std::optional<Printing> printing; /* nothing: as counters print at the moment */
};

struct RowOrder {
    std::variant<std::monostate, SortIdentity, SortFigure> key; /* monostate: as in the sample */
    bool isReversed = false; /* figures: the smallest first; identities: the last first */
};

/* Which rows, and in which order. */
struct RowChoice {
    Selection selection;
    RowOrder order;
    size_t most = SIZE_MAX; /* rows at most, after sorting */
    bool isSum = false;
};

/* Made to be reused: its buffers are kept. */
class RowMaker {
public:
    /* The rows of a sample's processes that `isWanted` lets pass. Counters are sorted by as
     * `printing` says. Valid until the next call and while the sample lives. */
    std::span<const Row> make(const RowChoice& choice, std::span<const Process> sampled,
                              const Moment& moment, Printing printing,
                              const std::function<bool(const Row&)>& isWanted);

private:
    void sumByKind();
    void sortRows(const RowOrder& order, const Moment& moment, Printing printing);
    void sortByNumber(const SortFigure& key, bool isReversed, const Moment& moment,
                      Printing printing);

    std::vector<Process> chosen;
    std::vector<uint32_t> places; /* of the chosen ones in the sample */
    std::vector<Row> rows;
    std::vector<std::pair<Number, Row>> keyed; /* scratch */
};

} // namespace samples

#endif
