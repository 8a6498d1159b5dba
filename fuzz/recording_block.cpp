/*
 * A recording's bytes, from anywhere. The first byte of an input says what the rest is:
 *
 *   0 to 63       two payloads of a minute, without compression; two bytes say how long the first
 *                 one is
 *   64 to 127     the catalogue that a recording carries, by which a good payload is read
 *   128 to 255    a good recording, changed: triples of place (two bytes) and value are put into
 *                 it, or from 192 on into its tail; what is left over is the place where it is cut
 *
 * Whatever has been taken can be written and is read as the same again, and whatever is lost of a
 * recording is said.
 */
#include <fstream>
#include <iterator>
#include <span>
#include <variant>
#include <vector>

#include "fuzzing.h"
#include "recordingblock.h"
#include "recordingreader.h"
#include "recordingtimeline.h"
#include "recordingwriter.h"
#include "streamdecoder.h"
#include "streamencoder.h"
#include "versions.h"

/* The writer waits for no disk in this program. */
extern "C" int fdatasync(int /*descriptor*/) {
    return 0;
}

using namespace fuzzing;
using namespace samples;

namespace {

using Text = std::string;

std::vector<Message> goodMessages() {
    StreamEncoder encoder;
    StreamHeader header;
    header.interfaceVersion = serverVersion();
    header.readerVersion = releaseVersion();
    header.location = "p~1";
    header.times = {1'000'000'000'000, 5};
    encoder.add(header);
    for (unsigned i = 1; i < 90; i += i < 4 ? 1 : 20) {
        Sample sample;
        sample.sequence = i;
        sample.times = {1'000'000'000'000 + i * 1'000'000'000LL, i * 1'000'000'000LL};
        encoder.beginSample(sample);
        for (const unsigned kind : {SHRPC_MONITOR + 0U, SHRPC_VOK + 0U, 3U}) {
            TvsiResultSType record{};
            record.statType = kind;
            record.stats.processId = static_cast<int>(kind);
            record.stats.sessionId = static_cast<int>(i);
            encoder.addRecord(record, {});
        }
        encoder.endSample();
    }
    encoder.add(Mark{"m", {1'000'000'000'000 + 91'000'000'000LL, 91'000'000'000LL}});
    StreamDecoder decoder;
    decoder.feed(encoder.bytes());
    std::vector<Message> messages;
    while (auto message = decoder.next()) {
        messages.push_back(std::move(*message));
    }
    return messages;
}

Text bytesOf(const Message& message) {
    StreamEncoder encoder;
    encoder.add(message);
    return {reinterpret_cast<const char*>(encoder.bytes().data()), encoder.bytes().size()};
}

/* What has been decoded is written and decoded once more. */
void again(const std::vector<BlockMessage>& messages) {
    BlockEncoder encoder;
    for (const BlockMessage& each : messages) {
        each.isCarried ? encoder.carry(std::get<StreamHeader>(each.message))
                       : encoder.add(each.message);
    }
    if (encoder.minute().isEmpty()) {
        return;
    }
    BlockPayload payload;
    encoder.makeMinute(payload);
    std::vector<BlockMessage> read;
    require(decodeBlock(payload.bytes, payload.unpacked, FieldTable::own(), read),
            "what is written can be read");
    std::size_t at = 0;
    for (const BlockMessage& each : messages) {
        if (each.isCarried) {
            continue;
        }
        while (at < read.size() && read[at].isCarried) {
            at++;
        }
        require(at < read.size() && bytesOf(read[at].message) == bytesOf(each.message),
                "what is read is what was written");
        at++;
    }
}

void takeChunks(const Text& first, const Text& second) {
    std::vector<BlockMessage> messages;
    for (const Text* chunks : {&first, &second}) {
        const std::size_t known = messages.size();
        if (!decodeChunks(std::as_bytes(std::span(*chunks)), FieldTable::own(), messages)) {
            require(messages.size() == known, "nothing stays of what is refused");
        }
    }
    again(messages);
}

void takeTable(const Text& text) {
    static const auto payload = [] {
        BlockEncoder encoder;
        for (const Message& message : goodMessages()) {
            encoder.add(message);
        }
        BlockPayload made;
        encoder.makeMinute(made);
        return made;
    }();
    if (const auto table = FieldTable::from(text)) {
        std::vector<BlockMessage> messages;
        if (decodeBlock(payload.bytes, payload.unpacked, *table, messages)) {
            again(messages);
        }
    }
}

Text contentsOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/* A good one, in files that each input replaces. */
class Recording {
public:
    Recording() : path(directory.file("r")) {
        auto opened = RecordingWriter::open(path, {});
        auto& writer = std::get<RecordingWriter>(opened);
        for (const Message& message : goodMessages()) {
            told.push_back(bytesOf(message));
            writer.add(0, message);
        }
        writer.tick({1'000'000'000'000 + 99'000'000'000LL, 99'000'000'000LL});
        main = contentsOf(path);
        tail = contentsOf(tailPath(path));
        require(!tail.empty() && main.size() > tail.size(), "both have something");
    }
    void take(Input& input, std::size_t size, bool isTail) {
        Text changed = isTail ? tail : main;
        for (; size >= 3; size -= 3) {
            const std::size_t place = input.take<std::uint16_t>() % changed.size();
            changed[place] = static_cast<char>(input.take<std::uint8_t>());
        }
        if (size > 0) {
            changed.resize(input.take<std::uint16_t>() % changed.size());
        }
        std::ofstream(path, std::ios::binary) << (isTail ? main : changed);
        std::ofstream(tailPath(path), std::ios::binary) << (isTail ? changed : tail);
        auto opened = RecordingReader::open(path);
        if (const auto* failure = std::get_if<Failure>(&opened)) {
            require(!failure->sentence.empty(), "what is refused gets a sentence");
            return;
        }
        auto& reader = std::get<RecordingReader>(opened);
        std::size_t at = 0;
        while (const auto each = reader.next()) {
            const Text bytes = bytesOf(each->message);
            while (at < told.size() && told[at] != bytes) {
                at++;
            }
            if (std::holds_alternative<StreamHeader>(each->message)) {
                at = 0; /* the one that holds comes first */
            }
            require(at < told.size(), "no message is read that was not recorded");
        }
        reader.seek(1'000'000'000'000 + 20'000'000'000LL);
        reader.next();
        reader.survey(RecordingReader::Check::Payloads);
    }

private:
    testsupport::TemporaryDirectory directory;
    Text path, main, tail;
    std::vector<Text> told;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto how = input.take<std::uint8_t>();
    if (how >= 128) {
        static Recording recording;
        recording.take(input, size - 1, how >= 192);
        return 0;
    }
    if (how >= 64) {
        takeTable(input.takeRest());
        return 0;
    }
    const std::size_t length = input.take<std::uint16_t>();
    const Text rest = input.takeRest();
    const std::size_t first = std::min(length, rest.size());
    takeChunks(rest.substr(0, first), rest.substr(first));
    return 0;
}
