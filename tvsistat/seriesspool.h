/*
 * Numbers with their times, by series. They come by time and are wanted by series; there may be
 * many more than memory holds. What doesn't fit a small buffer for each series lies in a file
 * without a name, which is gone with this object. For one thread.
 */
#ifndef SERIESSPOOL_H
#define SERIESSPOOL_H

#include "readerprocess.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvsistat {

class SeriesSpool {
public:
    struct Point {
        int64_t timeMs; /* since the epoch */
        double value;
    };

    /* A further series, by its number. */
    size_t addSeries();
    /* Adds a point, or takes the place of the last one if that is of the same time. One that is
     * earlier than the last is left out, and counted. Throws std::runtime_error when the file
     * can't be written. */
    void add(size_t series, const Point& point);
    uint64_t numLeftOut() const { return leftOut; }

    /* The points of a series that stand in its `chunk`th piece; empty behind the last one. Valid
     * until the next call. Throws as add(). */
    std::span<const Point> read(size_t series, size_t chunk);

private:
    static constexpr size_t chunkPoints = 64;
    struct Series {
        std::vector<uint32_t> chunks; /* places in the file */
        std::vector<Point> rest;      /* behind them */
    };

    void writeOut(Series& series);

    std::vector<Series> all;
    samples::Descriptor file;
    uint32_t numChunks = 0;
    uint64_t leftOut = 0;
    std::vector<Point> found; /* scratch */
};

} // namespace tvsistat

#endif
