#include "seriesspool.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace tvsistat {
namespace {

std::string temporaryDirectory() {
    const char* named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/var/tmp";
}

[[noreturn]] void fail(int error) {
    throw std::runtime_error(fmt::format("{}, where values are kept until all are known, cannot be "
                                         "used: {}; TMPDIR names another directory",
                                         temporaryDirectory(),
                                         std::generic_category().message(error)));
}

/* Reads or writes all of it: `transfer(done)` moves what is left. */
template <class Transfer> void moveAll(size_t size, Transfer transfer) {
    for (size_t done = 0; done < size;) {
        const ssize_t moved = transfer(done);
        if (moved > 0) {
            done += static_cast<size_t>(moved);
        } else if (moved == 0 || errno != EINTR) {
            fail(moved == 0 ? EIO : errno);
        }
    }
}

} // namespace

size_t SeriesSpool::addSeries() {
    all.emplace_back();
    return all.size() - 1;
}

void SeriesSpool::add(size_t series, const Point& point) {
    Series& own = all[series];
    if (!own.rest.empty() && own.rest.back().timeMs >= point.timeMs) {
        if (own.rest.back().timeMs == point.timeMs) {
            own.rest.back() = point;
        } else {
            leftOut++;
        }
        return;
    }
    if (own.rest.size() > chunkPoints) {
        writeOut(own);
    }
    own.rest.push_back(point);
}

/* All but the last point, which may still change, and which the next one is compared with. */
void SeriesSpool::writeOut(Series& series) {
    if (file.get() < 0) {
        file = samples::Descriptor(
            open(temporaryDirectory().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (file.get() < 0) {
            fail(errno);
        }
    }
    const auto bytes = std::as_bytes(std::span(series.rest).first(chunkPoints));
    const auto at = static_cast<off_t>(numChunks * uint64_t{bytes.size()});
    moveAll(bytes.size(), [&](size_t done) {
        return pwrite(file.get(), bytes.data() + done, bytes.size() - done,
                      at + static_cast<off_t>(done));
    });
    series.chunks.push_back(numChunks);
    numChunks++;
    series.rest.erase(series.rest.begin(), series.rest.begin() + chunkPoints);
}

std::span<const SeriesSpool::Point> SeriesSpool::read(size_t series, size_t chunk) {
    const Series& own = all[series];
    if (chunk >= own.chunks.size()) {
        return chunk == own.chunks.size() ? std::span(own.rest) : std::span<const Point>();
    }
    found.resize(chunkPoints);
    const auto bytes = std::as_writable_bytes(std::span(found));
    const auto at = static_cast<off_t>(own.chunks[chunk] * uint64_t{bytes.size()});
    moveAll(bytes.size(), [&](size_t done) {
        return pread(file.get(), bytes.data() + done, bytes.size() - done,
                     at + static_cast<off_t>(done));
    });
    return found;
}

} // namespace tvsistat
