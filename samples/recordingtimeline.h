/*
 * The blocks of one recording, a file or a directory, in the order of time. Blocks of the same
 * minute, of several caches, are a group; what the file doesn't have of the minute yet is taken
 * from the tail. Private to the recording's reader and writer. For one thread.
 */
#ifndef RECORDINGTIMELINE_H
#define RECORDINGTIMELINE_H

#include "fieldtable.h"
#include "recordingblock.h"
#include "recordingfile.h"
#include "recordingreader.h"

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace samples {

/* A minute of a writer. */
struct MinuteKey {
    uint64_t run = 0;
    uint32_t minute = 0;
    bool operator==(const MinuteKey&) const = default;
    bool operator<(const MinuteKey& other) const {
        return run != other.run ? run < other.run : minute < other.minute;
    }
};

struct GroupBlock {
    RecordingBlock block;
    /* Of a part that stands in the tail, where it may be gone by now; null: it is in the file. */
    std::shared_ptr<const std::vector<std::byte>> payload;

    bool isInTail() const { return payload != nullptr; }
};

struct BlockGroup {
    size_t file = 0;    /* index into the time line's files */
    uint64_t begin = 0; /* of its blocks in that file, and behind them; both are where they would be
                           when all stand in the tail */
    uint64_t end = 0;
    MinuteKey key;
    std::vector<GroupBlock> blocks; /* at least one; those of the file first */

    bool isInTail() const { return blocks.front().isInTail(); }
    int64_t firstNs() const;
    int64_t lastNs() const;
};

/* The messages of one cache in a group. */
struct CacheMessages {
    uint32_t cache; /* checksum of its name */
    bool isInTail;  /* more may follow in the same minute */
    std::vector<BlockMessage> messages;
};

class RecordingTimeline {
public:
    static std::variant<RecordingTimeline, Failure> open(const std::string& path);

    /* The first and the last group; that which follows a group, and that which is before it. What
     * comes to a minute in the tail follows as the same minute once more, with all of its messages
     * of those caches. */
    std::optional<BlockGroup> first();
    std::optional<BlockGroup> last();
    std::optional<BlockGroup> next(const BlockGroup& group);
    std::optional<BlockGroup> previous(const BlockGroup& group);
    /* The last group that begins at the time or before it; the first one when all are later. */
    std::optional<BlockGroup> at(int64_t realNs);

    /* The group's messages by cache. What is damaged is left out and noted. */
    std::vector<CacheMessages> load(const BlockGroup& group);
    /* Drops the blocks that are damaged, without unpacking the others, and notes them. */
    void dropDamaged(BlockGroup& group);

    /* Nothing of it is lost when this program writes it anew. */
    bool isKnown(const BlockGroup& group);

    const std::vector<RecordingDamage>& damages() const { return found; }
    uint64_t headReads() const;
    /* Bytes of all files, tails among them, and how many files there are. */
    std::pair<uint64_t, uint64_t> sizes();

private:
    struct File {
        std::string path;
        std::optional<RecordingFile> main; /* while it is open */
    };
    /* What a tail has that its file has not. */
    struct TailMinute {
        MinuteKey key;
        std::vector<GroupBlock> blocks;
    };
    struct Tail {
        std::vector<TailMinute> minutes;
        bool isTorn = false;

        std::vector<TailMinute>::const_iterator find(const MinuteKey& key) const;
    };

    void listFiles();
    RecordingFile* open(size_t index);
    bool hasBlocks(size_t index);
    size_t fileAt(int64_t realNs);
    bool collect(RecordingFile& file, BlockGroup& group);
    std::optional<BlockGroup> groupFrom(size_t index, uint64_t offset);
    std::optional<BlockGroup> groupWith(size_t index, const RecordingBlock& block);
    std::optional<BlockGroup> lastOf(size_t index);
    BlockGroup tailGroup(const TailMinute& minute, size_t index, uint64_t offset) const;
    void readTail(size_t index);
    Tail readTailOnce(RecordingFile& from) const;
    void dropWhatIsIn(RecordingFile& main, Tail& read) const;
    void noteEnd(RecordingFile& file, uint64_t offset);
    std::optional<std::span<const std::byte>> payloadOf(RecordingFile& file,
                                                        const GroupBlock& block);
    const FieldTable* tableOf(RecordingFile& file, const RecordingBlock& block);
    void note(const std::string& where, uint64_t offset, const std::string& what);

    std::string path;
    bool isDirectory = false;
    std::vector<File> files;
    size_t opened = SIZE_MAX; /* the file that is open */
    Tail tail;                /* as it was read last, of the file that is open */
    std::list<FieldTable> tables;
    std::vector<RecordingDamage> found;
    uint64_t closedReads = 0;
};

/* What a recording's files are called. */
inline constexpr std::string_view recordingSuffix = ".tvsrec";
std::string tailPath(const std::string& path);
/* The files of a directory in the order of time; nothing when it can't be read. */
std::optional<std::vector<std::string>> recordingFiles(const std::string& directory);
/* What a directory's file that begins at that time is called. */
std::string recordingName(int64_t realNs);
/* Whether one of its files, not the last one, holds nothing from that time on: what it holds ends
 * where the next one begins. */
bool endsBefore(const std::vector<std::string>& files, size_t index, int64_t realNs);

} // namespace samples

#endif
