/*
 * Reads a recording: a file or a directory as recordingwriter.h makes them, also while it is being
 * written. The bytes are not trusted: every length is checked
 * before anything is made of it. Damage costs the block (a minute of one cache at most) that it
 * lies in; it is noted, and reading goes on behind it.
 *
 * Memory is bounded by a minute of each cache, whatever the size of the recording. For one thread.
 */
#ifndef RECORDINGREADER_H
#define RECORDINGREADER_H

#include "exitstatus.h"
#include "sample.h"
#include "streamfile.h"

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace samples {

struct RecordedMessage {
    size_t cache; /* index into RecordingReader::caches() */
    Message message;
    bool isCarried = false; /* a header that holds here, and was recorded earlier */
};

/* What is wrong with a recording at one place. */
struct RecordingDamage {
    std::string path;
    uint64_t offset;      /* bytes from the start of that file */
    std::string sentence; /* for the user, without a full stop; names the file */
};

/* A time without samples of a cache, while the recording has some before and after it. */
struct RecordingGap {
    size_t cache;
    int64_t fromNs; /* real time of the last sample before it */
    int64_t untilNs;
};

/* A place to jump to. */
struct RecordedEvent {
    size_t cache;
    StreamEvent event;
};

/* What a walk over the whole recording finds. */
struct RecordingSurvey {
    struct Extent {
        uint64_t numSamples = 0;
        int64_t firstNs = 0; /* real time of its first message and the last one */
        int64_t lastNs = 0;

        void add(int64_t fromNs, int64_t untilNs);
    };
    std::vector<Extent> caches; /* as RecordingReader::caches() */
    /* What is thinned, of all caches, by the seconds that a sample stands for. */
    std::map<unsigned, Extent> thinned;
    uint64_t numSamples = 0;
    uint64_t numValues = 0; /* elements of the fields of all records of all samples */
    uint64_t numBytes = 0;  /* of all files */
    uint64_t numFiles = 0;
    std::vector<RecordingGap> gaps;    /* in the order of time, as the events */
    std::vector<RecordedEvent> events; /* attaches, losses, ends and marks */
};

class Surveyor;

class RecordingReader {
public:
    /* Opens a recording, a file or a directory. Fails when it can't be opened, when it is no
     * recording, or one of a format or byte order that is not known. An empty directory is a
     * recording without messages. Reads a few heads, not the recording. */
    static std::variant<RecordingReader, Failure> open(const std::string& path);

    RecordingReader(RecordingReader&&) noexcept;
    RecordingReader& operator=(RecordingReader&&) noexcept;
    ~RecordingReader();

    /* Real time of the first message and of the last one so far; nothing when there is none. */
    using Span = StreamFile::Span;
    std::optional<Span> span();

    /* The caches of the messages that have been handed out or surveyed, each with its last
     * StreamHeader. Two headers are of the same cache when host and location (or, without one,
     * Brox) are equal. Grows while messages are read. */
    std::span<const StreamHeader> caches() const;

    /* The next message is the first one of each cache at that real time or after it; before it
     * comes the StreamHeader that held at that time. Without a seek reading begins at the
     * beginning. Costs a few dozen reads of heads and at most two blocks of each cache. */
    void seek(int64_t realNs);

    /* The next message in the order of time; nothing at the end, where a later call finds what has
     * been recorded since. A StreamHeader is handed out where it was recorded, and first of all
     * for each cache after open and seek. Samples equal those that were added in every member of
     * sample.h; what a newer catalogue has recorded is there by the names of its fields. */
    std::optional<RecordedMessage> next();

    /* Real time of the sample that is `count` samples before the given time, or at or after it, of
     * whichever cache; that of the first (last) one when there are fewer; nothing when there is
     * none on that side. The place of next() stays. */
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count = 1);
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count = 1);

    /* Walks over the whole recording, on its heads where these say enough; with Payloads all bytes
     * are read, so that damages() is complete and only what can be read is counted. The place of
     * next() stays. */
    enum class Check : uint8_t { Heads, Payloads };
    RecordingSurvey survey(Check check);

    /* What damage has been met so far, each place once. */
    std::span<const RecordingDamage> damages() const;

    /* How many heads have been read so far. */
    uint64_t headReads() const;

private:
    friend class Surveyor;
    class State;
    explicit RecordingReader(std::unique_ptr<State> opened);
    std::unique_ptr<State> state;
};

} // namespace samples

#endif
