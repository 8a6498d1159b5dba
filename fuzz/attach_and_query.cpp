/*
 * A whole attach with queries on a damaged segment, which goes on changing while the queries run.
 *
 * The segment is plain memory behind shmget, shmctl, shmat and shmdt as defined here: before it an
 * inaccessible page, behind its last byte poisoned ones. An input: whether a second thread changes
 * the segment at the same time, the segment's size, then steps. Each is an attach, a detach, a
 * query or the change of one word; the changes are undone after the run.
 */
#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <poll.h>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "basetypes.h"
#include "cacheview.h"
#include "fuzzing.h"
#include "registrydirectory.h"
#include "tvsi.h"

using namespace fuzzing;

namespace {

constexpr std::size_t pageSize = 4096;
constexpr std::size_t alignment = 0x200000;

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

const standin::SegmentGeometry geometry = smallGeometry();
std::uint8_t* segment;
std::uint8_t* pristine;  /* the segment as it was laid out */
std::size_t segmentSize; /* what the library is told */
bool isClockBroken;
jmp_buf fatalPath;
bool isAttaching; /* the one thread that runs the steps is inside an attach */
std::string cacheName;

void put(std::size_t offset, std::uint64_t word, std::size_t width) {
    if (offset + sizeof word > segmentSize) {
        return;
    }
    for (std::size_t i = 0; i < width; ++i) { /* no tearing that the compiler could hide */
        __atomic_store_n(segment + offset + i, static_cast<std::uint8_t>(word >> 8 * i),
                         __ATOMIC_RELAXED);
    }
}

struct Change {
    std::size_t offset;
    std::uint64_t word;
    std::size_t width;
};

/* Words near those that decisions depend on, in the header and in the entries. */
Change takeChange(Input* input) {
    const auto place = input->take<std::uint8_t>();
    const auto offset = input->take<std::uint16_t>();
    const std::size_t width = (place & 1) != 0 ? 8 : 4;
    const std::uint64_t word =
        width == 8 ? input->take<std::uint64_t>() : input->take<std::uint32_t>();
    if ((place & 2) != 0) {
        return {offset / 4 * 4 % sizeof(ShrPcConfigSType), word, width};
    }
    const std::size_t entry = geometry.processTableOffset +
                              (place >> 2) % geometry.counts.numProcesses * sizeof(ShrPcPteSType);
    static constexpr std::size_t fields[] = {
        offsetof(ShrPcPteSType, inUse), offsetof(ShrPcPteSType, statType),
        offsetof(ShrPcPteSType, processName), offsetof(ShrPcPteSType, stats)};
    return {entry + fields[offset % 4] + offset / 16 * 4 % 1800 * (offset % 4 / 2), word, width};
}

void requireStatus(int status) {
    require(status == TVSI_SUCCESS || status == TVSI_ERR_NOT_FOUND ||
                status == TVSI_ERR_CACHE_CONNECTION_SEVERED || status == TVSI_ERR_NO_BROX ||
                status == TVSI_ERR_CACHE_NOT_ATTACHED || status == TVSI_ERR_BAD_REGEX,
            "the status is a query's");
}

void attach() {
    char text[300];
    /* A lock with another name ends the process: back to here instead. */
    if (setjmp(fatalPath) != 0) {
        isAttaching = false;
        TvsiDetachSharedCache();
        return;
    }
    isAttaching = true;
    const int status = TvsiAttachSharedCache(cacheName.c_str(), text, sizeof text);
    isAttaching = false;
    require(status == TVSI_SUCCESS || status == TVSI_ERR_CACHE_ALREADY_ATTACHED ||
                status == TVSI_ERR_NO_MORE_HANDLES || status == TVSI_ERR_CACHE_ATTACH_FAILED ||
                status == TVSI_ERR_WATCHER_THREAD_FAILED || status == TVSI_ERR_CACHE_WRONG_VERSION,
            "the status is an attach's");
    require(strnlen(text, sizeof text) < sizeof text, "the text is terminated");
}

void query(unsigned which, std::uint8_t argument) {
    const int capacity = 1 + argument % 4;
    std::vector<TvsiResultSType> records(static_cast<std::size_t>(capacity));
    int count = capacity;
    Buffer text(argument % 64);
    switch (which % 11) {
    case 0:
        return requireStatus(TvsiStatsForProcessId(1 + argument, records.data()));
    case 1:
        return requireStatus(TvsiStatsForVokSessionId(1 + argument, records.data()));
    case 2:
        return requireStatus(TvsiStatsForPgsvrSessionId(1 + argument, records.data()));
    case 3:
        return requireStatus(TvsiStatsForVokSessionWithName("session", records.data()));
    case 4:
        return requireStatus(TvsiStatsForBrox(records.data()));
    case 5:
        return requireStatus(TvsiStatsForShrPcMon(records.data()));
    case 6:
        requireStatus(TvsiFetchMaxProcessesInCache(&count));
        return require(count <= static_cast<int>(segmentSize / sizeof(ShrPcPteSType)),
                       "the table fits the segment");
    case 7:
        requireStatus(TvsiAllStatsForMask(1U + argument, records.data(), &count));
        break;
    case 8:
        requireStatus(TvsiAllVokStatsForVokKindRange(-argument, argument, records.data(), &count));
        break;
    case 9:
        requireStatus(TvsiAllVokStatsForRegexName("s.*[0-9]$", TRUE, records.data(), &count,
                                                  text.get(), text.size()));
        break;
    default:
        TvsiCacheIsAlive();
    }
    require(count <= capacity, "no more records than there is room for");
}

void runSteps(Input* input) {
    while (!input->isEmpty()) {
        const auto step = input->take<std::uint8_t>();
        switch (step % 16) {
        case 0:
            attach();
            break;
        case 1:
            TvsiDetachSharedCache();
            break;
        case 2:
        case 3:
        case 4: {
            const Change change = takeChange(input);
            put(change.offset, change.word, change.width);
            break;
        }
        default:
            query(step % 16 - 5U, step);
        }
    }
}

void restore(std::size_t offset) {
    std::uint64_t word = 0;
    memcpy(&word, pristine + offset, sizeof word);
    put(offset, word, sizeof word);
}

/* All changes of the input, over and over, while the steps run. */
class ChangingThread {
public:
    explicit ChangingThread(Input input) {
        while (!input.isEmpty()) {
            changes_.push_back(takeChange(&input));
        }
        thread_ = std::thread([this] {
            while (!isDone_) {
                for (const Change& change : changes_) {
                    put(change.offset, change.word, change.width);
                    std::this_thread::yield();
                    restore(change.offset);
                }
            }
        });
    }
    ~ChangingThread() {
        isDone_ = true;
        thread_.join();
    }

private:
    std::vector<Change> changes_;
    std::atomic<bool> isDone_ = false;
    std::thread thread_;
};

/* The pages in which changes may be: the header and the fields of the entries. */
void restoreSegment() {
    memcpy(segment, pristine, sizeof(ShrPcConfigSType) + sizeof(std::uint64_t));
    for (std::uint32_t slot = 0; slot < geometry.counts.numProcesses; ++slot) {
        const std::size_t entry = geometry.processTableOffset + slot * sizeof(ShrPcPteSType);
        memcpy(segment + entry, pristine + entry, offsetof(ShrPcPteSType, requestBuffer) + 4096);
    }
}

} // namespace

