/* Remembers the sample before, so that what has changed since can be told. */
#ifndef HISTORY_H
#define HISTORY_H

#include "computation.h"
#include "processmatcher.h"
#include "sample.h"

#include <optional>
#include <span>
#include <vector>

namespace samples {

/* The samples of one cache, from one attach to the next. */
class History {
public:
    /* A reader has attached, or a stream begins. When another monitor keeps the cache than before
     * (another process, or one that started at another time), nothing is compared across. What was
     * taken stays until the next sample. */
    void begin(const StreamHeader& header);

    /* Takes a sample; the one before it becomes the baseline. Returns the baseline until now, whose
     * memory may be of use. */
    std::optional<Sample> add(Sample sample);

    bool isEmpty() const { return !last; }
    /* The last sample; there must have been one. */
    const Sample& now() const { return *last; }
    bool hasBaseline() const { return baseline.has_value(); }

    /* The processes of the last sample, in its order. Valid until the next change. */
    std::span<const Process> processes() const { return pairs; }
    Moment moment() const;

private:
    std::optional<StreamHeader> attached;
    bool startsAnew = false; /* the next sample is the first of another monitor */
    std::optional<Sample> last;
    std::optional<Sample> baseline;
    ProcessMatcher matcher;
    std::vector<Process> pairs;
};

} // namespace samples

#endif
