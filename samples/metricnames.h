/*
 * What the catalogue's fields are called as Prometheus metrics:
 *
 *    tvsi_<block>_<words of the field's name>[_seconds|_bytes|_ratio][_total]
 *
 * The names follow from the catalogue by rules alone, so that a field's metric can be told from its
 * name and the other way round. A test holds all of them against a list: a name that has once been
 * published stays.
 *
 *   - <block> is the catalogue's short name of the structure; its 32- and 64-bit parts share it.
 *   - A known unit leaves the words and stands at the end as its base unit. Where nobody recorded
 *     the unit, the number is the server's own and the help says so.
 *   - "total" at the front, "Count" and "Total" at the end go: "_total" marks counters. A gauge
 * that would then be called as a counter of its block is ends in "_current".
 *   - timeLastX becomes last_x_timestamp_seconds.
 *   - The 26 counters by kind of page are one family, told apart by the labels `owner` and `page`,
 *     and so are the queues (numInXQueue), by `queue`. Elements of an array have the label `index`.
 *
 * Left out: identifiers, what is measured anew by every reader (the secondsSince fields, of which
 * the time stamps tell more), and the field that is not used.
 */
#ifndef METRICNAMES_H
#define METRICNAMES_H

#include "statscatalogue.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace samples {

/* All series of one name. */
struct MetricFamily {
    std::string name; /* without a counter's "_total": "tvsi_vok_scavenges" */
    std::string help; /* one sentence */
    bool isCounter;
    bool isApplications; /* as Field::isApplications */
    statscatalogue::Aggregation aggregation;
    statscatalogue::Scale scale; /* from the server's number to the metric's */

    /* The name without its "tvsi_". */
    std::string_view stem() const { return std::string_view(name).substr(5); }
    /* What stands behind the stem in the name of a series. */
    std::string_view ending() const { return isCounter ? "_total" : ""; }
    /* "seconds", "bytes", "ratio", or nothing. */
    std::string_view unit() const;
};

/* Where a number of a kind's records becomes a series. */
struct MetricPlace {
    const MetricFamily* family;
    const statscatalogue::Field* field;
    uint16_t element; /* of an array */
    uint16_t packedOffset;
    statscatalogue::FieldType type;
    /* Labels of its own, without braces: "queue=\"commit\""; mostly empty. */
    std::string labels;
};

/* Every family once, in the order of the catalogue's blocks. */
std::span<const MetricFamily> metricFamilies();

/* The places of a kind, in the order of its record. */
std::span<const MetricPlace> metricPlaces(const statscatalogue::Kind& kind);

} // namespace samples

#endif
