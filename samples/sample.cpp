#include "sample.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace samples {

std::string_view nameOf(ProcessState state) {
    constexpr std::array<std::string_view, 5> names{"unknown", "alive", "stopped", "zombie",
                                                    "ended"};
    return names[static_cast<size_t>(state)];
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

} // namespace samples
