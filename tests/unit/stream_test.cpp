/* The sample stream: what is written is read, and nothing else is. */
#include <algorithm>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exitstatus.h"
#include "streamdecoder.h"
#include "streamencoder.h"
#include "streamformat.h"
#include "versions.h"

namespace {

using namespace samples;
using testing::HasSubstr;

using Buffer = std::vector<std::byte>;

StreamHeader someHeader() {
    return {format::streamVersion,
            sizeof(TvsiResultSType),
            std::string(serverVersion()),
            std::string(releaseVersion()),
            "prod~1f2e",
            "prod",
            "h\xf6st",
            4711,
            5,
            64,
            {1, 2}};
}

/* A record of the kind whose every byte tells where it stands. */
TvsiResultSType someRecord(std::uint32_t statType, std::string_view name) {
    TvsiResultSType record;
    for (std::size_t i = 0; i < sizeof record; ++i) {
        reinterpret_cast<unsigned char*>(&record)[i] = static_cast<unsigned char>(i * 7 + statType);
    }
    record.stats.processId = static_cast<int>(statType) - 20;
    std::memset(record.olvName, 0, sizeof record.olvName);
    name.copy(record.olvName, sizeof record.olvName);
    record.statType = statType;
    return record;
}

const TvsiResultSType someRecords[] = {someRecord(SHRPC_MONITOR, "shrpcmonitor"),
                                       someRecord(SHRPC_VokThr, ""), someRecord(12, "two kinds"),
                                       someRecord(SHRPC_VOK, std::string(32, '\xff')),
                                       someRecord(SHRPC_FF_Thr, "ab")};
const ProcessFacts someFacts = {ProcessState::Stopped, 1'700'000'000'000'000'000, 1000};

void addSample(StreamEncoder& encoder, std::uint64_t sequence) {
    Sample sample;
    sample.times = {10, 20};
    sample.sequence = sequence;
    sample.slots = 64;
    sample.used = 5;
    sample.lateNs = 3;
    encoder.beginSample(sample);
    for (const auto& record : someRecords) {
        encoder.addRecord(record, someFacts);
    }
    encoder.endSample();
}

Buffer copyOf(const StreamEncoder& encoder) {
    return {encoder.bytes().begin(), encoder.bytes().end()};
}

/* Two streams, one behind the other, with every type of message. */
Buffer someStream() {
    StreamEncoder encoder;
    encoder.add(someHeader());
    encoder.add(Notice{"line\n", {3, 4}});
    addSample(encoder, 7);
    addSample(encoder, 9);
    encoder.add(Lost{7, "gone", {5, 6}});
    encoder.add(someHeader());
    encoder.add(Mark{"slow since here", {7, 8}});
    encoder.add(End{{8, 9}});
    return copyOf(encoder);
}

struct Decoded {
    std::vector<Message> messages;
    std::string problem;
    std::uint64_t position = 0;
    bool hasEnded = false;
};

Decoded decode(std::span<const std::byte> bytes, std::size_t piece = SIZE_MAX) {
    StreamDecoder decoder;
    Decoded result;
    while (!bytes.empty()) {
        const std::size_t size = std::min(piece, bytes.size());
        decoder.feed(bytes.first(size));
        bytes = bytes.subspan(size);
        while (auto message = decoder.next()) {
            result.messages.push_back(std::move(*message));
        }
    }
    decoder.finish();
    EXPECT_EQ(decoder.failed(), !decoder.problem().empty());
    EXPECT_FALSE(decoder.next()) << "the messages had all been taken";
    result.problem = decoder.problem();
    result.position = decoder.position();
    result.hasEnded = decoder.hasEnded();
    return result;
}

Buffer encode(const std::vector<Message>& messages) {
    StreamEncoder encoder;
    for (const Message& message : messages) {
        std::visit([&](const auto& which) { encoder.add(which); }, message);
    }
    return copyOf(encoder);
}

TEST(Stream, WhatIsWrittenIsReadInPiecesOfAnySize) {
    const Buffer bytes = someStream();
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, SIZE_MAX}) {
        const Decoded decoded = decode(bytes, piece);
        EXPECT_EQ(decoded.problem, "");
        EXPECT_EQ(decoded.position, bytes.size());
        EXPECT_TRUE(decoded.hasEnded);
        ASSERT_EQ(decoded.messages.size(), 8U);
        EXPECT_EQ(std::get<StreamHeader>(decoded.messages[0]), someHeader());
        EXPECT_EQ(std::get<Notice>(decoded.messages[1]), (Notice{"line\n", {3, 4}}));
        EXPECT_EQ(std::get<Lost>(decoded.messages[4]), (Lost{7, "gone", {5, 6}}));
        EXPECT_EQ(std::get<Mark>(decoded.messages[6]), (Mark{"slow since here", {7, 8}}));
        EXPECT_EQ(std::get<End>(decoded.messages[7]), (End{{8, 9}}));
        EXPECT_TRUE(encode(decoded.messages) == bytes) << "what was read is written the same";
    }
}

