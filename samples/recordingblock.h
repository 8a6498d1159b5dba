/*
 * The payload of a recording's block: the messages of one cache, as columns, and back. Private to
 * the recording's writer and reader.
 *
 * The messages of a minute are encoded chunk by chunk as they come. A chunk continues the one
 * before it: values are told by their growth since then. So the parts of a minute in the tail are
 * read in their order, and a minute's block is all its chunks.
 *
 *   payload    zstd( u32 number of chunks | of each chunk: u32 size of each of its sections |
 *                    the first section of all chunks | the second one of all | ... )
 *
 *   messages   what isn't a statistic, one message after the other: each begins with its type. Of a
 *              sample, times and numbers as differences to the sample before, and its records: one
 *              byte when they are those of the sample before, else how they come from it; of a
 *              summary, a sample that stands for several, for how many as well
 *   firsts     first values of the columns that continue none
 *   widths     for each column, bits that the greatest growth takes; 0: it stands still
 *   planes     eight sections. A column that moves is its growths in zigzag form, as planes: the
 *              lowest byte of all of them, then the next one of all. A plane stands in the section
 *              for as many bits as it can have: 8, but of the highest one. So what is alike stands
 *              together, and each of these sections has a coding of its own
 *
 * A column is one element of the statistics of one process, over the samples of the chunk; behind
 * those of a process in summaries come as many that say how far below its value each element has
 * been, and then above. Samples and summaries don't continue each other. Numbers in sections are
 * varints.
 */
#ifndef RECORDINGBLOCK_H
#define RECORDINGBLOCK_H

#include "fieldtable.h"
#include "sample.h"

#include <array>
#include <climits>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace samples {

/* A message of a block. A header that only repeats the one that held when the minute began is
 * carried: it was not recorded at this place. */
struct BlockMessage {
    bool isCarried = false;
    Message message;
};

/* What the head says of a payload. */
struct BlockContents {
    int64_t firstNs = 0; /* real time of the first and last message that is not carried */
    int64_t lastNs = 0;
    uint32_t numSamples = 0;
    uint32_t numOthers = 0; /* messages that are neither a sample nor a carried header */
    uint64_t numValues = 0;
    uint64_t longestPauseNs = 0; /* between two samples that follow each other, in real time */

    bool isEmpty() const { return numSamples + numOthers == 0; }
};

/* A payload, and its size before compression. */
struct BlockPayload {
    std::vector<std::byte> bytes;
    uint32_t unpacked = 0;
};

inline constexpr size_t numBlockSections = 3 + CHAR_BIT;

/* Collects the messages of one cache from one minute to the next. */
class BlockEncoder {
public:
    BlockEncoder();
    ~BlockEncoder();
    BlockEncoder(const BlockEncoder&) = delete;
    BlockEncoder& operator=(const BlockEncoder&) = delete;

    /* Adds a message; the first one of all must be a StreamHeader. */
    void add(const Message& message);
    /* The header that holds for what is added, without its being recorded here. */
    void carry(const StreamHeader& header) { attached = header; }

    /* Of the minute, and of what has been added since partIsWritten() or clear(). */
    const BlockContents& minute() const { return whole; }
    const BlockContents& part() const { return current; }
    /* Bytes that the minute takes: what bounds it besides its time. */
    size_t size() const;
    /* It takes a good part of what a reader would make of one block. */
    bool isFull() const;

    /* The payload of the part; it stays the part until it is said to be written. */
    void makePart(BlockPayload& payload);
    void partIsWritten();
    void makeMinute(BlockPayload& payload);
    /* A minute is over: what was added is forgotten, but the header that holds. */
    void clear();

    const StreamHeader& header() const { return attached; }

private:
    struct KeptRecord;
    struct KeptSample;
    struct Series;
    using Sections = std::array<const std::vector<std::byte>*, numBlockSections>;
    using Sizes = std::array<size_t, numBlockSections>;

    Sections sections() const;
    Sizes sizes() const;
    void addSample(const Sample& sample);
    void linkRecords(const KeptSample& now, const KeptSample& before);
    void putSample(const KeptSample& now, const KeptSample& before);
    void putRoster(const KeptSample& now, const KeptSample& before);
    void putRecord(const KeptRecord& record);
    void closeChunk();
    void findSeries();
    void putColumns();
    template <class Unsigned> void putColumn(const Series& of, size_t at);
    void compress(size_t firstChunk, BlockPayload& payload);

    StreamHeader attached;
    BlockContents whole;
    BlockContents current;
    int64_t lastSampleNs = 0;
    uint64_t decodedSize = 0; /* bytes that a reader makes of the minute */

    /* Of the minute, not compressed. */
    std::vector<std::byte> messages;
    std::vector<std::byte> firsts;
    std::vector<std::byte> widths;
    std::array<std::vector<std::byte>, CHAR_BIT> planes; /* by bits, from 1 */
    std::vector<Sizes> chunkEnds;
    size_t numChunksWritten = 0; /* what is behind them is the part */

    /* The chunk under way. The first sample is the last one of the chunk before, if there is one:
     * the rest continues it. */
    std::vector<std::byte> arena; /* packed statistics of the records */
    std::vector<KeptRecord> records;
    std::vector<KeptSample> samples;
    bool hasBase = false;

    std::vector<Series> series; /* scratch, as the rest */
    std::vector<uint32_t> seriesOf;
    std::vector<uint32_t> offsets;
    std::vector<uint64_t> growths;
    void* context; /* zstd's */
};

/* Appends the messages of a payload, in the order in which they were added. `messages` has those of
 * the payloads before it in the same minute, which it continues. False when it is damaged; then
 * nothing is appended. Nothing larger than 256 MiB is made of it. */
bool decodeBlock(std::span<const std::byte> payload, size_t unpacked, const FieldTable& table,
                 std::vector<BlockMessage>& messages);

/* The same of a payload that is not compressed. */
bool decodeChunks(std::span<const std::byte> chunks, const FieldTable& table,
                  std::vector<BlockMessage>& messages);

/* To be called when nothing continues the messages any more: a record whose kind stands under a bit
 * that means another kind in this program becomes one of no kind. */
void disownForeignKinds(std::vector<BlockMessage>& messages);

/* The payload of a block with a catalogue, and back. */
void encodeTable(const FieldTable& table, BlockPayload& payload);
std::optional<FieldTable> decodeTable(std::span<const std::byte> payload, size_t unpacked);

/* Two headers are of the same cache. */
bool isSameCache(const StreamHeader& one, const StreamHeader& other);

/* Checksum of a cache's name, by which heads tell caches apart. */
uint32_t cacheSum(const StreamHeader& header);

} // namespace samples

#endif
