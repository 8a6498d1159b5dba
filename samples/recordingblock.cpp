#include "recordingblock.h"

#include "crc32c.h"
#include "recordingformat.h"
#include "streamfile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <unordered_map>
#include <zstd.h>

namespace samples {

using format::maxNameBytes;
using format::maxPayload;

namespace {

enum class MessageType : uint8_t {
    CarriedHeader,
    Header,
    Sample,
    Lost,
    Notice,
    End,
    Mark,
    Summary
};
enum class RosterForm : uint8_t { Changed, AsBefore };
enum class RosterStep : uint8_t { Run, Record };

constexpr int compressionLevel = 1;
/* A chunk is encoded when its samples take so much memory. */
constexpr size_t largestArena = size_t{4} << 20;
/* Records of the sample before that are compared when several are alike. */
constexpr int mostCandidates = 8;
constexpr uint32_t nowhere = UINT32_MAX;
using ChunkSizes = std::array<uint32_t, numBlockSections>;
/* What a reader needs of each record besides the record itself, about. */
constexpr size_t decodedPlaceSize = 32;

/* Records of summaries have their blocks thrice: what they hold, what is below, what is above. */
constexpr size_t partsOf(bool isOfSummaries) {
    return isOfSummaries ? 3 : 1;
}

template <class Unsigned> constexpr Unsigned zigzag(Unsigned growth) {
    using Signed = std::make_signed_t<Unsigned>;
    const auto sign = static_cast<Unsigned>(static_cast<Signed>(growth) >> (sizeof growth * 8 - 1));
    return static_cast<Unsigned>(growth << 1) ^ sign;
}

template <class Unsigned> constexpr Unsigned unzigzag(Unsigned bits) {
    return static_cast<Unsigned>(bits >> 1) ^ static_cast<Unsigned>(-(bits & 1));
}

/* The section for a plane, when so many bits of its values are left. */
constexpr size_t planeSection(unsigned bitsLeft) {
    return std::min<unsigned>(bitsLeft, CHAR_BIT) - 1;
}

std::byte* extend(std::vector<std::byte>& bytes, size_t count) {
    bytes.resize(bytes.size() + count);
    return bytes.data() + bytes.size() - count;
}

void putByte(std::vector<std::byte>& to, uint8_t value) {
    to.push_back(std::byte{value});
}

void putNumber(std::vector<std::byte>& to, uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
        putByte(to, static_cast<uint8_t>(value | 0x80));
    }
    putByte(to, static_cast<uint8_t>(value));
}

/* How far a number is from another one. */
template <class Integer> void putGrowth(std::vector<std::byte>& to, Integer now, Integer before) {
    putNumber(to, zigzag(static_cast<uint64_t>(now) - static_cast<uint64_t>(before)));
}

void putText(std::vector<std::byte>& to, std::string_view text) {
    text = text.substr(0, maxTextBytes);
    putNumber(to, text.size());
    std::ranges::copy(std::as_bytes(std::span(text)), extend(to, text.size()));
}

void putTimes(std::vector<std::byte>& to, const Times& times) {
    putGrowth(to, times.realNs, int64_t{0});
    putGrowth(to, times.monotonicNs, int64_t{0});
}

void putHeader(std::vector<std::byte>& to, const StreamHeader& header) {
    putTimes(to, header.times);
    putNumber(to, header.version);
    putNumber(to, header.recordSize);
    for (const std::string* text : {&header.interfaceVersion, &header.readerVersion,
                                    &header.location, &header.brox, &header.host}) {
        putText(to, *text);
    }
    putGrowth(to, header.monitorPid, 0);
    putGrowth(to, header.monitorStartedNs, int64_t{0});
    putGrowth(to, header.slots, 0);
}

/* Takes a section apart. What is read beyond its end, or isn't as it must be, makes it bad; then
 * everything is 0. */
class Section {
public:
    explicit Section(std::span<const std::byte> of) : rest(of) {}

    bool isGood() const { return good; }
    bool isAtEnd() const { return rest.empty(); }
    void refuse() {
        good = false;
        rest = {};
    }

