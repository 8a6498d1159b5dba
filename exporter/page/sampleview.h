/* The processes of a sample, each with itself in the sample before, by kind. */
#ifndef SAMPLEVIEW_H
#define SAMPLEVIEW_H

#include "computation.h"
#include "fieldchoice.h"
#include "processmatcher.h"
#include "sample.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace exporter {

/* Made to be used for one sample after the other. The samples must outlive what it is asked. */
class SampleView {
public:
    void show(const samples::Sample& now, const samples::Sample* before);

    const samples::Moment& moment() const { return shown; }
    /* In the order of the sample, those of unknown kinds too. */
    std::span<const samples::Process> processes() const { return all; }
    std::span<const samples::Process> of(const statscatalogue::Kind& kind) const {
        return kinds[static_cast<size_t>(kind.index)];
    }

    /* Of processes of one kind; nothing where the kind has no such field. */
    samples::Number value(const ChosenField& field,
                          std::span<const samples::Process> processes) const;
    samples::Number rate(const ChosenField& field,
                         std::span<const samples::Process> processes) const;

private:
    samples::ProcessMatcher matcher;
    samples::Moment shown;
    std::vector<samples::Process> all;
    std::array<std::vector<samples::Process>, SHRPC_numStatTypes> kinds;
};

} // namespace exporter

#endif
