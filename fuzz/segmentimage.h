/*
 * A live cache in memory for fuzzers to damage, and the attach to it.
 *
 * The image is mapped twice: for the fuzzer, which changes it, and for the library, which can't
 * write it. The library's view lies between inaccessible pages, and behind the segment's last byte
 * the address sanitizer guards it, too.
 *
 * A program with this file has its own clock_nanosleep, clock_gettime and write, so that an attach
 * neither waits for an image's initialisation nor ends the process over a lock of another name.
 */
#ifndef SEGMENTIMAGE_H
#define SEGMENTIMAGE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "cacheview.h"
#include "fuzzing.h"

namespace fuzzing {

/* One word of the image. */
struct Change {
    std::size_t offset;
    std::uint64_t word;
    std::size_t width;
};

class SegmentImage {
public:
    SegmentImage(); /* monitor, Brox and sessions, all of this process; initDone is set */
    SegmentImage& operator=(SegmentImage&&) = delete;

    const standin::SegmentGeometry& geometry() const { return geometry_; }
    const std::uint8_t* bytes() const { return bytes_; } /* the fuzzer's view */
    std::uint8_t* libraryView() const { return view_; }  /* at a multiple of 2 MB */
    std::size_t size() const { return size_; }           /* of the segment, as it is reported */
    std::size_t fullSize() const { return geometry_.segmentSize; }
    void setSize(std::size_t size); /* up to the full one */

    /* A word near those that decisions depend on, in the header and in the entries. */
    Change takeChange(Input* input) const;
    /* Byte by byte, in any thread; nothing where the segment has no eight bytes. */
    void make(const Change& change) const { put(change.offset, change.word, change.width); }
    void undo(const Change& change) const;

private:
    void put(std::size_t offset, std::uint64_t word, std::size_t width) const;
    std::uint64_t pristineWord(std::size_t offset) const;

    standin::SegmentGeometry geometry_;
    std::uint8_t* bytes_;
    std::uint8_t* view_;
    std::size_t size_;
    std::string pristine_; /* the image as it was laid out */
};

constexpr int endsTheProcess = -1000;
/* The status of TvsiAttachSharedCache, found to be one with a terminated text; or endsTheProcess,
   and the attach has been given up. One thread. */
int attach(const char* cacheName);

} // namespace fuzzing

#endif
