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
    snprintf(memory.locStr, sizeof memory.locStr, "%s", cacheName);
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
    const auto* bytes = reinterpret_cast<const char*>(&record);
    return std::equal(bytes, bytes + sizeof record, reinterpret_cast<const char*>(&entry.stats));
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

/* Makes queries with arguments from one word. Each must answer the status `dead`, or when that is
   TVSI_SUCCESS what the table holds. */
class Asker {
public:
    Asker(std::uint32_t word, const Table& table)
        : word_(word), table_(table), number_(1 + static_cast<int>(word >> 8)),
          capacity_(1 + static_cast<int>(word % mostRecords)), record_(arrays[capacity_].data()),
          array_((word & 128) != 0 ? nullptr : record_) {}

    void ask(unsigned which, int dead) {
        dead_ = dead;
        count_ = capacity_;
        if (which < 6) {
            return askForOne(which);
        }
        if (which < 9) {
            return askForMany(which);
        }
        if (which == 9) {
            require(TvsiFetchMaxProcessesInCache(&count_) == dead, "the status is the cache's");
            return require(count_ == (dead ? -1 : table_.size()), "the table's size");
        }
        require(TvsiCacheIsAlive() == (dead ? 0 : 1), "whether the cache is alive");
    }

private:
    template <typename Qualifies>
    void one(int status, int missing, int first, int end, Qualifies qualifies) const {
        const Entry* found = nullptr;
        table_.forEach(first, dead_ ? 0 : end, [&](const Entry& entry) {
            found = !found && qualifies(entry) ? &entry : found;
        });
        const int alive = found ? TVSI_SUCCESS : missing;
        require(status == (dead_ ? dead_ : alive), "the status fits the table");
        require(!found || isRecordOf(*record_, *found), "the record is the entry's");
    }

    /* Of the slots from `first` on. */
    template <typename Qualifies>
    void many(int status, const TvsiResultSType* records, int first, int end,
              Qualifies qualifies) const {
        const int limit = records ? capacity_ : INT_MAX;
        int found = 0;
        table_.forEach(first, dead_ ? 0 : end, [&](const Entry& entry) {
            if (found < limit && qualifies(entry)) {
                require(!records || isRecordOf(records[found], entry), "a record is the entry's");
                ++found;
            }
        });
        require(status == dead_ && (dead_ || count_ == found), "the count fits the table");
    }

    void askForOne(unsigned which) const {
        const int pid = (word_ & 64) != 0 ? getpid() : number_;
        const auto hasPid = [=](const Entry& entry) { return entry.stats.processId == pid; };
        const auto isSession = [this](const Entry& entry) {
            return isVok(entry) && entry.stats.sessionId == number_;
        };
        const auto isServer = [this](const Entry& entry) {
            return isPageServer(entry) && entry.stats.sessionId == number_;
        };
        const auto isNamed = [](const Entry& entry) {
            return (isVok(entry) || entry.statType == SHRPC_VokThr) && nameOf(entry) == "session2";
        };
        const auto isBrox = [](const Entry& entry) { return entry.statType == SHRPC_BROX; };
        const auto isMonitor = [](const Entry& entry) { return entry.statType == SHRPC_MONITOR; };
        constexpr int none = TVSI_ERR_NOT_FOUND;
        const int end = table_.size();
        switch (which) {
        case 0:
            return one(TvsiStatsForProcessId(pid, record_), none, 0, end, hasPid);
        case 1:
            return one(TvsiStatsForVokSessionId(number_, record_), none, 2, end, isSession);
        case 2:
            return one(TvsiStatsForPgsvrSessionId(number_, record_), none, 0, end, isServer);
        case 3:
            return one(TvsiStatsForVokSessionWithName("session2", record_), none, 2, end, isNamed);
        case 4:
            return one(TvsiStatsForBrox(record_), TVSI_ERR_NO_BROX, 1, 2, isBrox);
        default:
            return one(TvsiStatsForShrPcMon(record_), TVSI_ERR_CACHE_CONNECTION_SEVERED, 0, 1,
                       isMonitor);
        }
    }

    void askForMany(unsigned which) {
        const std::uint32_t mask = std::max((word_ >> 8) % SHRPC_SYSTEM, 1U);
        const int highest = static_cast<int>(word_ >> 8 & 255) - 128;
        const auto isOfKind = [=](const Entry& entry) { return (entry.statType & mask) != 0; };
        const auto isInRange = [=](const Entry& entry) {
            const std::int64_t kind = entry.stats.u.vok.vokKind;
            return isVok(entry) && highest - 3 <= kind && kind <= highest;
        };
        const auto matches = [](const Entry& entry) {
            return isVok(entry) && strcasestr(nameOf(entry).c_str(), "ss") != nullptr;
        };
        const int end = table_.size();
        if (which == 6) {
            const bool isForFixedSlots = (mask & ~std::uint32_t{SHRPC_MONITOR | SHRPC_BROX}) == 0;
            const bool hasNoBrox = mask == SHRPC_BROX && table_[1].statType != SHRPC_BROX;
            return many(TvsiAllStatsForMask(mask, record_, &count_), record_, hasNoBrox ? 2 : 0,
                        isForFixedSlots ? 2 : end, isOfKind);
        }
        if (which == 7) {
            return many(TvsiAllVokStatsForVokKindRange(highest - 3, highest, array_, &count_),
                        array_, 2, end, isInRange);
        }
        char text[16];
        many(TvsiAllVokStatsForRegexName("sS", TRUE, array_, &count_, text, sizeof text), array_, 2,
             end, matches);
    }

    std::uint32_t word_;
    const Table& table_;
    int number_;
    int capacity_;
    TvsiResultSType* record_;
    TvsiResultSType* array_; /* null: only to be counted */
    int dead_ = TVSI_SUCCESS;
    int count_ = 0;
};

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
    Asker asker(argument, table);
    for (unsigned i = 0; i < queryCount; ++i) {
        asker.ask((argument + i) % queryCount, dead);
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
