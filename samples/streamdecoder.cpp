#include "streamdecoder.h"

#include "exitstatus.h"
#include "printable.h"
#include "streamformat.h"
#include "versions.h"

#include <algorithm>
#include <cstring>

namespace samples {

using namespace format;

namespace {

struct LengthLimits {
    uint32_t type;
    uint64_t least;
    uint64_t most;
};

constexpr uint32_t largestText = sizeof(TextSize) + maxTextBytes;
constexpr size_t headerTexts = 5;

constexpr LengthLimits lengthLimits[] = {
    {headerType, sizeof(HeaderBody) + headerTexts * sizeof(TextSize),
     sizeof(HeaderBody) + headerTexts* largestText},
    {sampleType, sizeof(SampleBody), maxMessageBytes},
    {lostType, sizeof(LostBody) + sizeof(TextSize), sizeof(LostBody) + largestText},
    {noticeType, sizeof(TextSize), largestText},
    {endType, 0, 0},
    {markType, sizeof(TextSize), largestText},
};

/* The limits of a type; null when there is no such type. */
const LengthLimits* limitsOf(uint32_t type) {
    for (const LengthLimits& limits : lengthLimits) {
        if (limits.type == type) {
            return &limits;
        }
    }
    return nullptr;
}

std::string textOf(std::string_view text) {
    return std::string(text);
}
std::string textOf(uint64_t number) {
    return std::to_string(number);
}

std::string_view firstNumber(std::string_view version) {
    return version.substr(0, version.find('.'));
}

} // namespace

/* Takes what a message holds off its front; nothing is taken when there is too little. */
struct StreamDecoder::Cursor {
    const std::byte* at;
    size_t left;

