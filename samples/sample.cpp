#include "sample.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>

namespace samples {

std::string_view nameOf(ProcessState state) {
    constexpr std::array<std::string_view, 5> names{"unknown", "alive", "stopped", "zombie",
                                                    "ended"};
    return names[static_cast<size_t>(state)];
}

Times currentTimes() {
    const auto nanosecondsOn = [](clockid_t clock) {
        timespec time{};
        clock_gettime(clock, &time);
        return int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
    };
    return {nanosecondsOn(CLOCK_REALTIME), nanosecondsOn(CLOCK_MONOTONIC)};
}

void Bytes::reserve(size_t size, size_t kept) {
    if (size <= reserved) {
        return;
    }
    const size_t wanted = std::max(size, reserved + reserved / 2);
    auto larger = std::make_unique_for_overwrite<std::byte[]>(wanted);
    if (kept > 0) {
        std::memcpy(larger.get(), storage.get(), kept);
    }
    storage = std::move(larger);
    reserved = wanted;
}

size_t Sample::size() const {
    size_t size = sizeof(Sample) + list.size() * sizeof(Record);
    for (const Record& record : list) {
        size += record.name.size() + record.blocksSize();
    }
    return size;
}

Sample Sample::copy() const {
    Sample other;
    other.times = times;
    other.sequence = sequence;
    other.slots = slots;
    other.used = used;
    other.lateNs = lateNs;
    other.merged = merged;
    other.list = list;
    other.bytes.reserve(size(), 0);
    std::byte* free = other.bytes.data();
    const auto place = [&free](const void* from, size_t length) {
        std::byte* to = free;
        if (length > 0) {
            std::memcpy(to, from, length);
        }
        free += length;
        return to;
    };
    for (Record& record : other.list) {
        const size_t length = record.name.size();
        record.name = {reinterpret_cast<const char*>(place(record.name.data(), length)), length};
        record.blocks = place(record.blocks, record.blocksSize());
    }
    return other;
}

void Sample::merge(uint32_t numSamples, std::span<const uint32_t> byRecord) {
    if (merged == 0) {
        size_t size = 0;
        for (const Record& record : list) {
            size += record.name.size() + 3 * record.blocksSize();
        }
        Bytes roomier;
        roomier.reserve(size, 0);
        std::byte* free = roomier.data();
        for (Record& record : list) {
            std::ranges::copy(std::as_bytes(std::span(record.name)), free);
            record.name = {reinterpret_cast<const char*>(free), record.name.size()};
            free += record.name.size();
            const size_t packed = record.blocksSize();
            std::copy_n(record.blocks, packed, free);
            std::fill_n(free + packed, 2 * packed, std::byte{});
            record.blocks = free;
            free += 3 * packed;
        }
        bytes = std::move(roomier);
    }
    merged = std::max(numSamples, 1U);
    for (size_t i = 0; i < list.size(); i++) {
        list[i].merged = std::max(byRecord[i], 1U);
    }
}

} // namespace samples
