/*
 * Answers scrapes from the board. What the caches' samples say is rendered and compressed once,
 * whoever asks how often, and is kept compressed alone: who wants it as it is has it unpacked while
 * it is sent. What changes with every scrape follows it. For the server's thread.
 */
#ifndef SCRAPE_H
#define SCRAPE_H

#include "board.h"
#include "compression.h"
#include "exposition.h"
#include "httpserver.h"

#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace exporter {

class Scraper {
public:
    /* References must outlive it. */
    Scraper(const SeriesChoice& chosen, const MetricPlan& plan, const Board& shown)
        : choice(chosen), exposition(plan), board(shown) {}

    HttpAnswer metrics(const HttpRequest& request, const HttpTraffic& traffic);
    /* 200 when a cache is read, else 503 and why none is. */
    HttpAnswer readiness() const;

private:
    /* The live caches' series in one form, and what was made of them: null until somebody
     * wants it. Their samples aren't kept for it. */
    struct Rendering {
        struct Source {
            std::string labels;
            Clock::time_point taken;
            bool operator==(const Source&) const = default;
        };
        std::vector<Source> sources{};
        bool isLimited = false;
        std::shared_ptr<const GzipPiece> compressed{};
    };
    Rendering& renderingOf(TextForm form, const BoardState& state, Clock::time_point now);
    void compress(Rendering& rendering, TextForm form, std::span<const LiveCache> live);
    std::string ownSeries(TextForm form, const BoardState& state, const HttpTraffic& traffic,
                          bool isLimited, Clock::time_point now) const;

    const SeriesChoice& choice;
    Exposition exposition;
    const Board& board;
    std::array<Rendering, 2> renderings; /* by form */
    uint64_t scrapes = 0;
    Clock::duration lastDuration{};
    Clock::duration wholeDuration{};
};

} // namespace exporter

#endif
