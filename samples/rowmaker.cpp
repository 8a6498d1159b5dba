#include "rowmaker.h"

#include <algorithm>
#include <numeric>

namespace samples {
namespace {

bool isBefore(SortIdentity identity, const Row& one, const Row& other) {
    switch (identity) {
    case SortIdentity::Pid:
        return one.record().pid < other.record().pid;
    case SortIdentity::Session:
        return one.record().session < other.record().session;
    case SortIdentity::Name:
        return one.record().name < other.record().name;
    case SortIdentity::State:
        return one.record().state < other.record().state;
    case SortIdentity::Index:
        break;
    }
    return one.index < other.index;
}

} // namespace

std::string_view suffixOf(Printing printing) {
    constexpr std::array<std::string_view, 5> suffixes{"", ":rate", ":delta", ":min", ":max"};
    return suffixes[static_cast<size_t>(printing)];
}

Printing printingOf(const Figure& figure, std::optional<Printing> own, Printing ofCounters) {
    if (own) {
        return *own;
    }
    const bool isGrowthOfPosition = ofCounters == Printing::Delta && figure.field != nullptr &&
                                    figure.meaning == statscatalogue::Meaning::Position;
    return figure.isCounter() || isGrowthOfPosition ? ofCounters : Printing::Total;
}

Number printed(const Figure& figure, Printing printing, std::span<const Process> processes,
               const Moment& moment) {
    switch (printing) {
    case Printing::Rate:
        return rateOf(figure, processes, moment);
    case Printing::Delta:
        return growthOf(figure, processes);
    case Printing::Minimum:
        return minimumOf(figure, processes);
    case Printing::Maximum:
        return maximumOf(figure, processes);
    case Printing::Total:
        break;
    }
    return valueOf(figure, processes, moment);
}

std::span<const Row> RowMaker::make(const RowChoice& choice, std::span<const Process> sampled,
                                    const Moment& moment, Printing printing,
                                    const std::function<bool(const Row&)>& isWanted) {
    chosen.clear();
    places.clear();
    rows.clear();
    const bool takesAll = choice.selection.isEverything();
    for (size_t i = 0; i < sampled.size(); i++) {
        if (takesAll || choice.selection.includes(*sampled[i].now)) {
            chosen.push_back(sampled[i]);
            places.push_back(static_cast<uint32_t>(i));
        }
    }
    if (choice.isSum) {
        sumByKind();
    } else {
        for (size_t i = 0; i < chosen.size(); i++) {
            rows.push_back({std::span(chosen).subspan(i, 1), places[i]});
        }
    }
    std::erase_if(rows, [&](const Row& row) { return !isWanted(row); });
    sortRows(choice.order, moment, printing);
    rows.resize(std::min(rows.size(), choice.most), Row{});
    return rows;
}

void RowMaker::sumByKind() {
    std::vector<size_t> order(chosen.size());
    std::iota(order.begin(), order.end(), size_t{0});
    const auto kindOf = [&](size_t i) { return placeOf(chosen[i].now->kind); };
    std::ranges::stable_sort(order, {}, kindOf);
    std::vector<Process> sorted;
    std::vector<uint32_t> sortedPlaces;
    for (const size_t i : order) {
        sorted.push_back(chosen[i]);
        sortedPlaces.push_back(places[i]);
    }
    chosen = std::move(sorted);
    places = std::move(sortedPlaces);
    for (size_t begin = 0; begin < chosen.size();) {
        size_t end = begin + 1;
        while (end < chosen.size() && kindOf(end) == kindOf(begin)) {
            end++;
        }
        /* Records of no known kind have nothing that could be summed. */
        if (chosen[begin].now->kind != nullptr) {
            rows.push_back({std::span(chosen).subspan(begin, end - begin), places[begin]});
        }
        begin = end;
    }
}

void RowMaker::sortRows(const RowOrder& order, const Moment& moment, Printing printing) {
    if (const auto* identity = std::get_if<SortIdentity>(&order.key)) {
        std::ranges::stable_sort(rows, [&](const Row& one, const Row& other) {
            return order.isReversed ? isBefore(*identity, other, one)
                                    : isBefore(*identity, one, other);
        });
    } else if (const auto* figure = std::get_if<SortFigure>(&order.key)) {
        sortByNumber(*figure, order.isReversed, moment, printing);
    } else if (order.isReversed) {
        std::ranges::reverse(rows);
    }
}

void RowMaker::sortByNumber(const SortFigure& key, bool isReversed, const Moment& moment,
                            Printing printing) {
    keyed.clear();
    for (const Row& row : rows) {
        Number number;
        if (row.kind() != nullptr) {
            if (const auto& figure = key.byKind[static_cast<size_t>(row.kind()->index)]) {
                number = printed(*figure, printingOf(*figure, key.printing, printing),
                                 row.processes, moment);
            }
        }
        keyed.emplace_back(number, row);
    }
    std::ranges::stable_sort(keyed, [&](const auto& one, const auto& other) {
        if (!one.first || !other.first) {
            return one.first && !other.first;
        }
        return isReversed ? isLess(one.first, other.first) : isLess(other.first, one.first);
    });
    std::ranges::transform(keyed, rows.begin(), [](const auto& entry) { return entry.second; });
}

} // namespace samples
