/* Makes the reports of one cache: chooses what of a sample is shown, and hands it to the view. */
#ifndef SHOWING_H
#define SHOWING_H

#include "history.h"
#include "view.h"

#include <optional>
#include <string>
#include <vector>

namespace tvsistat {

/* One for each cache. */
class Showing {
public:
    /* References must outlive it. */
    Showing(const Request& asked, View& shownBy) : request(asked), view(shownBy) {}

    void begin(const samples::StreamHeader& header);
    /* Forgets its samples, and whose they were. */
    void forget();
    const samples::StreamHeader& header() const { return attached; }

    /* Takes a sample without showing it: a baseline for the next one. Lets whoever it is from have
     * the memory of one that is no longer needed. */
    template <class Source> void take(samples::Sample sample, Source& source) {
        behind += held ? 1U : 0U;
        if (auto passed = history.add(std::move(sample))) {
            source.recycle(std::move(*passed));
        }
    }

    /* Every sample; empty before the first. */
    const samples::History& taken() const { return history; }
    /* What is shown: the same, or what is held. */
    const samples::History& picture() const { return held ? *held : history; }

    /* Keeps showing the last sample, and its rates, while further ones are taken; there must have
     * been one. */
    void hold();
    /* Shows the last sample again. */
    void release();
    bool isHeld() const { return held.has_value(); }
    /* Samples taken since hold(). */
    uint64_t numBehind() const { return behind; }

    /* Appends the report on the sample that was taken last, or that is held. */
    void append(std::string& text);

    unsigned numReports() const { return reports; }
    /* Whether any process was ever selected. */
    bool hasMatched() const { return matched; }

private:
    void findWarnings(std::span<const samples::Process> processes);

    const Request& request;
    View& view;
    samples::StreamHeader attached;
    samples::History history;
    std::optional<samples::History> held;
    uint64_t behind = 0;
    samples::RowMaker maker;
    std::vector<std::string> warnings;
    unsigned reports = 0;
    unsigned alike = 0; /* reports in a row whose counters printed as they did last */
    samples::Printing lastPrinting{};
    bool matched = false;
};

} // namespace tvsistat

#endif
