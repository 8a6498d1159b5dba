#include "metricvalue.h"

namespace samples {
namespace {

using statscatalogue::Meaning;
using statscatalogue::Value;

/* A counter never falls below nothing; a broken one may. */
uint64_t countOf(Value value) {
    return value.isSigned && value.asSigned() < 0 ? 0 : value.asUnsigned();
}

uint64_t gainOf(const MetricPlace& place, const Process& process) {
    const auto valueIn = [&](const Record& record) {
        return statscatalogue::read(record.blocks + place.packedOffset, place.type);
    };
    if (process.before == nullptr) {
        return countOf(valueIn(*process.now));
    }
    const Number growth =
        counterGrowth(place.type, valueIn(*process.now), valueIn(*process.before));
    return growth ? static_cast<uint64_t>(growth.asSigned()) : 0;
}

} // namespace

void addGain(uint64_t& total, const MetricPlace& place, const Process& process) {
    const uint64_t gain = gainOf(place, process);
    total = total > UINT64_MAX - gain ? UINT64_MAX : total + gain;
}

Number gaugeOf(const Figure& figure, std::span<const Process> processes, const Moment& moment) {
    const Number value = valueOf(figure, processes, moment);
    switch (figure.meaning) {
    case Meaning::Flag:
        return value ? Number::ofUnsigned(value.isZero() ? 0 : 1) : value;
    case Meaning::EventTime:
        return value.isZero() ? Number() : value;
    default:
        return value;
    }
}

} // namespace samples
