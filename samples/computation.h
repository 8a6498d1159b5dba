/*
 * What a figure amounts to for one process, or for several taken together: its value, how much it
 * has grown since the sample before, and how fast. A process alone is a group of one.
 */
#ifndef COMPUTATION_H
#define COMPUTATION_H

#include "figure.h"
#include "sample.h"

#include <cstdint>
#include <span>

namespace samples {

/* A number that may be missing. */
class Number {
public:
    enum class Form : uint8_t { Nothing, Signed, Unsigned, Decimal };

    constexpr Number() = default;
    static constexpr Number ofSigned(int64_t value) {
        Number number(Form::Signed);
        number.bits.asSigned = value;
        return number;
    }
    static constexpr Number ofUnsigned(uint64_t value) {
        Number number(Form::Unsigned);
        number.bits.asUnsigned = value;
        return number;
    }
    static constexpr Number ofDecimal(double value) {
        Number number(Form::Decimal);
        number.bits.asDecimal = value;
        return number;
    }

    constexpr Form form() const { return shape; }
    constexpr explicit operator bool() const { return shape != Form::Nothing; }
    constexpr int64_t asSigned() const { return bits.asSigned; }
    constexpr uint64_t asUnsigned() const { return bits.asUnsigned; }
    /* The number as a double, whatever its form; 0 for nothing. */
    constexpr double asDouble() const {
        return shape == Form::Signed     ? static_cast<double>(bits.asSigned)
               : shape == Form::Unsigned ? static_cast<double>(bits.asUnsigned)
                                         : bits.asDecimal;
    }
    /* Also true for nothing. */
    constexpr bool isZero() const {
        return shape == Form::Decimal ? bits.asDecimal == 0 : bits.asUnsigned == 0;
    }

private:
    constexpr explicit Number(Form form) : shape(form) {}

    union {
        uint64_t asUnsigned;
        int64_t asSigned;
        double asDecimal;
    } bits{0};
    Form shape = Form::Nothing;
};

/* Orders numbers by value; nothing comes before every number. */
bool isLess(Number one, Number other);

/* A process now and in the sample before. */
struct Process {
    const Record* now;
    const Record* before; /* null: it wasn't there, or there was no sample */
};

/* When the processes were looked at. */
struct Moment {
    int64_t realNs = 0; /* the reader's clock, since the epoch */
    double seconds = 0; /* since the sample before; 0: there is none */
};

/* The figure's value; for several processes as the catalogue aggregates it: their sum, the
 * greatest, or, where no arithmetic makes sense, what all of them have in common. All must be of
 * the figure's kind. */
Number valueOf(const Figure& figure, std::span<const Process> processes, const Moment& moment);

/* How much the figure has grown since the sample before, summed over the processes for which that
 * is known. A 32-bit counter may have wrapped around once; one that went back (its owner started
 * anew) has no growth. Gauges and positions also fall. */
Number growthOf(const Figure& figure, std::span<const Process> processes);

/* The least and the greatest that a gauge of one process has been over the samples that this one
 * stands for; of one look they are its value. Nothing for several processes, and other figures. */
Number minimumOf(const Figure& figure, std::span<const Process> processes);
Number maximumOf(const Figure& figure, std::span<const Process> processes);

/* A counter's growth per second; nothing for other figures. */
Number rateOf(const Figure& figure, std::span<const Process> processes, const Moment& moment);

/* How far a number that wraps has come, forwards or backwards. */
inline int64_t stepsBetween(statscatalogue::FieldType type, statscatalogue::Value before,
                            statscatalogue::Value now) {
    const uint64_t growth = now.bits - before.bits;
    return widthOf(type) == 4 ? static_cast<int32_t>(growth) : static_cast<int64_t>(growth);
}

/* From a counter's value before to its value now, or nothing when it went back: growth beyond half
 * the counter's width is taken for that. */
inline Number counterGrowth(statscatalogue::FieldType type, statscatalogue::Value now,
                            statscatalogue::Value before) {
    const int64_t steps = stepsBetween(type, before, now);
    return steps < 0 ? Number() : Number::ofSigned(steps);
}

} // namespace samples

#endif
