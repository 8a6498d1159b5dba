#include "compression.h"

#include <utility>
#include <zlib.h>

namespace exporter {
namespace {

/* Scraped text repeats itself so much that more effort saves little. */
constexpr int effort = Z_BEST_SPEED;
constexpr int rawDeflate = -15;
constexpr int memoryLevel = 8;

/* Appends the text as deflate blocks, ended as `flush` says. */
bool appendDeflated(std::string& bytes, std::string_view text, int flush) {
    z_stream stream{};
    if (deflateInit2(&stream, effort, Z_DEFLATED, rawDeflate, memoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        return false;
    }
    const size_t begin = bytes.size();
    constexpr size_t flushRoom = 16;
    bytes.resize(begin + deflateBound(&stream, text.size()) + flushRoom);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(bytes.data() + begin);
    stream.avail_out = static_cast<uInt>(bytes.size() - begin);
    const int result = deflate(&stream, flush);
    bytes.resize(begin + stream.total_out);
    bytes.shrink_to_fit();
    deflateEnd(&stream);
    return stream.avail_in == 0 && (result == Z_STREAM_END || flush != Z_FINISH);
}

uint32_t checksumOf(std::string_view text) {
    return static_cast<uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size()));
}

void appendLittleEndian(std::string& bytes, uint32_t number) {
    for (int i = 0; i < 4; i++) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    }
}

} // namespace

std::shared_ptr<const GzipPiece> beginGzip(std::string_view text) {
    constexpr std::string_view head("\x1F\x8B\x08\0\0\0\0\0\x04\xFF", 10); /* no name, no time */
    GzipPiece piece{std::string(head), checksumOf(text), text.size()};
    return appendDeflated(piece.bytes, text, Z_FULL_FLUSH)
               ? std::make_shared<const GzipPiece>(std::move(piece))
               : nullptr;
}

std::shared_ptr<const std::string> endGzip(const std::shared_ptr<const GzipPiece>& piece,
                                           std::string_view text) {
    std::string bytes;
    if (piece == nullptr || !appendDeflated(bytes, text, Z_FINISH)) {
        return nullptr;
    }
    const auto checksum =
        crc32_combine(piece->checksum, checksumOf(text), static_cast<z_off_t>(text.size()));
    appendLittleEndian(bytes, static_cast<uint32_t>(checksum));
    appendLittleEndian(bytes, static_cast<uint32_t>(piece->textSize + text.size()));
    return std::make_shared<const std::string>(std::move(bytes));
}

} // namespace exporter
