/*
 * Takes a sample stream apart. The bytes come from anywhere, in pieces of any size, and are not
 * trusted: each length and count is checked against its limit and against the rest before anything
 * is made of it, and the first thing that is wrong ends the stream with a sentence. Memory is
 * bounded by the largest message (about 120 MB), and follows the bytes that have really come. For
 * one thread.
 */
#ifndef STREAMDECODER_H
#define STREAMDECODER_H

#include "sample.h"

#include <optional>

namespace samples {

class StreamDecoder {
public:
    StreamDecoder() = default;
    /* `from`: where in a file its first byte stands, if it begins in the middle. */
    explicit StreamDecoder(uint64_t from) : passed(from) {}

    /* Adds bytes. Ignored once the stream has failed. */
    void feed(std::span<const std::byte> bytes);
    /* The same without a copy: room for at least `size` bytes, to read into, and how many of them
     * have been filled. */
    std::span<std::byte> room(size_t size);
    void filled(size_t count);
    /* No bytes will come any more: fails when they end inside a message, or when there was none. */
    void finish();

    /* The next whole message, or nothing: feed more, unless the stream has failed. */
    std::optional<Message> next();
    /* Takes a sample back whose records are no longer needed, to use its memory again. */
    void recycle(Sample&& sample);

    bool failed() const { return !sentence.empty(); }
    /* What is wrong with the stream, without a full stop; empty when nothing is. */
    const std::string& problem() const { return sentence; }
    /* No message has been begun that is not whole. */
    bool isAtBoundary() const { return begin == end; }
    /* The last message was a Lost or an End: a stream may end here. */
    bool hasEnded() const { return phase == Phase::Ended; }
    /* How many bytes the messages had that have been handed out. */
    uint64_t position() const { return passed; }

private:
    enum class Phase : uint8_t { Start, Running, Ended };
    struct Cursor;

    template <class... Parts> void fail(Parts... parts);
    bool headIsGood();
    bool partlyArrivedIsGood() const;
    std::optional<Message> decode(Cursor& body, uint32_t type, const Times& times);
    std::optional<Message> decodeHeader(Cursor& cursor, const Times& times);
    std::optional<Message> decodeSample(Cursor& cursor, const Times& times);
    bool decodeRecord(Cursor& cursor, Record& record);
    void consume(size_t count);

    Bytes buffer; /* what has come and is not handed out: `begin` to `end` */
    size_t begin = 0;
    size_t end = 0;
    uint64_t passed = 0;
    Phase phase = Phase::Start;
    uint64_t lastSequence = 0; /* of the stream's samples */
    bool hasSample = false;
    std::string sentence;
    Sample spare;
};

} // namespace samples

#endif
