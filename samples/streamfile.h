/*
 * A file that holds a sample stream ("tvsi-reader ... > FILE"). Read forwards it is what a pipe
 * would be; moments in it are found by a walk over the heads of its messages, so that nothing has
 * to be kept of it. The bytes are not trusted. For one thread.
 */
#ifndef STREAMFILE_H
#define STREAMFILE_H

#include "readerprocess.h"
#include "streamdecoder.h"

#include <optional>
#include <string>
#include <vector>

namespace samples {

/* The moment that a message is of. */
const Times& timesOf(const Message& message);

/* Something that happened to a cache, or was remembered of it. */
struct StreamEvent {
    enum class Kind : uint8_t { Attached, Lost, Ended, Mark } kind;
    Times times;
    std::string text;       /* of Lost and Mark */
    int32_t monitorPid = 0; /* of Attached; 0: it could not be attached */
};
/* The event that a message tells of, if it does. */
std::optional<StreamEvent> eventOf(const Message& message);

class StreamFile {
public:
    /* Whether a file begins as a stream does, be it of the other byte order. */
    static bool isOne(int descriptor);

    /* The descriptor must be of a regular file, open for reading. */
    explicit StreamFile(Descriptor opened) : file(std::move(opened)) {}

    /* The next message; nothing at the end of the file and where it is damaged. */
    std::optional<Message> next();
    void recycle(Sample&& sample) { decoder.recycle(std::move(sample)); }
    /* What is wrong when next() has nothing more. */
    const StreamDecoder& state() const { return decoder; }

    /* Real time of the first message and of the last whole one. */
    struct Span {
        int64_t firstNs;
        int64_t lastNs;
    };
    std::optional<Span> span() const;
    /* The next message is the first one at that real time or after it, or else the last one;
     * before it comes the header that holds there. */
    void seek(int64_t realNs);
    /* Real time of the sample that is `count` samples before the moment, or (sampleAfter) at or
     * after it; that of the first or last one when there are fewer; nothing when there is none on
     * that side. */
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count) const;
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count) const;
    std::vector<StreamEvent> events() const;

private:
    template <class Visit> void walk(Visit visit) const;
    bool readInto(StreamDecoder& into, uint64_t from, uint64_t size) const;

    Descriptor file;
    StreamDecoder decoder;
    uint64_t readAt = 0; /* offset of what the decoder gets next */
    bool isAtEnd = false;
};

} // namespace samples

#endif
