/*
 * A recording, byte by byte. Little-endian; private to the recording's writer and reader.
 *
 *   file       block*
 *   block      BlockHead 144 | `length` bytes | zeros to a multiple of 4,096
 *
 * Each block begins at a multiple of 4,096 bytes, so that the next one is found behind a damaged
 * one. A block is of one of two types:
 *
 *   fields     the catalogue by which the following blocks were made; heads each file and comes
 *              again with its first minute or the second one, and every hour. A block names its
 *              catalogue by the checksum of that payload.
 *   messages   messages of one cache, of one minute (recordingblock.h); of an hour in a file
 *              that was made anew with fewer samples
 *
 * `FILE.tail` beside it has the parts of the minute under way, of up to 5 seconds each. When the
 * minute is in the file, and synced, the tail is cut. So a reader that reads the tail first, and
 * then the file to its end, sees everything; what it has in both it takes from the file: the parts
 * of a minute have its run, minute and cache.
 */
#ifndef RECORDINGFORMAT_H
#define RECORDINGFORMAT_H

#include "streamformat.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace samples::format {

inline constexpr uint64_t blockAlignment = 4096;
inline constexpr uint16_t recordingVersion = 1;
inline constexpr uint64_t recordingMagic = 0x0A434552'53565489; /* "\x89TVSREC\n" */
inline constexpr uint32_t fieldsType = typeOf("TVRF");
inline constexpr uint32_t messagesType = typeOf("TVRM");

/* How far back, in blocks of the file, each of BlockHead::back leads. */
inline constexpr std::array<uint64_t, 4> backDistances{1, 16, 256, 4096};

struct BlockHead {
    uint64_t magic;
    uint16_t version;        /* these first two never change */
    uint16_t thinnedSeconds; /* samples stand for so long an interval; 0: each for itself */
    uint32_t type;
    uint64_t offset;              /* of this block in its file */
    uint64_t sequence;            /* in its file, from 1 */
    std::array<uint64_t, 4> back; /* offsets of earlier blocks; 0 where there are not so many: no
                                     need to go back to the first, as everybody knows where it is */
    int64_t firstNs; /* real time of the first and last message that is no carried header */
    int64_t lastNs;
    uint64_t run;    /* a number of the writer's own, chosen when it was opened */
    uint32_t minute; /* counted by the writer, from 1 */
    uint32_t part;   /* of the minute, from 1, in the tail; 0: the whole minute */
    uint32_t cache;  /* checksum of the cache's name: tells caches apart */
    uint32_t fields; /* checksum of the payload of the catalogue's block */
    uint32_t numSamples;
    uint32_t numOthers; /* messages that are neither a sample nor a carried header */
    uint64_t numValues;
    uint64_t longestPauseNs; /* between two samples that follow each other */
    uint32_t unpacked;       /* bytes that the payload has before it is compressed */
    uint32_t length;         /* bytes of the payload */
    uint32_t payloadSum;     /* CRC-32C */
    uint32_t headSum;        /* CRC-32C of all bytes before it */
};
static_assert(sizeof(BlockHead) == 144);
static_assert(offsetof(BlockHead, version) == 8 && offsetof(BlockHead, headSum) == 140);

constexpr uint64_t alignedToBlock(uint64_t size) {
    return (size + blockAlignment - 1) / blockAlignment * blockAlignment;
}

/* A payload is refused that is longer than this, before or after it is unpacked. */
inline constexpr uint64_t maxPayload = uint64_t{1} << 28;
static_assert(maxMessageBytes < maxPayload / 2);

} // namespace samples::format

#endif
