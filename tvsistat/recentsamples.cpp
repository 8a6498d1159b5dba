#include "recentsamples.h"

#include "rowmaker.h"

#include <algorithm>

namespace tvsistat {
namespace {

constexpr size_t maxBytes = size_t{32} << 20;
constexpr int64_t closestNs = 950'000'000; /* a second, and what a sample may be early by */

} // namespace

bool isSameProcess(const samples::Record& one, const samples::Record& other) {
    return one.statType == other.statType && one.pid == other.pid &&
           one.startedNs == other.startedNs && one.session == other.session &&
           one.name == other.name;
}

void RecentSamples::add(const samples::Sample& sample, int64_t heldNs) {
    const int64_t nowNs = sample.times.monotonicNs;
    const auto distance =
        std::max(closestNs, static_cast<int64_t>(static_cast<double>(spanNs) *
                                                 (static_cast<double>(sample.size()) / maxBytes)));
    if (!kept.empty() && nowNs < kept.back().sample.times.monotonicNs) {
        kept.clear(); /* another start of the host */
    }
    if (!kept.empty() && !isBroken && nowNs - kept.back().sample.times.monotonicNs < distance) {
        return;
    }
    kept.push_back({sample.copy(), isBroken});
    isBroken = false;
    constexpr int64_t keptNs = spanNs + 2'000'000'000;
    std::erase_if(kept, [&](const Kept& entry) {
        const int64_t age = nowNs - entry.sample.times.monotonicNs;
        const int64_t heldAge = heldNs - entry.sample.times.monotonicNs;
        return age > keptNs && (heldNs == 0 || heldAge < 0 || heldAge > keptNs);
    });
}

std::vector<RecentSamples::Sighting>
RecentSamples::sightingsOf(const samples::Record& process) const {
    std::vector<Sighting> found;
    bool followsGap = false;
    size_t guess = 0; /* mostly a process stays in its place */
    for (const Kept& entry : kept) {
        followsGap = followsGap || entry.followsGap;
        const auto records = entry.sample.records();
        if (guess >= records.size() || !isSameProcess(records[guess], process)) {
            const auto at = std::ranges::find_if(
                records, [&](const auto& record) { return isSameProcess(record, process); });
            guess = static_cast<size_t>(at - records.begin());
        }
        if (guess < records.size()) {
            found.push_back({entry.sample.times.monotonicNs, entry.sample.times.realNs,
                             &records[guess], followsGap});
            followsGap = false;
        } else {
            followsGap = true;
        }
    }
    return found;
}

std::vector<std::optional<double>> RecentSamples::course(const samples::Figure& figure,
                                                         const std::vector<Sighting>& sightings,
                                                         int64_t endNs, size_t cells) {
    std::vector<std::optional<double>> course(cells);
    std::vector<int> counts(cells);
    const int64_t stepNs = spanNs / static_cast<int64_t>(std::max<size_t>(cells, 1));
    const int64_t first = endNs / stepNs - static_cast<int64_t>(cells) + 1;
    for (size_t i = 1; i < sightings.size(); i++) {
        const Sighting& before = sightings[i - 1];
        const Sighting& now = sightings[i];
        if (now.followsGap || now.monotonicNs > endNs) {
            continue;
        }
        const samples::Process process{now.record, before.record};
        const samples::Moment moment{
            now.realNs, static_cast<double>(now.monotonicNs - before.monotonicNs) / 1e9};
        const samples::Number number =
            printed(figure, printingOf(figure, std::nullopt, samples::Printing::Rate),
                    {&process, 1}, moment);
        if (!number) {
            continue;
        }
        const int64_t last = now.monotonicNs / stepNs - first;
        const int64_t from = std::min(before.monotonicNs / stepNs - first + 1, last);
        for (int64_t cell = std::max<int64_t>(from, 0); cell <= last; cell++) {
            const auto place = static_cast<size_t>(cell);
            if (place < cells) {
                course[place] = course[place].value_or(0) + number.asDouble();
                counts[place]++;
            }
        }
    }
    for (size_t i = 0; i < cells; i++) {
        if (counts[i] > 1) {
            *course[i] /= counts[i];
        }
    }
    return course;
}

} // namespace tvsistat