TEST(Stream, ARecordHasTheBlocksOfItsKind) {
    const Decoded decoded = decode(someStream());
    const auto& sample = std::get<Sample>(decoded.messages[2]);
    EXPECT_EQ(sample.times, (Times{10, 20}));
    EXPECT_EQ(std::tuple(sample.sequence, sample.slots, sample.used, sample.lateNs),
              std::tuple(7U, 64, 5, 3));
    ASSERT_EQ(sample.records().size(), std::size(someRecords));
    for (std::size_t i = 0; i < std::size(someRecords); ++i) {
        const TvsiResultSType& from = someRecords[i];
        const Record& record = sample.records()[i];
        EXPECT_EQ(record.kind, statscatalogue::kindOfBit(from.statType));
        EXPECT_EQ(std::tuple(record.statType, record.pid, record.session),
                  std::tuple(from.statType, from.stats.processId, from.stats.sessionId));
        EXPECT_EQ(record.name, std::string_view(from.olvName, strnlen(from.olvName, 32)));
        EXPECT_EQ((ProcessFacts{record.state, record.startedNs, record.uid}), someFacts);
        const std::byte* packed = record.blocks;
        for (const auto& place :
             record.kind ? record.kind->blocks() : std::span<const statscatalogue::BlockPlace>()) {
            EXPECT_EQ(std::memcmp(packed, reinterpret_cast<const char*>(&from) + place.recordOffset,
                                  place.block.size),
                      0)
                << place.member;
            packed += place.block.size;
        }
    }
}

TEST(Stream, CutAnywhereItSaysSo) {
    const Buffer bytes = someStream();
    std::vector<std::size_t> boundaries;
    const std::vector<Message> all = decode(bytes).messages;
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const Decoded decoded = decode(std::span(bytes).first(size));
        Buffer known = encode(decoded.messages);
        ASSERT_EQ(decoded.position, known.size());
        ASSERT_TRUE(std::equal(known.begin(), known.end(), bytes.begin()));
        if (decoded.position == size && size > 0) {
            ASSERT_EQ(decoded.problem, "");
            boundaries.push_back(size);
        } else {
            ASSERT_THAT(decoded.problem, size == 0
                                             ? HasSubstr("is empty")
                                             : HasSubstr("breaks off inside a message, after " +
                                                         std::to_string(size) + " bytes"));
        }
    }
    EXPECT_EQ(boundaries.size(), all.size() - 1);
}

TEST(Stream, AnyChangedByteIsReadAsItStandsOrRefused) {
    const Buffer bytes = someStream();
    int refused = 0;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const int flip : {1, 0x80, 0xFF}) {
            Buffer changed = bytes;
            changed[at] ^= static_cast<std::byte>(flip);
            const Decoded decoded = decode(changed);
            const Buffer known = encode(decoded.messages);
            ASSERT_EQ(known.size(), decoded.position);
            ASSERT_TRUE(std::equal(known.begin(), known.end(), changed.begin()))
                << "byte " << at << " was taken for another";
            ASSERT_EQ(decoded.problem.empty(), known.size() == changed.size());
            refused += decoded.problem.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 500) << "sizes, counts, types and whatever has only some values";
}

/* The bytes of a stream whose field at `offset` of the last message is another one. */
template <class Field>
Buffer withField(Buffer bytes, std::size_t lastMessageAt, std::size_t offset, Field value) {
    std::memcpy(bytes.data() + lastMessageAt + offset, &value, sizeof value);
    return bytes;
}