    std::span<const std::byte> take(size_t count) {
        if (count > rest.size()) {
            refuse();
            return {};
        }
        const auto taken = rest.first(count);
        rest = rest.subspan(count);
        return taken;
    }
    uint8_t byte() {
        const auto taken = take(1);
        return taken.empty() ? 0 : std::to_integer<uint8_t>(taken[0]);
    }
    uint64_t number() {
        uint64_t value = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const uint8_t bits = byte();
            value |= static_cast<uint64_t>(bits & 0x7F) << shift;
            if (bits < 0x80) {
                return value;
            }
        }
        refuse();
        return 0;
    }
    template <class Integer> Integer numberUpTo(Integer most) {
        const uint64_t value = number();
        if (value > static_cast<uint64_t>(most)) {
            refuse();
            return 0;
        }
        return static_cast<Integer>(value);
    }
    template <class Integer> Integer grown(Integer before) {
        return static_cast<Integer>(static_cast<uint64_t>(before) + unzigzag(number()));
    }
    std::string text() {
        const auto bytes = take(numberUpTo(maxTextBytes));
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    Times times() {
        Times times;
        times.realNs = grown(int64_t{0});
        times.monotonicNs = grown(int64_t{0});
        return times;
    }
    StreamHeader header() {
        StreamHeader header;
        header.times = times();
        header.version = numberUpTo(UINT32_MAX);
        header.recordSize = numberUpTo(UINT32_MAX);
        for (std::string* each : {&header.interfaceVersion, &header.readerVersion, &header.location,
                                  &header.brox, &header.host}) {
            *each = text();
        }
        header.monitorPid = grown(0);
        header.monitorStartedNs = grown(int64_t{0});
        header.slots = grown(0);
        return header;
    }

private:
    std::span<const std::byte> rest;
    bool good = true;
};

template <class Unsigned> Unsigned load(const std::byte* from) {
    Unsigned value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

bool decompress(std::span<const std::byte> payload, size_t unpacked, std::vector<std::byte>& into) {
    if (unpacked > maxPayload) {
        return false;
    }
    into.resize(unpacked);
    return ZSTD_decompress(into.data(), unpacked, payload.data(), payload.size()) == unpacked;
}

/* Compresses pieces into one payload. Each of them ends a block of zstd's, so that it has a coding
 * of its own. */
class Packer {
public:
    Packer(ZSTD_CCtx* of, BlockPayload& to) : context(of), payload(to) {
        payload.bytes.clear();
        payload.unpacked = 0;
        ZSTD_CCtx_reset(context, ZSTD_reset_session_only);
        ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, compressionLevel);
    }
    void add(std::span<const std::byte> piece) {
        payload.unpacked += static_cast<uint32_t>(piece.size());
        pack(piece, ZSTD_e_flush);
    }
    void end() { pack({}, ZSTD_e_end); }

private:
    void pack(std::span<const std::byte> piece, ZSTD_EndDirective how) {
        ZSTD_inBuffer from{piece.data(), piece.size(), 0};
        size_t left = 0;
        do {
            const size_t known = payload.bytes.size();
            ZSTD_outBuffer to{extend(payload.bytes, ZSTD_CStreamOutSize()), ZSTD_CStreamOutSize(),
                              0};
            left = ZSTD_compressStream2(context, &to, &from, how);
            payload.bytes.resize(known + to.pos);
        } while (left != 0 && ZSTD_isError(left) == 0);
    }

    ZSTD_CCtx* context;
    BlockPayload& payload;
};

} // namespace

/* ---- encoding ---- */

struct BlockEncoder::KeptRecord {
    uint32_t statType;
    int32_t pid;
    int32_t session;
    uint32_t uid;
    int64_t startedNs;
    ProcessState state;
    uint8_t nameBytes;
    std::array<char, maxNameBytes> name;
    uint32_t merged;          /* as Record::merged */
    uint32_t from;            /* place in the sample before; or nowhere */
    bool isAsBefore;          /* all but the statistics is the same there */
    const RecordedKind* kind; /* null: no statistics */
    uint32_t arenaAt;

    std::string_view text() const { return {name.data(), nameBytes}; }
    bool isSameProcess(const KeptRecord& other) const {
        return statType == other.statType && pid == other.pid && session == other.session &&
               startedNs == other.startedNs && text() == other.text();
    }
    size_t hash() const {
        return std::hash<std::string_view>()(text()) ^
               (static_cast<size_t>(static_cast<uint32_t>(pid)) << 32) ^
               static_cast<uint32_t>(session);
    }
};

struct BlockEncoder::KeptSample {
    Times times;
    uint64_t sequence = 0;
    int64_t lateNs = 0;
    int32_t slots = 0;
    int32_t used = 0;
    uint32_t merged = 0; /* as Sample::merged */
    size_t firstRecord = 0;
    size_t numRecords = 0;
};

struct BlockEncoder::Series {
    const RecordedKind* kind;
    uint32_t baseAt; /* in the arena: what it continues; or nowhere */
    bool isOfSummaries;
    uint32_t count = 0;
    uint32_t firstOffset = 0;
};

BlockEncoder::BlockEncoder() : context(ZSTD_createCCtx()) {}

BlockEncoder::~BlockEncoder() {
    ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(context));
}

void BlockEncoder::add(const Message& message) {
    const auto* header = std::get_if<StreamHeader>(&message);
    if (whole.isEmpty() && header == nullptr) {
        putByte(messages, static_cast<uint8_t>(MessageType::CarriedHeader));
        putHeader(messages, attached);
    }
    const int64_t realNs = timesOf(message).realNs;
    for (BlockContents* contents : {&whole, &current}) {
        if (contents->isEmpty()) {
            contents->firstNs = realNs;
        }
        contents->lastNs = realNs;
        (std::holds_alternative<Sample>(message) ? contents->numSamples : contents->numOthers)++;
    }
    const auto begin = [this](MessageType type) { putByte(messages, static_cast<uint8_t>(type)); };
    if (header != nullptr) {
        begin(MessageType::Header);
        putHeader(messages, *header);
        attached = *header;
    } else if (const auto* sample = std::get_if<Sample>(&message)) {
        addSample(*sample);
    } else if (const auto* lost = std::get_if<Lost>(&message)) {
        begin(MessageType::Lost);
        putTimes(messages, lost->times);
        putGrowth(messages, lost->status, 0);
        putText(messages, lost->sentence);
    } else if (const auto* notice = std::get_if<Notice>(&message)) {
        begin(MessageType::Notice);
        putTimes(messages, notice->times);
        putText(messages, notice->text);
    } else if (const auto* mark = std::get_if<Mark>(&message)) {
        begin(MessageType::Mark);
        putTimes(messages, mark->times);
        putText(messages, mark->text);
    } else {
        begin(MessageType::End);
        putTimes(messages, timesOf(message));
    }
}

