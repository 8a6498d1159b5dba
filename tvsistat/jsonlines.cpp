#include "jsonlines.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>
#include <cstring>

namespace tvsistat {

using samples::Number;
using samples::Printing;
using samples::Row;
using statscatalogue::Kind;

namespace {

/* Names are copied in pieces of this size, so that what follows them is written twice. */
constexpr size_t namePiece = 32;

} // namespace

const JsonLines::Members& JsonLines::membersOf(const Kind* kind) {
    Members& own = members[samples::placeOf(kind)];
    if (own.isMade) {
        return own;
    }
    own.isMade = true;
    for (const Column& column : plan.of(kind)) {
        if (!column.figure) {
            continue;
        }
        const samples::Figure& figure = *column.figure;
        const size_t at = own.names.size();
        own.names += ",\"";
        figure.appendName(own.names);
        own.names += "\":";
        const bool isField = figure.field != nullptr;
        own.all.push_back({&column, static_cast<uint32_t>(at),
                           static_cast<uint16_t>(own.names.size() - at), figure.packedOffset,
                           isField ? figure.field->type : statscatalogue::FieldType{}, isField,
                           figure.isHiddenWhileZero() && !column.isChosen});
        if (figure.isCounter()) {
            own.counters.push_back(own.all.back());
        }
    }
    own.mostBytes = own.names.size() + own.all.size() * samples::mostDigits + 2 * namePiece;
    own.names.append(namePiece, ' ');
    return own;
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

template <class Put>
void JsonLines::appendNumbers(std::string& text, std::string_view name, const Members& own,
                              const std::vector<Member>& list, Put put) {
    if (scratch.size() < own.mostBytes) {
        scratch.resize(own.mostBytes);
    }
    text += ",\"";
    text += name;
    text += "\":";
    const char* const names = own.names.data();
    char* to = scratch.data();
    for (const Member& member : list) {
        std::memcpy(to, names + member.nameAt, namePiece);
        if (member.nameBytes > namePiece) {
            std::memcpy(to + namePiece, names + member.nameAt + namePiece,
                        member.nameBytes - namePiece);
        }
        char* const end = put(to + member.nameBytes, member);
        to = end != nullptr ? end : to;
    }
    scratch[0] = '{'; /* in place of the first comma */
    text.append(scratch.data(), std::max(to, scratch.data() + 1));
    text += '}';
}

/* Of a single process, which nearly every row is, the numbers come straight from its record. */
void JsonLines::appendValues(std::string& text, const Members& own, const Row& row,
                             const samples::Moment& moment) {
    const std::byte* const blocks = row.processes.size() == 1 ? row.record().blocks : nullptr;
    const bool hidesZeros = request.isNonzero;
    appendNumbers(text, "values", own, own.all, [&](char* to, const Member& member) -> char* {
        if (blocks != nullptr && member.isField) {
            const auto value = statscatalogue::read(blocks + member.packedOffset, member.type);
            if (value.bits == 0) {
                *to = '0';
                return hidesZeros || member.hidesZero ? nullptr : to + 1;
            }
            return value.isSigned ? samples::putJsonSigned(to, value.asSigned())
                                  : samples::putJsonUnsigned(to, value.asUnsigned());
        }
        const Number value = valueOf(*member.column->figure, row.processes, moment);
        const bool isHidden = (hidesZeros || member.hidesZero) && value.isZero();
        return !value || isHidden ? nullptr : samples::putJson(to, value);
    });
}

void JsonLines::appendRates(std::string& text, const Members& own, const Row& row,
                            const samples::Moment& moment) {
    const samples::Process& process = row.processes[0];
    const bool isSingle = row.processes.size() == 1;
    if (moment.seconds <= 0 || (isSingle && process.before == nullptr)) {
        text += ",\"rates\":{}";
        return;
    }
    const bool hidesZeros = request.isNonzero;
    appendNumbers(text, "rates", own, own.counters, [&](char* to, const Member& member) -> char* {
        Number growth;
        if (isSingle) {
            const auto valueIn = [&](const samples::Record& record) {
                return statscatalogue::read(record.blocks + member.packedOffset, member.type);
            };
            growth = samples::counterGrowth(member.type, valueIn(*process.now),
                                            valueIn(*process.before));
        } else {
            growth = growthOf(*member.column->figure, row.processes);
        }
        if (!growth || (hidesZeros && growth.isZero())) {
            return nullptr;
        }
        if (growth.isZero()) {
            *to = '0';
            return to + 1;
        }
        return samples::putJsonDecimal(to, growth.asDouble() / moment.seconds);
    });
}

void JsonLines::appendGrowths(std::string& text, const Members& own, const Row& row) {
    appendNumbers(text, "deltas", own, own.all, [&](char* to, const Member& member) -> char* {
        const Number growth = growthOf(*member.column->figure, row.processes);
        return !growth || (request.isNonzero && growth.isZero()) ? nullptr
                                                                 : samples::putJson(to, growth);
    });
}

void JsonLines::appendEnds(std::string& text, std::string_view name, const Members& own,
                           const Row& row, EndOf endOf) {
    appendNumbers(text, name, own, own.all, [&](char* to, const Member& member) -> char* {
        const Number end = endOf(*member.column->figure, row.processes);
        return !end || (request.isNonzero && end.isZero()) ? nullptr : samples::putJson(to, end);
    });
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
    const Members& own = membersOf(row.kind());
    appendValues(text, own, row, shown.moment);
    if (record.merged > 0 && !request.rows.isSum) {
        appendEnds(text, "minimums", own, row, samples::minimumOf);
        appendEnds(text, "maximums", own, row, samples::maximumOf);
    }
    appendRates(text, own, row, shown.moment);
    if (shown.printing == Printing::Delta) {
        appendGrowths(text, own, row);
    }
    text += '}';
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
    if (shown.sample.merged > 0) {
        text += ",\"samples\":";
        appendInteger(text, uint64_t{shown.sample.merged});
    }
    text += request.rows.isSum ? ",\"kinds\":[" : ",\"processes\":[";
    bool isFirst = true;
    for (const Row& row : shown.rows) {
        makeRoom(text, 2 * membersOf(row.kind()).mostBytes);
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
    return std::ranges::any_of(membersOf(row.kind()).all, [&](const Member& member) {
        const samples::Figure& figure = *member.column->figure;
        return !valueOf(figure, row.processes, moment).isZero() ||
               !rateOf(figure, row.processes, moment).isZero();
    });
}

} // namespace tvsistat
