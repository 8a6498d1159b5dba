/* Finds each process of a sample in the sample before it. */
#ifndef PROCESSMATCHER_H
#define PROCESSMATCHER_H

#include "sample.h"

#include <cstdint>
#include <span>
#include <vector>

namespace samples {

/* Made to be reused: its buffers are kept. */
class ProcessMatcher {
public:
    /* For each record of `now` its record in `before`, or null: the one with the same kind, pid,
     * start time, session and name. Of several that are alike, cacheSlotIndex tells which is which
     * where it differs among them; else they are paired in order. Costs a pass over both when
     * nothing has come or gone, a sort of what lies between the changes otherwise. Valid until the
     * next call and while `before` lives. */
    std::span<const Record* const> match(std::span<const Record> now,
                                         std::span<const Record> before);

private:
    void pairBySlot(std::span<const uint32_t> nowRun, std::span<const Record> now,
                    std::span<const uint32_t> beforeRun, std::span<const Record> before);
    void pairInOrder(std::span<uint32_t> nowRun, std::span<uint32_t> beforeRun,
                     std::span<const Record> before);

    std::vector<const Record*> matches;
    std::vector<uint32_t> nowOrder; /* positions, sorted by identity */
    std::vector<uint32_t> beforeOrder;
};

} // namespace samples

#endif
