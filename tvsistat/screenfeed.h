/* Where the live screen's samples come from: caches of this host, or what was recorded of some. */
#ifndef SCREENFEED_H
#define SCREENFEED_H

#include "exitstatus.h"
#include "screenmodel.h"
#include "stopsignal.h"

#include <optional>
#include <poll.h>
#include <vector>

namespace tvsistat {

/* Fills the model and does what its keys ask for. The model must outlive it. */
class ScreenFeed {
public:
    ScreenFeed() = default;
    virtual ~ScreenFeed() = default;
    ScreenFeed(const ScreenFeed&) = delete;
    ScreenFeed& operator=(const ScreenFeed&) = delete;

    /* Takes what has come and does what is due, for a moment at most. True when the picture is no
     * longer true. */
    virtual bool advance() = 0;
    /* What advance() is to be called for: descriptors that are ready, and a moment. */
    virtual void addDescriptors(std::vector<pollfd>& descriptors) const = 0;
    virtual Deadline nextDeadline() const = 0;

    virtual void obey(ScreenModel::Wish wish) = 0;
    /* The clock shows another second. */
    virtual void tick() = 0;

    /* Why there is nothing to show at all. */
    virtual std::optional<samples::Failure> failure() const = 0;
    /* What the program exits with when it is quit. */
    virtual samples::ExitStatus status() const { return samples::ExitStatus::Ok; }
};

/* Real time, since the epoch. */
inline int64_t realNow() {
    return samples::currentTimes().realNs;
}

} // namespace tvsistat

#endif
