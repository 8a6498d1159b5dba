/*
 * Samples as OpenMetrics 1.0 text with time stamps, as "promtool tsdb create-blocks-from
 * openmetrics" takes it. metricnames.h has the names; the series are those that the exporter would
 * have shown: of each process (tvsi_process_...), or with sums of each kind (tvsi_...).
 *
 * A counter's series never falls while its owner lives: it is the sum of what its processes have
 * gained from sample to sample. That of a process begins with what it had counted; that of a kind
 * begins at 0, as the exporter's does.
 *
 * The form wants all that belongs to a series in one place, so that nothing is written before the
 * last sample has come.
 */
#ifndef OPENMETRICSTEXT_H
#define OPENMETRICSTEXT_H

#include "metricnames.h"
#include "planview.h"
#include "seriesspool.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tvsistat {

class OpenMetricsText : public PlanView {
public:
    OpenMetricsText(const Request& asked, const Surroundings& found)
        : PlanView(asked, found, Default::EveryFigure) {}

    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string& text, const Event& event) override;
    bool appendRest(std::string& text) override;

private:
    struct Metric {
        const samples::MetricPlace* place;
        samples::Figure figure;
    };
    /* The series that share a process's labels, or a kind's. */
    struct Group {
        std::string labels;
        std::vector<std::optional<size_t>> series; /* by metric; nothing before there is a value */
        std::vector<uint64_t> gains;               /* by metric; of counters */
    };
    struct Series {
        const samples::MetricPlace* place;
        const Group* group;
    };

    const std::vector<Metric>& metricsOf(const statscatalogue::Kind& kind);
    std::string labelsOf(const samples::Row& row, const Shown& shown) const;
    samples::Number valueIn(Group& group, size_t i, const Metric& metric, bool countsFirst,
                            const samples::Row& row, const Shown& shown) const;
    void addRow(Group& group, bool isNew, const samples::Row& row, const Shown& shown);
    void appendFamily(std::string& text, const samples::MetricFamily& family) const;
    void appendPoints(std::string& text, const Series& from,
                      std::span<const SeriesSpool::Point> points) const;

    std::array<std::optional<std::vector<Metric>>, SHRPC_numStatTypes> metrics;
    std::unordered_map<std::string, std::unique_ptr<Group>> groups; /* by their labels */
    std::vector<Series> series;                                     /* as in the spool */
    SeriesSpool spool;
    /* What appendRest() has come to. */
    std::vector<size_t> order; /* series by family */
    size_t next = 0;
    size_t nextChunk = 0;
    bool isOrdered = false;
    bool hasEnded = false;
};

} // namespace tvsistat

#endif
