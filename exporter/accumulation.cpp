#include "accumulation.h"

#include "metricvalue.h"
#include "printable.h"

#include <algorithm>
#include <set>

namespace exporter {
namespace {

using samples::Figure;
using samples::MetricPlace;
using samples::Number;
using samples::Process;
using samples::Record;
using statscatalogue::Kind;

bool isChosen(const SeriesChoice& choice, const Figure& figure, const MetricPlace& place) {
    if (place.family->isApplications && !choice.hasApplications) {
        return false;
    }
    bool isIn = choice.patterns.empty() || !choice.patterns.front().isIncluded;
    for (const auto& [pattern, isIncluded] : choice.patterns) {
        isIn = pattern.matches(figure) ? isIncluded : isIn;
    }
    return isIn;
}

bool isSameOwner(const Record& one, const Record& other) {
    return one.pid == other.pid && one.statType == other.statType && one.session == other.session &&
           (one.startedNs == other.startedNs || one.startedNs == 0 || other.startedNs == 0);
}

/* The records before, for each now. A process that has another name since, or whose start has
 * become known, has not come: what it had counted already is no gain. */
std::vector<const Record*> ownersBefore(std::span<const Record> now,
                                        std::span<const Record* const> matches,
                                        std::span<const Record> before) {
    std::vector<const Record*> found(matches.begin(), matches.end());
    if (before.empty() || std::ranges::find(found, nullptr) == found.end()) {
        return found;
    }
    std::multimap<int32_t, const Record*> left; /* by process id */
    const std::set<const Record*> taken(matches.begin(), matches.end());
    for (const Record& record : before) {
        if (!taken.contains(&record)) {
            left.emplace(record.pid, &record);
        }
    }
    for (size_t i = 0; i < now.size() && !left.empty(); i++) {
        if (found[i] == nullptr) {
            const auto [first, end] = left.equal_range(now[i].pid);
            const auto own = std::find_if(
                first, end, [&](const auto& entry) { return isSameOwner(*entry.second, now[i]); });
            if (own != end) {
                found[i] = own->second;
                left.erase(own);
            }
        }
    }
    return found;
}

/* Different processes may be alike in them. */
std::string processLabels(const Record& record) {
    std::string labels = kindLabel(*record.kind);
    labels += ",pid=\"" + std::to_string(record.pid);
    labels += "\",session=\"" + std::to_string(record.session);
    labels += "\",name=\"";
    samples::appendLabelValue(labels, record.name);
    labels += '"';
    return labels;
}

} // namespace

std::string kindLabel(const Kind& kind) {
    return "kind=\"" + std::string(kind.shortName) + '"';
}

MetricPlan::MetricPlan(const SeriesChoice& choice) {
    for (const Kind& kind : statscatalogue::kinds()) {
        const auto figures = samples::figuresOf(kind, {});
        for (const MetricPlace& place : samples::metricPlaces(kind)) {
            const auto figure = std::ranges::find_if(figures, [&](const Figure& candidate) {
                return candidate.field == place.field && candidate.element == place.element;
            });
            if (isChosen(choice, *figure, place)) {
                metrics[static_cast<size_t>(kind.index)].push_back({&place, *figure});
            }
        }
    }
}

void Accumulation::addGains(Members& members, bool countsFirst) const {
    const auto metrics = plan.of(*members.kind);
    members.gains.resize(metrics.size());
    for (const Process& process : members.processes) {
        if (process.before == nullptr && !countsFirst) {
            continue;
        }
        for (size_t i = 0; i < metrics.size(); i++) {
            if (metrics[i].place->family->isCounter) {
                samples::addGain(members.gains[i], *metrics[i].place, process);
            }
        }
    }
}

void Accumulation::appendValues(std::vector<Number>& values, const Members& members) const {
    const auto metrics = plan.of(*members.kind);
    for (size_t i = 0; i < metrics.size(); i++) {
        if (metrics[i].place->family->isCounter) {
            values.push_back(Number::ofUnsigned(members.gains[i]));
        } else {
            values.push_back(members.processes.empty()
                                 ? Number()
                                 : samples::gaugeOf(metrics[i].figure, members.processes, {}));
        }
    }
}

std::optional<samples::Sample> Accumulation::add(samples::Sample sample) {
    std::optional<samples::Sample> before = std::move(last);
    last = std::move(sample);
    hasBaseline = before.has_value();
    for (Members& members : byKind) {
        members.processes.clear();
    }
    for (auto& [labels, members] : byLabels) {
        members.processes.clear();
    }
    const auto records = last->records();
    const auto recordsBefore = before ? before->records() : std::span<const Record>();
    const auto matches = matcher.match(records, recordsBefore);
    const auto owners = ownersBefore(records, matches, recordsBefore);
    for (size_t i = 0; i < records.size(); i++) {
        const Record& record = records[i];
        if (record.kind == nullptr || (record.kind->bit & choice.processes.kinds) == 0) {
            continue;
        }
        Members& kind = byKind[static_cast<size_t>(record.kind->index)];
        kind.kind = record.kind;
        kind.processes.push_back({&record, owners[i]});
        if (choice.isPerProcess && choice.processes.includes(record)) {
            Members& own = byLabels[processLabels(record)];
            own.kind = record.kind;
            own.processes.push_back({&record, matches[i]});
        }
    }
    gather();
    publish();
    return before;
}

void Accumulation::gather() {
    for (Members& members : byKind) {
        if (members.kind != nullptr) {
            addGains(members, hasBaseline);
        }
    }
    std::erase_if(byLabels, [](const auto& entry) { return entry.second.processes.empty(); });
    for (auto& [labels, members] : byLabels) {
        addGains(members, hasBaseline || members.gains.empty());
    }
}

void Accumulation::publish() {
    auto picture = std::make_shared<Picture>();
    picture->times = last->times;
    picture->lateNs = last->lateNs;
    picture->slots = last->slots;
    picture->used = last->used;
    size_t numValues = 0;
    for (const Members& members : byKind) {
        numValues += members.gains.size();
    }
    for (const auto& [labels, members] : byLabels) {
        numValues += members.gains.size();
    }
    picture->values.reserve(numValues);
    const auto addGroup = [&](std::vector<Group>& groups, const Members& members,
                              std::string labels) {
        const size_t first = picture->values.size();
        appendValues(picture->values, members);
        groups.push_back(
            {members.kind, std::move(labels), std::span(picture->values).subspan(first)});
    };
    for (const Members& members : byKind) {
        if (members.kind != nullptr) {
            addGroup(picture->kinds, members, kindLabel(*members.kind));
        }
    }
    picture->processes.reserve(byLabels.size());
    for (const auto& [labels, members] : byLabels) {
        addGroup(picture->processes, members, labels);
    }
    for (const Record& record : last->records()) {
        picture->states[samples::placeOf(record.kind)][static_cast<size_t>(record.state)]++;
    }
    published = std::move(picture);
}

} // namespace exporter
