/*
 * Writes a recording: the messages of any number of caches, in one file, or in a directory with a
 * file for each hour. recordingformat.h draws the bytes; recordingreader.h reads them, also while
 * they are written.
 *
 * What has been added is in the operating system's hands before it is 4.62 seconds old, by its own
 * time, and synced as soon as the disk does it; where a sample is taken every second, before it is
 * 4 seconds old. So what is older than 5 seconds outlives a killed program, and a power cut if the
 * disk takes less than 0.38 seconds for a sync. There are 13 syncs a minute at most while the pace
 * of the samples stays the same. A disk that is full, or fails, loses the samples that
 * come while it does so; what was written stays good, and recording resumes by itself.
 *
 * One writer for a recording at a time: it holds a lock. For one thread.
 */
#ifndef RECORDINGWRITER_H
#define RECORDINGWRITER_H

#include "exitstatus.h"
#include "sample.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace samples {

struct RecordingOptions {
    bool isDirectory = false; /* a file for each hour; the directory is made if it is missing */
    int64_t keepNs = 0;       /* of a directory: hours that are older are unlinked; 0: none is */
    uint64_t mostBytes = 0;   /* of a directory: the oldest hours are unlinked; 0: none is */
    bool isReadableByGroup = false; /* files are created 0640 rather than 0600 */
    /* Of a file that is made anew from another one, with fewer samples: how far these are apart.
     * What is added is written when its hour is over. 0: the recording is under way. */
    int64_t thinnedNs = 0;
};

class RecordingWriter {
public:
    /* Opens a recording, or begins it; an existing one is carried on. Refuses, with a sentence: a
     * symbolic link or anything else that is no file (or directory), a file that is no recording
     * or one of another format, one that another program writes, one that can't be opened. */
    static std::variant<RecordingWriter, Failure> open(const std::string& path,
                                                       const RecordingOptions& options);

    RecordingWriter(RecordingWriter&&) noexcept;
    RecordingWriter& operator=(RecordingWriter&&) noexcept;
    /* Writes what has not been written. */
    ~RecordingWriter();

    /* Adds a message of one cache. `cache` is any number that tells the caches of this writer
     * apart; its first message must be a StreamHeader, which says which cache it is. Messages
     * before one are ignored. The sample's records are copied. */
    void add(uint32_t cache, const Message& message);
    /* The header that holds for what is added, without its being recorded at this place: its time
     * may have been long ago. */
    void carry(uint32_t cache, const StreamHeader& header);

    /* Does what is due by now; so does add(). To be called at the latest when nextDueNs() has
     * passed, so that the end of what was added is written too when nothing follows. */
    void tick(const Times& now);
    /* On the monotonic clock; nothing while there is nothing to write. */
    std::optional<int64_t> nextDueNs() const;

    /* Writes what has not been written, and gives up the lock. */
    void close();

    /* What went wrong since the last call, or that it goes well again, as a sentence without a full
     * stop; empty when there is nothing to say. Recording resumes by itself. */
    std::string takeProblem();
    /* True while nothing can be written: what comes now is lost. */
    bool isFailing() const;

    const std::string& path() const;
    /* Since it was opened: bytes written, those of the tail among them, and samples added. */
    uint64_t bytesWritten() const;
    uint64_t numSamples() const;

private:
    class State;
    explicit RecordingWriter(std::unique_ptr<State> opened);
    std::unique_ptr<State> state;
};

} // namespace samples

#endif
