/* Bodies in gzip form, put together from pieces that were compressed apart: what many answers share
 * is compressed once, and kept in that form alone. For any thread. */
#ifndef COMPRESSION_H
#define COMPRESSION_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace exporter {

/* The beginning of a gzip file: its head and a text, ended at a byte. */
struct GzipPiece {
    std::string bytes;
    uint32_t checksum = 0; /* CRC-32 of the text */
    uint64_t textSize = 0;
};

/* Makes such a beginning of a text that comes in parts. */
class GzipBeginning {
public:
    GzipBeginning();
    ~GzipBeginning();
    GzipBeginning(const GzipBeginning&) = delete;
    GzipBeginning& operator=(const GzipBeginning&) = delete;

    void add(std::string_view text);
    /* Null when there was no memory for it. No part may follow. */
    std::shared_ptr<const GzipPiece> end();

private:
    struct State;
    std::unique_ptr<State> state;
    GzipPiece piece;
};

/* Reads the text of a piece, from its beginning to its end. */
class GzipText {
public:
    explicit GzipText(std::shared_ptr<const GzipPiece> read);
    ~GzipText();
    GzipText(const GzipText&) = delete;
    GzipText& operator=(const GzipText&) = delete;

    /* Fills the room as far as there is text left, and returns how much that was; 0 also when there
     * was no memory for it. */
    size_t read(std::span<char> room);

private:
    struct State;
    std::unique_ptr<State> state;
};

/* What makes a gzip file of the piece and the text behind it; null when there is no piece, or no
 * memory. */
std::shared_ptr<const std::string> endGzip(const std::shared_ptr<const GzipPiece>& piece,
                                           std::string_view text);

} // namespace exporter

#endif
