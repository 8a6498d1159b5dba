/*
 * The reader's side of its stream. It owns what was standard output, turns what the library prints
 * into notices, and ends the process: always by way of _exit(), for a detach would wait and an exit
 * handler of the library has nothing to do here.
 *
 * A thread of its own attends to the library's text and to whoever reads the stream: whatever the
 * library is busy with, a notice goes out at once, and when nobody reads any more the process ends
 * at once. When the library has given up, the thread ends the stream with its reason and leaves the
 * process to whoever started it.
 *
 * The sampling thread calls everything here. Once only in a process.
 */
#ifndef STREAMOUTPUT_H
#define STREAMOUTPUT_H

#include "exitstatus.h"
#include "libraryoutput.h"
#include "streamencoder.h"

#include <mutex>
#include <string>

namespace reader {

/* Now, on both clocks. */
samples::Times timesNow();

class StreamOutput {
public:
    /* `title` names the cache in sentences. Throws std::system_error. */
    explicit StreamOutput(std::string title);
    StreamOutput(const StreamOutput&) = delete;
    StreamOutput& operator=(const StreamOutput&) = delete;
    ~StreamOutput() = default;

    /* What is known so far, should the stream have to begin with its end. */
    void describe(const samples::StreamHeader& known);
    /* Begins the stream with what has been described, then what the library has printed. */
    void begin();
    /* Writes what the encoder holds. */
    void write(const samples::StreamEncoder& encoder);

    /* Ends the process: with a Lost that says why, or with an End. */
    [[noreturn]] void lose(const samples::Failure& failure);
    [[noreturn]] void finish();

private:
    void waitIfEnded(std::unique_lock<std::mutex>& lock) const;
    void attend();
    int takeNotices(bool isQuiet);
    void beginLocked();
    void sendNotices(bool withRest);
    void loseLibrary();
    void writeLocked();
    void writeAll(std::span<const std::byte> bytes);
    [[noreturn]] void failOutput(int error);
    void complain(const std::string& sentence) const;

    std::string title;
    int out;
    int err;

    std::mutex mutex; /* held by who writes; guards what follows */
    LibraryOutput library;
    samples::StreamHeader header;
    samples::StreamEncoder messages;
    std::string early; /* printed before the stream has begun */
    bool hasBegun = false;
    bool hasEnded = false;
};

} // namespace reader

#endif
