#include "computation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace samples {
namespace {

using statscatalogue::Aggregation;
using statscatalogue::DerivedFigure;
using statscatalogue::Reading;
using statscatalogue::Term;
using statscatalogue::Terms;
using statscatalogue::Value;

__extension__ using Wide = __int128; /* sums of 64-bit values don't overflow it */

Wide wide(Value value) {
    return value.isSigned ? static_cast<Wide>(value.asSigned())
                          : static_cast<Wide>(value.asUnsigned());
}

Number numberOf(Value value) {
    return value.isSigned ? Number::ofSigned(value.asSigned())
                          : Number::ofUnsigned(value.asUnsigned());
}

Number numberOf(Wide value) {
    if (value >= 0 && value <= UINT64_MAX) {
        return Number::ofUnsigned(static_cast<uint64_t>(value));
    }
    if (value < 0 && value >= INT64_MIN) {
        return Number::ofSigned(static_cast<int64_t>(value));
    }
    return Number::ofDecimal(static_cast<double>(value));
}

Value fieldOf(const Figure& figure, const Record& record) {
    return read(record.blocks + figure.packedOffset, figure.field->type);
}

/* The end of what a gauge has been, below its value or above it. */
Number besideValue(const Figure& figure, std::span<const Process> processes, bool isAbove) {
    if (processes.size() != 1 || figure.field == nullptr ||
        figure.meaning != statscatalogue::Meaning::Gauge) {
        return {};
    }
    const Record& record = *processes[0].now;
    uint64_t bits = fieldOf(figure, record).bits;
    if (record.merged > 0) {
        const std::byte* distances = isAbove ? record.above() : record.below();
        const uint64_t distance =
            statscatalogue::read(distances + figure.packedOffset, figure.field->type).bits;
        bits += isAbove ? distance : -distance;
    }
    std::array<std::byte, sizeof bits> bytes{};
    std::memcpy(bytes.data(), &bits, sizeof bits);
    return numberOf(statscatalogue::read(bytes.data(), figure.field->type));
}

Number fieldValue(const Figure& figure, std::span<const Process> processes) {
    const Value first = fieldOf(figure, *processes[0].now);
    if (processes.size() == 1) {
        return numberOf(first);
    }
    Wide sum = 0;
    Wide greatest = wide(first);
    bool isCommon = true;
    for (const Process& process : processes) {
        const Wide value = wide(fieldOf(figure, *process.now));
        sum += value;
        greatest = std::max(greatest, value);
        isCommon = isCommon && value == wide(first);
    }
    switch (figure.aggregation) {
    case Aggregation::Sum:
        return numberOf(sum);
    case Aggregation::Max:
        return numberOf(greatest);
    case Aggregation::None:
        break;
    }
    return isCommon ? numberOf(first) : Number();
}

/* One term of a formula for one process. */
std::optional<double> termOf(const Term& term, TermPlace place, const Process& process,
                             const Moment& moment) {
    const auto valueIn = [&](const Record& record) {
        return statscatalogue::read(record.blocks + place.packedOffset, place.type);
    };
    const Value now = valueIn(*process.now);
    switch (term.reading) {
    case Reading::Value:
        return numberOf(now).asDouble();
    case Reading::Age:
        if (now.bits == 0) {
            return std::nullopt;
        }
        return static_cast<double>(moment.realNs) / 1e9 - static_cast<double>(now.asSigned());
    case Reading::Rate:
        break;
    }
    if (process.before == nullptr || moment.seconds <= 0) {
        return std::nullopt;
    }
    const Number growth = counterGrowth(place.type, now, valueIn(*process.before));
    if (!growth) {
        return std::nullopt;
    }
    return growth.asDouble() / moment.seconds;
}

/* A numerator or denominator, its terms summed over the processes that have them. */
std::optional<double> sumOf(const Terms& terms, const TermPlace* places,
                            std::span<const Process> processes, const Moment& moment) {
    double sum = 0;
    for (size_t i = 0; i < terms.size() && !terms[i].field.empty(); i++) {
        bool isKnown = false;
        for (const Process& process : processes) {
            if (const auto value = termOf(terms[i], places[i], process, moment)) {
                sum += terms[i].sign * *value;
                isKnown = true;
            }
        }
        if (!isKnown) {
            return std::nullopt;
        }
    }
    return sum;
}

/* The formula over the processes taken together. */
Number evaluate(const Figure& figure, std::span<const Process> processes, const Moment& moment) {
    const DerivedFigure& derived = *figure.derived;
    const auto numerator = sumOf(derived.numerator, figure.terms.data(), processes, moment);
    if (!numerator) {
        return {};
    }
    if (!derived.hasDenominator()) {
        return Number::ofDecimal(derived.scale * *numerator);
    }
    const auto denominator = sumOf(
        derived.denominator, figure.terms.data() + derived.numerator.size(), processes, moment);
    if (!denominator || *denominator == 0) {
        return {};
    }
    return Number::ofDecimal(derived.scale * *numerator / *denominator);
}

Number derivedValue(const Figure& figure, std::span<const Process> processes,
                    const Moment& moment) {
    if (processes.size() == 1 || figure.aggregation == Aggregation::Sum) {
        return evaluate(figure, processes, moment);
    }
    Number greatest;
    bool isCommon = true;
    for (size_t i = 0; i < processes.size(); i++) {
        const Number own = evaluate(figure, processes.subspan(i, 1), moment);
        isCommon = isCommon && (i == 0 || own.asDouble() == greatest.asDouble());
        greatest = isLess(greatest, own) ? own : greatest;
    }
    return figure.aggregation == Aggregation::Max || isCommon ? greatest : Number();
}

} // namespace

