#include "readerstream.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <utility>

namespace samples {

std::chrono::milliseconds RetryPause::next() {
    constexpr std::chrono::milliseconds longest{5000};
    return std::exchange(pause, std::min(2 * pause, longest));
}

Piece readPiece(int fd, StreamDecoder& decoder, size_t size) {
    if (decoder.failed()) {
        return Piece::End;
    }
    const auto room = decoder.room(size);
    const ssize_t got = read(fd, room.data(), room.size());
    if (got > 0) {
        decoder.filled(static_cast<size_t>(got));
        return Piece::Some;
    }
    if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
        return Piece::End;
    }
    return errno == EAGAIN ? Piece::Nothing : Piece::Some;
}

} // namespace samples
