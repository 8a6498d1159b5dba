#include "recordinginfo.h"

#include "numbertext.h"
#include "printable.h"
#include "timetext.h"

#include <algorithm>
#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::RecordingGap;
using samples::RecordingReader;
using samples::RecordingSurvey;
using samples::StreamHeader;

constexpr double nsPerSecond = 1e9;

struct Extent {
    int64_t firstNs = 0;
    int64_t lastNs = 0;
};

/* Of all caches; nothing without messages. */
std::optional<Extent> extentOf(const RecordingSurvey& survey) {
    std::optional<Extent> all;
    for (const RecordingSurvey::Extent& cache : survey.caches) {
        if (cache.firstNs != 0) {
            all = all ? Extent{std::min(all->firstNs, cache.firstNs),
                               std::max(all->lastNs, cache.lastNs)}
                      : Extent{cache.firstNs, cache.lastNs};
        }
    }
    return all;
}

double bytesAValue(const RecordingSurvey& survey) {
    return static_cast<double>(survey.numBytes) / static_cast<double>(survey.numValues);
}

/* "TIME to TIME (4m31s)" */
std::string periodText(TimeText& times, int64_t fromNs, int64_t untilNs) {
    std::string text;
    times.append(text, fromNs, 0);
    text += " to ";
    times.append(text, untilNs, 0);
    text += " (";
    appendShortSeconds(text, static_cast<double>(untilNs - fromNs) / nsPerSecond);
    return text + ")";
}

std::string titleOf(const StreamHeader& header) {
    return samples::printable(header.location.empty() ? header.brox : header.location) + " on " +
           samples::printable(header.host);
}

void appendLine(std::string& text, std::string_view name, std::string_view value) {
    text += fmt::format("{:<9}{}\n", name, value);
}

std::string asTable(TimeText& times, const std::string& path, const RecordingReader& reader,
                    const RecordingSurvey& survey) {
    std::string text;
    appendLine(text, "file", samples::printable(path));
    const auto extent = extentOf(survey);
    appendLine(text, "span",
               extent ? periodText(times, extent->firstNs, extent->lastNs) : "no messages");
    for (size_t i = 0; i < survey.caches.size(); i++) {
        const RecordingSurvey::Extent& cache = survey.caches[i];
        const StreamHeader& header = reader.caches()[i];
        if (header.location.empty() && cache.numSamples == 0) {
            appendLine(text, "attempt",
                       fmt::format("{}: not attached, {}", titleOf(header),
                                   periodText(times, cache.firstNs, cache.lastNs)));
            continue;
        }
        appendLine(text, "cache",
                   fmt::format("{}: {}{} samples, {}", titleOf(header),
                               reader.damages().empty() ? "" : "at least ", cache.numSamples,
                               periodText(times, cache.firstNs, cache.lastNs)));
    }
    for (const auto& [seconds, thinned] : survey.thinned) {
        std::string step;
        appendShortSeconds(step, seconds);
        appendLine(text, "thinned",
                   fmt::format("to a sample in {}: {} samples, {}", step, thinned.numSamples,
                               periodText(times, thinned.firstNs, thinned.lastNs)));
    }
    if (survey.thinned.empty()) {
        appendLine(text, "thinned", "none");
    }
    for (const RecordingGap& gap : survey.gaps) {
        appendLine(text, "gap",
                   fmt::format("{}: {}", titleOf(reader.caches()[gap.cache]),
                               periodText(times, gap.fromNs, gap.untilNs)));
    }
    if (survey.gaps.empty()) {
        appendLine(text, "gap", "none");
    }
    appendLine(text, "size",
               fmt::format("{} bytes in {} file{}", survey.numBytes, survey.numFiles,
                           survey.numFiles == 1 ? "" : "s"));
    if (survey.numValues > 0) {
        appendLine(text, "values",
                   fmt::format("{}{}, of {:.3f} bytes each",
                               reader.damages().empty() ? "" : "at least ", survey.numValues,
                               bytesAValue(survey)));
    }
    for (const samples::RecordingDamage& damage : reader.damages()) {
        appendLine(text, "damage", damage.sentence);
    }
    if (reader.damages().empty()) {
        appendLine(text, "damage", "none");
    }
    return text;
}

