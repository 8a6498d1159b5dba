#include "sharedsegment.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <sys/shm.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace standin {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

struct CreatedSegment {
    key_t key;
    int id;
};

/* Tries random keys until one is free: a fixed one could be anybody's. */
CreatedSegment createOnFreeKey(std::size_t size, mode_t mode,
                               const BeforeCreation& beforeCreation) {
    std::random_device random;
    std::uniform_int_distribution<key_t> keys(1, std::numeric_limits<key_t>::max());
    for (;;) {
        const key_t key = keys(random);
        if (beforeCreation) {
            beforeCreation(key);
        }
        const int id =
            shmget(key, size, IPC_CREAT | IPC_EXCL | static_cast<int>(mode & mode_t{0777}));
        if (id != -1) {
            return {key, id};
        }
        if (errno != EEXIST) {
            fail("cannot create a shared memory segment of " + std::to_string(size) + " bytes");
        }
    }
}

} // namespace

SharedSegment SharedSegment::create(std::size_t size, mode_t mode,
                                    const BeforeCreation& beforeCreation) {
    const CreatedSegment created = createOnFreeKey(size, mode, beforeCreation);
    return SharedSegment(created.key, created.id, getpid());
}

SharedSegment SharedSegment::attach(int id) {
    return SharedSegment(IPC_PRIVATE, id, 0);
}

SharedSegment SharedSegment::ofBytes(std::span<const std::byte> bytes, mode_t mode,
                                     const BeforeCreation& beforeCreation) {
    SharedSegment segment = create(bytes.size(), mode, beforeCreation);
    std::memcpy(segment.address(), bytes.data(), bytes.size());
    return segment;
}

SharedSegment::SharedSegment(key_t key, int id, pid_t creator)
    : key_(key), id_(id), creator_(creator), address_(shmat(id, nullptr, 0)), size_(0) {
    shmid_ds status{};
    if (address_ == reinterpret_cast<void*>(-1) || shmctl(id, IPC_STAT, &status) == -1) {
        const int error = errno;
        if (address_ != reinterpret_cast<void*>(-1)) {
            shmdt(address_);
        }
        remove();
        errno = error;
        fail("cannot attach the shared memory segment with id " + std::to_string(id));
    }
    size_ = status.shm_segsz;
}

SharedSegment::SharedSegment(SharedSegment&& other) noexcept
    : key_(other.key_), id_(other.id_), creator_(std::exchange(other.creator_, 0)),
      address_(std::exchange(other.address_, nullptr)), size_(other.size_) {}

SharedSegment::~SharedSegment() {
    if (address_ != nullptr) {
        shmdt(address_);
    }
    remove();
}

void SharedSegment::remove() {
    if (creator_ == getpid()) {
        shmctl(id_, IPC_RMID, nullptr);
    }
    creator_ = 0;
}

CacheSegment::CacheSegment(const SegmentGeometry& geometry, mode_t mode,
                           const BeforeCreation& beforeCreation)
    : SharedSegment(SharedSegment::create(geometry.segmentSize, mode, beforeCreation)),
      CacheView(layOut(address(), size(), geometry)) {}

std::optional<FoundSegment> findSegment(key_t key) {
    const int id = key == IPC_PRIVATE ? -1 : shmget(key, 0, 0);
    shmid_ds status{};
    if (id == -1 || shmctl(id, IPC_STAT, &status) == -1) {
        return std::nullopt;
    }
    return FoundSegment{id, status.shm_cpid};
}

} // namespace standin
