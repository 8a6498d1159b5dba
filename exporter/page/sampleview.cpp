#include "sampleview.h"

namespace exporter {
namespace {

using samples::Number;
using samples::Process;

const samples::Figure* figureFor(const ChosenField& field, std::span<const Process> processes) {
    const auto* kind = processes.empty() ? nullptr : processes.front().now->kind;
    return kind == nullptr ? nullptr : field.of(*kind);
}

} // namespace

void SampleView::show(const samples::Sample& now, const samples::Sample* before) {
    using Records = std::span<const samples::Record>;
    const Records records = now.records();
    const auto matches = matcher.match(records, before == nullptr ? Records() : before->records());
    shown.realNs = now.times.realNs;
    shown.seconds =
        before == nullptr
            ? 0
            : static_cast<double>(now.times.monotonicNs - before->times.monotonicNs) * 1e-9;
    all.clear();
    for (auto& members : kinds) {
        members.clear();
    }
    for (size_t i = 0; i < records.size(); i++) {
        all.push_back({&records[i], matches[i]});
        if (records[i].kind != nullptr) {
            kinds[static_cast<size_t>(records[i].kind->index)].push_back(all.back());
        }
    }
}

Number SampleView::value(const ChosenField& field, std::span<const Process> processes) const {
    const auto* figure = figureFor(field, processes);
    return figure == nullptr ? Number() : valueOf(*figure, processes, shown);
}

Number SampleView::rate(const ChosenField& field, std::span<const Process> processes) const {
    const auto* figure = figureFor(field, processes);
    return figure == nullptr ? Number() : rateOf(*figure, processes, shown);
}

} // namespace exporter
