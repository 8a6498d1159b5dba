/*
 * Validation and all queries on a damaged segment that nobody changes meanwhile, with their answers
 * compared to what a plain walk over the image finds.
 *
 * A real attach at the start delivers the library's handle. From then on the attaches find the
 * image mapped already, as a second attach to a cache would, and no watcher is created: its acts
 * are done for it when it is started and joined. So a run makes next to no system calls. An input:
 * the segment's size, how many words change before the attach, an argument, these changes, those
 * between attach and queries. All are undone after the run.
 */
#include <algorithm>
#include <climits>
#include <clocale>
#include <optional>
#include <pthread.h>
#include <vector>

#include "segmentimage.h"
#include "testcache.h"
#include "tvsi.h"
#include "tvsihandle.h"

using namespace fuzzing;

namespace {

constexpr const char* cacheName = "fuzz~1f2e";
constexpr unsigned queryCount = 11;
constexpr int mostRecords = 4;
constexpr std::size_t mostChanges = 100;
const pthread_t watcher = 1; /* no thread has that address */

using Entry = ShrPcPteSType;

SharedCacheHandleSType* handle; /* the library's one */
std::optional<SegmentImage> image;
/* One array for each capacity: of exactly that size, for the address sanitizer. */
std::vector<TvsiResultSType> arrays[mostRecords + 1];

/* The image is mapped, and the next attach is the second. */
void prepareHandle() {
    HostShrMemStateType& memory = handle->shrMemState;
    memory.actualSegSize = image->size();
    memory.shrMemId.loc = image->libraryView();
    strcpy(memory.locStr, cacheName);
    memory.shrMemIsAttached = TRUE;
    memory.threadsAttached = 1;
}

/* The process table where the accepted header has it; the number of entries may change later. */
class Table {
public:
    Table()
        : header_(*reinterpret_cast<const ShrPcConfigSType*>(image->bytes())),
          entries_(image->bytes() + header_.processTableOffset) {
        const __int128 room = __int128{image->size()} - header_.processTableOffset;
        require(header_.processTableOffset % 8 == 0 && room >= 2 * __int128{sizeof(Entry)},
                "the table lies in the segment");
        limit_ = static_cast<int>(room / sizeof(Entry));
        require(size() == static_cast<int>(header_.numProcesses), "all of it");
    }