void BlockEncoder::addSample(const Sample& sample) {
    if (arena.size() > largestArena) {
        closeChunk();
    }
    const KeptSample before = samples.empty() ? KeptSample{} : samples.back();
    KeptSample kept{sample.times, sample.sequence, sample.lateNs,  sample.slots,
                    sample.used,  sample.merged,   records.size(), sample.records().size()};
    records.reserve(records.size() + kept.numRecords);
    uint64_t numValues = 0;
    for (const Record& record : sample.records()) {
        KeptRecord copy{record.statType,
                        record.pid,
                        record.session,
                        record.uid,
                        record.startedNs,
                        record.state,
                        static_cast<uint8_t>(record.name.size()),
                        {},
                        record.merged,
                        nowhere,
                        false,
                        record.kind == nullptr ? nullptr
                                               : FieldTable::own().kindOf(record.statType),
                        static_cast<uint32_t>(arena.size())};
        std::ranges::copy(record.name, copy.name.begin());
        if (copy.kind != nullptr) {
            numValues += copy.kind->numElements;
            const std::span blocks(record.blocks, record.blocksSize());
            arena.insert(arena.end(), blocks.begin(), blocks.end());
        }
        records.push_back(copy);
    }
    decodedSize += sample.size() + kept.numRecords * decodedPlaceSize;
    linkRecords(kept, before);
    samples.push_back(kept);
    putSample(kept, before);

    whole.numValues += numValues;
    current.numValues += numValues;
    if (lastSampleNs != 0 && kept.times.realNs > lastSampleNs) {
        const auto pause = static_cast<uint64_t>(kept.times.realNs - lastSampleNs);
        whole.longestPauseNs = std::max(whole.longestPauseNs, pause);
        current.longestPauseNs = std::max(current.longestPauseNs, pause);
    }
    lastSampleNs = kept.times.realNs;
}

/* Finds each record's place in the sample before: mostly the same one. A place is taken once. */
void BlockEncoder::linkRecords(const KeptSample& now, const KeptSample& before) {
    if ((now.merged > 0) != (before.merged > 0)) {
        return;
    }
    std::vector<bool> isTaken;
    std::unordered_multimap<size_t, uint32_t> places;
    const auto join = [&](KeptRecord& record, size_t place) {
        const KeptRecord& other = records[before.firstRecord + place];
        record.from = static_cast<uint32_t>(place);
        record.isAsBefore = record.uid == other.uid && record.state == other.state;
    };
    for (size_t i = 0; i < now.numRecords; i++) {
        KeptRecord& record = records[now.firstRecord + i];
        const bool isInPlace = i < before.numRecords && isTaken.empty() &&
                               record.isSameProcess(records[before.firstRecord + i]);
        if (isInPlace) {
            join(record, i);
            continue;
        }
        if (isTaken.empty()) {
            isTaken.resize(before.numRecords + 1);
            std::fill_n(isTaken.begin(), std::min(i, before.numRecords), true);
            for (size_t place = i; place < before.numRecords; place++) {
                places.emplace(records[before.firstRecord + place].hash(),
                               static_cast<uint32_t>(place));
            }
        }
        auto [candidate, last] = places.equal_range(record.hash());
        for (int tries = 0; candidate != last && tries < mostCandidates; ++candidate, tries++) {
            const uint32_t place = candidate->second;
            if (!isTaken[place] && record.isSameProcess(records[before.firstRecord + place])) {
                isTaken[place] = true;
                join(record, place);
                break;
            }
        }
    }
}

void BlockEncoder::putSample(const KeptSample& now, const KeptSample& before) {
    const bool isSummary = now.merged > 0;
    putByte(messages, static_cast<uint8_t>(isSummary ? MessageType::Summary : MessageType::Sample));
    putGrowth(messages, now.times.realNs, before.times.realNs);
    putGrowth(messages, now.times.monotonicNs, before.times.monotonicNs);
    putGrowth(messages, now.sequence, before.sequence);
    putGrowth(messages, now.lateNs, int64_t{0});
    putGrowth(messages, now.slots, before.slots);
    putGrowth(messages, now.used, before.used);
    putRoster(now, before);
    if (isSummary) {
        putNumber(messages, now.merged);
        for (size_t i = now.firstRecord; i < records.size(); i++) {
            putGrowth(messages, records[i].merged, now.merged);
        }
    }
}

