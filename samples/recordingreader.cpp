#include "recordingreader.h"

#include "recordingtimeline.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace samples {
namespace {

int64_t realNsOf(const BlockMessage& message) {
    return timesOf(message.message).realNs;
}

/* Drops the first messages that were recorded at their place: so many, and those before the time.
 * The header that held then is carried to the rest. */
void dropFirst(std::vector<BlockMessage>& messages, size_t count, int64_t beforeNs) {
    std::optional<BlockMessage> held;
    size_t first = 0;
    for (; first < messages.size(); first++) {
        BlockMessage& message = messages[first];
        if (!message.isCarried && count == 0 && realNsOf(message) >= beforeNs) {
            break;
        }
        count -= !message.isCarried && count > 0 ? 1 : 0;
        if (std::holds_alternative<StreamHeader>(message.message)) {
            held = std::move(message);
            held->isCarried = true;
        }
    }
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(first));
    if (held) {
        messages.insert(messages.begin(), std::move(*held));
    }
}

bool isRecordedHere(const BlockMessage& message) {
    return !message.isCarried;
}

/* Tells gaps from the distance between samples that a cache is recorded with, which may change. */
struct Pace {
    int64_t lastNs = 0; /* real time of the last sample; 0: none yet */
    int64_t usualNs = 0;
    int64_t lastPauseNs = 0;

    bool isLong(int64_t pauseNs) const {
        constexpr int64_t toleranceNs = 1'000'000'000;
        return usualNs > 0 && pauseNs > 2 * usualNs + toleranceNs;
    }
    /* True: there is a gap before the sample. */
    bool isGapBefore(int64_t realNs) {
        const int64_t pauseNs = lastNs != 0 ? realNs - lastNs : 0;
        lastNs = realNs;
        if (pauseNs <= 0) {
            return false;
        }
        const bool isGap = isLong(pauseNs) && pauseNs / 2 > lastPauseNs;
        lastPauseNs = pauseNs;
        usualNs = isGap ? usualNs : pauseNs;
        return isGap;
    }
};

/* The pace within a block, without its longest pause; nothing when it has too few samples. */
std::optional<int64_t> paceIn(const format::BlockHead& head) {
    if (head.numSamples < 3 || head.lastNs <= head.firstNs) {
        return std::nullopt;
    }
    const auto longest = static_cast<int64_t>(
        std::min<uint64_t>(head.longestPauseNs, static_cast<uint64_t>(head.lastNs - head.firstNs)));
    return (head.lastNs - head.firstNs - longest) / (head.numSamples - 2);
}

} // namespace

class RecordingReader::State {
public:
    explicit State(RecordingTimeline opened) : line(std::move(opened)) {}

    void seek(int64_t realNs);
    std::optional<RecordedMessage> next();
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count);
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count);
    /* The header's cache as an index into `caches`. */
    size_t cacheOf(const StreamHeader& header);

    RecordingTimeline line;
    std::vector<StreamHeader> caches;

private:
    /* Messages of a cache in the group. */
    struct Queue {
        std::vector<BlockMessage> messages;
        size_t at = 0;
        size_t cache = 0; /* index into `caches` */

        bool isEmpty() const { return at == messages.size(); }
    };

    bool fill();
    void load();
    std::vector<int64_t> sampleTimes(const BlockGroup& of);

    std::optional<BlockGroup> group; /* the last one that has been taken */
    std::optional<int64_t> soughtNs; /* until a message has been found there */
    std::vector<Queue> queues;
    std::vector<bool> isAnnounced; /* by cache: its header has been handed out since the seek */
    /* How many messages of a minute have been taken from the tail, where it grows. */
    std::map<std::pair<MinuteKey, uint32_t>, size_t> taken;
};

size_t RecordingReader::State::cacheOf(const StreamHeader& header) {
    const auto found = std::ranges::find_if(
        caches, [&](const StreamHeader& each) { return isSameCache(each, header); });
    const auto index = static_cast<size_t>(found - caches.begin());
    if (found == caches.end()) {
        caches.push_back(header);
        isAnnounced.push_back(false);
    }
    return index;
}

void RecordingReader::State::seek(int64_t realNs) {
    group.reset();
    soughtNs = realNs;
    queues.clear();
    taken.clear();
    isAnnounced.assign(caches.size(), false);
}

/* Makes queues of the group's messages that have not been taken. */
void RecordingReader::State::load() {
    queues.clear();
    bool isFound = false;
    for (CacheMessages& cache : line.load(*group)) {
        const std::pair key(group->key, cache.cache);
        const size_t known = std::exchange(
            taken[key], static_cast<size_t>(std::ranges::count_if(cache.messages, isRecordedHere)));
        if (!cache.isInTail) {
            taken.erase(key);
        }
        dropFirst(cache.messages, known, soughtNs.value_or(INT64_MIN));
        isFound = isFound || std::ranges::any_of(cache.messages, isRecordedHere);
        queues.push_back({std::move(cache.messages)});
    }
    if (isFound) {
        soughtNs.reset();
    }
}

