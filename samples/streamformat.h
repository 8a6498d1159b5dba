/*
 * The sample stream, byte by byte. A stream is read on the host that wrote it or on another one of
 * the same byte order (little-endian); every number stands as it does in memory. Private to the
 * encoder, the decoder and recordings; everybody else has sample.h.
 *
 *   message    MessageHead 24 | `length` bytes by its type
 *
 *   header     HeaderBody 24 | five texts
 *   sample     SampleBody 32 | `numRecords` records
 *   lost       LostBody 4 | text
 *   notice     text
 *   end        nothing
 *   mark       text
 *
 *   text       u16 size | size bytes
 *   record     RecordHead 32 | u16 size of each block | name | zeros to a multiple of 4 | blocks
 *
 * A record holds only the blocks that its kind has, in the catalogue's order and without gaps; a
 * record of no known kind holds none. Nothing in a stream is aligned: it is copied out.
 *
 * The first message is a header, which also begins a stream that follows another one. No message
 * but a header comes after lost or end.
 */
#ifndef STREAMFORMAT_H
#define STREAMFORMAT_H

#include "sample.h"
#include "shrpcstats.h"

#include <cstddef>
#include <cstdint>

namespace samples::format {

inline constexpr uint32_t streamVersion = 1;
inline constexpr uint32_t maxNameBytes = SHRPC_PROC_NAME_SIZE + 1;

/* A message's type, its letters in the order of the bytes. */
constexpr uint32_t typeOf(const char (&letters)[5]) {
    uint32_t type = 0;
    for (int i = 3; i >= 0; i--) {
        type = type << 8 | static_cast<unsigned char>(letters[i]);
    }
    return type;
}
inline constexpr uint32_t headerType = typeOf("TVSH");
inline constexpr uint32_t sampleType = typeOf("TVSS");
inline constexpr uint32_t lostType = typeOf("TVSL");
inline constexpr uint32_t noticeType = typeOf("TVSN");
inline constexpr uint32_t endType = typeOf("TVSE");
inline constexpr uint32_t markType = typeOf("TVSM");

constexpr bool isMessageType(uint32_t type) {
    return type == headerType || type == sampleType || type == lostType || type == noticeType ||
           type == endType || type == markType;
}

struct MessageHead {
    uint32_t type;
    uint32_t length; /* bytes that follow */
    int64_t realNs;
    int64_t monotonicNs;
};
static_assert(sizeof(MessageHead) == 24);

/* Then: interface version, reader's version, location, Brox, host. */
struct HeaderBody {
    uint32_t version;
    uint32_t recordSize;
    int64_t monitorStartedNs;
    int32_t monitorPid;
    int32_t slots;
};
static_assert(sizeof(HeaderBody) == 24);

struct SampleBody {
    uint64_t sequence;
    int64_t lateNs;
    int32_t slots;
    int32_t used;
    uint32_t numRecords;
    uint32_t zero;
};
static_assert(sizeof(SampleBody) == 32);

struct LostBody {
    int32_t status;
};
static_assert(sizeof(LostBody) == 4);

struct RecordHead {
    uint32_t size; /* of the whole record */
    uint32_t statType;
    int32_t pid;
    int32_t session;
    int64_t startedNs;
    uint32_t uid;
    uint8_t state;
    uint8_t nameBytes; /* without a NUL */
    uint8_t numBlocks;
    uint8_t zero;
};
static_assert(sizeof(RecordHead) == 32);

using TextSize = uint16_t;
using BlockSize = uint16_t;
static_assert(maxTextBytes <= UINT16_MAX && sizeof(ShrPcStatsSType) <= UINT16_MAX);

constexpr uint32_t paddedTo4(uint32_t size) {
    return (size + 3) & ~UINT32_C(3);
}

/* The largest record has all bytes of the structure, in five blocks, and the longest name. */
inline constexpr uint64_t maxRecordBytes =
    sizeof(RecordHead) + 5 * sizeof(BlockSize) + maxNameBytes + sizeof(ShrPcStatsSType);
inline constexpr uint64_t maxMessageBytes = sizeof(SampleBody) + maxRecords * maxRecordBytes;
static_assert(maxMessageBytes <= UINT32_MAX);

} // namespace samples::format

#endif
