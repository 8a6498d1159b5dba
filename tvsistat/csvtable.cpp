#include "csvtable.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>

namespace tvsistat {

using samples::Number;
using samples::Printing;
using samples::Row;
using statscatalogue::Kind;

constexpr std::string_view lineEnd = "\r\n";

/* "commitCount", "commitCount:rate", "pid". */
std::string CsvTable::nameOfColumn(const Column& column) const {
    if (column.identity) {
        return std::string(nameOf(*column.identity));
    }
    std::string name;
    column.figure->appendLabel(name);
    name += suffixOf(column.printingFor(request.printing.value_or(Printing::Total)));
    return name;
}

/* Every column of every kind that can be selected, by its name: kinds share what they both have. */
void CsvTable::makeFields() {
    if (!plan.isExact()) {
        for (const auto identity :
             {Identity::Time, Identity::Cache, Identity::Brox, Identity::Kind, Identity::Index,
              Identity::Pid, Identity::Session, Identity::Name, Identity::State}) {
            fields.push_back({std::string(nameOf(identity)), identity, 0, {}});
        }
    }
    for (const Kind& kind : statscatalogue::kinds()) {
        if ((kind.bit & request.rows.selection.kinds) == 0) {
            continue;
        }
        for (const Column& column : plan.of(&kind)) {
            std::string name = nameOfColumn(column);
            auto field = std::ranges::find(fields, name, &Field::name);
            if (field == fields.end()) {
                fields.push_back({std::move(name), column.identity, column.place, {}});
                field = fields.end() - 1;
            }
            field->byKind[static_cast<size_t>(kind.index)] = &column;
        }
    }
    std::ranges::stable_sort(fields, {}, &Field::place);
}

void CsvTable::appendIdentity(std::string& text, Identity identity, const Row& row,
                              const Shown& shown) {
    const samples::Record& record = row.record();
    switch (identity) {
    case Identity::Time:
        times.append(text, shown.sample.times.realNs, 3);
        return;
    case Identity::Cache:
        samples::appendCsvField(text, shown.header.location);
        return;
    case Identity::Brox:
        samples::appendCsvField(text, shown.header.brox);
        return;
    case Identity::Kind:
        appendKind(text, row);
        return;
    default:
        break;
    }
    if (row.processes.size() > 1) {
        return;
    }
    switch (identity) {
    case Identity::Index:
        appendInteger(text, uint64_t{row.index});
        break;
    case Identity::Pid:
        appendInteger(text, int64_t{record.pid});
        break;
    case Identity::Session:
        appendInteger(text, int64_t{record.session});
        break;
    case Identity::Name:
        samples::appendCsvField(text, record.name);
        break;
    case Identity::State:
        text += nameOf(record.state);
        break;
    default:
        if (record.startedNs != 0) {
            times.append(text, record.startedNs, 3);
        }
    }
}

void CsvTable::appendNumber(std::string& text, const Column& column, const Row& row,
                            const Shown& shown) {
    const Number number = shownNumber(
        column, column.printingFor(request.printing.value_or(Printing::Total)), row, shown.moment);
    appendFull(text, number);
}

void CsvTable::appendSample(std::string& text, const Shown& shown) {
    if (!hasBegun) {
        hasBegun = true;
        makeFields();
        if (request.layout.hasHeader) {
            for (const Field& field : fields) {
                text += &field == &fields.front() ? "" : ",";
                samples::appendCsvField(text, field.name);
            }
            text += lineEnd;
        }
    }
    for (const Row& row : shown.rows) {
        for (const Field& field : fields) {
            text += &field == &fields.front() ? "" : ",";
            const Column* column = row.kind() == nullptr
                                       ? nullptr
                                       : field.byKind[static_cast<size_t>(row.kind()->index)];
            if (field.identity) {
                appendIdentity(text, *field.identity, row, shown);
            } else if (column != nullptr) {
                appendNumber(text, *column, row, shown);
            }
        }
        text += lineEnd;
    }
}

/* A table has no place for events: who makes the view prints them on standard error. */
void CsvTable::appendEvent(std::string&, const Event&) {}

} // namespace tvsistat
