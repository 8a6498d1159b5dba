/* What is read of a range of memory, in which order, and what if a word changes between two reads:
   each instruction of this process that touches the range is seen before it does. */
#ifndef TESTING_WATCHEDMEMORY_H
#define TESTING_WATCHEDMEMORY_H

#include <cstddef>
#include <functional>

namespace testsupport {

class WatchedMemory {
public:
    /* Whole pages. `onAccess` runs in a signal handler, with the distance from `start` of the first
       byte that is touched. One object at a time, and no other thread may touch the range; a system
       call that is given memory of it fails. */
    WatchedMemory(void* start, std::size_t size, std::function<void(std::size_t)> onAccess);
    WatchedMemory& operator=(WatchedMemory&&) = delete;
    ~WatchedMemory();
};

} // namespace testsupport

#endif
