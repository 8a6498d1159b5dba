/*
 * The blocks of one file of a recording, for reading: where they are, and what their heads and
 * payloads say. A head or payload is handed out only when its checksum holds. Several programs may
 * read a file, and one may write it meanwhile. For one thread.
 */
#ifndef RECORDINGFILE_H
#define RECORDINGFILE_H

#include "exitstatus.h"
#include "readerprocess.h"
#include "recordingformat.h"

#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace samples {

/* A block that lies wholly in its file. */
struct RecordingBlock {
    format::BlockHead head;

    uint64_t offset() const { return head.offset; }
    uint64_t end() const { return head.offset + format::alignedToBlock(sizeof head + head.length); }
};

class RecordingFile {
public:
    /* Opens a file for reading; its type must be good, its contents are not looked at. */
    static std::variant<RecordingFile, Failure> open(const std::string& path);
    /* Reads by a descriptor of somebody else, who keeps it open. */
    RecordingFile(std::string path, int descriptor) : name(std::move(path)), fd(descriptor) {}

    const std::string& path() const { return name; }
    /* Bytes, as of now. */
    uint64_t size() const;
    /* Whether a writer has it open. */
    bool isBeingWritten() const;

    /* Why this is no recording that can be read: no file of that kind, of another byte order, of a
     * newer format; nothing when a good head is found, or when the file is empty. */
    std::optional<Failure> problem();

    /* The block whose head stands at the offset, if it is whole. */
    std::optional<RecordingBlock> blockAt(uint64_t offset);
    /* The same, also if its payload is cut off. */
    std::optional<RecordingBlock> beginningAt(uint64_t offset);
    /* The first block at the offset or behind it, and the last one that begins before it. */
    std::optional<RecordingBlock> blockFrom(uint64_t offset);
    std::optional<RecordingBlock> blockBefore(uint64_t offset);
    /* The same as blockBefore(block.offset()), with one read where nothing is damaged. */
    std::optional<RecordingBlock> before(const RecordingBlock& block);
    /* The last block of the file with firstNs at or before the time, found by bisection; nothing
     * when all are later. Blocks of the catalogue count, too. */
    std::optional<RecordingBlock> lastBlockAt(int64_t realNs);

    /* The payload's bytes; nothing when they are damaged. Valid until the next call. */
    std::optional<std::span<const std::byte>> payload(const RecordingBlock& block);

    uint64_t headReads() const { return reads; }

private:
    explicit RecordingFile(std::string path, Descriptor opened)
        : name(std::move(path)), owned(std::move(opened)), fd(owned.get()) {}
    std::span<const std::byte> readPages(uint64_t offset, size_t size);
    std::optional<RecordingBlock> backBy(const RecordingBlock& block, size_t step);

    std::string name;
    Descriptor owned;
    int fd;
    std::vector<std::byte> buffer;
    uint64_t reads = 0;
};

/* A sentence of a failed system call on a file. */
Failure fileFailure(const std::string& path, const char* what, int error);

/* So that a new file's name outlives a power cut, too. */
void syncDirectoryOf(const std::string& path);

/* A lock that ends with the process and can be looked at without taking it. False when somebody
 * else holds it. */
bool lockForWriting(int descriptor);

} // namespace samples

#endif
