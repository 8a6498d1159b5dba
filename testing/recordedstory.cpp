#include "recordedstory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>
#include <utility>

#include "crc32c.h"
#include "streamdecoder.h"
#include "streamencoder.h"

namespace testsupport {

using namespace samples;

Times at(std::int64_t ns) {
    return {begin + ns, 5 * second + ns};
}

std::string bytesOf(const Message& message) {
    StreamEncoder encoder;
    encoder.add(message);
    return {reinterpret_cast<const char*>(encoder.bytes().data()), encoder.bytes().size()};
}

StreamHeader headerOf(const std::string& location, std::int64_t ns, int monitorPid) {
    return {format::streamVersion,
            sizeof(TvsiResultSType),
            "3.7.5.1",
            "1.0.0",
            location,
            location.substr(0, location.find('~')),
            "h\xf6st",
            monitorPid,
            7,
            64,
            at(ns)};
}

StoryCache::StoryCache(unsigned seed, std::size_t count) : random(seed) {
    while (processes.size() < count) {
        appear();
    }
}

Message StoryCache::sample(std::int64_t ns) {
    if (chance(5)) {
        processes.erase(processes.begin() + static_cast<long>(pick(processes.size())));
        appear();
    }
    if (processes.size() < 9 && chance(9)) {
        processes.push_back(processes[pick(processes.size())]); /* the same identity twice */
    }
    Sample heading;
    heading.times = at(ns);
    heading.sequence = (sequence += chance(20) ? 3U : 1U);
    heading.slots = 64;
    heading.used = chance(30) ? -1 : static_cast<int>(processes.size());
    heading.lateNs = static_cast<std::int64_t>(pick(1000));
    StreamEncoder encoder;
    encoder.add(headerOf("x~1", 0));
    encoder.beginSample(heading);
    for (auto& process : processes) {
        move(process);
        encoder.addRecord(process, {chance(50) ? ProcessState::Zombie : ProcessState::Alive,
                                    process.stats.processId * second,
                                    static_cast<std::uint32_t>(process.stats.sessionId)});
    }
    encoder.endSample();
    StreamDecoder decoder;
    decoder.feed(encoder.bytes());
    decoder.next();
    return std::move(decoder.next().value());
}

void StoryCache::appear() {
    constexpr std::uint32_t kinds[] = {SHRPC_MONITOR, SHRPC_VOK,    SHRPC_VokThr,
                                       SHRPC_BROX,    SHRPC_FF_Thr, 3};
    TvsiResultSType process{};
    process.stats.processId = static_cast<int>(1000 + random() % 9000);
    process.stats.sessionId = static_cast<int>(pick(50));
    process.statType = kinds[pick(std::size(kinds))];
    std::snprintf(process.olvName, sizeof process.olvName, "%.*s\xe4%zu",
                  static_cast<int>(pick(20)), "a process of this test", pick(99));
    for (int i = 0; i < 40; i++) {
        move(process);
    }
    processes.insert(processes.begin() + static_cast<long>(pick(processes.size() + 1)), process);
}

/* Some elements grow or fall, by little or by much. */
void StoryCache::move(TvsiResultSType& process) {
    const auto* kind = statscatalogue::kindOfBit(process.statType);
    for (int i = 0; kind != nullptr && i < 8; i++) {
        const auto blocks = kind->blocks();
        const auto& block = blocks[pick(blocks.size())];
        if (block.block.size < 4) {
            continue;
        }
        const std::size_t place = pick(block.block.size / 4) * 4;
        std::uint32_t word = 0;
        char* const to = reinterpret_cast<char*>(&process) + block.recordOffset + place;
        std::memcpy(&word, to, 4);
        word += static_cast<std::uint32_t>(random()) >> pick(32);
        word -= chance(4) ? 77U : 0U;
        const auto identity = std::pair(process.stats.processId, process.stats.sessionId);
        std::memcpy(to, &word, 4);
        std::tie(process.stats.processId, process.stats.sessionId) = identity;
    }
}

Story storyOf(int seconds, unsigned seed) {
    Story story;
    const auto tell = [&](std::uint32_t cache, Message message) {
        std::string bytes = bytesOf(message);
        story.push_back({cache, std::move(message), std::move(bytes)});
    };
    StoryCache one(seed);
    StoryCache other(seed + 1, 3);
    tell(0, headerOf("prod~1f2e", 0));
    tell(1, headerOf("test~1f2e", 1));
    for (int i = 0; i < seconds; i++) {
        tell(0, one.sample(i * second + 2));
        tell(1, other.sample(i * second + 3));
        if (i % 50 == 20) {
            tell(1, Notice{"two\nlines\n", at(i * second + 4)});
            tell(0, Mark{"since here", at(i * second + 5)});
        }
        if (i % 70 == 30) {
            tell(1, Lost{7, "its monitor ended", at(i * second + 6)});
            tell(1, headerOf("test~1f2e", i * second + 7, 200 + i));
        }
    }
    tell(0, End{at(seconds * second)});
    return story;
}

Messages messagesOf(std::span<const Told> story) {
    Messages messages;
    for (const Told& told : story) {
        messages[told.cache == 0 ? "prod~1f2e" : "test~1f2e"].push_back(told.bytes);
    }
    return messages;
}

void readOn(RecordingReader& reader, Messages& messages) {
    while (const auto each = reader.next()) {
        messages[reader.caches()[each->cache].location].push_back(bytesOf(each->message));
    }
}

std::string difference(const Messages& one, const Messages& other) {
    for (const auto& [location, messages] : other) {
        const auto found = one.find(location);
        const auto& theirs = found == one.end() ? std::vector<std::string>() : found->second;
        const auto [left, right] = std::ranges::mismatch(theirs, messages);
        if (left != theirs.end() || right != messages.end()) {
            return location + " has " + std::to_string(theirs.size()) + " messages of " +
                   std::to_string(messages.size()) + " and differs at " +
                   std::to_string(right - messages.begin());
        }
    }
    return one.size() == other.size() ? "" : "other caches";
}

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void put(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<format::BlockHead> headsOf(const std::string& bytes) {
    std::vector<format::BlockHead> heads;
    format::BlockHead head;
    for (std::size_t place = 0; place + sizeof head <= bytes.size();) {
        std::memcpy(&head, bytes.data() + place, sizeof head);
        heads.push_back(head);
        place += format::alignedToBlock(sizeof head + head.length);
    }
    return heads;
}

void sign(format::BlockHead& head) {
    head.headSum =
        crc32c(std::as_bytes(std::span(&head, 1)).first(offsetof(format::BlockHead, headSum)));
}

} // namespace testsupport
