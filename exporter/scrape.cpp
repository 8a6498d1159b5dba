#include "scrape.h"

#include "negotiation.h"
#include "versions.h"

#include <algorithm>
#include <new>

namespace exporter {
namespace {

using samples::Number;

constexpr double inSeconds = 1e-9;

Number nanoseconds(Clock::duration duration) {
    return Number::ofSigned(std::chrono::nanoseconds(duration).count());
}

/* Why a cache isn't live. */
std::string reasonOf(const CacheStatus& cache, Clock::time_point now) {
    if (!cache.problem.empty()) {
        return cache.problem;
    }
    if (cache.picture == nullptr) {
        return cache.title + " has sent no sample yet";
    }
    const auto age = std::chrono::floor<std::chrono::seconds>(now - cache.taken);
    return cache.title + " has sent no sample for " + std::to_string(age.count()) + " seconds";
}

void addByReason(MetricWriter& writer, const BoardState& state,
                 std::map<std::string, uint64_t> CacheStatus::*counts) {
    for (const CacheStatus& cache : state.caches) {
        for (const auto& [reason, count] : cache.*counts) {
            writer.add(cache.labels, "reason=\"" + reason + '"', Number::ofUnsigned(count));
        }
    }
}

void appendCacheSeries(MetricWriter& writer, const BoardState& state, Clock::time_point now) {
    writer.begin({.stem = "up",
                  .help = "Whether the cache is read: its last sample is no older "
                          "than two intervals."});
    for (const CacheStatus& cache : state.caches) {
        writer.add(cache.labels, Number::ofUnsigned(cache.isLive(now) ? 1 : 0));
    }
    writer.begin(
        {.stem = "attaches", .help = "Times that the cache was attached.", .isCounter = true});
    for (const CacheStatus& cache : state.caches) {
        writer.add(cache.labels, Number::ofUnsigned(cache.attaches));
    }
    writer.begin({.stem = "severed",
                  .help = "Times that an attached cache was lost, by reason.",
                  .isCounter = true});
    addByReason(writer, state, &CacheStatus::severed);
    writer.begin({.stem = "attach_failures",
                  .help = "Times that the cache could not be attached, by reason.",
                  .isCounter = true});
    addByReason(writer, state, &CacheStatus::failedAttaches);
    const auto addDurations = [&](std::string_view stem, std::string_view help, auto&& durationIn) {
        writer.begin({.stem = stem, .help = help, .unit = "seconds"});
        for (const CacheStatus& cache : state.caches) {
            if (cache.isLive(now)) {
                writer.add(cache.labels, "", nanoseconds(durationIn(cache)), inSeconds);
            }
        }
    };
    addDurations("sample_age_seconds", "Age of the sample that the cache's series are of.",
                 [&](const CacheStatus& cache) { return now - cache.taken; });
    addDurations("collection_duration_seconds", "Time that it took to take the last sample in.",
                 [](const CacheStatus& cache) { return cache.collectionTime; });
}

std::vector<LiveCache> liveCaches(const BoardState& state, Clock::time_point now) {
    std::vector<LiveCache> live;
    for (const CacheStatus& cache : state.caches) {
        if (cache.isLive(now)) {
            live.push_back({cache.labels, cache.picture.get()});
        }
    }
    return live;
}

} // namespace

/* That of the live caches' last samples; a new one when one of them has changed. */
Scraper::Rendering& Scraper::renderingOf(TextForm form, const BoardState& state,
                                         Clock::time_point now) {
    std::vector<Rendering::Source> sources;
    for (const CacheStatus& cache : state.caches) {
        if (cache.isLive(now)) {
            sources.push_back({cache.labels, cache.taken});
        }
    }
    Rendering& rendering = renderings[static_cast<size_t>(form)];
    if (rendering.sources != sources) {
        rendering = {};
        rendering.sources = std::move(sources);
        rendering.isLimited = choice.isPerProcess &&
                              Exposition::seriesOf(liveCaches(state, now), true) > choice.maxSeries;
    }
    return rendering;
}

/* Piece by piece, so that the text as a whole needs no room. */
void Scraper::compress(Rendering& rendering, TextForm form, std::span<const LiveCache> live) {
    if (rendering.compressed == nullptr) {
        GzipBeginning beginning;
        const auto take = [&](std::string& piece) {
            beginning.add(piece);
            piece.clear();
        };
        std::string text;
        exposition.append(text, form, live, choice.isPerProcess && !rendering.isLimited, take);
        take(text);
        rendering.compressed = beginning.end();
        if (rendering.compressed == nullptr) {
            throw std::bad_alloc();
        }
    }
}

std::string Scraper::ownSeries(TextForm form, const BoardState& state, const HttpTraffic& traffic,
                               bool isLimited, Clock::time_point now) const {
    std::string text;
    MetricWriter writer(text, form);
    appendCacheSeries(writer, state, now);
    const auto add = [&](std::string_view stem, std::string_view help, Number number,
                         bool isCounter = false, std::string_view unit = "", double factor = 1) {
        writer.begin({.stem = stem, .help = help, .isCounter = isCounter, .unit = unit});
        writer.add("", "", number, factor);
    };
    std::string version = "version=\"" + std::string(samples::releaseVersion()) + "\",server=\"";
    version += samples::serverVersion();
    version += '"';
    writer.begin({.stem = "build_info",
                  .help = "Release of the exporter, and of the servers whose caches it reads."});
    writer.add(version, Number::ofUnsigned(1));
    add("exporter_limited", "Whether series of processes are left out, because there are too many.",
        Number::ofUnsigned(isLimited ? 1 : 0));
    add("exporter_scrapes", "Scrapes that were answered before this one.",
        Number::ofUnsigned(scrapes), true);
    add("exporter_scrape_duration_seconds", "Time that it took to make the answer before this one.",
        nanoseconds(lastDuration), false, "seconds", inSeconds);
    add("exporter_scrape_seconds", "Time that it took to make all answers.",
        nanoseconds(wholeDuration), true, "seconds", inSeconds);
    add("exporter_open_connections", "Connections that are open.",
        Number::ofUnsigned(traffic.connections));
    add("exporter_connections", "Connections that were taken.",
        Number::ofUnsigned(traffic.connectionsTotal), true);
    add("exporter_connections_cut_off", "Connections that were ended at their deadline.",
        Number::ofUnsigned(traffic.cutOff), true);
    add("exporter_sent_bytes", "Bytes of the bodies that were sent whole.",
        Number::ofUnsigned(traffic.bytesSent), true, "bytes");
    writer.end();
    return text;
}

HttpAnswer Scraper::metrics(const HttpRequest& request, const HttpTraffic& traffic) {
    const auto begun = Clock::now();
    const auto state = board.state();
    const TextForm form = formFor(request.accept);
    const auto live = liveCaches(*state, begun);
    Rendering& rendering = renderingOf(form, *state, begun);
    auto own = std::make_shared<const std::string>(
        ownSeries(form, *state, traffic, rendering.isLimited, begun));
    HttpAnswer answer;
    answer.contentType = form == TextForm::OpenMetrics
                             ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                             : "text/plain; version=0.0.4; charset=utf-8";
    answer.headers.emplace_back("Vary", "Accept, Accept-Encoding");
    compress(rendering, form, live);
    auto end = takesGzip(request.acceptEncoding) ? endGzip(rendering.compressed, *own) : nullptr;
    if (end != nullptr) {
        answer.headers.emplace_back("Content-Encoding", "gzip");
        answer.body = {{rendering.compressed, &rendering.compressed->bytes}, std::move(end)};
    } else {
        const auto text = std::make_shared<GzipText>(rendering.compressed);
        answer.stream = {rendering.compressed->textSize,
                         [text](std::span<char> room) { return text->read(room); }};
        answer.body = {std::move(own)};
    }
    lastDuration = Clock::now() - begun;
    wholeDuration += lastDuration;
    scrapes++;
    return answer;
}

HttpAnswer Scraper::readiness() const {
    const auto state = board.state();
    const auto now = Clock::now();
    if (std::ranges::any_of(state->caches, [&](const auto& cache) { return cache.isLive(now); })) {
        return textAnswer(200, "ready\n");
    }
    std::string text;
    for (const CacheStatus& cache : state->caches) {
        text += reasonOf(cache, now) + "\n";
    }
    if (state->caches.empty()) {
        text = (state->problem.empty() ? "no cache has been found yet" : state->problem) + "\n";
    }
    return textAnswer(503, std::move(text));
}

} // namespace exporter