    template <class Structure> bool take(Structure& structure) {
        if (left < sizeof structure) {
            return false;
        }
        std::memcpy(&structure, at, sizeof structure);
        skip(sizeof structure);
        return true;
    }
    bool takeText(std::string& text) {
        TextSize size = 0;
        if (!take(size) || size > maxTextBytes || size > left) {
            return false;
        }
        text.assign(reinterpret_cast<const char*>(at), size);
        skip(size);
        return true;
    }
    void skip(size_t count) {
        at += count;
        left -= count;
    }
};

template <class... Parts> void StreamDecoder::fail(Parts... parts) {
    ((sentence += textOf(parts)), ...);
}

void StreamDecoder::feed(std::span<const std::byte> bytes) {
    if (bytes.empty() || failed()) {
        return;
    }
    std::memcpy(room(bytes.size()).data(), bytes.data(), bytes.size());
    filled(bytes.size());
}

std::span<std::byte> StreamDecoder::room(size_t size) {
    if (begin == end) {
        begin = end = 0;
    }
    if (begin > 0 && end + size > buffer.capacity()) {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        end -= begin;
        begin = 0;
    }
    buffer.reserve(end + size, end);
    return {buffer.data() + end, buffer.capacity() - end};
}

void StreamDecoder::filled(size_t count) {
    if (!failed()) {
        end += count;
    }
}

void StreamDecoder::finish() {
    if (failed()) {
        return;
    }
    if (!isAtBoundary()) {
        fail("the stream breaks off inside a message, after ", passed + (end - begin), " bytes");
    } else if (phase == Phase::Start) {
        fail("the stream is empty");
    }
}

std::optional<Message> StreamDecoder::next() {
    if (failed() || !headIsGood()) {
        return std::nullopt;
    }
    MessageHead head;
    Cursor whole{buffer.data() + begin, end - begin};
    if (!whole.take(head)) {
        return std::nullopt;
    }
    if (whole.left < head.length) {
        if (!partlyArrivedIsGood()) {
            fail("at byte ", passed, " of the stream there is a sample of impossible size");
        }
        return std::nullopt;
    }
    Cursor body{whole.at, head.length};
    const uint64_t at = passed;
    std::optional<Message> message = decode(body, head.type, {head.realNs, head.monotonicNs});
    if (!message && !failed()) {
        fail("at byte ", at, " of the stream there is a damaged message");
    }
    return message;
}

/* Looks at as much of a message's head as has come: what is no stream shows early. */
bool StreamDecoder::headIsGood() {
    Cursor cursor{buffer.data() + begin, end - begin};
    uint32_t type = 0;
    uint32_t length = 0;
    if (!cursor.take(type)) {
        return true;
    }
    if (phase == Phase::Start && __builtin_bswap32(type) == headerType) {
        fail("the stream was written on a host with another byte order");
        return false;
    }
    const LengthLimits* limits = limitsOf(type);
    if (phase == Phase::Start && type != headerType) {
        fail("this is no sample stream: it doesn't begin with a header");
        return false;
    }
    if (limits == nullptr) {
        fail("at byte ", passed, " of the stream there is no message");
        return false;
    }
    if (phase == Phase::Ended && type != headerType) {
        fail("at byte ", passed, " of the stream there is a message after its last one");
        return false;
    }
    if (cursor.take(length) && (length < limits->least || length > limits->most)) {
        fail("at byte ", passed, " of the stream there is a message of impossible size");
        return false;
    }
    return true;
}

/* Whether a message that is still coming can become a good one: a sample can be large, and its
 * sender may promise more than it will ever send. */
bool StreamDecoder::partlyArrivedIsGood() const {
    Cursor cursor{buffer.data() + begin, end - begin};
    MessageHead head;
    SampleBody body;
    if (!cursor.take(head) || head.type != sampleType || !cursor.take(body)) {
        return true;
    }
    return body.numRecords <= maxRecords &&
           body.numRecords * sizeof(RecordHead) <= head.length - sizeof body &&
           head.length - sizeof body <= body.numRecords * maxRecordBytes;
}

std::optional<Message> StreamDecoder::decode(Cursor& body, uint32_t type, const Times& times) {
    if (times.realNs < 0 || times.monotonicNs < 0) {
        return std::nullopt;
    }
    const size_t whole = sizeof(MessageHead) + body.left;
    if (type == sampleType) {
        return decodeSample(body, times);
    }
    std::optional<Message> message;
    Phase after = phase;
    if (type == headerType) {
        message = decodeHeader(body, times);
        after = Phase::Running;
    } else if (type == noticeType) {
        Notice notice{{}, times};
        if (body.takeText(notice.text)) {
            message = std::move(notice);
        }
    } else if (type == markType) {
        Mark mark{{}, times};
        if (body.takeText(mark.text)) {
            message = std::move(mark);
        }
    } else if (type == lostType) {
        Lost lost{0, {}, times};
        const bool isWhole = body.take(lost.status) && body.takeText(lost.sentence);
        const auto status = exitStatusOf(lost.status);
        if (isWhole && status.has_value() && *status != ExitStatus::Ok) {
            message = std::move(lost);
        }
        after = Phase::Ended;
    } else {
        message = End{times};
        after = Phase::Ended;
    }
    if (!message || body.left != 0) {
        return std::nullopt;
    }
    phase = after;
    consume(whole);
    return message;
}

std::optional<Message> StreamDecoder::decodeHeader(Cursor& cursor, const Times& times) {
    HeaderBody body{};
    cursor.take(body);
    StreamHeader header;
    header.version = body.version;
    header.recordSize = body.recordSize;
    header.monitorPid = body.monitorPid;
    header.monitorStartedNs = body.monitorStartedNs;
    header.slots = body.slots;
    header.times = times;
    if (header.version != streamVersion) {
        fail("the stream is of version ", header.version, ", which this program doesn't know");
        return std::nullopt;
    }
    if (header.recordSize != sizeof(TvsiResultSType)) {
        fail("the stream is made of records of ", header.recordSize,
             " bytes, which this program "
             "doesn't know");
        return std::nullopt;
    }
    for (std::string* text : {&header.interfaceVersion, &header.readerVersion, &header.location,
                              &header.brox, &header.host}) {
        if (!cursor.takeText(*text)) {
            return std::nullopt;
        }
    }
    if (header.monitorPid < 0 || header.monitorStartedNs < 0 || header.slots < 0) {
        return std::nullopt;
    }
    if (header.interfaceVersion != serverVersion()) {
        fail("the stream is of a server of version ", printable(header.interfaceVersion),
             ", which this program doesn't know");
        return std::nullopt;
    }
    if (firstNumber(header.readerVersion) != firstNumber(releaseVersion())) {
        fail("the stream was written by release ", printable(header.readerVersion),
             " of tvsi-reader, which this program (", releaseVersion(), ") doesn't know");
        return std::nullopt;
    }
    hasSample = false;
    return header;
}

std::optional<Message> StreamDecoder::decodeSample(Cursor& cursor, const Times& times) {
    const size_t whole = sizeof(MessageHead) + cursor.left;
    SampleBody body{};
    cursor.take(body);
    if (!partlyArrivedIsGood() || body.zero != 0 || body.lateNs < 0 || body.slots < 0 ||
        body.used < -1) {
        return std::nullopt;
    }
    if (hasSample && body.sequence <= lastSequence) {
        fail("at byte ", passed, " of the stream sample ", body.sequence, " follows sample ",
             lastSequence);
        return std::nullopt;
    }
    Sample sample = std::move(spare);
    sample.times = times;
    sample.sequence = body.sequence;
    sample.slots = body.slots;
    sample.used = body.used;
    sample.lateNs = body.lateNs;
    sample.merged = 0; /* the spare one may have been made to stand for several */
    sample.list.resize(body.numRecords);
    for (Record& record : sample.list) {
        if (!decodeRecord(cursor, record)) {
            return std::nullopt;
        }
    }
    if (cursor.left != 0) {
        return std::nullopt;
    }
    hasSample = true;
    lastSequence = body.sequence;
    /* The sample keeps the bytes that it refers to; what has come after it moves. */
    const size_t after = begin + whole;
    const size_t rest = end - after;
    std::swap(sample.bytes, buffer);
    buffer.reserve(rest, 0);
    std::copy_n(sample.bytes.data() + after, rest, buffer.data());
    begin = 0;
    end = rest;
    passed += whole;
    return sample;
}

bool StreamDecoder::decodeRecord(Cursor& cursor, Record& record) {
    Cursor rest = cursor;
    RecordHead head;
    if (!rest.take(head) || head.size < sizeof head || head.size > cursor.left) {
        return false;
    }
    cursor.skip(head.size);
    rest.left = head.size - sizeof head;
    const auto* kind = statscatalogue::kindOfBit(head.statType);
    std::span<const statscatalogue::BlockPlace> blocks;
    if (kind != nullptr) {
        blocks = kind->blocks();
    }
    if (head.zero != 0 || head.state > static_cast<uint8_t>(ProcessState::Ended) ||
        head.startedNs < 0 || head.nameBytes > maxNameBytes || head.numBlocks != blocks.size()) {
        return false;
    }
    size_t blockBytes = 0;
    for (const auto& place : blocks) {
        BlockSize size = 0;
        if (!rest.take(size) || size != place.block.size) {
            return false;
        }
        blockBytes += size;
    }
    const size_t sizes = blocks.size() * sizeof(BlockSize);
    const size_t padding =
        paddedTo4(static_cast<uint32_t>(sizes + head.nameBytes)) - sizes - head.nameBytes;
    if (rest.left != head.nameBytes + padding + blockBytes) {
        return false;
    }
    const std::string_view name(reinterpret_cast<const char*>(rest.at), head.nameBytes);
    rest.skip(name.size());
    if (name.find('\0') != std::string_view::npos ||
        std::any_of(rest.at, rest.at + padding, [](std::byte b) { return b != std::byte{0}; })) {
        return false;
    }
    rest.skip(padding);
    record = {kind,           head.statType, head.pid,
              head.session,   name,          static_cast<ProcessState>(head.state),
              head.startedNs, head.uid,      rest.at};
    return true;
}

void StreamDecoder::consume(size_t count) {
    begin += count;
    passed += count;
}

void StreamDecoder::recycle(Sample&& sample) {
    if (buffer.capacity() == 0) {
        std::swap(buffer, sample.bytes);
    }
    spare = std::move(sample);
}

} // namespace samples
