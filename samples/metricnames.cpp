#include "metricnames.h"

#include "kindtable.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <utility>

namespace samples {
namespace {

using statscatalogue::Base;
using statscatalogue::BlockPlace;
using statscatalogue::Field;
using statscatalogue::Kind;
using statscatalogue::Meaning;
using statscatalogue::Scale;
using statscatalogue::Unit;

/* A name under construction. A longer one does not compile, as it is never made at run time. */
class NameText {
public:
    constexpr void append(std::string_view more) {
        for (const char letter : more) {
            text.at(length++) = letter;
        }
    }
    constexpr std::string_view view() const { return {text.data(), length}; }

private:
    std::array<char, 96> text{};
    size_t length = 0;
};

constexpr bool isUpper(char letter) {
    return letter >= 'A' && letter <= 'Z';
}

constexpr bool isLower(char letter) {
    return letter >= 'a' && letter <= 'z';
}

constexpr std::string_view withoutEnd(std::string_view text, std::string_view end) {
    return text.ends_with(end) ? text.substr(0, text.size() - end.size()) : text;
}

/* As std::string_view::find, which gcc can't evaluate on parts of constants while it compiles with
 * sanitizers. */
constexpr size_t placeOf(std::string_view part, std::string_view text) {
    size_t place = 0;
    while (place < text.size() && !text.substr(place).starts_with(part)) {
        place++;
    }
    return place < text.size() ? place : std::string_view::npos;
}

/* The text without the first place of the part. */
constexpr NameText without(std::string_view text, std::string_view part) {
    const size_t at = placeOf(part, text);
    NameText rest;
    rest.append(text.substr(0, at));
    if (at != std::string_view::npos) {
        rest.append(text.substr(at + part.size()));
    }
    return rest;
}

/* The name without the word that tells its unit. */
constexpr NameText withoutUnit(std::string_view name, Unit unit) {
    const auto word = [&]() -> std::string_view {
        switch (unit) {
        case Unit::Milliseconds:
            return "Ms";
        case Unit::Microseconds:
            return "MicroSecs";
        case Unit::Kilobytes:
            return placeOf("KBytes", name) != std::string_view::npos ? "KBytes" : "Kb";
        case Unit::Megabytes:
            return "MB";
        case Unit::Bytes:
            return "Bytes";
        case Unit::Percent:
            return "Percent";
        default:
            return "";
        }
    }();
    return without(name, word);
}

/* "bmCHeapPages" as "bm_c_heap_pages", "ROOT_PAGE" as "root_page". */
constexpr void appendSnakeCase(NameText& text, std::string_view name) {
    for (size_t i = 0; i < name.size(); i++) {
        const bool begins =
            isUpper(name[i]) && i > 0 && name[i - 1] != '_' &&
            (!isUpper(name[i - 1]) || (i + 1 < name.size() && isLower(name[i + 1])));
        const char letter = isUpper(name[i]) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
        text.append(begins ? "_" : "");
        text.append({&letter, 1});
    }
}

constexpr std::string_view endingOf(Base base) {
    return base == Base::Seconds ? "seconds"
           : base == Base::Bytes ? "bytes"
           : base == Base::Ratio ? "ratio"
                                 : "";
}

constexpr bool isLeftOut(const Field& field) {
    return field.meaning == Meaning::Identifier || field.name == "unusedStat" ||
           field.name.view().starts_with("secondsSince");
}

constexpr bool isCounter(const Field& field) {
    return field.meaning == Meaning::Counter;
}

constexpr Scale scaleOf(const Field& field) {
    return field.meaning == Meaning::EventTime ? Scale{Base::Seconds, 1}
                                               : statscatalogue::scaleOf(field.unit);
}

/* Of "numInCommitQueue" the "Commit"; empty of a field that tells no queue's length. */
constexpr std::string_view queueOf(std::string_view name) {
    constexpr std::string_view front = "numIn";
    const bool isQueue = name.ends_with("Queue") || name.ends_with("Q");
    return name.starts_with(front) && isQueue
               ? withoutEnd(withoutEnd(name.substr(front.size()), "Queue"), "Q")
               : "";
}

constexpr std::string_view pageMark = "_REP_";

constexpr bool isByPage(std::string_view name) {
    return placeOf(pageMark, name) != std::string_view::npos;
}

/* The family's words, without block, unit and type. */
constexpr NameText wordsOf(const Field& field) {
    NameText words;
    std::string_view name = field.name;
    if (isByPage(name)) {
        words.append("rep_pages");
        return words;
    }
    if (!queueOf(name).empty()) {
        words.append("queue_length");
        return words;
    }
    if (field.meaning == Meaning::EventTime) {
        appendSnakeCase(words, name.substr(std::string_view("time").size()));
        words.append("_timestamp");
        return words;
    }
    constexpr std::string_view total = "total";
    if (name.starts_with(total) && isUpper(name[total.size()])) {
        name.remove_prefix(total.size());
    }
    const NameText bare = withoutUnit(name, field.unit);
    appendSnakeCase(words, withoutEnd(withoutEnd(bare.view(), "Count"), "Total"));
    return words;
}

/* Labels that tell the fields of a family apart. */
constexpr NameText labelsOf(const Field& field) {
    NameText labels;
    const std::string_view name = field.name;
    if (isByPage(name)) {
        const size_t at = placeOf(pageMark, name);
        const std::string_view page = name.substr(at + pageMark.size());
        labels.append("owner=\"");
        labels.append(name.substr(0, at) == "brx" ? "brox" : name.substr(0, at));
        labels.append("\",page=\"");
        appendSnakeCase(labels, withoutEnd(withoutEnd(page, "_KIND"), "_PAGE"));
        labels.append("\"");
    } else if (const std::string_view queue = queueOf(name); !queue.empty()) {
        labels.append("queue=\"");
        appendSnakeCase(labels, queue);
        labels.append("\"");
    }
    return labels;
}

/* FNV-1a. Two names of one hash would be refused as one. */
constexpr uint64_t hashOf(std::string_view text, uint64_t hash = 0xCBF29CE484222325) {
    for (const char letter : text) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }
    return hash;
}

/* What tells the fields of a block apart: hashes of their words and labels, of a gauge as it is
 * called beside a counter of these words, too. */
template <size_t index> consteval auto keysOfBlock() {
    constexpr auto fields = statscatalogue::tables::blockTable[index].block.fields;
    std::array<uint64_t, fields.size()> keys{};
    for (size_t i = 0; i < fields.size(); i++) {
        if (!isLeftOut(fields[i])) {
            const std::string_view type = isCounter(fields[i]) ? "" : "_current";
            keys[i] =
                hashOf(labelsOf(fields[i]).view(), hashOf(type, hashOf(wordsOf(fields[i]).view())));
        }
    }
    return keys;
}
/* Each block is an evaluation of its own: clang limits the steps of one. */
template <size_t index> constexpr auto keysOf = keysOfBlock<index>();

/* No two fields of a structure become the same series, in whichever of its parts they are. */
template <size_t one, size_t other> consteval bool areApart() {
    using statscatalogue::tables::blockTable;
    if (one < other || blockTable[one].shortName != blockTable[other].shortName.view()) {
        return true;
    }
    std::array<uint64_t, keysOf<one>.size() + keysOf<other>.size()> keys{};
    auto* end = std::copy_if(keysOf<one>.begin(), keysOf<one>.end(), keys.begin(),
                             [](uint64_t key) { return key != 0; });
    if (one != other) {
        end = std::copy_if(keysOf<other>.begin(), keysOf<other>.end(), end,
                           [](uint64_t key) { return key != 0; });
    }
    std::sort(keys.begin(), end);
    return std::adjacent_find(keys.begin(), end) == end;
}

constexpr size_t numBlocks = statscatalogue::tables::blockTable.size();

template <size_t one, size_t... others> consteval bool isApartFrom(std::index_sequence<others...>) {
    return (areApart<one, others>() && ...);
}

template <size_t... blocks> consteval bool allAreApart(std::index_sequence<blocks...> all) {
    return (isApartFrom<blocks>(all) && ...);
}
static_assert(allAreApart(std::make_index_sequence<numBlocks>()),
              "each field is a series of its own");

/* A counter of the structure would be called as this gauge is. */
bool isCalledAsACounter(const BlockPlace& place, const Field& gauge) {
    const NameText words = wordsOf(gauge);
    return std::ranges::any_of(statscatalogue::allBlocks(), [&](const BlockPlace& part) {
        return part.shortName == place.shortName &&
               std::ranges::any_of(part.block.fields, [&](const Field& field) {
                   return isCounter(field) && wordsOf(field).view() == words.view();
               });
    });
}

/* "tvsi_vok_scavenges": the family's name. The field must not be left out. */
std::string familyOf(const BlockPlace& place, const Field& field) {
    std::string name = "tvsi_";
    name += place.shortName;
    name += '_';
    name += wordsOf(field).view();
    if (!isCounter(field) && isCalledAsACounter(place, field)) {
        name += "_current";
    }
    const std::string_view unit = endingOf(scaleOf(field).base);
    name += unit.empty() ? "" : "_";
    name += unit;
    return name;
}

std::string helpOf(const Field& field) {
    if (isByPage(field.name)) {
        return "Count for pages, by whose count it is and by the kind of page.";
    }
    if (!queueOf(field.name).empty()) {
        return "Entries of the queue.";
    }
    std::string help(field.sentence);
    help[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(help[0])));
    help += field.unit == Unit::Unknown ? " (unit not recorded)." : ".";
    return help;
}

