#include "screentable.h"

#include "numbertext.h"
#include "printable.h"
#include "screengrid.h"

#include <algorithm>
#include <cctype>
#include <span>

namespace tvsistat {
namespace {

using samples::Figure;
using samples::Number;
using samples::Printing;
using samples::ProcessState;
using samples::Row;
using statscatalogue::Kind;
using statscatalogue::Meaning;

constexpr size_t ofAllKinds = samples::numKindPlaces; /* the section's place */
constexpr size_t maxName = 24;

struct ViewEntry {
    std::string_view name;
    uint32_t kinds;
    bool isByKind;                            /* each kind has columns of its own */
    std::array<std::string_view, 10> columns; /* empty: the kind's key figures */
};

constexpr uint32_t everyKind = UINT32_MAX;
constexpr std::array<ViewEntry, numScreenViews> views{{
    {"Voks",
     SHRPC_VOK | SHRPC_VokThr,
     false,
     {"commitCount", "abortCount", "failedCommitCount", "objectsRead", "objsCommitted",
      "hitPercent", "localPageCacheMisses", "rdbfDiskReads", "ageLastCommit"}},
    {"Brox",
     SHRPC_BROX | SHRPC_PAGEMGR | SHRPC_BrxRestoreThr | SHRPC_BrxAioThr,
     true,
     {"totalCommits", "totalAborts", "failedCommitPercent", "totalSessionsCount",
      "numInCommitQueue", "numInRunQueue", "logKBytesWritten", "msPerFsync", "freePages",
      "ageLastCheckpoint"}},
    {"Cache",
     everyKind,
     false,
     {"localPageCacheHits", "localPageCacheMisses", "hitPercent", "framesFromFreeList",
      "framesFromFindFree", "pinnedPagesCount", "numberOfFreeFrames", "freeFramePercent",
      "globalDirtyPageCount"}},
    {"I/O",
     everyKind,
     false,
     {"rdbfDiskReads", "rdbfDiskWrites", "rdbfPageIoCount", "rdbfTimeWaitingForIoMs",
      "msPerDiskRead", "rdbfMicroSecsPerIo10Avg", "totalPageReads", "totalPageWrites", "msPerFsync",
      "brxAioWriteQueueSize"}},
    {"Everything", everyKind, true, {}},
}};

/* Beyond these a figure gets a sign. */
struct Threshold {
    std::string_view figure;
    bool isUpper; /* else what is below is beyond */
    double limit;
};
constexpr Threshold thresholds[] = {{"hitPercent", false, 80},       {"totalHitPercent", false, 80},
                                    {"freeFramePercent", false, 5},  {"usedSlotPercent", true, 90},
                                    {"meSpacePercent", true, 95},    {"abortPercent", true, 20},
                                    {"failedCommitPercent", true, 5}};

bool isBeyondUsual(const Figure& figure, Number number) {
    if (figure.derived == nullptr || !number) {
        return false;
    }
    return std::ranges::any_of(thresholds, [&](const Threshold& threshold) {
        return figure.derived->name == threshold.figure &&
               (threshold.isUpper ? number.asDouble() > threshold.limit
                                  : number.asDouble() < threshold.limit);
    });
}

/* Whether the field, or one that the figure is computed from, has changed since the sample before.
 */
bool hasChanged(const Figure& figure, const Row& row) {
    const samples::Process& process = row.processes[0];
    if (process.before == nullptr || row.kind() == nullptr || process.before->kind != row.kind()) {
        return false;
    }
    const auto differs = [&](uint16_t offset, statscatalogue::FieldType type) {
        return statscatalogue::read(process.now->blocks + offset, type).bits !=
               statscatalogue::read(process.before->blocks + offset, type).bits;
    };
    if (figure.field != nullptr) {
        return differs(figure.packedOffset, figure.field->type);
    }
    for (size_t i = 0; figure.derived != nullptr && i < figure.terms.size(); i++) {
        const auto& terms =
            i < statscatalogue::maxTerms ? figure.derived->numerator : figure.derived->denominator;
        const auto& place = figure.terms[i];
        if (!terms[i % statscatalogue::maxTerms].field.empty() &&
            differs(place.packedOffset, place.type)) {
            return true;
        }
    }
    return false;
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    return lower;
}

std::optional<samples::SortIdentity> sortIdentityOf(Identity identity) {
    switch (identity) {
    case Identity::Pid:
        return samples::SortIdentity::Pid;
    case Identity::Session:
        return samples::SortIdentity::Session;
    case Identity::Name:
        return samples::SortIdentity::Name;
    case Identity::State:
        return samples::SortIdentity::State;
    default:
        return std::nullopt;
    }
}

bool canSort(const ScreenTable::TableColumn& column) {
    return !column.identity || sortIdentityOf(*column.identity);
}

} // namespace

std::string_view nameOf(ScreenView view) {
    return views[static_cast<size_t>(view)].name;
}

const Column* ScreenTable::TableColumn::any() const {
    const auto found =
        std::ranges::find_if(byKind, [](const auto& own) { return own.has_value(); });
    return found == byKind.end() ? nullptr : &**found;
}

/* Whoever asked for kinds or fields sees them at once. */
ScreenTable::ScreenTable(Request& request_)
    : request(request_), asked(request_.fields, request_.annotations, Default::KeyFigures),
      times(request_.layout.isUtc),
      current(request_.fields.isEmpty() && request_.rows.selection.isEverything()
                  ? ScreenView::Voks
                  : ScreenView::Everything) {
    isHidingIdle = request.isNonzero;
    request.rows.isSum = false;
    request.rows.most = SIZE_MAX;
}

void ScreenTable::forgetRows() {
    rows.clear();
    lines.clear();
    shownWarnings.clear();
}

void ScreenTable::forgetSections() {
    sections = {};
}

void ScreenTable::refresh(Showing& showing) {
    forgetRows();
    if (showing.taken().isEmpty()) {
        used = -1;
        slots = showing.header().slots;
        return;
    }
    request.isNonzero = isHidingIdle || rowPattern;
    std::string unused;
    showing.append(unused);
}

void ScreenTable::appendSample(std::string&, const Shown& shown) {
    rows.assign(shown.rows.begin(), shown.rows.end());
    shownMoment = shown.moment;
    shownPrinting = shown.printing;
    shownWarnings.assign(shown.warnings.begin(), shown.warnings.end());
    used = shown.sample.used;
    slots = shown.sample.slots;
    cacheName = samples::printable(shown.header.location);
    broxName = samples::printable(shown.header.brox);
    const bool hadState = showsState;
    for (const Row& row : rows) {
        showsState = showsState || (row.record().state != ProcessState::Alive &&
                                    row.record().state != ProcessState::Unknown);
    }
    if (showsState != hadState) {
        forgetSections();
    }
    const bool isByKind = views[place(current)].isByKind;
    if (isByKind) {
        std::ranges::stable_sort(rows, {},
                                 [](const Row& row) { return samples::placeOf(row.kind()); });
    }
    for (size_t i = 0; i < rows.size(); i++) {
        if (i == 0 || (isByKind && rows[i].kind() != rows[i - 1].kind())) {
            lines.push_back({i, true});
        }
        lines.push_back({i, false});
    }
}

bool ScreenTable::shows(const Kind* kind) {
    if (kind == nullptr) {
        return current == ScreenView::Everything && request.fields.isEmpty();
    }
    if ((views[place(current)].kinds & kind->bit) == 0) {
        return false;
    }
    if (current == ScreenView::Everything && !request.fields.isEmpty()) {
        return asked.shows(kind);
    }
    return true;
}

bool ScreenTable::showsAny(const Row& row, const samples::Moment& moment, Printing printing) {
    if (rowPattern) {
        std::string kind;
        appendKind(kind, row);
        if (!rowPattern->matches(samples::printable(row.record().name)) &&
            !rowPattern->matches(std::to_string(row.record().pid)) && !rowPattern->matches(kind)) {
            return false;
        }
    }
    if (!isHidingIdle) {
        return true;
    }
    const size_t kind = samples::placeOf(row.kind());
    return std::ranges::any_of(sectionOf(row).columns, [&](const TableColumn& column) {
        const auto& own = column.byKind[kind];
        return own && !isCode(own->figure->meaning) &&
               !shownNumber(*own, own->printingFor(printing), row, moment).isZero();
    });
}

size_t ScreenTable::sectionPlace(const Row& row) const {
    return views[place(current)].isByKind ? samples::placeOf(row.kind()) : ofAllKinds;
}

ScreenTable::Section& ScreenTable::sectionOf(const Row& row) {
    return sectionAt(sectionPlace(row));
}

ScreenTable::Section& ScreenTable::sectionAt(size_t at) {
    Section& section = sections[at];
    if (!section.isMade) {
        section.isMade = true;
        makeSection(section, at);
    }
    return section;
}

void ScreenTable::makeSection(Section& section, size_t at) {
    addIdentities(section, at);
    section.numFixed = section.columns.size();
    for (const Kind& kind : statscatalogue::kinds()) {
        const bool isMeant = at == ofAllKinds ? (views[place(current)].kinds & kind.bit) != 0
                                              : samples::placeOf(&kind) == at;
        if (isMeant) {
            addFigures(section, kind, at);
        }
    }
    /* Columns that several kinds share stand in the view's order. */
    const auto& order = views[place(current)].columns;
    if (at == ofAllKinds && fieldFilterText.empty() && !chosen.contains({current, at})) {
        std::stable_sort(
            section.columns.begin() + static_cast<std::ptrdiff_t>(section.numFixed),
            section.columns.end(), [&](const TableColumn& one, const TableColumn& other) {
                return std::ranges::find(order, one.name) < std::ranges::find(order, other.name);
            });
    }
}

void ScreenTable::addIdentities(Section& section, size_t) {
    for (const auto identity :
         {Identity::Kind, Identity::Pid, Identity::Session, Identity::Name, Identity::State}) {
        if (identity == Identity::State && !showsState) {
            continue;
        }
        TableColumn column;
        column.identity = identity;
        column.name = nameOf(identity);
        column.title = identity == Identity::Session ? "sess" : nameOf(identity);
        column.width = column.title.size();
        section.columns.push_back(std::move(column));
    }
}

void ScreenTable::addFigures(Section& section, const Kind& kind, size_t at) {
    for (const Column& column : columnsOf(kind, at)) {
        if (column.figure) {
            addFigure(section, kind, column);
        }
    }
}

void ScreenTable::addFigure(Section& section, const Kind& kind, const Column& column) {
    std::string name;
    column.figure->appendLabel(name);
    auto found = std::ranges::find(section.columns, name, &TableColumn::name);
    if (found == section.columns.end()) {
        TableColumn made;
        column.figure->appendTitle(made.title);
        made.name = std::move(name);
        made.width = std::max(made.title.size(), size_t{6});
        section.columns.push_back(std::move(made));
        found = section.columns.end() - 1;
    }
    found->byKind[samples::placeOf(&kind)] = column;
}

bool ScreenTable::passesFieldFilter(const Figure& figure) const {
    std::string name;
    figure.appendLabel(name);
    std::string title;
    figure.appendTitle(title);
    const std::string part = lowered(fieldFilterText);
    return lowered(name).find(part) != std::string::npos ||
           lowered(title).find(part) != std::string::npos;
}

std::vector<Column> ScreenTable::columnsOf(const Kind& kind, size_t at) {
    const auto columnOf = [](const Figure& figure) {
        return Column{std::nullopt, figure, std::nullopt, true};
    };
    std::vector<Column> columns;
    if (!fieldFilterText.empty()) {
        for (const Figure& figure : figuresOf(kind, request.annotations)) {
            if (passesFieldFilter(figure)) {
                columns.push_back(columnOf(figure));
            }
        }
        return columns;
    }
    const auto addNamed = [&](std::string_view name) {
        for (const Figure& figure : figuresNamed(kind, name, request.annotations)) {
            columns.push_back(columnOf(figure));
        }
    };
    const auto own = chosen.find({current, at});
    if (own != chosen.end()) {
        std::ranges::for_each(own->second, addNamed);
        return columns;
    }
    const bool isAsked = current == ScreenView::Everything && !request.fields.isEmpty();
    if (!isAsked) {
        std::ranges::for_each(views[place(current)].columns, addNamed);
    }
    if (columns.empty() && views[place(current)].isByKind) {
        const auto planned = asked.of(&kind);
        columns.assign(planned.begin(), planned.end());
    }
    return columns;
}

std::string ScreenTable::identityText(Identity identity, const Row& row) {
    const samples::Record& record = row.record();
    std::string text;
    switch (identity) {
    case Identity::Kind:
        appendKind(text, row);
        break;
    case Identity::Pid:
        appendInteger(text, int64_t{record.pid});
        break;
    case Identity::Session:
        appendInteger(text, int64_t{record.session});
        break;
    case Identity::State:
        text = loudName(record.state);
        break;
    default:
        samples::appendPrintable(text, record.name);
        if (text.size() > maxName) {
            text.resize(maxName - 1);
            text += '+';
        }
    }
    return text;
}

ScreenTable::CellText ScreenTable::numberText(const Figure& figure, Printing printing,
                                              Number number, const Row& row) {
    CellText cell;
    if (!number) {
        return {"-", dimLook, false};
    }
    if (figure.meaning == Meaning::EventTime && scales) {
        times.appendShort(cell.text, number.asSigned(), shownMoment.realNs);
    } else if (figure.meaning == Meaning::EventTime) {
        times.appendSeconds(cell.text, number.asSigned());
    } else if (scales) {
        appendShortFigure(cell.text, figure, number, printing == Printing::Rate);
    } else {
        appendFull(cell.text, number);
    }
    cell.isBeyond = isBeyondUsual(figure, number);
    cell.look = number.isZero() ? dimLook : hasChanged(figure, row) ? boldLook : plainLook;
    cell.look |= cell.isBeyond ? alarmLook : plainLook;
    return cell;
}

ScreenTable::CellText ScreenTable::cell(const TableColumn& column, const Row& row) {
    if (column.identity) {
        const bool isLoud = column.identity == Identity::State &&
                            row.record().state != ProcessState::Alive &&
                            row.record().state != ProcessState::Unknown;
        return {identityText(*column.identity, row),
                static_cast<uint8_t>(isLoud ? boldLook | alarmLook : plainLook), false};
    }
    const auto& own = column.byKind[samples::placeOf(row.kind())];
    if (!own) {
        return {};
    }
    const Printing printing = own->printingFor(shownPrinting);
    return numberText(*own->figure, printing, shownNumber(*own, printing, row, shownMoment), row);
}

ScreenTable::CellText ScreenTable::value(const Figure& figure, const Row& row) {
    const Column column{std::nullopt, figure, std::nullopt, true};
    CellText cell = numberText(figure, Printing::Total,
                               shownNumber(column, Printing::Total, row, shownMoment), row);
    if (cell.text != "-") {
        appendUnit(cell.text, figure, false, scales);
    }
    return cell;
}

ScreenTable::CellText ScreenTable::rate(const Figure& figure, const Row& row) {
    const Number number = rateOf(figure, row.processes, shownMoment);
    if (!number) {
        return {};
    }
    CellText cell = numberText(figure, Printing::Rate, number, row);
    appendUnit(cell.text, figure, true, scales);
    return cell;
}

std::vector<Figure> ScreenTable::detailOf(const Row& row) {
    std::vector<Figure> figures;
    if (row.kind() == nullptr) {
        return figures;
    }
    for (const Figure& figure : figuresOf(*row.kind(), request.annotations)) {
        const bool isZero = valueOf(figure, row.processes, shownMoment).isZero();
        const bool isHidden = isZero && (isHidingIdle || figure.isHiddenWhileZero());
        if (!isHidden && (fieldFilterText.empty() || passesFieldFilter(figure))) {
            figures.push_back(figure);
        }
    }
    return figures;
}

std::string ScreenTable::unitOf(const TableColumn& column) {
    std::string unit;
    if (const Column* own = column.any()) {
        appendUnit(unit, *own->figure, own->printingFor(shownPrinting) == Printing::Rate, scales);
    }
    return unit;
}

void ScreenTable::show(ScreenView other) {
    current = other;
    forgetSections();
    setOrder();
}

std::string ScreenTable::filterRows(const std::string& expression) {
    if (expression.empty()) {
        rowPattern.reset();
    } else {
        std::string problem;
        auto pattern = samples::NamePattern::expression(expression, true, problem);
        if (!problem.empty()) {
            return problem;
        }
        rowPattern = std::move(pattern);
    }
    rowFilterText = expression;
    return "";
}

void ScreenTable::filterFields(std::string part) {
    fieldFilterText = std::move(part);
    forgetSections();
}

void ScreenTable::hideIdle(bool hides) {
    isHidingIdle = hides;
}

/* Hands the sort column to the row maker: an identity, or the figure of each kind that has it. */
void ScreenTable::setOrder() {
    samples::RowOrder& order = request.rows.order;
    const Sort& sort = sorts[place(current)];
    order.key = std::monostate();
    order.isReversed = sort.isReversed;
    if (sort.name.empty()) {
        return;
    }
    if (const auto identity = identityNamed(sort.name)) {
        if (const auto key = sortIdentityOf(*identity)) {
            order.key = *key;
        }
        return;
    }
    samples::SortFigure key;
    for (const Kind& kind : statscatalogue::kinds()) {
        const auto figures = figuresNamed(kind, sort.name, request.annotations);
        if (!figures.empty()) {
            key.byKind[static_cast<size_t>(kind.index)] = figures[0];
        }
    }
    order.key = key;
}

void ScreenTable::moveSort(const Row& row, int step) {
    std::vector<std::string_view> names{""};
    for (const TableColumn& column : sectionOf(row).columns) {
        if (canSort(column)) {
            names.push_back(column.name);
        }
    }
    const auto found = std::ranges::find(names, sortName());
    const auto at = found == names.end() ? 0 : static_cast<int>(found - names.begin());
    const auto next = std::clamp(at + step, 0, static_cast<int>(names.size()) - 1);
    sorts[place(current)] = {std::string(names[static_cast<size_t>(next)]), false};
    setOrder();
}

void ScreenTable::sortBy(const TableColumn& column) {
    Sort& sort = sorts[place(current)];
    if (canSort(column)) {
        sort = {column.name, sort.name == column.name && !sort.isReversed};
        setOrder();
    }
}

void ScreenTable::reverse() {
    Sort& sort = sorts[place(current)];
    sort.isReversed = !sort.isReversed;
    setOrder();
}

void ScreenTable::toggleColumn(const Row& row, const std::string& name) {
    const size_t at = sectionPlace(row);
    auto& names = chosen[{current, at}];
    if (names.empty()) {
        for (const TableColumn& column : sectionAt(at).columns) {
            if (!column.identity) {
                names.push_back(column.name);
            }
        }
    }
    if (std::erase(names, name) == 0) {
        names.push_back(name);
    }
    if (names.empty()) {
        chosen.erase({current, at});
    }
    forgetSections();
}

void ScreenTable::restoreColumns(const Row& row) {
    chosen.erase({current, sectionPlace(row)});
    forgetSections();
}

void ScreenTable::nextPrinting() {
    const auto next = (static_cast<size_t>(shownPrinting) + 1) % 3;
    /* Rate, growth, total. */
    request.printing = static_cast<Printing>(next);
    forgetSections();
}

void ScreenTable::toggleScale() {
    scales = !scales;
    forgetSections();
}

} // namespace tvsistat