/* The calls that lead to the segment, and those that would take time. */
extern "C" {
int shmget(key_t, size_t, int) noexcept {
    return 1;
}
int shmctl(int, int, shmid_ds* description) noexcept {
    description->shm_segsz = segmentSize;
    return 0;
}
void* shmat(int, const void*, int) noexcept {
    return segment;
}
int shmdt(const void*) noexcept {
    return 0;
}
int poll(pollfd*, nfds_t, int) {
    return usleep(20);
}
/* The wait for the cache's initialisation sleeps once and then finds the clock broken. */
int clock_nanosleep(clockid_t, int, const timespec*, timespec*) {
    isClockBroken = true;
    return 0;
}
int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clock == CLOCK_REALTIME && isClockBroken) {
        isClockBroken = false;
        return -1;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}
/* The first that the fatal path does is to write a line feed. */
ssize_t write(int fd, const void* bytes, size_t size) {
    if (fd == STDERR_FILENO && size == 1 && isAttaching) {
        longjmp(fatalPath, 1);
    }
    return syscall(SYS_write, fd, bytes, size);
}
}

int LLVMFuzzerInitialize(int*, char***) {
    const std::size_t size = geometry.segmentSize;
    auto* place = static_cast<std::uint8_t*>(
        mmap(nullptr, size + 3 * alignment, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const auto address = reinterpret_cast<std::uintptr_t>(place);
    segment = place + (alignment - address % alignment) + alignment;
    require(mprotect(segment, size, PROT_READ | PROT_WRITE) == 0, "the segment is accessible");
    const standin::CacheView cache = standin::layOut(segment, size, geometry);
    cache.occupy(0, {getpid(), 0, "shrpcmonitor", SHRPC_MONITOR});
    cache.occupy(1, {getpid(), 0, "fuzz", SHRPC_BROX});
    for (std::uint32_t slot = 2; slot < geometry.counts.numProcesses; ++slot) {
        cache.occupy(slot, {getpid(), static_cast<std::int32_t>(slot), "session2", SHRPC_VOK});
    }
    cache.setInitDone();
    pristine = new std::uint8_t[size];
    memcpy(pristine, segment, size);

    static standin::RegistryDirectory registry(globalDirectory());
    registry.writeHostId(0x1f2e);
    cacheName = standin::cacheName("fuzz", 0x1f2e);
    registry.writeRecord(cacheName, standin::monitorRecord(getpid(), 1));
    silenceLibrary();
    TvsiInit();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto kind = input.take<std::uint8_t>();
    const auto cut = input.take<std::uint32_t>();
    segmentSize = (kind & 2) != 0 ? cut % (geometry.segmentSize + 1) : geometry.segmentSize;
    __asan_poison_memory_region(segment + segmentSize, geometry.segmentSize - segmentSize);
    {
        std::unique_ptr<ChangingThread> changing;
        if ((kind & 1) != 0) {
            changing = std::make_unique<ChangingThread>(input);
        }
        attach();
        runSteps(&input);
        TvsiDetachSharedCache();
    }
    __asan_unpoison_memory_region(segment, geometry.segmentSize);
    restoreSegment();
    return 0;
}
