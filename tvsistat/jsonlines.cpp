#include "jsonlines.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>

namespace tvsistat {

using samples::Number;
using samples::Printing;
using samples::Row;
using statscatalogue::Kind;

const std::vector<JsonLines::Member>& JsonLines::membersOf(const Kind* kind) {
    const size_t place = samples::placeOf(kind);
    if (!isMade[place]) {
        isMade[place] = true;
        for (const Column& column : plan.of(kind)) {
            if (column.figure) {
                std::string name = ",\"";
                column.figure->appendName(name);
                name += "\":";
                members[place].push_back({&column, std::move(name)});
            }
        }
    }
    return members[place];
}

void JsonLines::appendHead(std::string& text, std::string_view event,
                           const samples::StreamHeader& header, const samples::Times& moment) {
    text += "{\"version\":1,\"event\":\"";
    text += event;
    text += "\",\"cache\":";
    samples::appendJsonString(text, header.location);
    text += ",\"brox\":";
    samples::appendJsonString(text, header.brox);
    text += ",\"host\":";
    samples::appendJsonString(text, header.host);
    text += ",\"time\":\"";
    utc.append(text, moment.realNs, 6);
    text += "\",\"monotonic_ns\":";
    appendJson(text, Number::ofSigned(moment.monotonicNs));
}

template <class NumberOf>
void JsonLines::appendNumbers(std::string& text, std::string_view name,
                              const std::vector<Member>& own, NumberOf numberOf) const {
    text += ",\"";
    text += name;
    text += "\":{";
    size_t behindComma = 1; /* where a name begins that is the first one */
    for (const Member& member : own) {
        const Number number = numberOf(*member.column);
        if (!number || (request.isNonzero && number.isZero())) {
            continue;
        }
        text.append(member.name, behindComma, std::string::npos);
        appendJson(text, number);
        behindComma = 0;
    }
    text += '}';
}

void JsonLines::appendRow(std::string& text, const Row& row, const Shown& shown) {
    const samples::Record& record = row.record();
    text += "{\"kind\":\"";
    appendKind(text, row);
    if (request.rows.isSum) {
        text += "\",\"processes\":";
        appendInteger(text, uint64_t{row.processes.size()});
    } else {
        text += "\",\"index\":";
        appendInteger(text, uint64_t{row.index});
        text += ",\"pid\":";
        appendInteger(text, int64_t{record.pid});
        text += ",\"session\":";
        appendInteger(text, int64_t{record.session});
        text += ",\"name\":";
        samples::appendJsonString(text, record.name);
        text += ",\"state\":\"";
        text += nameOf(record.state);
        text += "\",\"started\":";
        if (record.startedNs == 0) {
            text += "null";
        } else {
            text += '"';
            utc.append(text, record.startedNs, 3);
            text += '"';
        }
    }
    const auto& own = membersOf(row.kind());
    appendNumbers(text, "values", own, [&](const Column& column) {
        const Number value = valueOf(*column.figure, row.processes, shown.moment);
        const bool hides = column.figure->isHiddenWhileZero() && !column.isChosen && value.isZero();
        return hides ? Number() : value;
    });
    appendNumbers(text, "rates", own, [&](const Column& column) {
        return rateOf(*column.figure, row.processes, shown.moment);
    });
    if (shown.printing == Printing::Delta) {
        appendNumbers(text, "deltas", own, [&](const Column& column) {
            return growthOf(*column.figure, row.processes);
        });
    }
    text += '}';
}

/* Room for the rows at once: a megabyte that grows step by step is copied again and again. */
void JsonLines::reserveFor(std::string& text, std::span<const Row> rows) {
    constexpr size_t bytesOfMember = 32;
    size_t size = text.size();
    for (const Row& row : rows) {
        size += (membersOf(row.kind()).size() + 8) * bytesOfMember;
    }
    text.reserve(size);
}

void JsonLines::appendSample(std::string& text, const Shown& shown) {
    appendHead(text, "sample", shown.header, shown.sample.times);
    text += ",\"interval\":";
    if (shown.moment.seconds > 0) {
        appendDecimal(text, shown.moment.seconds, 6);
    } else {
        text += "null";
    }
    text += ",\"slots\":";
    appendInteger(text, int64_t{shown.sample.slots});
    text += ",\"used\":";
    appendJson(text, shown.sample.used < 0 ? Number() : Number::ofSigned(shown.sample.used));
    text += request.rows.isSum ? ",\"kinds\":[" : ",\"processes\":[";
    reserveFor(text, shown.rows);
    bool isFirst = true;
    for (const Row& row : shown.rows) {
        text += isFirst ? "" : ",";
        appendRow(text, row, shown);
        isFirst = false;
    }
    text += "]}\n";
}

void JsonLines::appendEvent(std::string& text, const Event& event) {
    static constexpr std::array<std::string_view, 5> names{"gone", "back", "ended", "notice",
                                                           "mark"};
    appendHead(text, names[static_cast<size_t>(event.kind)], event.header, event.times);
    if (event.kind == Event::Kind::Gone) {
        text += ",\"status\":";
        appendInteger(text, uint64_t{static_cast<uint8_t>(event.status)});
    }
    text += ",\"message\":";
    samples::appendJsonString(text, event.sentence);
    text += "}\n";
}

bool JsonLines::showsAny(const Row& row, const samples::Moment& moment, Printing) {
    return std::ranges::any_of(membersOf(row.kind()), [&](const Member& member) {
        const samples::Figure& figure = *member.column->figure;
        return !valueOf(figure, row.processes, moment).isZero() ||
               !rateOf(figure, row.processes, moment).isZero();
    });
}

} // namespace tvsistat
