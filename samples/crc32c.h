/* The checksum of recordings: CRC-32C (Castagnoli). May be called from any thread. */
#ifndef CRC32C_H
#define CRC32C_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace samples {

/* Of the bytes; `before` is the checksum of what stands before them. */
uint32_t crc32c(std::span<const std::byte> bytes, uint32_t before = 0);

/* The same without the processor's instruction, which crc32c() uses where there is one. */
uint32_t crc32cByTable(std::span<const std::byte> bytes, uint32_t before = 0);

} // namespace samples

#endif