TEST(Stream, WhatIsRefusedGetsASentence) {
    using namespace format;
    StreamEncoder encoder;
    StreamHeader header = someHeader();
    encoder.add(header);
    const std::size_t first = encoder.bytes().size();
    const Buffer good = copyOf(encoder);
    const auto headerField = [&](std::size_t offset, std::uint32_t value) {
        return withField(good, 0, sizeof(MessageHead) + offset, value);
    };
    const auto headerWith = [&](std::string StreamHeader::*text, const char* value) {
        StreamEncoder other;
        header.*text = value;
        other.add(header);
        header = someHeader();
        return copyOf(other);
    };
    addSample(encoder, 7);
    const Buffer withSample = copyOf(encoder);
    const auto sampleField = [&](std::size_t offset, std::uint32_t value) {
        return withField(withSample, first, offset, value);
    };
    addSample(encoder, 7);
    const Buffer twice = copyOf(encoder);
    StreamEncoder afterEnd;
    afterEnd.add(header);
    afterEnd.add(End{});
    afterEnd.add(End{});
    const std::string at = "at byte " + std::to_string(first) + " of the stream ";
    const char page[] = "HTTP/1.1 404 Not Found";
    const auto* pageBytes = reinterpret_cast<const std::byte*>(page);
    const std::pair<Buffer, std::string> cases[] = {
        {Buffer(pageBytes, pageBytes + sizeof page),
         "this is no sample stream: it doesn't begin with a header"},
        {withField(good, 0, 0, __builtin_bswap32(headerType)),
         "the stream was written on a host with another byte order"},
        {Buffer(withSample.begin() + static_cast<std::ptrdiff_t>(first), withSample.end()),
         "this is no sample stream: it doesn't begin with a header"},
        {headerField(offsetof(HeaderBody, version), 2),
         "the stream is of version 2, which this program doesn't know"},
        {headerField(offsetof(HeaderBody, recordSize), 1808),
         "the stream is made of records of 1808 bytes, which this program doesn't know"},
        {headerWith(&StreamHeader::interfaceVersion, "4.\033"),
         "the stream is of a server of version 4.\\x1b, which this program doesn't know"},
        {headerWith(&StreamHeader::readerVersion, "99.1"),
         "the stream was written by release 99.1 of tvsi-reader, which this program (" +
             std::string(releaseVersion()) + ") doesn't know"},
        {copyOf(afterEnd), "at byte " + std::to_string(first + sizeof(MessageHead)) +
                               " of the stream there is a message after its last one"},
        {sampleField(0, 0), at + "there is no message"},
        {sampleField(4, maxMessageBytes + 1), at + "there is a message of impossible size"},
        {sampleField(4, 0x1000000), at + "there is a sample of impossible size"},
        {withField(sampleField(4, 0x1000000), first,
                   sizeof(MessageHead) + offsetof(SampleBody, numRecords), maxRecords + 1),
         at + "there is a sample of impossible size"},
        {sampleField(sizeof(MessageHead) + offsetof(SampleBody, numRecords), maxRecords + 1),
         at + "there is a damaged message"},
        {twice, "at byte " + std::to_string(withSample.size()) +
                    " of the stream sample 7 follows sample 7"},
    };
    for (const auto& [bytes, sentence] : cases) {
        EXPECT_EQ(decode(bytes).problem, sentence);
    }
}

TEST(Stream, WhatIsTooLongIsCutByItsWriter) {
    StreamEncoder encoder;
    encoder.add(someHeader());
    encoder.add(Notice{std::string(3000, 'n'), {-1, -1}});
    encoder.beginSample(Sample());
    std::uint32_t taken = 0;
    while (encoder.addRecord(someRecords[2], {})) {
        ++taken;
    }
    encoder.endSample();
    encoder.add(Lost{0, "", {}});
    const Decoded decoded = decode(copyOf(encoder));
    EXPECT_EQ(decoded.problem, "");
    ASSERT_EQ(decoded.messages.size(), 4U);
    EXPECT_EQ(std::get<Notice>(decoded.messages[1]), (Notice{std::string(2048, 'n'), {0, 0}}));
    EXPECT_EQ(std::get<Sample>(decoded.messages[2]).records().size(), taken);
    EXPECT_EQ(taken, 65536U);
    EXPECT_EQ(std::get<Lost>(decoded.messages[3]).status, 1) << "a loss is a failure";
}

TEST(Stream, MemoryIsUsedAgain) {
    StreamEncoder encoder;
    encoder.add(someHeader());
    StreamDecoder decoder;
    const std::byte* storage[2] = {};
    for (std::uint64_t sequence = 1; sequence < 50; ++sequence) {
        addSample(encoder, sequence);
        std::memcpy(decoder.room(encoder.bytes().size()).data(), encoder.bytes().data(),
                    encoder.bytes().size());
        decoder.filled(encoder.bytes().size());
        encoder.clear();
        while (auto message = decoder.next()) {
            if (auto* sample = std::get_if<Sample>(&*message)) {
                const std::byte* at = sample->records()[0].blocks;
                if (sequence > 4) {
                    EXPECT_TRUE(at == storage[0] || at == storage[1]);
                }
                storage[sequence % 2] = at;
                decoder.recycle(std::move(*sample));
            }
        }
        EXPECT_TRUE(decoder.isAtBoundary());
    }
}

TEST(Stream, MemoryOfASummaryBecomesAPlainSample) {
    StreamDecoder decoder;
    decoder.feed(someStream());
    int numSamples = 0;
    while (auto message = decoder.next()) {
        if (auto* sample = std::get_if<Sample>(&*message)) {
            numSamples++;
            EXPECT_EQ(sample->merged, 0U) << "sample " << numSamples;
            sample->merge(3, std::vector<std::uint32_t>(sample->records().size(), 3));
            decoder.recycle(std::move(*sample));
        }
    }
    EXPECT_GE(numSamples, 2);
}

} // namespace
