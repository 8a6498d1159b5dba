/*
 * Keeps a source for each cache, and the board up to date, until the process is asked to end. For
 * the main thread, which owns the signals.
 */
#ifndef COLLECTOR_H
#define COLLECTOR_H

#include "board.h"
#include "cachesource.h"
#include "readerprocess.h"

#include <chrono>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <vector>

namespace exporter {

struct CollectorSettings {
    std::vector<Target> targets;
    bool takesAll = false; /* caches that come, too */
    std::chrono::nanoseconds interval = std::chrono::seconds(5);
    bool keepsSamples = false; /* the last two of each cache, for the page */
};

class Collector {
public:
    /* References must outlive it. */
    Collector(const CollectorSettings& wanted, const SeriesChoice& chosen,
              const MetricPlan& planned, Board& shown);

    /* Until one of the signals has come that `signals`, a signal descriptor, tells of. */
    void run(int signals);

private:
    bool takeSignals(int signals) const;
    void add(Target target);
    void look(Clock::time_point now);
    void readList();
    void takeList(const std::string& lines);
    void forgetMissing(Clock::time_point now);
    void publishChanges();
    Clock::time_point nextDeadline() const;

    const CollectorSettings& settings;
    const SeriesChoice& choice;
    const MetricPlan& plan;
    Board& board;
    std::vector<std::unique_ptr<CacheSource>> sources;
    std::optional<samples::ReaderProcess> list; /* the reader that lists the caches of this host */
    std::string listed;                         /* what it has printed */
    Clock::time_point listDue;                  /* of its end, or of the next one */
    std::string listProblem;
    uint64_t published = UINT64_MAX; /* changes that the board shows */
    uint64_t ownChanges = 0;
};

} // namespace exporter

#endif