bool RecordingReader::State::fill() {
    while (std::ranges::all_of(queues, &Queue::isEmpty)) {
        auto found = group ? line.next(*group) : soughtNs ? line.at(*soughtNs) : line.first();
        if (!found) {
            return false;
        }
        group = std::move(found);
        if (!soughtNs || group->lastNs() >= *soughtNs) {
            load();
        }
    }
    return true;
}

std::optional<RecordedMessage> RecordingReader::State::next() {
    while (fill()) {
        const auto moment = [](const Queue& queue) {
            return queue.isEmpty() ? INT64_MAX : realNsOf(queue.messages[queue.at]);
        };
        auto queue = std::ranges::min_element(queues, {}, moment);
        if (queue->isEmpty()) {
            queue = std::ranges::find_if(queues, [](const Queue& each) { return !each.isEmpty(); });
        }
        BlockMessage& message = queue->messages[queue->at++];
        if (const auto* header = std::get_if<StreamHeader>(&message.message)) {
            queue->cache = cacheOf(*header);
            StreamHeader& last = caches[queue->cache];
            const bool isNew = !message.isCarried || !isAnnounced[queue->cache] || last != *header;
            last = *header;
            isAnnounced[queue->cache] = true;
            if (!isNew) {
                continue;
            }
        }
        return RecordedMessage{queue->cache, std::move(message.message), message.isCarried};
    }
    return std::nullopt;
}

std::vector<int64_t> RecordingReader::State::sampleTimes(const BlockGroup& of) {
    std::vector<int64_t> times;
    for (const CacheMessages& cache : line.load(of)) {
        for (const BlockMessage& message : cache.messages) {
            if (std::holds_alternative<Sample>(message.message)) {
                times.push_back(realNsOf(message));
            }
        }
    }
    std::ranges::sort(times);
    return times;
}

std::optional<int64_t> RecordingReader::State::sampleBefore(int64_t realNs, size_t count) {
    std::optional<int64_t> found;
    for (auto each = line.at(realNs); each; each = line.previous(*each)) {
        auto times = sampleTimes(*each);
        times.erase(std::ranges::lower_bound(times, realNs), times.end());
        if (times.size() >= count) {
            return times[times.size() - count];
        }
        count -= times.size();
        found = times.empty() ? found : times.front();
    }
    return found;
}

std::optional<int64_t> RecordingReader::State::sampleAfter(int64_t realNs, size_t count) {
    std::optional<int64_t> found;
    std::optional<MinuteKey> last;
    for (auto each = line.at(realNs); each; each = line.next(*each)) {
        if (each->lastNs() < realNs || std::exchange(last, each->key) == each->key) {
            continue;
        }
        auto times = sampleTimes(*each);
        times.erase(times.begin(), std::ranges::lower_bound(times, realNs));
        if (times.size() >= count) {
            return times[count - 1];
        }
        count -= times.size();
        found = times.empty() ? found : times.back();
    }
    return found;
}

/* ---- survey ---- */

void RecordingSurvey::Extent::add(int64_t fromNs, int64_t untilNs) {
    firstNs = firstNs == 0 ? fromNs : std::min(firstNs, fromNs);
    lastNs = std::max(lastNs, untilNs);
}

/* Walks over a recording, group by group. */
class Surveyor {
public:
    Surveyor(RecordingReader::State& of, RecordingSurvey& to) : state(of), survey(to) {}
    void add(const BlockGroup& group);

private:
    /* A cache, by the checksum of its name. */
    struct Track {
        std::optional<size_t> cache; /* once its header has been seen */
        Pace pace;
    };

    bool needsMessages(const format::BlockHead& head);
    void addHead(const format::BlockHead& head);
    void addMessages(const CacheMessages& of);
    void addSample(Track& track, int64_t realNs);

    RecordingReader::State& state;
    RecordingSurvey& survey;
    std::map<uint32_t, Track> tracks;
    std::set<std::pair<MinuteKey, uint32_t>> seenInTail; /* that come again if the tail grows */
};

bool Surveyor::needsMessages(const format::BlockHead& head) {
    const Track& track = tracks[head.cache];
    Pace pace = track.pace;
    pace.usualNs = paceIn(head).value_or(pace.usualNs);
    return !track.cache || head.numOthers > 0 ||
           pace.isLong(static_cast<int64_t>(std::min<uint64_t>(head.longestPauseNs, INT64_MAX)));
}

void Surveyor::addSample(Track& track, int64_t realNs) {
    const int64_t before = track.pace.lastNs;
    if (track.pace.isGapBefore(realNs)) {
        survey.gaps.push_back({*track.cache, before, realNs});
    }
}

void Surveyor::addHead(const format::BlockHead& head) {
    Track& track = tracks[head.cache];
    addSample(track, head.firstNs);
    track.pace.lastNs = head.lastNs;
    if (const auto usual = paceIn(head)) {
        track.pace.usualNs = *usual;
        track.pace.lastPauseNs = *usual;
    }
}

