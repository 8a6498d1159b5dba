/*
 * Makes a sample stream: each call appends one message to the bytes at hand, which the caller
 * writes out and clears. The bytes are kept for the next ones, so that nothing is allocated once
 * they are large enough. Whatever it is given, what it makes is a message that StreamDecoder takes;
 * that the messages come in their order (sample.h) is the caller's part. For one thread.
 */
#ifndef STREAMENCODER_H
#define STREAMENCODER_H

#include "sample.h"

namespace samples {

class StreamEncoder {
public:
    /* The stream's version and the record's size are filled in. Texts are cut at 2,048 bytes. */
    void add(const StreamHeader& header);
    void add(const Lost& lost);
    void add(const Notice& notice);
    void add(const End& end);
    void add(const Mark& mark);
    void add(const Message& message) {
        std::visit([this](const auto& which) { add(which); }, message);
    }
    /* All of a sample at once, as it was decoded. */
    void add(const Sample& sample);

    /* A sample, record by record: `sample` gives all but the records. Memory for `numExpected` of
     * them is there at once, untouched. */
    void beginSample(const Sample& sample, size_t numExpected = 0);
    /* False, and the record is left out, when the sample is full (65,536 records). */
    bool addRecord(const TvsiResultSType& record, const ProcessFacts& facts);
    bool addRecord(const Record& record);
    void endSample();

    std::span<const std::byte> bytes() const { return {buffer.data(), size}; }
    void clear() { size = 0; }

private:
    struct Identity;

    std::byte* extend(size_t count);
    template <class Structure> void put(const Structure& structure);
    void putText(std::string_view text);
    void beginMessage(uint32_t type, const Times& times);
    void endMessage();
    std::byte* beginRecord(const Identity& identity);

    Bytes buffer;
    size_t size = 0;
    size_t messageAt = 0; /* where the message under way begins */
    uint32_t numRecords = 0;
};

} // namespace samples

#endif
