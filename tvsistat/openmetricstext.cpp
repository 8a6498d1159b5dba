#include "openmetricstext.h"

#include "metricnumber.h"
#include "metricvalue.h"
#include "output.h"
#include "printable.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::Number;
using samples::Process;
using samples::Row;
using statscatalogue::Kind;

constexpr double exactWhole = 9007199254740992; /* 2^53 */

/* The spool keeps what Prometheus keeps: a double. */
Number numberOf(double value) {
    const bool isWhole = std::fabs(value) <= exactWhole && value == std::floor(value);
    return isWhole ? Number::ofSigned(static_cast<int64_t>(value)) : Number::ofDecimal(value);
}

void appendLabel(std::string& text, std::string_view name, std::string_view value) {
    text += text.empty() ? "" : ",";
    text += name;
    text += "=\"";
    samples::appendLabelValue(text, value);
    text += '"';
}

} // namespace

/* What applications define is only there when it is asked for by its name. */
const std::vector<OpenMetricsText::Metric>& OpenMetricsText::metricsOf(const Kind& kind) {
    auto& found = metrics[static_cast<size_t>(kind.index)];
    if (found) {
        return *found;
    }
    found.emplace();
    const auto columns = plan.of(&kind);
    for (const samples::MetricPlace& place : samples::metricPlaces(kind)) {
        const auto column = std::ranges::find_if(columns, [&](const Column& candidate) {
            return candidate.figure && candidate.figure->field == place.field &&
                   candidate.figure->element == place.element;
        });
        if (column != columns.end() && (!place.family->isApplications || column->isChosen)) {
            found->push_back({&place, *column->figure});
        }
    }
    return *found;
}

std::string OpenMetricsText::labelsOf(const Row& row, const Shown& shown) const {
    const samples::Record& record = row.record();
    std::string labels;
    appendLabel(labels, "cache", shown.header.location);
    appendLabel(labels, "brox", shown.header.brox);
    appendLabel(labels, "kind", record.kind->shortName);
    if (!request.rows.isSum) {
        appendLabel(labels, "pid", std::to_string(record.pid));
        appendLabel(labels, "session", std::to_string(record.session));
        appendLabel(labels, "name", record.name);
    }
    return labels;
}

/* A counter's gains so far, or the value of another metric; nothing where it has none. */
Number OpenMetricsText::valueIn(Group& group, size_t i, const Metric& metric, bool countsFirst,
                                const Row& row, const Shown& shown) const {
    const samples::MetricPlace& place = *metric.place;
    if (place.family->isCounter) {
        for (const Process& process : row.processes) {
            if (process.before != nullptr || countsFirst) {
                samples::addGain(group.gains[i], place, process);
            }
        }
        return Number::ofUnsigned(group.gains[i]);
    }
    return samples::gaugeOf(metric.figure, row.processes, shown.moment);
}

void OpenMetricsText::addRow(Group& group, bool isNew, const Row& row, const Shown& shown) {
    const auto& own = metricsOf(*row.kind());
    group.series.resize(own.size());
    group.gains.resize(own.size());
    const bool countsFirst = shown.moment.seconds > 0 || (isNew && !request.rows.isSum);
    for (size_t i = 0; i < own.size(); i++) {
        const Number value = valueIn(group, i, own[i], countsFirst, row, shown);
        if (!value) {
            continue;
        }
        if (!group.series[i]) {
            group.series[i] = spool.addSeries();
            series.push_back({own[i].place, &group});
        }
        spool.add(*group.series[i], {shown.sample.times.realNs / 1000000, value.asDouble()});
    }
}

void OpenMetricsText::appendSample(std::string&, const Shown& shown) {
    for (const Row& row : shown.rows) {
        if (row.kind() == nullptr) {
            continue;
        }
        std::string labels = labelsOf(row, shown);
        auto& group = groups[labels];
        const bool isNew = group == nullptr;
        if (isNew) {
            group = std::make_unique<Group>(Group{std::move(labels), {}, {}});
        }
        addRow(*group, isNew, row, shown);
    }
}

void OpenMetricsText::appendEvent(std::string&, const Event&) {}

void OpenMetricsText::appendFamily(std::string& text, const samples::MetricFamily& family) const {
    const std::string name =
        (request.rows.isSum ? "tvsi_" : "tvsi_process_") + std::string(family.stem());
    text += "# HELP " + name + " " + family.help + "\n";
    text += "# TYPE " + name + (family.isCounter ? " counter\n" : " gauge\n");
    if (!family.unit().empty()) {
        text += "# UNIT " + name + " " + std::string(family.unit()) + "\n";
    }
}

void OpenMetricsText::appendPoints(std::string& text, const Series& from,
                                   std::span<const SeriesSpool::Point> points) const {
    const samples::MetricFamily& family = *from.place->family;
    std::string head = request.rows.isSum ? "tvsi_" : "tvsi_process_";
    head += family.stem();
    head += family.ending();
    head += '{';
    head += from.group->labels;
    head += from.place->labels.empty() ? "" : ",";
    head += from.place->labels;
    head += "} ";
    for (const auto& point : points) {
        text += head;
        samples::appendMetricNumber(text, numberOf(point.value), family.scale.factor);
        fmt::format_to(std::back_inserter(text), " {}.{:03}\n", point.timeMs / 1000,
                       point.timeMs % 1000);
    }
}

/* Family by family, series by series. */
bool OpenMetricsText::appendRest(std::string& text) {
    if (hasEnded) {
        return false;
    }
    const auto familyOf = [this](size_t one) { return series[one].place->family; };
    if (!isOrdered) {
        isOrdered = true;
        for (size_t i = 0; i < series.size(); i++) {
            order.push_back(i);
        }
        std::ranges::stable_sort(order, {}, familyOf);
        if (spool.numLeftOut() > 0) {
            complain(fmt::format("{} values were left out that are older than the one before them: "
                                 "the clock was set back",
                                 spool.numLeftOut()));
        }
    }
    while (next < order.size() && text.size() < pieceSize) {
        if (nextChunk == 0 && (next == 0 || familyOf(order[next - 1]) != familyOf(order[next]))) {
            appendFamily(text, *familyOf(order[next]));
        }
        const auto points = spool.read(order[next], nextChunk);
        appendPoints(text, series[order[next]], points);
        nextChunk = points.empty() ? 0 : nextChunk + 1;
        next += points.empty() ? 1U : 0U;
    }
    hasEnded = next == order.size();
    text += hasEnded ? "# EOF\n" : "";
    return true;
}

} // namespace tvsistat