void Surveyor::addMessages(const CacheMessages& of) {
    Track& track = tracks[of.cache];
    for (const BlockMessage& message : of.messages) {
        if (const auto* header = std::get_if<StreamHeader>(&message.message)) {
            track.cache = state.cacheOf(*header);
            survey.caches.resize(std::max(survey.caches.size(), *track.cache + 1));
        }
        if (isRecordedHere(message)) {
            survey.caches[*track.cache].add(realNsOf(message), realNsOf(message));
        }
        if (std::holds_alternative<Sample>(message.message)) {
            addSample(track, realNsOf(message));
        } else if (auto event = isRecordedHere(message) ? eventOf(message.message) : std::nullopt) {
            survey.events.push_back({*track.cache, std::move(*event)});
        }
    }
}

void Surveyor::add(const BlockGroup& group) {
    std::set<uint32_t> withMessages;
    std::set<std::pair<MinuteKey, uint32_t>> newInTail;
    std::vector<const format::BlockHead*> heads;
    for (const GroupBlock& each : group.blocks) {
        const format::BlockHead& head = each.block.head;
        const std::pair key(group.key, head.cache);
        if (seenInTail.contains(key)) {
            continue;
        }
        if (each.isInTail()) {
            newInTail.insert(key);
        }
        heads.push_back(&head);
        if (needsMessages(head)) {
            withMessages.insert(head.cache);
        }
    }
    seenInTail.merge(newInTail);
    if (!withMessages.empty()) {
        for (const CacheMessages& cache : state.line.load(group)) {
            if (withMessages.contains(cache.cache)) {
                addMessages(cache);
            }
        }
    }
    for (const format::BlockHead* head : heads) {
        const Track& track = tracks[head->cache];
        if (!track.cache) {
            continue; /* what could tell whose it is has been damaged */
        }
        RecordingSurvey::Extent& cache = survey.caches[*track.cache];
        if (!withMessages.contains(head->cache)) {
            addHead(*head);
            cache.add(head->firstNs, head->lastNs);
        }
        if (head->thinnedSeconds > 0) {
            RecordingSurvey::Extent& thinned = survey.thinned[head->thinnedSeconds];
            thinned.add(head->firstNs, head->lastNs);
            thinned.numSamples += head->numSamples;
        }
        cache.numSamples += head->numSamples;
        survey.numSamples += head->numSamples;
        survey.numValues += head->numValues;
    }
}

/* ---- what others see ---- */

std::variant<RecordingReader, Failure> RecordingReader::open(const std::string& path) {
    auto line = RecordingTimeline::open(path);
    if (auto* failure = std::get_if<Failure>(&line)) {
        return std::move(*failure);
    }
    return RecordingReader(std::make_unique<State>(std::move(std::get<RecordingTimeline>(line))));
}

RecordingReader::RecordingReader(std::unique_ptr<State> opened) : state(std::move(opened)) {}
RecordingReader::RecordingReader(RecordingReader&&) noexcept = default;
RecordingReader& RecordingReader::operator=(RecordingReader&&) noexcept = default;
RecordingReader::~RecordingReader() = default;

std::optional<RecordingReader::Span> RecordingReader::span() {
    const auto first = state->line.first();
    const auto last = first ? state->line.last() : std::nullopt;
    return last ? std::optional(Span{first->firstNs(), last->lastNs()}) : std::nullopt;
}

std::span<const StreamHeader> RecordingReader::caches() const {
    return state->caches;
}

void RecordingReader::seek(int64_t realNs) {
    state->seek(realNs);
}

std::optional<RecordedMessage> RecordingReader::next() {
    return state->next();
}

std::optional<int64_t> RecordingReader::sampleBefore(int64_t realNs, size_t count) {
    return state->sampleBefore(realNs, std::max<size_t>(count, 1));
}

std::optional<int64_t> RecordingReader::sampleAfter(int64_t realNs, size_t count) {
    return state->sampleAfter(realNs, std::max<size_t>(count, 1));
}

RecordingSurvey RecordingReader::survey(Check check) {
    RecordingSurvey survey;
    Surveyor surveyor(*state, survey);
    for (auto group = state->line.first(); group; group = state->line.next(*group)) {
        BlockGroup readable = *group;
        if (check == Check::Payloads) {
            state->line.dropDamaged(readable);
        }
        surveyor.add(readable);
    }
    std::tie(survey.numBytes, survey.numFiles) = state->line.sizes();
    std::ranges::stable_sort(survey.gaps, {}, &RecordingGap::fromNs);
    std::ranges::stable_sort(survey.events, {},
                             [](const RecordedEvent& each) { return each.event.times.realNs; });
    return survey;
}

std::span<const RecordingDamage> RecordingReader::damages() const {
    return state->line.damages();
}

uint64_t RecordingReader::headReads() const {
    return state->line.headReads();
}

} // namespace samples
