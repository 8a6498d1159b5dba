/* Bodies in gzip form, put together from pieces that were compressed apart: what many answers share
 * is compressed once. For any thread. */
#ifndef COMPRESSION_H
#define COMPRESSION_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace exporter {

/* The beginning of a gzip file: its head and the text, ended at a byte. */
struct GzipPiece {
    std::string bytes;
    uint32_t checksum = 0; /* CRC-32 of the text */
    uint64_t textSize = 0;
};

/* Null when there is no memory for it. */
std::shared_ptr<const GzipPiece> beginGzip(std::string_view text);

/* What makes a gzip file of the piece and the text behind it; null when there is no piece, or no
 * memory. */
std::shared_ptr<const std::string> endGzip(const std::shared_ptr<const GzipPiece>& piece,
                                           std::string_view text);

} // namespace exporter

#endif