void BlockEncoder::putRoster(const KeptSample& now, const KeptSample& before) {
    const std::span own(records.data() + now.firstRecord, now.numRecords);
    bool isAsBefore =
        now.numRecords == before.numRecords && (now.merged > 0) == (before.merged > 0);
    for (size_t i = 0; isAsBefore && i < own.size(); i++) {
        isAsBefore = own[i].from == i && own[i].isAsBefore;
    }
    putByte(messages,
            static_cast<uint8_t>(isAsBefore ? RosterForm::AsBefore : RosterForm::Changed));
    if (isAsBefore) {
        return;
    }
    putNumber(messages, own.size());
    for (size_t i = 0; i < own.size();) {
        size_t run = 0;
        while (i + run < own.size() && own[i + run].from != nowhere && own[i + run].isAsBefore &&
               own[i + run].from == own[i].from + run) {
            run++;
        }
        if (run > 0) {
            putByte(messages, static_cast<uint8_t>(RosterStep::Run));
            putNumber(messages, own[i].from);
            putNumber(messages, run);
            i += run;
        } else {
            putRecord(own[i]);
            i++;
        }
    }
}

void BlockEncoder::putRecord(const KeptRecord& record) {
    putByte(messages, static_cast<uint8_t>(RosterStep::Record));
    putNumber(messages, record.from == nowhere ? 0 : uint64_t{record.from} + 1);
    putNumber(messages, record.statType);
    putGrowth(messages, record.pid, 0);
    putGrowth(messages, record.session, 0);
    putNumber(messages, static_cast<uint64_t>(record.startedNs));
    putNumber(messages, record.uid);
    putByte(messages, static_cast<uint8_t>(record.state));
    putText(messages, record.text());
}

bool BlockEncoder::isFull() const {
    return decodedSize > maxPayload / 2;
}

BlockEncoder::Sections BlockEncoder::sections() const {
    Sections all{&messages, &firsts, &widths};
    std::ranges::transform(planes, all.end() - planes.size(), [](auto& each) { return &each; });
    return all;
}

BlockEncoder::Sizes BlockEncoder::sizes() const {
    Sizes all;
    std::ranges::transform(sections(), all.begin(), [](auto* each) { return each->size(); });
    return all;
}

size_t BlockEncoder::size() const {
    const Sizes of = sizes();
    return std::reduce(of.begin(), of.end()) + arena.size();
}

/* Encodes the samples at hand; the last one stays as what the next chunk continues. */
void BlockEncoder::closeChunk() {
    if (messages.size() == (chunkEnds.empty() ? 0 : chunkEnds.back()[0])) {
        return;
    }
    putColumns();
    chunkEnds.push_back(sizes());
    if (samples.size() > 1) {
        KeptSample& last = samples.back();
        const auto first = records.begin() + static_cast<std::ptrdiff_t>(last.firstRecord);
        const uint32_t arenaAt =
            first == records.end() ? static_cast<uint32_t>(arena.size()) : first->arenaAt;
        records.erase(records.begin(), first);
        arena.erase(arena.begin(), arena.begin() + arenaAt);
        for (KeptRecord& record : records) {
            record.arenaAt -= arenaAt;
        }
        last.firstRecord = 0;
        samples.erase(samples.begin(), samples.end() - 1);
    }
    hasBase = !samples.empty();
}

/* Follows the records from sample to sample. */
void BlockEncoder::findSeries() {
    series.clear();
    seriesOf.assign(records.size(), nowhere);
    for (size_t i = hasBase ? 1 : 0; i < samples.size(); i++) {
        const KeptSample& sample = samples[i];
        for (size_t j = sample.firstRecord; j < sample.firstRecord + sample.numRecords; j++) {
            const KeptRecord& record = records[j];
            if (record.kind == nullptr) {
                continue;
            }
            uint32_t baseAt = nowhere;
            if (record.from != nowhere) {
                const size_t from = samples[i - 1].firstRecord + record.from;
                seriesOf[j] = seriesOf[from];
                baseAt = records[from].arenaAt;
            }
            if (seriesOf[j] == nowhere) {
                seriesOf[j] = static_cast<uint32_t>(series.size());
                series.push_back({record.kind, baseAt, sample.merged > 0});
            }
            series[seriesOf[j]].count++;
        }
    }
    uint32_t placed = 0;
    for (Series& each : series) {
        each.firstOffset = placed;
        placed += std::exchange(each.count, 0);
    }
    offsets.resize(placed);
    for (size_t j = 0; j < records.size(); j++) {
        if (seriesOf[j] != nowhere) {
            Series& each = series[seriesOf[j]];
            offsets[each.firstOffset + each.count++] = records[j].arenaAt;
        }
    }
}

void BlockEncoder::putColumns() {
    findSeries();
    growths.resize(samples.size());
    for (const Series& each : series) {
        const size_t packed = each.kind->kind->packedSize();
        for (size_t part = 0; part < partsOf(each.isOfSummaries); part++) {
            for (const RecordedKind::Run& run : each.kind->runs) {
                for (size_t i = 0; i < run.count; i++) {
                    const size_t at =
                        part * packed + static_cast<size_t>(run.packedOffset) + i * run.width;
                    run.width == sizeof(uint32_t) ? putColumn<uint32_t>(each, at)
                                                  : putColumn<uint64_t>(each, at);
                }
            }
        }
    }
}

