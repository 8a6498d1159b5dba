/*
 * The stream of a reader as those follow it who started the reader: how long they wait for its next
 * word before they give it up, when they try again after it was lost, and reading what has come.
 */
#ifndef READERSTREAM_H
#define READERSTREAM_H

#include "streamdecoder.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace samples {

/* An attach takes up to four seconds, and a silent resolver one or two more. */
constexpr std::chrono::seconds attachLimit{7};
/* A sample that is this late will not come: the reader hangs, or was stopped. */
constexpr std::chrono::seconds silenceLimit{3};

/* From a loss to the next attempt: twice as long each time, from a quarter of a second to five. */
class RetryPause {
public:
    std::chrono::milliseconds next();
    /* The cache is there. */
    void reset() { pause = shortest; }

private:
    static constexpr std::chrono::milliseconds shortest{250};
    std::chrono::milliseconds pause = shortest;
};

/* What a read brought. */
enum class Piece : uint8_t { Nothing, Some, End };

/* Reads once what there is of a stream, from a descriptor that doesn't block; at most about `size`
 * bytes. A stream that is damaged, or can't be read, has ended, too. */
Piece readPiece(int fd, StreamDecoder& decoder, size_t size);

} // namespace samples

#endif
