/* The names that dashboards and alerts rely on: renaming one breaks them. */
#include "metricnames.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace samples;
using statscatalogue::kinds;

/* A family a line: the name of its series, and its fields, each with its labels (of an array those
 * of the first element) and its factor. */
std::string publishedNames() {
    std::map<const MetricFamily*, std::vector<std::string>> fields;
    for (const auto& kind : kinds()) {
        for (const MetricPlace& place : metricPlaces(kind)) {
            if (place.element > 0) {
                continue;
            }
            std::ostringstream field;
            field << place.field->name << '{' << place.labels << '}';
            if (place.family->scale.factor != 1) {
                field << " * " << place.family->scale.factor;
            }
            auto& list = fields[place.family];
            if (std::ranges::find(list, field.str()) == list.end()) {
                list.push_back(field.str());
            }
        }
    }
    std::ostringstream text;
    for (const MetricFamily& family : metricFamilies()) {
        text << family.name << family.ending();
        std::string_view separator = " ";
        for (const std::string& field : fields[&family]) {
            text << separator << field;
            separator = "; ";
        }
        text << '\n';
    }
    return text.str();
}

TEST(MetricNames, StayAsTheyWerePublished) {
    std::ifstream file(PUBLISHED_NAMES);
    std::ostringstream published;
    published << file.rdbuf();
    EXPECT_EQ(publishedNames(), published.str()) << "names may be added, but none may change";
}

TEST(MetricNames, FollowTheirRules) {
    std::set<std::string> names;
    for (const MetricFamily& family : metricFamilies()) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name;
        EXPECT_EQ(family.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"),
                  std::string::npos)
            << family.name;
        EXPECT_TRUE(family.unit().empty() || family.name.ends_with(family.unit())) << family.name;
        EXPECT_TRUE(family.help.ends_with('.') && family.help.size() > 5) << family.name;
    }
    for (const auto& kind : kinds()) {
        std::set<std::pair<const MetricFamily*, std::string>> series;
        for (const MetricPlace& place : metricPlaces(kind)) {
            EXPECT_TRUE(series.emplace(place.family, place.labels).second) << place.field->name;
            EXPECT_LE(place.packedOffset + widthOf(place.type), kind.packedSize());
        }
    }
    const std::pair<const char*, const char*> helps[] = {
        {"tvsi_vok_time_in_scavenge", "Time spent in scavenges (unit not recorded)."},
        {"tvsi_brox_queue_length", "Entries of the queue."},
        {"tvsi_vok_voks_in_cache", ""},
    };
    for (const auto& [name, help] : helps) {
        const auto families = metricFamilies();
        const auto at = std::ranges::find(families, name, &MetricFamily::name);
        EXPECT_EQ(at == families.end() ? "" : at->help, help) << name;
    }
}

} // namespace
