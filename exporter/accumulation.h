/*
 * What the samples of one cache amount to as metrics.
 *
 * A counter's series must never fall while its process's counter does not: the counters of a kind
 * are sums of what each process has gained from sample to sample, so that neither an exit, nor a
 * slot used again, nor a 32-bit counter that wraps around shows as a fall. A process that comes
 * adds what it has counted already. The first sample after an attach only says where all of them
 * are.
 *
 * With series of processes, records alike in all labels are taken together in the same way, but
 * begin with what they have.
 *
 * For one thread. What it publishes is constant, and may be read by any.
 */
#ifndef ACCUMULATION_H
#define ACCUMULATION_H

#include "computation.h"
#include "metricnames.h"
#include "processmatcher.h"
#include "selection.h"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace exporter {

/* Which series there are. */
struct SeriesChoice {
    /* The last pattern that matches a figure's name decides; the first one says what holds for
     * figures that match none: an inclusion leaves them out. */
    struct Pattern {
        samples::FigurePattern pattern;
        bool isIncluded;
    };
    std::vector<Pattern> patterns{};
    bool hasApplications = false; /* also what applications define */
    bool isPerProcess = false;
    samples::Selection processes{}; /* that have series of their own; kinds hold for all series */
    size_t maxSeries = 20000;       /* of all caches together, before those of processes go */
};

/* A number of a kind's records that has a series. */
struct Metric {
    const samples::MetricPlace* place;
    samples::Figure figure;
};

/* The metrics of each kind, by its index. Must outlive whatever is made of it. */
class MetricPlan {
public:
    explicit MetricPlan(const SeriesChoice& choice);
    std::span<const Metric> of(const statscatalogue::Kind& kind) const {
        return metrics[static_cast<size_t>(kind.index)];
    }

private:
    std::array<std::vector<Metric>, SHRPC_numStatTypes> metrics;
};

/* Series that share their labels: of the processes of a kind, or of one process. */
struct Group {
    const statscatalogue::Kind* kind;
    std::string labels; /* behind those of the cache: kind="vok",pid="4711",... */
    std::span<const samples::Number> values; /* by metric; nothing: there is no series */
};

/* kind="vok": the first of a group's labels, and of a kind's the only one. */
std::string kindLabel(const statscatalogue::Kind& kind);

inline constexpr size_t numProcessStates = 5;

/* A cache at the moment of a sample. Its groups' values stand in one block, which goes back to the
 * system as a whole when the picture is replaced. */
struct Picture {
    samples::Times times;
    int64_t lateNs = 0;
    int32_t slots = 0;
    int32_t used = -1; /* -1: unknown */
    std::vector<Group> kinds;
    std::vector<Group> processes;
    std::array<std::array<uint32_t, numProcessStates>, samples::numKindPlaces> states{};
    std::vector<samples::Number> values;

    Picture() = default;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
};

class Accumulation {
public:
    /* References must outlive it. */
    Accumulation(const SeriesChoice& chosen, const MetricPlan& planned)
        : choice(chosen), plan(planned) {}

    /* A reader has attached. Another server's counters have nothing to do with those of the one
     * before, and neither do the same server's after a time unseen. */
    void begin() { last.reset(); }

    /* Takes a sample in; returns the one before, whose memory may be of use. */
    std::optional<samples::Sample> add(samples::Sample sample);

    std::shared_ptr<const Picture> picture() const { return published; }

private:
    /* What processes have gained together, by metric; nothing of what is no counter. */
    using Gains = std::vector<uint64_t>;

    /* The processes of a kind, or of a label set, in the sample at hand. */
    struct Members {
        const statscatalogue::Kind* kind = nullptr;
        std::vector<samples::Process> processes;
        Gains gains;
    };

    void addGains(Members& members, bool countsFirst) const;
    void appendValues(std::vector<samples::Number>& values, const Members& members) const;
    void gather();
    void publish();

    const SeriesChoice& choice;
    const MetricPlan& plan;
    samples::ProcessMatcher matcher;
    std::optional<samples::Sample> last;
    bool hasBaseline = false; /* the sample before it is of the same reader */
    std::array<Members, SHRPC_numStatTypes> byKind;
    std::map<std::string, Members> byLabels; /* of processes */
    std::shared_ptr<const Picture> published;
};

} // namespace exporter

#endif
