/*
 * A whole attach with queries on a damaged segment, which goes on changing while the queries run.
 *
 * The segment is an image behind shmget, shmctl, shmat and shmdt as defined here. An input: whether
 * a second thread changes the segment at the same time, the segment's size, then steps. Each is an
 * attach, a detach, a query or the change of one word; the changes are undone after the run.
 */
#include <atomic>
#include <optional>
#include <poll.h>
#include <sys/shm.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "basetypes.h"
#include "registrydirectory.h"
#include "segmentimage.h"
#include "tvsi.h"

using namespace fuzzing;

namespace {

std::optional<SegmentImage> image; /* there are attaches once it is */
std::string cacheName;

void requireStatus(int status) {
    require(status == TVSI_SUCCESS || status == TVSI_ERR_NOT_FOUND ||
                status == TVSI_ERR_CACHE_CONNECTION_SEVERED || status == TVSI_ERR_NO_BROX ||
                status == TVSI_ERR_CACHE_NOT_ATTACHED || status == TVSI_ERR_BAD_REGEX,
            "the status is a query's");
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
        return require(count <= static_cast<int>(image->size() / sizeof(ShrPcPteSType)),
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

void runSteps(Input* input, std::vector<Change>* changes) {
    while (!input->isEmpty()) {
        const auto step = input->take<std::uint8_t>();
        switch (step % 16) {
        case 0:
            attach(cacheName.c_str());
            break;
        case 1:
            TvsiDetachSharedCache();
            break;
        case 2:
        case 3:
        case 4:
            changes->push_back(image->takeChange(input));
            image->make(changes->back());
            break;
        default:
            query(step % 16 - 5U, step);
        }
    }
}

/* All changes of the input, over and over, while the steps run. */
class ChangingThread {
public:
    explicit ChangingThread(Input input) {
        while (!input.isEmpty()) {
            changes_.push_back(image->takeChange(&input));
        }
        thread_ = std::thread([this] {
            while (!isDone_) {
                for (const Change& change : changes_) {
                    image->make(change);
                    std::this_thread::yield();
                    image->undo(change);
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

} // namespace

/* The calls that lead to the segment, and those that would take time. */
extern "C" {
int shmget(key_t, size_t, int) noexcept {
    return 1;
}
int shmctl(int, int, shmid_ds* buf) noexcept {
    buf->shm_segsz = image->size();
    return 0;
}
void* shmat(int, const void*, int) noexcept {
    return image->libraryView();
}
int shmdt(const void*) noexcept {
    return 0;
}
int poll(pollfd*, nfds_t, int) {
    return usleep(20);
}
}

int LLVMFuzzerInitialize(int*, char***) {
    image.emplace();
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
    image->setSize((kind & 2) != 0 ? cut % (image->fullSize() + 1) : image->fullSize());
    std::vector<Change> changes;
    {
        std::unique_ptr<ChangingThread> changing;
        if ((kind & 1) != 0) {
            changing = std::make_unique<ChangingThread>(input);
        }
        attach(cacheName.c_str());
        runSteps(&input, &changes);
        TvsiDetachSharedCache();
    }
    for (const Change& change : changes) {
        image->undo(change);
    }
    return 0;
}
