/*
 * One System V segment, mapped into this process: created on a free key, or attached by its id.
 *
 * The object that created a segment removes it when it goes, unless another process does that in
 * a forked copy of it; every object unmaps it.
 */
#ifndef STANDIN_SHAREDSEGMENT_H
#define STANDIN_SHAREDSEGMENT_H

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <sys/ipc.h>
#include <sys/types.h>

#include "cacheview.h"

namespace standin {

/* Called with each key before a segment is created on it, to note who is going to. What a process
   notes can be removed when it has been killed at whatever moment; see findSegment(). */
using BeforeCreation = std::function<void(key_t)>;

class SharedSegment {
public:
    /* All of these throw std::system_error. `mode` holds the permission bits. */
    static SharedSegment create(std::size_t size, mode_t mode = 0600,
                                const BeforeCreation& beforeCreation = {});
    static SharedSegment attach(int id);
    /* A segment of exactly these bytes: any malformed cache, also one shorter than a header. */
    static SharedSegment ofBytes(std::span<const std::byte> bytes, mode_t mode = 0600,
                                 const BeforeCreation& beforeCreation = {});

    SharedSegment(SharedSegment&& other) noexcept;
    SharedSegment& operator=(SharedSegment&&) = delete;
    ~SharedSegment();

    key_t key() const { return key_; } /* never 0, never -1; IPC_PRIVATE when attached by id */
    int id() const { return id_; }
    void* address() const { return address_; }
    std::size_t size() const { return size_; }

    /* Removes the segment now; mappings stay valid. Does nothing the second time. */
    void remove();

private:
    SharedSegment(key_t key, int id, pid_t creator);

    key_t key_;
    int id_;
    pid_t creator_; /* process that removes the segment; 0: nobody does */
    void* address_;
    std::size_t size_;
};

/* A cache in a segment of its own, laid out completely; initDone waits for setInitDone(). */
class CacheSegment : public SharedSegment, public CacheView {
public:
    explicit CacheSegment(const SegmentGeometry& geometry, mode_t mode = 0600,
                          const BeforeCreation& beforeCreation = {});
};

struct FoundSegment {
    int id;
    pid_t creator; /* the process that created it, dead or alive */
};

/* The segment with that key, if there is one and this user may read it. */
std::optional<FoundSegment> findSegment(key_t key);

} // namespace standin

#endif