template <class Unsigned> void BlockEncoder::putColumn(const Series& of, size_t at) {
    const uint32_t* place = offsets.data() + of.firstOffset;
    const uint32_t* const end = place + of.count;
    Unsigned before = 0;
    if (of.baseAt != nowhere) {
        before = load<Unsigned>(arena.data() + of.baseAt + at);
    } else {
        before = load<Unsigned>(arena.data() + *place++ + at);
        putNumber(firsts, before);
        if (place == end) {
            return;
        }
    }
    size_t count = 0;
    Unsigned all = 0;
    for (; place != end; place++) {
        const auto value = load<Unsigned>(arena.data() + *place + at);
        const auto growth = zigzag(static_cast<Unsigned>(value - before));
        growths[count++] = growth;
        all |= growth;
        before = value;
    }
    const auto width = static_cast<unsigned>(std::bit_width(all));
    putByte(widths, static_cast<uint8_t>(width));
    for (unsigned shift = 0; shift < width; shift += CHAR_BIT) {
        std::byte* to = extend(planes[planeSection(width - shift)], count);
        for (size_t i = 0; i < count; i++) {
            *to++ = static_cast<std::byte>(growths[i] >> shift);
        }
    }
}

void BlockEncoder::compress(size_t firstChunk, BlockPayload& payload) {
    const Sizes begins = firstChunk == 0 ? Sizes{} : chunkEnds[firstChunk - 1];
    Sizes ends = begins;
    std::vector<uint32_t> sizes{static_cast<uint32_t>(chunkEnds.size() - firstChunk)};
    for (size_t chunk = firstChunk; chunk < chunkEnds.size(); chunk++) {
        for (size_t i = 0; i < ends.size(); i++) {
            sizes.push_back(static_cast<uint32_t>(chunkEnds[chunk][i] - ends[i]));
        }
        ends = chunkEnds[chunk];
    }
    Packer packer(static_cast<ZSTD_CCtx*>(context), payload);
    packer.add(std::as_bytes(std::span(sizes)));
    for (size_t i = 0; i < ends.size(); i++) {
        packer.add(std::span(*sections()[i]).subspan(begins[i], ends[i] - begins[i]));
    }
    packer.end();
}

void BlockEncoder::makePart(BlockPayload& payload) {
    closeChunk();
    compress(numChunksWritten, payload);
}

void BlockEncoder::partIsWritten() {
    numChunksWritten = chunkEnds.size();
    current = {};
}

void BlockEncoder::makeMinute(BlockPayload& payload) {
    closeChunk();
    compress(0, payload);
}

void BlockEncoder::clear() {
    messages.clear();
    firsts.clear();
    widths.clear();
    std::ranges::for_each(planes, &std::vector<std::byte>::clear);
    chunkEnds.clear();
    records.clear();
    samples.clear();
    arena.clear();
    hasBase = false;
    lastSampleNs = 0;
    decodedSize = 0;
    whole = {};
    partIsWritten();
}

/* ---- decoding ---- */

/* One payload. Makes samples of what is not trusted; of their memory a part is used up by each. */
class BlockDecoder {
public:
    BlockDecoder(const FieldTable& by, std::vector<BlockMessage>& to) : table(by), messages(to) {}

    bool decode(std::span<const std::byte> payload);
    static void disownForeignKinds(Sample& sample);

private:
    using Planes = std::span<Section>; /* sections of a chunk, by the bits of the planes in them */

    /* A record of the sample before, or of this one. */
    struct Place {
        const RecordedKind* kind;
        std::byte* blocks;         /* null: of a chunk before */
        const std::byte* contents; /* the same; null: none */
        uint32_t series;
    };
    struct Series {
        const RecordedKind* kind;
        bool isOfSummaries;
        bool hasBase; /* it continues one of a chunk before */
        const std::byte* base;
        std::vector<std::byte*> blocks;
    };

    bool decodeChunk(std::vector<Section>& sections);
    bool beginChunk();
    bool takeMessage(Section& from);
    bool takeSample(Section& from, bool isSummary);
    static bool takeCounts(Section& from, Sample& sample, std::vector<Record>& roster);
    bool takeRoster(Section& from, const Sample& before, std::vector<Record>& roster);
    bool linksDiffer(size_t numEarlier) const;
    bool takeRecord(Section& from, Record& record);
    bool place(Sample& sample, const std::vector<Record>& roster);
    bool fillColumns(Section& firsts, Section& widths, Planes planes) const;
    static bool fillPart(const Series& of, size_t part, Section& firsts, Section& widths,
                         Planes planes);
    template <class Unsigned>
    static bool fillColumn(const Series& of, int32_t at, Section& firsts, Section& widths,
                           Planes planes);
    const Sample* lastSample() const;

    const FieldTable& table;
    std::vector<BlockMessage>& messages;
    size_t lastSampleAt = SIZE_MAX; /* index into the messages */
    std::vector<Series> series;
    std::vector<Place> places;   /* of the last sample's records */
    std::vector<uint32_t> links; /* of a roster's records in the sample before; or nowhere */
    uint64_t budget = maxPayload;
};

const Sample* BlockDecoder::lastSample() const {
    return lastSampleAt == SIZE_MAX ? nullptr : &std::get<Sample>(messages[lastSampleAt].message);
}

