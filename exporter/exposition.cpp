#include "exposition.h"

#include "metricnumber.h"

#include <algorithm>

namespace exporter {
namespace {

using samples::MetricFamily;
using samples::Number;
using statscatalogue::Kind;

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

void Exposition::appendFamilies(MetricWriter& writer, std::span<const LiveCache> caches,
                                std::vector<Group> Picture::*groups, std::string_view front) const {
    /* By cache and kind. */
    std::vector<std::array<std::span<const Group>, SHRPC_numStatTypes>> found(caches.size());
    for (size_t i = 0; i < caches.size(); i++) {
        for (const Kind& kind : statscatalogue::kinds()) {
            found[i][static_cast<size_t>(kind.index)] = groupsOf(caches[i].picture->*groups, kind);
        }
    }
    std::string labels;
    const auto families = samples::metricFamilies();
    for (size_t number = 0; number < families.size(); number++) {
        const MetricFamily& family = families[number];
        bool hasBegun = false;
        for (size_t i = 0; i < caches.size(); i++) {
            for (const Part& part : parts[number]) {
                for (const Group& group : found[i][static_cast<size_t>(part.kind->index)]) {
                    const Number value = group.values[part.index];
                    if (!value) {
                        continue;
                    }
                    if (!hasBegun) {
                        writer.begin(
                            {front, family.stem(), family.help, family.isCounter, family.unit()});
                        hasBegun = true;
                    }
                    labels = group.labels;
                    labels += part.place->labels.empty() ? "" : ",";
                    labels += part.place->labels;
                    writer.add(caches[i].labels, labels, value, family.scale.factor);
                }
            }
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
                        bool hasProcesses) const {
    MetricWriter writer(text, form);
    if (caches.empty()) {
        return;
    }
    appendCaches(writer, caches);
    appendFamilies(writer, caches, &Picture::kinds, "tvsi_");
    if (hasProcesses) {
        appendFamilies(writer, caches, &Picture::processes, "tvsi_process_");
    }
}

} // namespace exporter
