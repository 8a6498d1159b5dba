/*
 * What the collection knows, for the thread that answers scrapes: a picture that is replaced as a
 * whole, so that neither ever waits for the other.
 */
#ifndef BOARD_H
#define BOARD_H

#include "accumulation.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace exporter {

using Clock = std::chrono::steady_clock;

/* One cache, whether it can be read or not. */
struct CacheStatus {
    std::string labels; /* cache="prod~1f2e",brox="prod" */
    std::string title;  /* "cache prod~1f2e", for people */
    /* Its own names, any bytes; what it was asked for by until it was attached. */
    std::string location, brox, host;
    /* The last sample; null while the cache is not attached. */
    std::shared_ptr<const Picture> picture;
    /* That sample and the one before it of the same attachment, where they are kept. */
    std::shared_ptr<const samples::Sample> sample, sampleBefore;
    Clock::time_point taken;          /* when it came */
    Clock::duration interval{};       /* from sample to sample */
    Clock::duration collectionTime{}; /* that it took to take the sample in */
    uint64_t attaches = 0;
    std::map<std::string, uint64_t> severed;        /* losses after an attach, by reason */
    std::map<std::string, uint64_t> failedAttaches; /* by reason */
    std::string problem;                            /* why there is no picture */
    int64_t lostNs = 0; /* when it was lost last, since the epoch; 0: never */
    std::string loss;   /* and why */

    /* The sample is no older than two intervals. */
    bool isLive(Clock::time_point now) const {
        return picture != nullptr && now - taken <= 2 * interval;
    }
};

struct BoardState {
    std::vector<CacheStatus> caches; /* no two of the same labels */
    std::string problem;             /* why there are none */
};

class Board {
public:
    void publish(BoardState state) {
        auto fresh = std::make_shared<const BoardState>(std::move(state));
        const std::lock_guard lock(mutex);
        current = std::move(fresh);
    }
    std::shared_ptr<const BoardState> state() const {
        const std::lock_guard lock(mutex);
        return current;
    }

private:
    mutable std::mutex mutex; /* guards the pointer alone */
    std::shared_ptr<const BoardState> current = std::make_shared<const BoardState>();
};

} // namespace exporter

#endif
