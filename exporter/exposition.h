/*
 * Metrics as text: Prometheus's format 0.0.4, and OpenMetrics 1.0. Numbers are written without a
 * locale, and exactly where a factor is a power of ten or of two.
 */
#ifndef EXPOSITION_H
#define EXPOSITION_H

#include "accumulation.h"

#include <array>
#include <functional>
#include <list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace exporter {

enum class TextForm : uint8_t { Prometheus, OpenMetrics };

/* Writes families one after the other; all series of a family follow its beginning. */
class MetricWriter {
public:
    MetricWriter(std::string& target, TextForm wanted) : text(target), form(wanted) {}

    struct Family {
        std::string_view front = "tvsi_";
        std::string_view stem; /* "vok_scavenges": without a counter's "_total" */
        std::string_view help;
        bool isCounter = false;
        std::string_view unit = {}; /* at the stem's end, too */
    };
    void begin(const Family& family);
    /* Labels come without braces, in two parts that may be empty, and are valid already. */
    void add(std::string_view labels, std::string_view moreLabels, samples::Number number,
             double factor = 1);
    void add(std::string_view labels, samples::Number number) { add(labels, "", number); }
    /* "# EOF" where the form has it. */
    void end();

private:
    void appendName();

    std::string& text;
    TextForm form;
    Family current;
};

/* A cache that is read at the moment. */
struct LiveCache {
    std::string_view labels; /* cache="prod~1f2e",brox="prod" */
    const Picture* picture;
};

/* All series of the caches' statistics, without an end. */
class Exposition {
public:
    explicit Exposition(const MetricPlan& plan);

    /* Where text goes once there is enough of it; takes it away, or lets it grow. */
    using Sink = std::function<void(std::string& text)>;

    void append(std::string& text, TextForm form, std::span<const LiveCache> caches,
                bool hasProcesses, const Sink& sink);
    /* How many series there are. */
    static size_t seriesOf(std::span<const LiveCache> caches, bool hasProcesses);

private:
    /* A metric of a family: of which kind, and its place among the kind's. */
    struct Part {
        const statscatalogue::Kind* kind;
        const samples::MetricPlace* place;
        size_t index;
    };
    /* The beginnings of the series of a cache's kinds, up to their numbers, by family and part:
     * they stay as they are. */
    struct KindLines {
        std::string labels; /* of the cache */
        std::vector<std::vector<std::string>> beginnings;
    };

    const KindLines& linesOf(std::string_view labels);
    void appendKinds(std::string& text, TextForm form, std::span<const LiveCache> caches,
                     const Sink& sink);
    void appendProcesses(std::string& text, TextForm form, std::span<const LiveCache> caches,
                         const Sink& sink) const;
    static void appendCaches(MetricWriter& writer, std::span<const LiveCache> caches);

    std::vector<std::vector<Part>> parts; /* by family */
    std::list<KindLines> lines;
};

} // namespace exporter

#endif
