/*
 * Comparing a subject with its limit: batches of the two alternate, so that whatever else the
 * machine does meets both, and each pair of neighbouring batches gives one ratio. Medians of the
 * pairs are what counts.
 */
#ifndef BENCH_COMPARISON_H
#define BENCH_COMPARISON_H

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

namespace bench {

struct Comparison {
    double subject; /* one call, median; nanoseconds unless something else is compared */
    double limit;
    double ratio;  /* median of the pairs' ratios */
    double excess; /* median of the pairs' differences */
};

/* What to measure: the time that passes, or, where nothing waits, the processor time of this
   thread, which other processes don't lengthen. */
enum class Time { passing, ofThread };

/* How long to measure: until both numbers are reached. */
struct Effort {
    std::chrono::nanoseconds total;
    int minPairs;
    std::chrono::nanoseconds batch; /* a batch lasts about as long; 0: one call */
    Time time = Time::passing;
};

using Clock = std::chrono::steady_clock;

inline double nanoseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::nano>(duration).count();
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

inline double nanosecondsNow(Time time) {
    timespec now{};
    clock_gettime(time == Time::ofThread ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &now);
    return 1e9 * static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec);
}

/* Nanoseconds of one call, averaged over `calls` of them. */
template <typename Function> double timeCalls(Time time, int calls, Function& function) {
    const double start = nanosecondsNow(time);
    for (int i = 0; i < calls; ++i) {
        function();
    }
    return (nanosecondsNow(time) - start) / calls;
}

/* As many calls as fill a batch. The first one, which may have pages mapped, doesn't count: it
   alone could outlast a batch, which would then be of a single call and of the clock's own time. */
template <typename Function> int callsInBatch(const Effort& effort, Function& function) {
    if (effort.batch.count() == 0) {
        return 1;
    }
    function();
    int calls = 1;
    while (timeCalls(effort.time, calls, function) * calls <
           static_cast<double>(effort.batch.count())) {
        calls *= 2;
    }
    return calls;
}

class Pairs {
public:
    void add(double subject, double limit) {
        subjects_.push_back(subject);
        limits_.push_back(limit);
        ratios_.push_back(subject / limit);
        excesses_.push_back(subject - limit);
    }
    int count() const { return static_cast<int>(ratios_.size()); }
    Comparison medians() const {
        return {median(subjects_), median(limits_), median(ratios_), median(excesses_)};
    }

private:
    std::vector<double> subjects_, limits_, ratios_, excesses_;
};

/* `prepare(bool forSubject)` runs before each batch, untimed. */
template <typename Subject, typename Limit, typename Prepare>
Comparison compare(const Effort& effort, Subject subject, Limit limit, Prepare prepare) {
    const auto end = Clock::now() + effort.total;
    prepare(true);
    const int subjectCalls = callsInBatch(effort, subject);
    prepare(false);
    const int limitCalls = callsInBatch(effort, limit);
    Pairs pairs;
    while (pairs.count() < effort.minPairs || Clock::now() < end) {
        prepare(false);
        const double limitNs = timeCalls(effort.time, limitCalls, limit);
        prepare(true);
        pairs.add(timeCalls(effort.time, subjectCalls, subject), limitNs);
    }
    return pairs.medians();
}

template <typename Subject, typename Limit>
Comparison compare(const Effort& effort, Subject subject, Limit limit) {
    return compare(effort, subject, limit, [](bool) {});
}

} // namespace bench

#endif
