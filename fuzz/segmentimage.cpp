#include "segmentimage.h"

#include <csetjmp>
#include <sanitizer/asan_interface.h>
#include <set>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "tvsi.h"

namespace fuzzing {

namespace {

constexpr std::size_t pageSize = 4096;
constexpr std::size_t alignment = 0x200000;

bool isClockBroken;
jmp_buf fatalPath;
bool isAttaching;

standin::SegmentGeometry smallGeometry() {
    standin::SegmentCounts counts;
    counts.numPages = 1;
    counts.hashTableSize = 1;
    counts.numFreeListPces = 64;
    counts.numHashTableLocks = 1;
    counts.numSharedCounters = 1;
    counts.numFrameHistoryEntries = 1;
    counts.numProcesses = 6;
    standin::SegmentGeometry geometry(counts);
    geometry.segmentSize = (geometry.segmentSize + pageSize - 1) / pageSize * pageSize;
    return geometry;
}

/* Inaccessible memory with two more large pages than `size` takes; its first but one. */
std::uint8_t* reserve(std::size_t size) {
    auto* place = static_cast<std::uint8_t*>(
        mmap(nullptr, size + 3 * alignment, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const auto address = reinterpret_cast<std::uintptr_t>(place);
    return place + (alignment - address % alignment) + alignment;
}

std::uint8_t* map(std::uint8_t* place, std::size_t size, int protection, int file) {
    const int flags = MAP_SHARED | (place != nullptr ? MAP_FIXED : 0);
    void* address = mmap(place, size, protection, flags, file, 0);
    require(address != MAP_FAILED, "the image can be mapped");
    return static_cast<std::uint8_t*>(address);
}

} // namespace

SegmentImage::SegmentImage() : geometry_(smallGeometry()), size_(geometry_.segmentSize) {
    const int file = memfd_create("segment", MFD_CLOEXEC);
    require(ftruncate(file, static_cast<off_t>(size_)) == 0, "there is memory for the image");
    bytes_ = map(nullptr, size_, PROT_READ | PROT_WRITE, file);
    view_ = map(reserve(size_), size_, PROT_READ, file);
    close(file);
    const standin::CacheView cache = standin::layOut(bytes_, size_, geometry_);
    cache.occupy(0, {getpid(), 0, "shrpcmonitor", SHRPC_MONITOR});
    cache.occupy(1, {getpid(), 0, "fuzz", SHRPC_BROX});
    for (std::uint32_t slot = 2; slot < geometry_.counts.numProcesses; ++slot) {
        cache.occupy(slot, {getpid(), static_cast<std::int32_t>(slot), "session2", SHRPC_VOK});
    }
    cache.setInitDone();
    pristine_.assign(bytes_, bytes_ + size_);
}

void SegmentImage::setSize(std::size_t size) {
    size_ = size;
    ASAN_UNPOISON_MEMORY_REGION(view_, size);
    ASAN_POISON_MEMORY_REGION(view_ + size, fullSize() - size);
}

std::uint64_t SegmentImage::pristineWord(std::size_t offset) const {
    std::uint64_t word = 0;
    pristine_.copy(reinterpret_cast<char*>(&word), sizeof word, offset);
    return word;
}

Change SegmentImage::takeChange(Input* input) const {
    const auto place = input->take<std::uint8_t>();
    const auto offset = input->take<std::uint16_t>();
    const std::size_t width = (place & 1) != 0 ? 8 : 4;
    std::uint64_t word = width == 8 ? input->take<std::uint64_t>() : input->take<std::uint32_t>();
    if ((place & 2) != 0) {
        const std::size_t at = offset / std::size_t{4} * 4 % sizeof(ShrPcConfigSType);
        if ((place & 4) != 0) { /* a little beside what is there, or the segment's size */
            word = static_cast<std::uint64_t>(static_cast<std::int8_t>(word)) +
                   ((place & 8) != 0 ? size_ : pristineWord(at));
        }
        return {at, word, width};
    }
    const std::size_t entry = geometry_.processTableOffset +
                              (place >> 2U) % geometry_.counts.numProcesses * sizeof(ShrPcPteSType);
    static constexpr std::size_t fields[] = {
        offsetof(ShrPcPteSType, inUse), offsetof(ShrPcPteSType, statType),
        offsetof(ShrPcPteSType, processName), offsetof(ShrPcPteSType, stats)};
    const std::size_t kind = offset % 4U;
    return {entry + fields[kind] + offset / 16U * 4U % 1800 * (kind / 2), word, width};
}

void SegmentImage::put(std::size_t offset, std::uint64_t word, std::size_t width) const {
    if (offset + sizeof word > size_) {
        return;
    }
    for (std::size_t i = 0; i < width; ++i) { /* no tearing that the compiler could hide */
        __atomic_store_n(bytes_ + offset + i, static_cast<std::uint8_t>(word >> 8 * i),
                         __ATOMIC_RELAXED);
    }
}

void SegmentImage::undo(const Change& change) const {
    put(change.offset, pristineWord(change.offset), sizeof change.word);
}

int attach(const char* cacheName) {
    static const std::set<int> documented = {
        TVSI_SUCCESS,
        TVSI_ERR_CACHE_ALREADY_ATTACHED,
        TVSI_ERR_NO_MORE_HANDLES,
        TVSI_ERR_CACHE_ATTACH_FAILED,
        TVSI_ERR_WATCHER_THREAD_FAILED,
        TVSI_ERR_CACHE_WRONG_VERSION,
    };
    char text[300];
    /* A lock with another name ends the process: back to here instead. */
    if (setjmp(fatalPath) != 0) {
        isAttaching = false;
        TvsiDetachSharedCache();
        return endsTheProcess;
    }
    isAttaching = true;
    const int status = TvsiAttachSharedCache(cacheName, text, sizeof text);
    isAttaching = false;
    require(documented.contains(status), "the status is an attach's");
    require(strnlen(text, sizeof text) < sizeof text, "the text is terminated");
    return status;
}

} // namespace fuzzing

extern "C" {
/* The wait for the cache's initialisation sleeps once and then finds the clock broken. */
int clock_nanosleep(clockid_t, int, const timespec*, timespec*) {
    fuzzing::isClockBroken = true;
    return 0;
}
int clock_gettime(clockid_t clock_id, timespec* tp) noexcept {
    if (clock_id == CLOCK_REALTIME && fuzzing::isClockBroken) {
        fuzzing::isClockBroken = false;
        return -1;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock_id, tp));
}
/* The first that the fatal path does is to write a line feed. */
ssize_t write(int fd, const void* buf, size_t n) {
    if (fd == STDERR_FILENO && n == 1 && fuzzing::isAttaching) {
        longjmp(fuzzing::fatalPath, 1);
    }
    return syscall(SYS_write, fd, buf, n);
}
}
