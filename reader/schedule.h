/* When samples are due: moments at a fixed distance, which don't drift. What comes late doesn't
 * delay what follows, and what has been missed altogether is left out.
 *
 * The moments stand on the monotonic clock, or, aligned, at whole multiples of the distance on the
 * wall clock. When that is set forward past the next one, it is due at once; when it is set back so
 * far that more than one and a half distances would pass, the next multiple counts. */
#ifndef SCHEDULE_H
#define SCHEDULE_H

#include "sample.h"

#include <cstdint>

namespace reader {

class Schedule {
public:
    /* The first moment is `now`, aligned the first multiple after it. In nanoseconds; `interval` 0,
     * which cannot be aligned: always now. */
    Schedule(const samples::Times& now, int64_t interval, bool isAligned)
        : distance(interval), aligned(isAligned),
          due(isAligned ? multipleAfter(now.realNs) : now.monotonicNs) {}

    /* How long it is until the next moment; not positive once it has come. */
    int64_t left(const samples::Times& now) {
        if (distance == 0) {
            return 0;
        }
        if (aligned && due - now.realNs > distance + distance / 2) {
            due = multipleAfter(now.realNs);
        }
        return due - clock(now);
    }
    /* The next moment has come: how late it is, and the one after it becomes the next. */
    int64_t reach(const samples::Times& now) {
        if (distance == 0) {
            return 0;
        }
        const int64_t late = clock(now) > due ? clock(now) - due : 0;
        due += distance * (late / distance + 1);
        return late;
    }

private:
    int64_t clock(const samples::Times& now) const {
        return aligned ? now.realNs : now.monotonicNs;
    }
    int64_t multipleAfter(int64_t moment) const { return moment - moment % distance + distance; }

    int64_t distance;
    bool aligned;
    int64_t due;
};

} // namespace reader

#endif
