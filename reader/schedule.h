/* Moments at a fixed distance on the monotonic clock. They don't drift: what comes late doesn't
 * delay what follows, and what has been missed altogether is left out. */
#ifndef SCHEDULE_H
#define SCHEDULE_H

#include <cstdint>

namespace reader {

/* From a moment on the wall clock to the next whole multiple of a distance since the epoch: the one
 * after it when that is less than half the distance away and `isNext` asks for another moment than
 * the one just reached. */
constexpr int64_t untilMultiple(int64_t wallClock, int64_t distance, bool isNext) {
    const int64_t left = distance - wallClock % distance;
    return isNext && left < distance / 2 ? left + distance : left;
}

class Schedule {
public:
    /* The first moment is `start`; `interval` 0: always now. In nanoseconds. */
    Schedule(int64_t start, int64_t interval) : due(start), distance(interval) {}

    /* The moment that comes next, or is over already. */
    int64_t next() const { return due; }
    /* It has been reached, at `now`: how late, and the one after it becomes the next. */
    int64_t reach(int64_t now) {
        const int64_t late = now > due && distance > 0 ? now - due : 0;
        due = distance > 0 ? due + distance * (late / distance + 1) : now;
        return late;
    }
    /* Lets another moment be the next one. */
    void moveTo(int64_t moment) { due = moment; }

private:
    int64_t due;
    int64_t distance;
};

} // namespace reader

#endif