void appendName(std::string& text, std::string_view name) {
    text += text.ends_with('{') ? "\"" : ",\"";
    text += name;
    text += "\":";
}

void appendText(std::string& text, std::string_view name, std::string_view value) {
    appendName(text, name);
    samples::appendJsonString(text, value);
}

void appendNumber(std::string& text, std::string_view name, uint64_t value) {
    appendName(text, name);
    text += std::to_string(value);
}

void appendTime(std::string& text, std::string_view name, std::optional<int64_t> realNs) {
    appendName(text, name);
    if (!realNs) {
        text += "null";
        return;
    }
    text += '"';
    TimeText(true).append(text, *realNs, 3);
    text += '"';
}

/* An array of objects, each made by `append`. */
template <class List, class Append>
void appendArray(std::string& text, std::string_view name, const List& list, Append append) {
    appendName(text, name);
    text += '[';
    for (const auto& each : list) {
        text += text.ends_with('[') ? "{" : ",{";
        append(each);
        text += '}';
    }
    text += ']';
}

std::string asJson(const std::string& path, const RecordingReader& reader,
                   const RecordingSurvey& survey) {
    std::string text = "{";
    const auto caches = reader.caches();
    const auto extent = extentOf(survey);
    appendText(text, "path", path);
    appendTime(text, "first", extent ? std::optional(extent->firstNs) : std::nullopt);
    appendTime(text, "last", extent ? std::optional(extent->lastNs) : std::nullopt);
    appendArray(text, "caches", survey.caches, [&](const RecordingSurvey::Extent& cache) {
        const StreamHeader& header = caches[static_cast<size_t>(&cache - survey.caches.data())];
        appendText(text, "cache", header.location);
        appendText(text, "brox", header.brox);
        appendText(text, "host", header.host);
        appendNumber(text, "samples", cache.numSamples);
        appendTime(text, "first", cache.firstNs);
        appendTime(text, "last", cache.lastNs);
    });
    appendArray(text, "thinned", survey.thinned, [&](const auto& each) {
        appendNumber(text, "seconds", each.first);
        appendNumber(text, "samples", each.second.numSamples);
        appendTime(text, "first", each.second.firstNs);
        appendTime(text, "last", each.second.lastNs);
    });
    appendArray(text, "gaps", survey.gaps, [&](const RecordingGap& gap) {
        appendText(text, "cache", caches[gap.cache].location);
        appendTime(text, "from", gap.fromNs);
        appendTime(text, "until", gap.untilNs);
        appendName(text, "seconds");
        appendDecimal(text, static_cast<double>(gap.untilNs - gap.fromNs) / nsPerSecond, 3);
    });
    appendNumber(text, "files", survey.numFiles);
    appendNumber(text, "bytes", survey.numBytes);
    appendNumber(text, "samples", survey.numSamples);
    appendNumber(text, "values", survey.numValues);
    appendName(text, "bytes_per_value");
    if (survey.numValues > 0) {
        appendDecimal(text, bytesAValue(survey), 4);
    } else {
        text += "null";
    }
    appendArray(text, "damages", reader.damages(), [&](const samples::RecordingDamage& damage) {
        appendText(text, "file", damage.path);
        appendNumber(text, "offset", damage.offset);
        appendText(text, "sentence", damage.sentence);
    });
    return text + "}\n";
}

} // namespace

std::string recordingInfo(const Request& request, const RecordingReader& reader,
                          const RecordingSurvey& survey) {
    TimeText times(request.layout.isUtc);
    return request.form == Form::Json ? asJson(request.info, reader, survey)
                                      : asTable(times, request.info, reader, survey);
}

} // namespace tvsistat
