#include "longlist.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>

namespace tvsistat {
namespace {

using samples::Number;
using samples::Printing;
using samples::Row;
using statscatalogue::Meaning;
using statscatalogue::Unit;

constexpr size_t nameWidth = 44;
constexpr size_t valueWidth = 14;
constexpr size_t rateWidth = 12;

uint64_t keyOf(const Row& row) {
    return uint64_t{row.record().statType} << 32 | static_cast<uint32_t>(row.record().pid);
}

/* Pads what was appended since `begin` to a width. */
void padLeft(std::string& text, size_t begin, size_t width) {
    const size_t length = text.size() - begin;
    text.insert(begin, length < width ? width - length : 0, ' ');
}

/* From where to where a gauge went whose average is shown. */
void appendSpread(std::string& text, const samples::Figure& figure, const Row& row,
                  Printing printing) {
    const Number least = row.record().merged > 0 && printing == Printing::Total
                             ? minimumOf(figure, row.processes)
                             : Number();
    if (least) {
        text += " (";
        appendFull(text, least);
        text += " to ";
        appendFull(text, maximumOf(figure, row.processes));
        text += ')';
    }
}

} // namespace

void LongList::findTwins(const Shown& shown) {
    std::vector<uint64_t> keys;
    for (const Row& row : shown.rows) {
        keys.push_back(keyOf(row));
    }
    std::ranges::sort(keys);
    twins.clear();
    for (size_t i = 1; i < keys.size(); i++) {
        if (keys[i] == keys[i - 1] && (twins.empty() || twins.back() != keys[i])) {
            twins.push_back(keys[i]);
        }
    }
}

void LongList::appendPrefix(std::string& text, const Row& row, const Shown& shown) {
    if (request.layout.hasTimestamp) {
        times.append(text, shown.sample.times.realNs, 3);
        text += "  ";
    }
    if (surroundings.hasSeveralCaches) {
        samples::appendPrintable(text, shown.header.location);
        text += '.';
    }
    appendKind(text, row);
    text += '.';
    if (!request.rows.isSum) {
        appendInteger(text, int64_t{row.record().pid});
        if (std::ranges::binary_search(twins, keyOf(row))) {
            text += '/';
            appendInteger(text, uint64_t{row.index});
        }
        text += '.';
    }
}

void LongList::appendLine(std::string& text, std::string_view linePrefix, const Column& column,
                          const Row& row, const Shown& shown) {
    const samples::Figure& figure = *column.figure;
    const Printing asked = column.printingFor(shown.printing);
    const Printing printing = asked == Printing::Rate ? Printing::Total : asked;
    const Number value = shownNumber(column, printing, row, shown.moment);
    const Number rate = printing != Printing::Total || row.kind() == nullptr
                            ? Number()
                            : rateOf(figure, row.processes, shown.moment);
    const bool hides = figure.isHiddenWhileZero() && !column.isChosen && value.isZero();
    if (hides || (request.isNonzero && value.isZero() && rate.isZero())) {
        return;
    }
    const size_t begin = text.size();
    text += linePrefix;
    figure.appendLabel(text);
    text += printing == Printing::Delta ? "" : suffixOf(printing);
    const size_t length = text.size() - begin;
    text.append(length < nameWidth ? nameWidth - length : 0, ' ');
    text += "  ";
    size_t cell = text.size();
    if (!value) {
        text += '-';
    } else if (figure.meaning == Meaning::EventTime) {
        times.appendSeconds(text, value.asSigned());
    } else {
        appendFull(text, value);
    }
    padLeft(text, cell, valueWidth);
    text += "  ";
    cell = text.size();
    if (rate) {
        appendDecimal(text, rate.asDouble(), rate.asDouble() < 1 ? 3 : 1);
        text += "/s";
    } else {
        text += '-';
    }
    padLeft(text, cell, rateWidth);
    text += "  ";
    text += figure.sentence();
    if (figure.unit == Unit::Unknown) {
        text += " [unit unknown]";
    } else if (figure.unit != Unit::Number && figure.unit != Unit::None) {
        text += " [";
        appendUnit(text, figure, false, false);
        text += ']';
    }
    appendSpread(text, figure, row, printing);
    text += '\n';
}

void LongList::appendSample(std::string& text, const Shown& shown) {
    if (request.layout.hasHeader) {
        text += "# ";
        text += cacheTitle(shown.header);
        text += "  ";
        times.append(text, shown.sample.times.realNs, 3);
        text += '\n';
        for (const std::string& warning : shown.warnings) {
            text += "# ";
            text += warning;
            text += '\n';
        }
    }
    if (request.rows.isSum) {
        twins.clear();
    } else {
        findTwins(shown);
    }
    for (const Row& row : shown.rows) {
        prefix.clear();
        appendPrefix(prefix, row, shown);
        for (const Column& column : plan.of(row.kind())) {
            if (column.figure) {
                appendLine(text, prefix, column, row, shown);
            }
        }
    }
}

void LongList::appendEvent(std::string& text, const Event& event) {
    text += "# ";
    times.append(text, event.times.realNs, 3);
    text += "  ";
    text += event.sentence;
    text += '\n';
}

} // namespace tvsistat