bool BlockDecoder::decode(std::span<const std::byte> payload) {
    for (size_t i = messages.size(); i-- > 0 && lastSampleAt == SIZE_MAX;) {
        if (std::holds_alternative<Sample>(messages[i].message)) {
            lastSampleAt = i;
        }
    }
    uint32_t numChunks = 0;
    if (payload.size() < sizeof numChunks) {
        return false;
    }
    std::memcpy(&numChunks, payload.data(), sizeof numChunks);
    payload = payload.subspan(sizeof numChunks);
    if (numChunks > payload.size() / sizeof(ChunkSizes)) {
        return false;
    }
    std::vector<ChunkSizes> chunks(numChunks);
    const auto sizes = std::as_writable_bytes(std::span(chunks));
    std::ranges::copy(payload.first(sizes.size()), sizes.begin());
    Section rest(payload.subspan(sizes.size()));
    std::vector<Section> sections;
    for (size_t i = 0; i < numBlockSections; i++) {
        uint64_t size = 0;
        for (const ChunkSizes& chunk : chunks) {
            size += chunk[i];
        }
        sections.emplace_back(rest.take(size));
    }
    return rest.isGood() && rest.isAtEnd() &&
           std::ranges::all_of(chunks, [&](const ChunkSizes& chunk) {
               std::vector<Section> own;
               for (size_t i = 0; i < numBlockSections; i++) {
                   own.emplace_back(sections[i].take(chunk[i]));
               }
               return decodeChunk(own);
           });
}

/* What a chunk continues takes its part of the memory, too, so that many small ones end. */
bool BlockDecoder::beginChunk() {
    series.clear();
    places.clear();
    const Sample* const base = lastSample();
    if (base == nullptr) {
        return true;
    }
    const uint64_t cost = base->records().size() * sizeof(Place);
    if (cost > budget) {
        return false;
    }
    budget -= cost;
    for (const Record& record : base->records()) {
        /* By another catalogue its kind may have been none, and it has no blocks. */
        const std::byte* const contents = record.kind != nullptr ? record.blocks : nullptr;
        places.push_back({table.kindOf(record.statType), nullptr, contents, nowhere});
    }
    return true;
}

bool BlockDecoder::decodeChunk(std::vector<Section>& sections) {
    if (sections[0].isAtEnd() || !beginChunk()) {
        return false;
    }
    while (!sections[0].isAtEnd()) {
        if (!takeMessage(sections[0])) {
            return false;
        }
    }
    return fillColumns(sections[1], sections[2], std::span(sections).subspan(3)) &&
           std::ranges::all_of(sections,
                               [](const Section& each) { return each.isGood() && each.isAtEnd(); });
}

bool BlockDecoder::takeMessage(Section& from) {
    const auto type = static_cast<MessageType>(from.byte());
    if ((messages.empty() && type != MessageType::CarriedHeader && type != MessageType::Header) ||
        budget < sizeof(BlockMessage)) {
        return false;
    }
    budget -= sizeof(BlockMessage);
    switch (type) {
    case MessageType::CarriedHeader:
        messages.push_back({true, from.header()});
        break;
    case MessageType::Header:
        messages.push_back({false, from.header()});
        break;
    case MessageType::Sample:
    case MessageType::Summary:
        return takeSample(from, type == MessageType::Summary);
    case MessageType::Lost: {
        Lost lost;
        lost.times = from.times();
        lost.status = from.grown(0);
        lost.sentence = from.text();
        messages.push_back({false, std::move(lost)});
        break;
    }
    case MessageType::Notice: {
        const Times times = from.times();
        messages.push_back({false, Notice{from.text(), times}});
        break;
    }
    case MessageType::Mark: {
        const Times times = from.times();
        messages.push_back({false, Mark{from.text(), times}});
        break;
    }
    case MessageType::End:
        messages.push_back({false, End{from.times()}});
        break;
    default:
        return false;
    }
    return from.isGood();
}

bool BlockDecoder::takeSample(Section& from, bool isSummary) {
    static const Sample none;
    const Sample* const last = lastSample();
    const Sample& before = last == nullptr ? none : *last;
    const int32_t usedBefore = last == nullptr ? 0 : before.used;
    Sample sample;
    sample.times.realNs = from.grown(before.times.realNs);
    sample.times.monotonicNs = from.grown(before.times.monotonicNs);
    sample.sequence = from.grown(before.sequence);
    sample.lateNs = from.grown(int64_t{0});
    sample.slots = from.grown(before.slots);
    sample.used = from.grown(usedBefore);
    std::vector<Record> roster;
    const bool continues = (before.merged > 0) == isSummary;
    if (!takeRoster(from, continues ? before : none, roster) ||
        (isSummary && !takeCounts(from, sample, roster)) || !from.isGood() ||
        !place(sample, roster)) {
        return false;
    }
    lastSampleAt = messages.size();
    messages.push_back({false, std::move(sample)});
    return true;
}

/* How many samples a summary and its records stand for. */
bool BlockDecoder::takeCounts(Section& from, Sample& sample, std::vector<Record>& roster) {
    sample.merged = from.numberUpTo(UINT32_MAX);
    for (Record& record : roster) {
        record.merged = from.grown(sample.merged);
    }
    return sample.merged > 0 &&
           std::ranges::all_of(roster, [](const Record& each) { return each.merged > 0; });
}