/* Made once, when it is first asked for; never changes afterwards. */
class Table {
public:
    Table() {
        Numbers numbers;
        for (const BlockPlace& place : statscatalogue::allBlocks()) {
            addFamilies(place, numbers);
        }
        for (const Kind& kind : statscatalogue::kinds()) {
            addPlaces(kind, numbers);
        }
    }

    std::vector<MetricFamily> families;
    std::array<std::vector<MetricPlace>, SHRPC_numStatTypes> places;

private:
    using Numbers = std::map<std::string, size_t>;

    void addFamilies(const BlockPlace& place, Numbers& numbers) {
        for (const Field& field : place.block.fields) {
            if (isLeftOut(field)) {
                continue;
            }
            std::string name = familyOf(place, field);
            if (numbers.emplace(name, families.size()).second) {
                families.push_back({std::move(name), helpOf(field), isCounter(field),
                                    field.isApplications, field.aggregation, scaleOf(field)});
            }
        }
    }

    void addPlaces(const Kind& kind, const Numbers& numbers) {
        size_t packed = 0;
        for (const BlockPlace& place : kind.blocks()) {
            for (const Field& field : place.block.fields) {
                if (!isLeftOut(field)) {
                    addElements(kind, field, packed + field.offset,
                                families[numbers.find(familyOf(place, field))->second]);
                }
            }
            packed += place.block.size;
        }
    }

    void addElements(const Kind& kind, const Field& field, size_t packedOffset,
                     const MetricFamily& family) {
        for (uint16_t i = 0; i < field.count; i++) {
            std::string labels(labelsOf(field).view());
            if (field.count > 1) {
                labels += (labels.empty() ? "index=\"" : ",index=\"") + std::to_string(i) + '"';
            }
            const size_t offset = packedOffset + i * widthOf(field.type);
            places[static_cast<size_t>(kind.index)].push_back(
                {&family, &field, i, static_cast<uint16_t>(offset), field.type, std::move(labels)});
        }
    }
};

const Table& table() {
    static const Table made;
    return made;
}

} // namespace

std::string_view MetricFamily::unit() const {
    return endingOf(scale.base);
}

std::span<const MetricFamily> metricFamilies() {
    return table().families;
}

std::span<const MetricPlace> metricPlaces(const Kind& kind) {
    return table().places[static_cast<size_t>(kind.index)];
}

} // namespace samples
