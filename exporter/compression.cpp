#include "compression.h"

#include <array>
#include <utility>
#include <zlib.h>

namespace exporter {
namespace {

/* Scraped text repeats itself so much that more effort saves little. */
constexpr int effort = Z_BEST_SPEED;
constexpr int rawDeflate = -15;
constexpr int memoryLevel = 8;
constexpr std::string_view head("\x1F\x8B\x08\0\0\0\0\0\x04\xFF", 10); /* no name, no time */

/* Deflate blocks of a text that comes in parts. */
class Deflater {
public:
    Deflater() {
        isGood = deflateInit2(&stream, effort, Z_DEFLATED, rawDeflate, memoryLevel,
                              Z_DEFAULT_STRATEGY) == Z_OK;
    }
    ~Deflater() { deflateEnd(&stream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /* Appends what the text has become; all of it when `flush` asks for that. False when it could
     * not be, now or before. */
    bool append(std::string& bytes, std::string_view text, int flush) {
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream.avail_in = static_cast<uInt>(text.size());
        while (isGood) {
            std::array<char, 32768> piece;
            stream.next_out = reinterpret_cast<Bytef*>(piece.data());
            stream.avail_out = static_cast<uInt>(piece.size());
            const int result = deflate(&stream, flush);
            bytes.append(piece.data(), piece.size() - stream.avail_out);
            isGood = result == Z_OK || result == Z_STREAM_END || result == Z_BUF_ERROR;
            if (stream.avail_out > 0) {
                break;
            }
        }
        return isGood;
    }

private:
    z_stream stream{};
    bool isGood;
};

uint32_t checksumOf(std::string_view text, uint32_t before = 0) {
    return static_cast<uint32_t>(
        crc32_z(before, reinterpret_cast<const Bytef*>(text.data()), text.size()));
}

void appendLittleEndian(std::string& bytes, uint32_t number) {
    for (int i = 0; i < 4; i++) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    }
}

} // namespace

struct GzipText::State {
    std::shared_ptr<const GzipPiece> piece;
    z_stream stream{};
    bool isGood = false;
};

GzipText::GzipText(std::shared_ptr<const GzipPiece> read) : state(std::make_unique<State>()) {
    state->piece = std::move(read);
    auto& stream = state->stream;
    const std::string_view packed = std::string_view(state->piece->bytes).substr(head.size());
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    state->isGood = inflateInit2(&stream, rawDeflate) == Z_OK;
}

GzipText::~GzipText() {
    inflateEnd(&state->stream);
}

size_t GzipText::read(std::span<char> room) {
    auto& stream = state->stream;
    stream.next_out = reinterpret_cast<Bytef*>(room.data());
    stream.avail_out = static_cast<uInt>(room.size());
    while (state->isGood && stream.avail_out > 0) {
        state->isGood = inflate(&stream, Z_NO_FLUSH) == Z_OK; /* it ends with Z_BUF_ERROR */
    }
    return room.size() - stream.avail_out;
}

struct GzipBeginning::State {
    Deflater deflater;
    bool isGood = true;
};

GzipBeginning::GzipBeginning() : state(std::make_unique<State>()) {
    piece.bytes = head;
}

GzipBeginning::~GzipBeginning() = default;

void GzipBeginning::add(std::string_view text) {
    piece.checksum = checksumOf(text, piece.checksum);
    piece.textSize += text.size();
    state->isGood = state->deflater.append(piece.bytes, text, Z_NO_FLUSH);
}

std::shared_ptr<const GzipPiece> GzipBeginning::end() {
    const bool isGood = state->deflater.append(piece.bytes, "", Z_FULL_FLUSH) && state->isGood;
    piece.bytes.shrink_to_fit();
    return isGood ? std::make_shared<const GzipPiece>(std::move(piece)) : nullptr;
}

std::shared_ptr<const std::string> endGzip(const std::shared_ptr<const GzipPiece>& piece,
                                           std::string_view text) {
    std::string bytes;
    if (piece == nullptr || !Deflater().append(bytes, text, Z_FINISH)) {
        return nullptr;
    }
    const auto checksum =
        crc32_combine(piece->checksum, checksumOf(text), static_cast<z_off_t>(text.size()));
    appendLittleEndian(bytes, static_cast<uint32_t>(checksum));
    appendLittleEndian(bytes, static_cast<uint32_t>(piece->textSize + text.size()));
    return std::make_shared<const std::string>(std::move(bytes));
}

} // namespace exporter