/* Records without their statistics; `links` tells where in the sample before they come from. */
bool BlockDecoder::takeRoster(Section& from, const Sample& before, std::vector<Record>& roster) {
    const auto earlier = before.records();
    const auto form = static_cast<RosterForm>(from.byte());
    links.clear();
    const auto copy = [&](size_t first, size_t count) {
        for (size_t i = first; i < first + count; i++) {
            roster.push_back(earlier[i]);
            links.push_back(static_cast<uint32_t>(i));
        }
    };
    if (form == RosterForm::AsBefore) {
        copy(0, earlier.size());
        return true;
    }
    if (form != RosterForm::Changed) {
        return false;
    }
    const auto count = from.numberUpTo(maxRecords);
    while (roster.size() < count && from.isGood()) {
        const auto step = static_cast<RosterStep>(from.byte());
        if (step == RosterStep::Run) {
            const auto first = from.numberUpTo(earlier.size());
            const auto run = from.numberUpTo(earlier.size() - first);
            if (run == 0 || run > count - roster.size()) {
                return false;
            }
            copy(first, run);
            continue;
        }
        const auto link = from.numberUpTo(earlier.size());
        Record record{};
        if (step != RosterStep::Record || !takeRecord(from, record)) {
            return false;
        }
        const bool isLinked = link > 0;
        if (isLinked && earlier[link - 1].statType != record.statType) {
            return false;
        }
        roster.push_back(record);
        links.push_back(isLinked ? static_cast<uint32_t>(link - 1) : nowhere);
    }
    return from.isGood() && linksDiffer(earlier.size());
}

/* Nobody can come from where somebody else does. */
bool BlockDecoder::linksDiffer(size_t numEarlier) const {
    std::vector<bool> isTaken(numEarlier);
    return std::ranges::all_of(links, [&](uint32_t link) {
        const bool isFirst = link == nowhere || !isTaken[link];
        if (link != nowhere) {
            isTaken[link] = true;
        }
        return isFirst;
    });
}

bool BlockDecoder::takeRecord(Section& from, Record& record) {
    record.statType = from.numberUpTo(UINT32_MAX);
    record.pid = from.grown(0);
    record.session = from.grown(0);
    record.startedNs = from.numberUpTo(INT64_MAX);
    record.uid = from.numberUpTo(UINT32_MAX);
    record.state =
        static_cast<ProcessState>(from.numberUpTo(static_cast<uint8_t>(ProcessState::Ended)));
    const auto name = from.take(from.numberUpTo(maxNameBytes));
    record.name = {reinterpret_cast<const char*>(name.data()), name.size()};
    return from.isGood() && record.name.find('\0') == std::string_view::npos;
}

/* Gives the sample its records and their memory, and joins them to the series. */
bool BlockDecoder::place(Sample& sample, const std::vector<Record>& roster) {
    uint64_t size = 0;
    std::vector<Place> placed;
    placed.reserve(roster.size());
    for (const Record& record : roster) {
        const RecordedKind* const kind = table.kindOf(record.statType);
        const bool isKnown = kind != nullptr && kind->kind != nullptr;
        placed.push_back({kind, nullptr, nullptr, nowhere});
        size += record.name.size() +
                (isKnown ? partsOf(sample.merged > 0) * kind->kind->packedSize() : 0);
    }
    const uint64_t cost = size + roster.size() * (sizeof(Record) + sizeof(Place)) + sizeof(Sample);
    if (cost > budget) {
        return false;
    }
    budget -= cost;
    sample.bytes.reserve(size, 0);
    std::byte* free = sample.bytes.data();
    sample.list = roster;
    for (size_t i = 0; i < roster.size(); i++) {
        Record& record = sample.list[i];
        Place& here = placed[i];
        std::ranges::copy(std::as_bytes(std::span(record.name)), free);
        record.name = {reinterpret_cast<const char*>(free), record.name.size()};
        free += record.name.size();
        record.kind = here.kind != nullptr ? here.kind->kind : nullptr;
        record.blocks = free;
        here.blocks = free;
        here.contents = free;
        if (record.kind != nullptr) {
            std::memset(free, 0, record.blocksSize());
            free += record.blocksSize();
        }
        if (here.kind == nullptr) {
            continue;
        }
        const Place* const before = links[i] == nowhere ? nullptr : &places[links[i]];
        if (before != nullptr && record.kind != nullptr && before->contents == nullptr) {
            return false;
        }
        here.series = before == nullptr ? nowhere : before->series;
        if (here.series == nowhere) {
            here.series = static_cast<uint32_t>(series.size());
            series.push_back({here.kind,
                              sample.merged > 0,
                              before != nullptr,
                              before == nullptr ? nullptr : before->contents,
                              {}});
        }
        series[here.series].blocks.push_back(here.blocks);
    }
    places = std::move(placed);
    return true;
}