bool isLess(Number one, Number other) {
    using Form = Number::Form;
    if (!one || !other) {
        return !one && other;
    }
    const auto isWhole = [](Number number) { return number.form() != Form::Decimal; };
    if (!isWhole(one) || !isWhole(other)) {
        return one.asDouble() < other.asDouble();
    }
    const auto wideOf = [](Number number) {
        return number.form() == Form::Signed ? static_cast<Wide>(number.asSigned())
                                             : static_cast<Wide>(number.asUnsigned());
    };
    return wideOf(one) < wideOf(other);
}

Number valueOf(const Figure& figure, std::span<const Process> processes, const Moment& moment) {
    return figure.field != nullptr ? fieldValue(figure, processes)
                                   : derivedValue(figure, processes, moment);
}

Number growthOf(const Figure& figure, std::span<const Process> processes) {
    if (!figure.hasGrowth() || (processes.size() > 1 && figure.aggregation != Aggregation::Sum)) {
        return {};
    }
    Wide sum = 0;
    bool isKnown = false;
    for (const Process& process : processes) {
        if (process.before == nullptr) {
            continue;
        }
        const Value now = fieldOf(figure, *process.now);
        const Value before = fieldOf(figure, *process.before);
        if (figure.meaning == statscatalogue::Meaning::Position) {
            sum += stepsBetween(figure.field->type, before, now);
        } else if (!figure.isCounter()) {
            sum += wide(now) - wide(before);
        } else if (const Number growth = counterGrowth(figure.field->type, now, before)) {
            sum += growth.asSigned();
        } else {
            continue;
        }
        isKnown = true;
    }
    return isKnown ? numberOf(sum) : Number();
}

Number minimumOf(const Figure& figure, std::span<const Process> processes) {
    return besideValue(figure, processes, false);
}

Number maximumOf(const Figure& figure, std::span<const Process> processes) {
    return besideValue(figure, processes, true);
}

Number rateOf(const Figure& figure, std::span<const Process> processes, const Moment& moment) {
    if (!figure.isCounter() || moment.seconds <= 0) {
        return {};
    }
    const Number growth = growthOf(figure, processes);
    return growth ? Number::ofDecimal(growth.asDouble() / moment.seconds) : Number();
}

} // namespace samples
