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
        size += record.name.size() + (record.kind != nullptr ? record.kind->packedSize() : 0);
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
        record.blocks =
            place(record.blocks, record.kind != nullptr ? record.kind->packedSize() : 0);
    }
    return other;
}

} // namespace samples
