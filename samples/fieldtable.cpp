#include "fieldtable.h"

#include "crc32c.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace samples {
namespace {

using statscatalogue::FieldType;

constexpr std::array types{FieldType::I32, FieldType::U32, FieldType::I64, FieldType::U64};
/* More is no table. */
constexpr size_t maxKinds = 64;
constexpr size_t maxElements = 4096;

/* A line a kind, "kind 8 vok", and then a line a field in the order of the packed record,
 * "numVoks i32 1". */
std::string ownText() {
    std::string text;
    for (const auto& kind : statscatalogue::kinds()) {
        text += "kind " + std::to_string(kind.bit) + ' ';
        text += kind.shortName;
        text += '\n';
        forEachField(kind, [&](const statscatalogue::FieldPlace& place) {
            text += place.field->name;
            text += ' ';
            text += nameOf(place.field->type);
            text += ' ' + std::to_string(place.field->count) + '\n';
        });
    }
    return text;
}

std::string_view takeWord(std::string_view& line) {
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(word.size() + 1, line.size()));
    return word;
}

template <class Number> std::optional<Number> numberIn(std::string_view word) {
    Number number{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size() ? std::optional(number)
                                                                    : std::nullopt;
}

/* A kind is the same one when bit and name are. */
std::optional<RecordedKind> kindFrom(std::string_view line) {
    const auto bit = numberIn<uint32_t>(takeWord(line));
    if (!bit || line.empty()) {
        return std::nullopt;
    }
    RecordedKind kind;
    kind.bit = *bit;
    const auto* known = statscatalogue::kindOfBit(*bit);
    kind.kind = known != nullptr && known->shortName == line ? known : nullptr;
    return kind;
}

void addRun(RecordedKind& kind, RecordedKind::Run run) {
    kind.numElements += run.count;
    if (!kind.runs.empty()) {
        auto& last = kind.runs.back();
        const bool isNext = last.packedOffset < 0
                                ? run.packedOffset < 0
                                : run.packedOffset == last.packedOffset + last.count * last.width;
        if (last.width == run.width && isNext) {
            last.count = static_cast<uint16_t>(last.count + run.count);
            return;
        }
    }
    kind.runs.push_back(run);
}

/* A field of the same name and width is the same; of an array as much as both have. */
bool addField(RecordedKind& kind, std::string_view line) {
    const std::string_view name = takeWord(line);
    const std::string_view typeName = takeWord(line);
    const auto type =
        std::ranges::find_if(types, [&](FieldType each) { return nameOf(each) == typeName; });
    const auto count = numberIn<uint16_t>(line);
    if (name.empty() || type == types.end() || !count || *count == 0 ||
        kind.numElements + *count > maxElements) {
        return false;
    }
    const auto width = static_cast<uint8_t>(widthOf(*type));
    uint16_t known = 0;
    if (kind.kind != nullptr) {
        const auto place = findField(*kind.kind, name);
        if (place && widthOf(place->field->type) == width) {
            known = std::min(*count, place->field->count);
            addRun(kind, {known, width, place->packedOffset});
        }
    }
    if (known < *count) {
        addRun(kind, {static_cast<uint16_t>(*count - known), width, -1});
    }
    return true;
}

} // namespace

const FieldTable& FieldTable::own() {
    static const FieldTable table = from(ownText()).value_or(FieldTable());
    return table;
}

std::optional<FieldTable> FieldTable::from(std::string_view text) {
    FieldTable table;
    table.written = text;
    table.checksum = crc32c(std::as_bytes(std::span(text)));
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        if (line.starts_with("kind ")) {
            line.remove_prefix(5);
            auto kind = kindFrom(line);
            if (!kind || table.kinds.size() == maxKinds || table.kindOf(kind->bit) != nullptr) {
                return std::nullopt;
            }
            table.kinds.push_back(std::move(*kind));
        } else if (table.kinds.empty() || !addField(table.kinds.back(), line)) {
            return std::nullopt;
        }
    }
    return table;
}

bool FieldTable::isKnown() const {
    return std::ranges::all_of(kinds, [](const RecordedKind& kind) {
        return kind.kind != nullptr &&
               std::ranges::none_of(
                   kind.runs, [](const RecordedKind::Run& run) { return run.packedOffset < 0; });
    });
}

const RecordedKind* FieldTable::kindOf(uint32_t statType) const {
    const auto found = std::ranges::find(kinds, statType, &RecordedKind::bit);
    return found == kinds.end() ? nullptr : &*found;
}

} // namespace samples
