#include "exposition.h"

#include "metricnumber.h"

#include <algorithm>

namespace exporter {
namespace {

using samples::MetricFamily;
using samples::Number;
using statscatalogue::Kind;

constexpr size_t enoughText = 65536;

/* The groups are sorted by their labels, which begin with the kind. */
std::span<const Group> groupsOf(std::span<const Group> groups, const Kind& kind) {
    const auto isOther = [&](const Group& group) { return group.kind != &kind; };
    const auto first = std::ranges::find_if_not(groups, isOther);
    return {first, std::find_if(first, groups.end(), isOther)};
}

size_t countOf(std::span<const Group> groups) {
    size_t count = 0;
    for (const Group& group : groups) {
        count += static_cast<size_t>(std::ranges::count_if(
            group.values, [](Number number) { return static_cast<bool>(number); }));
    }
    return count;
}

} // namespace

void MetricWriter::appendName() {
    text += current.front;
    text += current.stem;
    text += current.isCounter ? "_total" : "";
}

void MetricWriter::begin(const Family& family) {
    current = family;
    const auto appendHead = [&](std::string_view what) {
        text += what;
        text += family.front;
        text += family.stem;
        text += family.isCounter && form == TextForm::Prometheus ? "_total " : " ";
    };
    appendHead("# HELP ");
    text += family.help;
    text += '\n';
    appendHead("# TYPE ");
    text += family.isCounter ? "counter\n" : "gauge\n";
    if (form == TextForm::OpenMetrics && !family.unit.empty()) {
        appendHead("# UNIT ");
        text += family.unit;
        text += '\n';
    }
}

void MetricWriter::add(std::string_view labels, std::string_view moreLabels, Number number,
                       double factor) {
    if (!number) {
        return;
    }
    appendName();
    if (!labels.empty() || !moreLabels.empty()) {
        text += '{';
        text += labels;
        text += labels.empty() || moreLabels.empty() ? "" : ",";
        text += moreLabels;
        text += '}';
    }
    text += ' ';
    samples::appendMetricNumber(text, number, factor);
    text += '\n';
}

void MetricWriter::end() {
    text += form == TextForm::OpenMetrics ? "# EOF\n" : "";
}

Exposition::Exposition(const MetricPlan& plan) : parts(samples::metricFamilies().size()) {
    const MetricFamily* first = samples::metricFamilies().data();
    for (const Kind& kind : statscatalogue::kinds()) {
        const auto metrics = plan.of(kind);
        for (size_t i = 0; i < metrics.size(); i++) {
            const auto* place = metrics[i].place;
            parts[static_cast<size_t>(place->family - first)].push_back({&kind, place, i});
        }
    }
}

size_t Exposition::seriesOf(std::span<const LiveCache> caches, bool hasProcesses) {
    size_t count = 0;
    for (const LiveCache& cache : caches) {
        count += countOf(cache.picture->kinds);
        count += hasProcesses ? countOf(cache.picture->processes) : 0;
    }
    return count;
}

/* Of as many caches as there may be at a time, and a few that have gone. */
const Exposition::KindLines& Exposition::linesOf(std::string_view labels) {
    const auto known = std::ranges::find(lines, labels, &KindLines::labels);
    if (known != lines.end()) {
        lines.splice(lines.begin(), lines, known);
        return lines.front();
    }
    lines.push_front({std::string(labels), {}});
    auto& beginnings = lines.front().beginnings;
    for (size_t number = 0; number < parts.size(); number++) {
        const MetricFamily& family = samples::metricFamilies()[number];
        auto& own = beginnings.emplace_back();
        for (const Part& part : parts[number]) {
            std::string& text = own.emplace_back(family.name);
            text += family.ending();
            text += '{';
            text += labels;
            text += labels.empty() ? "" : ",";
            text += kindLabel(*part.kind);
            text += part.place->labels.empty() ? "" : ",";
            text += part.place->labels;
            text += "} ";
        }
    }
    return lines.front();
}

void Exposition::appendKinds(std::string& text, TextForm form, std::span<const LiveCache> caches,
                             const Sink& sink) {
    struct Shown {
        const KindLines* lines;
        std::array<const Group*, SHRPC_numStatTypes> groups{};
    };
    std::vector<Shown> shown;
    for (const LiveCache& cache : caches) {
        Shown& own = shown.emplace_back(Shown{&linesOf(cache.labels), {}});
        for (const Group& group : cache.picture->kinds) {
            own.groups[static_cast<size_t>(group.kind->index)] = &group;
        }
    }
    constexpr size_t linesToSpare = 8;
    while (lines.size() > caches.size() + linesToSpare) {
        lines.pop_back();
    }
    MetricWriter writer(text, form);
    for (size_t number = 0; number < parts.size(); number++) {
        const MetricFamily& family = samples::metricFamilies()[number];
        bool hasBegun = false;
        for (const Shown& cache : shown) {
            for (size_t i = 0; i < parts[number].size(); i++) {
                const Part& part = parts[number][i];
                const Group* group = cache.groups[static_cast<size_t>(part.kind->index)];
                if (group == nullptr || !group->values[part.index]) {
                    continue;
                }
                if (!hasBegun) {
                    writer.begin({.stem = family.stem(),
                                  .help = family.help,
                                  .isCounter = family.isCounter,
                                  .unit = family.unit()});
                    hasBegun = true;
                }
                text += cache.lines->beginnings[number][i];
                appendMetricNumber(text, group->values[part.index], family.scale.factor);
                text += '\n';
            }
        }
        if (text.size() >= enoughText) {
            sink(text);
        }
    }
}

void Exposition::appendProcesses(std::string& text, TextForm form,
                                 std::span<const LiveCache> caches, const Sink& sink) const {
    /* By cache and kind. */
    std::vector<std::array<std::span<const Group>, SHRPC_numStatTypes>> found(caches.size());
    for (size_t i = 0; i < caches.size(); i++) {
        for (const Kind& kind : statscatalogue::kinds()) {
            found[i][static_cast<size_t>(kind.index)] =
                groupsOf(caches[i].picture->processes, kind);
        }
    }
    MetricWriter writer(text, form);
    std::string labels;
    bool hasBegun = false;
    const auto add = [&](const MetricFamily& family, const LiveCache& cache, const Part& part,
                         const Group& group) {
        const Number value = group.values[part.index];
        if (!value) {
            return;
        }
        if (!hasBegun) {
            writer.begin(
                {"tvsi_process_", family.stem(), family.help, family.isCounter, family.unit()});
            hasBegun = true;
        }
        labels = group.labels;
        labels += part.place->labels.empty() ? "" : ",";
        labels += part.place->labels;
        writer.add(cache.labels, labels, value, family.scale.factor);
    };
    for (size_t number = 0; number < parts.size(); number++) {
        const MetricFamily& family = samples::metricFamilies()[number];
        hasBegun = false;
        for (size_t i = 0; i < caches.size(); i++) {
            for (const Part& part : parts[number]) {
                for (const Group& group : found[i][static_cast<size_t>(part.kind->index)]) {
                    add(family, caches[i], part, group);
                }
            }
        }
        if (text.size() >= enoughText) {
            sink(text);
        }
    }
}

/* What a sample tells besides the statistics. */
void Exposition::appendCaches(MetricWriter& writer, std::span<const LiveCache> caches) {
    writer.begin({.stem = "processes",
                  .help = "Records of processes in the cache, by their kind and by the state that "
                          "the kernel tells."});
    for (const LiveCache& cache : caches) {
        for (const Kind& kind : statscatalogue::kinds()) {
            const auto& states = cache.picture->states[samples::placeOf(&kind)];
            for (size_t state = 0; state < states.size(); state++) {
                if (states[state] != 0) {
                    std::string labels = "kind=\"" + std::string(kind.shortName) + "\",state=\"";
                    labels += nameOf(static_cast<samples::ProcessState>(state));
                    labels += '"';
                    writer.add(cache.labels, labels, Number::ofUnsigned(states[state]));
                }
            }
        }
    }
    const auto appendGauge = [&](std::string_view stem, std::string_view help, auto&& numberIn,
                                 std::string_view unit = "", double factor = 1) {
        writer.begin({.stem = stem, .help = help, .unit = unit});
        for (const LiveCache& cache : caches) {
            writer.add(cache.labels, "", numberIn(*cache.picture), factor);
        }
    };
    appendGauge("cache_slots", "Slots of the process table, in use or not.",
                [](const Picture& picture) { return Number::ofSigned(picture.slots); });
    appendGauge("cache_slots_used", "Slots of the process table that are in use.",
                [](const Picture& picture) {
                    return picture.used < 0 ? Number() : Number::ofSigned(picture.used);
                });
    appendGauge(
        "sample_late_seconds", "How much later than it was due the last sample was taken.",
        [](const Picture& picture) { return Number::ofSigned(picture.lateNs); }, "seconds", 1e-9);
}

void Exposition::append(std::string& text, TextForm form, std::span<const LiveCache> caches,
                        bool hasProcesses, const Sink& sink) {
    if (caches.empty()) {
        return;
    }
    MetricWriter writer(text, form);
    appendCaches(writer, caches);
    appendKinds(text, form, caches, sink);
    if (hasProcesses) {
        appendProcesses(text, form, caches, sink);
    }
}

} // namespace exporter
