#include "history.h"

namespace samples {

void History::begin(const StreamHeader& header) {
    if (attached && (attached->monitorPid != header.monitorPid ||
                     attached->monitorStartedNs != header.monitorStartedNs)) {
        startsAnew = true;
    }
    attached = header;
}

std::optional<Sample> History::add(Sample sample) {
    if (startsAnew) {
        last.reset();
        startsAnew = false;
    }
    std::optional<Sample> passed = std::move(baseline);
    baseline = std::move(last);
    last = std::move(sample);
    pairs.clear();
    const auto records = last->records();
    if (!baseline) {
        for (const Record& record : records) {
            pairs.push_back({&record, nullptr});
        }
        return passed;
    }
    const auto matches = matcher.match(records, baseline->records());
    for (size_t i = 0; i < records.size(); i++) {
        pairs.push_back({&records[i], matches[i]});
    }
    return passed;
}

Moment History::moment() const {
    Moment moment{last->times.realNs, 0};
    if (baseline) {
        moment.seconds =
            static_cast<double>(last->times.monotonicNs - baseline->times.monotonicNs) / 1e9;
    }
    return moment;
}

} // namespace samples