bool BlockDecoder::fillColumns(Section& firsts, Section& widths, Planes planes) const {
    return std::ranges::all_of(series, [&](const Series& each) {
        for (size_t part = 0; part < partsOf(each.isOfSummaries); part++) {
            if (!fillPart(each, part, firsts, widths, planes)) {
                return false;
            }
        }
        return true;
    });
}

bool BlockDecoder::fillPart(const Series& of, size_t part, Section& firsts, Section& widths,
                            Planes planes) {
    const size_t begin = of.kind->kind == nullptr ? 0 : part * of.kind->kind->packedSize();
    for (const RecordedKind::Run& run : of.kind->runs) {
        for (int32_t i = 0; i < run.count; i++) {
            const int32_t at = run.packedOffset < 0
                                   ? -1
                                   : static_cast<int32_t>(begin) + run.packedOffset + i * run.width;
            const bool isGood = run.width == sizeof(uint32_t)
                                    ? fillColumn<uint32_t>(of, at, firsts, widths, planes)
                                    : fillColumn<uint64_t>(of, at, firsts, widths, planes);
            if (!isGood) {
                return false;
            }
        }
    }
    return true;
}

/* `at`: where the element belongs in this program's records; below 0: it knows no such one. */
template <class Unsigned>
bool BlockDecoder::fillColumn(const Series& of, int32_t at, Section& firsts, Section& widths,
                              Planes planes) {
    const auto store = [at](std::byte* blocks, Unsigned value) {
        if (at >= 0) {
            std::memcpy(blocks + at, &value, sizeof value);
        }
    };
    std::span<std::byte* const> blocks(of.blocks);
    Unsigned value = 0;
    if (!of.hasBase) {
        value = firsts.numberUpTo(std::numeric_limits<Unsigned>::max());
        store(blocks[0], value);
        blocks = blocks.subspan(1);
        if (blocks.empty()) {
            return firsts.isGood();
        }
    } else if (at >= 0) {
        value = load<Unsigned>(of.base + at);
    }
    const unsigned width = widths.byte();
    if (width > std::numeric_limits<Unsigned>::digits) {
        return false;
    }
    std::array<const std::byte*, sizeof(Unsigned)> bytes;
    for (unsigned shift = 0; shift < width; shift += CHAR_BIT) {
        Section& plane = planes[planeSection(width - shift)];
        bytes[shift / CHAR_BIT] = plane.take(blocks.size()).data();
        if (!plane.isGood()) {
            return false;
        }
    }
    if (!firsts.isGood() || !widths.isGood()) {
        return false;
    }
    for (size_t i = 0; i < blocks.size(); i++) {
        Unsigned growth = 0;
        for (unsigned shift = 0; shift < width; shift += CHAR_BIT) {
            growth |= static_cast<Unsigned>(bytes[shift / CHAR_BIT][i]) << shift;
        }
        value = static_cast<Unsigned>(value + unzigzag(growth));
        store(blocks[i], value);
    }
    return true;
}

bool decodeChunks(std::span<const std::byte> chunks, const FieldTable& table,
                  std::vector<BlockMessage>& messages) {
    const size_t known = messages.size();
    if (BlockDecoder(table, messages).decode(chunks)) {
        return true;
    }
    messages.resize(known);
    return false;
}

bool decodeBlock(std::span<const std::byte> payload, size_t unpacked, const FieldTable& table,
                 std::vector<BlockMessage>& messages) {
    std::vector<std::byte> chunks;
    return decompress(payload, unpacked, chunks) && decodeChunks(chunks, table, messages);
}

void BlockDecoder::disownForeignKinds(Sample& sample) {
    for (Record& record : sample.list) {
        const bool isForeign =
            record.kind == nullptr && statscatalogue::kindOfBit(record.statType) != nullptr;
        record.statType = isForeign ? 0 : record.statType;
    }
}

void disownForeignKinds(std::vector<BlockMessage>& messages) {
    for (BlockMessage& each : messages) {
        if (auto* const sample = std::get_if<Sample>(&each.message)) {
            BlockDecoder::disownForeignKinds(*sample);
        }
    }
}

void encodeTable(const FieldTable& table, BlockPayload& payload) {
    const std::string& text = table.text();
    payload.unpacked = static_cast<uint32_t>(text.size());
    payload.bytes.resize(ZSTD_compressBound(text.size()));
    payload.bytes.resize(ZSTD_compress(payload.bytes.data(), payload.bytes.size(), text.data(),
                                       text.size(), compressionLevel));
}

std::optional<FieldTable> decodeTable(std::span<const std::byte> payload, size_t unpacked) {
    std::vector<std::byte> text;
    if (!decompress(payload, unpacked, text)) {
        return std::nullopt;
    }
    return FieldTable::from({reinterpret_cast<const char*>(text.data()), text.size()});
}

bool isSameCache(const StreamHeader& one, const StreamHeader& other) {
    return one.host == other.host && one.location == other.location &&
           (!one.location.empty() || one.brox == other.brox);
}

uint32_t cacheSum(const StreamHeader& header) {
    const auto sum = [](const std::string& text, uint32_t before) {
        return crc32c(std::as_bytes(std::span(text.c_str(), text.size() + 1)), before);
    };
    return sum(header.location.empty() ? header.brox : header.location, sum(header.host, 0));
}

} // namespace samples
