#include "streamencoder.h"

#include "exitstatus.h"
#include "streamformat.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace samples {

using namespace format;

namespace {

/* A decoder takes no other number where there can't be one. */
template <class Number> Number notNegative(Number number) {
    return std::max(number, Number{0});
}

} // namespace

namespace {

/* How the blocks of a kind travel: their sizes, and where they come from, neighbours at once. */
struct BlockForm {
    struct Copy {
        uint16_t from; /* bytes from the start of TvsiResultSType */
        uint16_t size;
    };
    std::array<BlockSize, statscatalogue::maxBlocksOfKind> sizes{};
    std::array<Copy, statscatalogue::maxBlocksOfKind> copies{};
    size_t numBlocks = 0;
    size_t numCopies = 0;
    size_t blockBytes = 0;

    BlockForm() = default;
    explicit BlockForm(const statscatalogue::Kind& kind) {
        for (const auto& place : kind.blocks()) {
            const uint16_t size = place.block.size;
            sizes[numBlocks++] = size;
            blockBytes += size;
            Copy* const last = numCopies > 0 ? &copies[numCopies - 1] : nullptr;
            if (last != nullptr && last->from + last->size == place.recordOffset) {
                last->size = static_cast<uint16_t>(last->size + size);
            } else {
                copies[numCopies++] = {place.recordOffset, size};
            }
        }
    }
};

/* Of a record of no known kind when there is none. */
const BlockForm& formOf(const statscatalogue::Kind* kind) {
    static const std::vector<BlockForm> forms = [] {
        const auto kinds = statscatalogue::kinds();
        return std::vector<BlockForm>(kinds.begin(), kinds.end());
    }();
    static const BlockForm none;
    return kind != nullptr ? forms[static_cast<size_t>(kind->index)] : none;
}

} // namespace

/* What a record says besides its blocks. */
struct StreamEncoder::Identity {
    const BlockForm& form;
    uint32_t statType;
    int32_t pid;
    int32_t session;
    std::string_view name;
    ProcessFacts facts;
};

/* Room for so many bytes at the end. */
std::byte* StreamEncoder::extend(size_t count) {
    buffer.reserve(size + count, size);
    std::byte* const at = buffer.data() + size;
    size += count;
    return at;
}

template <class Structure> void StreamEncoder::put(const Structure& structure) {
    std::memcpy(extend(sizeof structure), &structure, sizeof structure);
}

void StreamEncoder::putText(std::string_view text) {
    text = text.substr(0, maxTextBytes);
    put(static_cast<TextSize>(text.size()));
    std::copy_n(reinterpret_cast<const std::byte*>(text.data()), text.size(), extend(text.size()));
}

void StreamEncoder::beginMessage(uint32_t type, const Times& times) {
    messageAt = size;
    put(MessageHead{type, 0, notNegative(times.realNs), notNegative(times.monotonicNs)});
}

void StreamEncoder::endMessage() {
    const auto length = static_cast<uint32_t>(size - messageAt - sizeof(MessageHead));
    std::memcpy(buffer.data() + messageAt + offsetof(MessageHead, length), &length, sizeof length);
}

void StreamEncoder::add(const StreamHeader& header) {
    beginMessage(headerType, header.times);
    put(HeaderBody{streamVersion, sizeof(TvsiResultSType), notNegative(header.monitorStartedNs),
                   notNegative(header.monitorPid), notNegative(header.slots)});
    for (const std::string* text : {&header.interfaceVersion, &header.readerVersion,
                                    &header.location, &header.brox, &header.host}) {
        putText(*text);
    }
    endMessage();
}

void StreamEncoder::add(const Lost& lost) {
    beginMessage(lostType, lost.times);
    const auto status = exitStatusOf(lost.status);
    const bool isFailure = status.has_value() && *status != ExitStatus::Ok;
    put(LostBody{isFailure ? lost.status : static_cast<int32_t>(ExitStatus::Failure)});
    putText(lost.sentence);
    endMessage();
}

void StreamEncoder::add(const Notice& notice) {
    beginMessage(noticeType, notice.times);
    putText(notice.text);
    endMessage();
}

void StreamEncoder::add(const End& end) {
    beginMessage(endType, end.times);
    endMessage();
}

void StreamEncoder::add(const Mark& mark) {
    beginMessage(markType, mark.times);
    putText(mark.text);
    endMessage();
}

void StreamEncoder::add(const Sample& sample) {
    beginSample(sample);
    for (const Record& record : sample.records()) {
        addRecord(record);
    }
    endSample();
}

void StreamEncoder::beginSample(const Sample& sample, size_t numExpected) {
    buffer.reserve(size + numExpected * maxRecordBytes, size);
    beginMessage(sampleType, sample.times);
    numRecords = 0;
    put(SampleBody{sample.sequence, notNegative(sample.lateNs), notNegative(sample.slots),
                   std::max(sample.used, -1), 0, 0});
}

void StreamEncoder::endSample() {
    const size_t at = messageAt + sizeof(MessageHead) + offsetof(SampleBody, numRecords);
    std::memcpy(buffer.data() + at, &numRecords, sizeof numRecords);
    endMessage();
}

/* Appends everything but the blocks' bytes; returns where these go, null when the sample is full.
 */
std::byte* StreamEncoder::beginRecord(const Identity& identity) {
    if (numRecords == maxRecords) {
        return nullptr;
    }
    numRecords++;
    const BlockForm& form = identity.form;
    const size_t sizes = form.numBlocks * sizeof(BlockSize);
    const size_t between = paddedTo4(static_cast<uint32_t>(sizes + identity.name.size()));
    const size_t whole = sizeof(RecordHead) + between + form.blockBytes;
    std::byte* at = extend(whole);
    const RecordHead head{static_cast<uint32_t>(whole),
                          identity.statType,
                          identity.pid,
                          identity.session,
                          notNegative(identity.facts.startedNs),
                          identity.facts.uid,
                          static_cast<uint8_t>(identity.facts.state),
                          static_cast<uint8_t>(identity.name.size()),
                          static_cast<uint8_t>(form.numBlocks),
                          0};
    std::memcpy(at, &head, sizeof head);
    at += sizeof head;
    std::byte* const end = at + between;
    std::memset(end - 4, 0, between > 0 ? 4 : 0);
    std::memcpy(at, form.sizes.data(), sizes);
    identity.name.copy(reinterpret_cast<char*>(at + sizes), identity.name.size());
    return end;
}

bool StreamEncoder::addRecord(const TvsiResultSType& record, const ProcessFacts& facts) {
    const BlockForm& form = formOf(statscatalogue::kindOfBit(record.statType));
    const std::string_view name(record.olvName, strnlen(record.olvName, maxNameBytes));
    std::byte* to = beginRecord(
        {form, record.statType, record.stats.processId, record.stats.sessionId, name, facts});
    if (to == nullptr) {
        return false;
    }
    const auto* from = reinterpret_cast<const std::byte*>(&record);
    for (const auto& copy : std::span(form.copies).first(form.numCopies)) {
        std::memcpy(to, from + copy.from, copy.size);
        to += copy.size;
    }
    return true;
}

bool StreamEncoder::addRecord(const Record& record) {
    const BlockForm& form = formOf(record.kind);
    std::byte* to = beginRecord({form,
                                 record.statType,
                                 record.pid,
                                 record.session,
                                 record.name.substr(0, maxNameBytes),
                                 {record.state, record.startedNs, record.uid}});
    if (to == nullptr) {
        return false;
    }
    std::copy_n(record.blocks, form.blockBytes, to);
    return true;
}

} // namespace samples
