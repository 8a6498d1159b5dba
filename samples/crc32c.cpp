#include "crc32c.h"

#include <array>
#include <cpuid.h>
#include <cstring>

namespace samples {
namespace {

constexpr uint32_t polynomial = 0x82F63B78; /* reflected */

constexpr std::array<uint32_t, 256> table = [] {
    std::array<uint32_t, 256> made{};
    for (uint32_t i = 0; i < made.size(); i++) {
        uint32_t sum = i;
        for (int bit = 0; bit < 8; bit++) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? polynomial : 0);
        }
        made.at(i) = sum;
    }
    return made;
}();

__attribute__((target("sse4.2"))) uint32_t byInstruction(std::span<const std::byte> bytes,
                                                         uint32_t sum) {
    uint64_t wide = sum;
    while (bytes.size() >= sizeof(uint64_t)) {
        uint64_t word;
        std::memcpy(&word, bytes.data(), sizeof word);
        wide = __builtin_ia32_crc32di(wide, word);
        bytes = bytes.subspan(sizeof word);
    }
    sum = static_cast<uint32_t>(wide);
    for (const std::byte byte : bytes) {
        sum = __builtin_ia32_crc32qi(sum, static_cast<uint8_t>(byte));
    }
    return sum;
}

/* Asked only when it is needed: the compiler's own question, asked at each start of a program that
 * contains it, takes as long in a virtual machine as a tenth of the start. */
bool hasSse42() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_SSE4_2) != 0;
}

} // namespace

uint32_t crc32cByTable(std::span<const std::byte> bytes, uint32_t before) {
    uint32_t sum = ~before;
    for (const std::byte byte : bytes) {
        sum = (sum >> 8) ^ table[(sum ^ static_cast<uint32_t>(byte)) & 0xFF];
    }
    return ~sum;
}

uint32_t crc32c(std::span<const std::byte> bytes, uint32_t before) {
    static const bool hasInstruction = hasSse42();
    return hasInstruction ? ~byInstruction(bytes, ~before) : crc32cByTable(bytes, before);
}

} // namespace samples