    int size() const { return std::min(static_cast<int>(header_.numProcesses), limit_); }
    const Entry& operator[](int slot) const {
        return reinterpret_cast<const Entry*>(entries_)[slot];
    }
    bool isAlive() const { return size() >= 2 && (*this)[0].inUse && (*this)[1].inUse; }
    /* Calls `use` with the entries of the slots `first` to `end` - 1 that are in use. */
    template <typename Use> void forEach(int first, int end, Use use) const {
        for (int slot = first; slot < end; ++slot) {
            if ((*this)[slot].inUse) {
                use((*this)[slot]);
            }
        }
    }

private:
    const ShrPcConfigSType& header_;
    const std::uint8_t* entries_;
    int limit_;
};

bool isRecordOf(const TvsiResultSType& record, const Entry& entry) {
    return memcmp(&record, &entry.stats, sizeof record) == 0;
}

bool isVok(const Entry& entry) {
    return entry.statType == SHRPC_VOK;
}

bool isPageServer(const Entry& entry) {
    return entry.statType == SHRPC_VOK_PGSVR_MAIN || entry.statType == SHRPC_VOK_PGSVR_THD;
}

std::string nameOf(const Entry& entry) {
    return {entry.processName, strnlen(entry.processName, sizeof entry.processName)};
}

/* Query `which`, with arguments made of `word`. The answer must be the status `dead`, or when that
   is TVSI_SUCCESS what the table holds. */
void query(unsigned which, std::uint32_t word, const Table& table, int dead) {
    const int number = 1 + static_cast<int>(word >> 8);
    const int kind = static_cast<std::int8_t>(word >> 8);
    const std::uint32_t mask = std::max((word >> 8) % SHRPC_SYSTEM, 1U);
    const int capacity = 1 + static_cast<int>(word % mostRecords);
    TvsiResultSType* const record = arrays[capacity].data();
    TvsiResultSType* const array = (word & 128) != 0 ? nullptr : record;
    const int pid = (word & 64) != 0 ? getpid() : number;
    int count = capacity;
    char text[16];

    const auto one = [&](int status, int missing, int first, int end, auto qualifies) {
        const Entry* found = nullptr;
        table.forEach(first, dead ? 0 : end, [&](const Entry& entry) {
            found = !found && qualifies(entry) ? &entry : found;
        });
        const int alive = found ? TVSI_SUCCESS : missing;
        require(status == (dead ? dead : alive), "the status fits the table");
        require(!found || isRecordOf(*record, *found), "the record is the entry's");
    };
    const auto many = [&](int status, const TvsiResultSType* records, int first, int end,
                          auto qualifies) {
        const int limit = records ? capacity : INT_MAX;
        int found = 0;
        table.forEach(first, dead ? 0 : end, [&](const Entry& entry) {
            if (found < limit && qualifies(entry)) {
                require(!records || isRecordOf(records[found], entry), "a record is the entry's");
                ++found;
            }
        });
        require(status == dead && (dead || count == found), "the count fits the table");
    };

    switch (which) {
    case 0:
        return one(TvsiStatsForProcessId(pid, record), TVSI_ERR_NOT_FOUND, 0, table.size(),
                   [=](const Entry& entry) { return entry.stats.processId == pid; });
    case 1:
        return one(
            TvsiStatsForVokSessionId(number, record), TVSI_ERR_NOT_FOUND, 2, table.size(),
            [=](const Entry& entry) { return isVok(entry) && entry.stats.sessionId == number; });
    case 2:
        return one(TvsiStatsForPgsvrSessionId(number, record), TVSI_ERR_NOT_FOUND, 0, table.size(),
                   [=](const Entry& entry) {
                       return isPageServer(entry) && entry.stats.sessionId == number;
                   });
    case 3:
        return one(TvsiStatsForVokSessionWithName("session2", record), TVSI_ERR_NOT_FOUND, 2,
                   table.size(), [](const Entry& entry) {
                       return (isVok(entry) || entry.statType == SHRPC_VokThr) &&
                              nameOf(entry) == "session2";
                   });
    case 4:
        return one(TvsiStatsForBrox(record), TVSI_ERR_NO_BROX, 1, 2,
                   [](const Entry& entry) { return entry.statType == SHRPC_BROX; });
    case 5:
        return one(TvsiStatsForShrPcMon(record), TVSI_ERR_CACHE_CONNECTION_SEVERED, 0, 1,
                   [](const Entry& entry) { return entry.statType == SHRPC_MONITOR; });
    case 6:
        require(TvsiFetchMaxProcessesInCache(&count) == dead, "the status is the cache's");
        return require(count == (dead ? -1 : table.size()), "the table's size");
    case 7: {
        const bool isForFixedSlots = (mask & ~std::uint32_t{SHRPC_MONITOR | SHRPC_BROX}) == 0;
        const bool hasNoBrox = mask == SHRPC_BROX && table[1].statType != SHRPC_BROX;
        return many(TvsiAllStatsForMask(mask, record, &count), record, hasNoBrox ? 2 : 0,
                    isForFixedSlots ? 2 : table.size(),
                    [=](const Entry& entry) { return (entry.statType & mask) != 0; });
    }
    case 8:
        return many(TvsiAllVokStatsForVokKindRange(kind - 3, kind, array, &count), array, 2,
                    table.size(), [=](const Entry& entry) {
                        const std::int64_t own = entry.stats.u.vok.vokKind;
                        return isVok(entry) && kind - 3 <= own && own <= kind;
                    });
    case 9:
        return many(TvsiAllVokStatsForRegexName("sS", TRUE, array, &count, text, sizeof text),
                    array, 2, table.size(), [](const Entry& entry) {
                        return isVok(entry) && strcasestr(nameOf(entry).c_str(), "ss") != nullptr;
                    });
    default:
        require(TvsiCacheIsAlive() == (dead ? 0 : 1), "whether the cache is alive");
    }
}

void makeChanges(Input* input, std::size_t limit, std::vector<Change>* changes) {
    while (!input->isEmpty() && changes->size() < limit) {
        changes->push_back(image->takeChange(input));
        image->make(changes->back());
    }
}

/* Every query once, from one that the input chooses on: the first one meets the cache's death. */
void attachAndQuery(Input* input, std::vector<Change>* changes) {
    const std::size_t early = input->take<std::uint8_t>() % 8;
    const auto argument = input->take<std::uint32_t>();
    makeChanges(input, early, changes);
    prepareHandle();
    if (attach(cacheName) != TVSI_SUCCESS) {
        return;
    }
    const Table table;
    makeChanges(input, mostChanges, changes);
    int dead = table.isAlive() ? TVSI_SUCCESS : TVSI_ERR_CACHE_CONNECTION_SEVERED;
    for (unsigned i = 0; i < queryCount; ++i) {
        query((argument + i) % queryCount, argument, table, dead);
        dead = dead ? TVSI_ERR_CACHE_NOT_ATTACHED : TVSI_SUCCESS;
    }
    TvsiDetachSharedCache();
}

} // namespace

/* The watcher: it starts at once, and its last act is the detach. */
extern "C" {
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    if (function != WatcherThreadMain) {
        return __real_pthread_create(thread, attributes, function, argument);
    }
    handle = static_cast<SharedCacheHandleSType*>(argument);
    handle->watcherThreadRunning = TRUE;
    handle->status = SPC_ACTIVE;
    *thread = watcher;
    return 0;
}
int __real_pthread_join(pthread_t, void**);
int __wrap_pthread_join(pthread_t, void**);
int __wrap_pthread_join(pthread_t thread, void** result) {
    if (thread != watcher) {
        return __real_pthread_join(thread, result);
    }
    handle->detachCache();
    return 0;
}
}

int LLVMFuzzerInitialize(int*, char***) {
    {
        const testsupport::TestCache cache;
        TvsiInit();
        require(attach(cache.name().c_str()) == TVSI_SUCCESS, "a cache can be attached");
        TvsiDetachSharedCache();
    }
    image.emplace();
    for (int capacity = 1; capacity <= mostRecords; ++capacity) {
        arrays[capacity].resize(static_cast<std::size_t>(capacity));
    }
    setlocale(LC_ALL, "C"); /* letters are bytes, for the expression as for the comparison */
    silenceLibrary();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<Change> changes;
    Input input(data, size);
    const auto cut = input.take<std::uint32_t>();
    image->setSize(cut != 0 ? cut % (image->fullSize() + 1) : image->fullSize());
    attachAndQuery(&input, &changes);
    for (const Change& change : changes) {
        image->undo(change);
    }
    changes.clear();
    return 0;
}
