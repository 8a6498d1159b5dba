/*
 * A good recording, changed. The first byte of an input says how:
 *
 *   bit 0       the tail is changed, and not the file
 *   bits 1, 2   checksums of heads, or of payloads too, hold after the change
 *   bit 3       the last two bytes say where it is cut
 *
 * The rest is triples of place (two bytes) and value. What isn't signed afresh is never read as
 * anything that was not recorded; and whatever is refused gets a sentence.
 */
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "crc32c.h"
#include "fuzzing.h"
#include "recordingformat.h"
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
        auto* sample = std::get_if<Sample>(&*message);
        if (sample != nullptr && sample->sequence > 4) { /* of what is thinned */
            sample->merge(20, std::vector<uint32_t>(sample->records().size(), 19));
        }
        messages.push_back(std::move(*message));
    }
    return messages;
}

Text bytesOf(const Message& message) {
    StreamEncoder encoder;
    encoder.add(message);
    return {reinterpret_cast<const char*>(encoder.bytes().data()), encoder.bytes().size()};
}

Text contentsOf(const Text& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/* A file that each input changes a little. */
class ChangedFile {
public:
    ChangedFile(const Text& path, Text contents)
        : good(std::move(contents)), descriptor(open(path.c_str(), O_RDWR | O_CREAT, 0600)) {
        require(descriptor >= 0, "a file can be made");
        put(good);
    }
    ~ChangedFile() { close(descriptor); }
    ChangedFile(const ChangedFile&) = delete;
    ChangedFile& operator=(const ChangedFile&) = delete;

    const Text& contents() const { return good; }
    void put(const Text& bytes) {
        if (bytes == now) {
            return;
        }
        require(pwrite(descriptor, bytes.data(), bytes.size(), 0) ==
                        static_cast<ssize_t>(bytes.size()) &&
                    ftruncate(descriptor, static_cast<off_t>(bytes.size())) == 0,
                "a file can be changed");
        now = bytes;
    }

private:
    Text good;
    Text now;
    int descriptor;
};

/* Gives the heads of a file new checksums, and the payloads too. */
void sign(Text& bytes, const Text& good, bool withPayloads) {
    using format::BlockHead;
    for (std::size_t place = 0; place + sizeof(BlockHead) <= good.size();) {
        BlockHead head;
        std::memcpy(&head, good.data() + place, sizeof head);
        const std::size_t next = place + format::alignedToBlock(sizeof head + head.length);
        if (place + sizeof head <= bytes.size()) {
            std::memcpy(&head, bytes.data() + place, sizeof head);
            const auto payload = std::as_bytes(std::span(bytes)).subspan(place + sizeof head);
            if (withPayloads && head.length <= payload.size()) {
                head.payloadSum = crc32c(payload.first(head.length));
            }
            head.headSum =
                crc32c(std::as_bytes(std::span(&head, 1)).first(offsetof(BlockHead, headSum)));
            std::memcpy(bytes.data() + place, &head, sizeof head);
        }
        place = next;
    }
}

class Recording {
public:
    Recording() {
        const Text path = directory.file("made");
        auto opened = RecordingWriter::open(path, {});
        auto& writer = std::get<RecordingWriter>(opened);
        for (const Message& message : goodMessages()) {
            told.push_back(bytesOf(message));
            writer.add(0, message);
        }
        writer.tick({1'000'000'000'000 + 99'000'000'000LL, 99'000'000'000LL});
        main.emplace(changedPath, contentsOf(path));
        tail.emplace(tailPath(changedPath), contentsOf(tailPath(path)));
        require(!tail->contents().empty() && main->contents().size() > tail->contents().size(),
                "both have something");
    }
    void take(Input& input) {
        const auto how = input.take<std::uint8_t>();
        ChangedFile& file = (how & 1) != 0 ? *tail : *main;
        Text bytes = file.contents();
        while (input.size() >= 3) {
            const std::size_t place = input.take<std::uint16_t>() % bytes.size();
            bytes[place] = static_cast<char>(input.take<std::uint8_t>());
        }
        const bool isSigned = (how & 6) != 0;
        if (isSigned) {
            sign(bytes, file.contents(), (how & 4) != 0);
        }
        if ((how & 8) != 0) {
            bytes.resize(input.take<std::uint16_t>() % bytes.size());
        }
        file.put(bytes);
        read(isSigned);
        file.put(file.contents());
    }

private:
    void read(bool isSigned) {
        auto opened = RecordingReader::open(changedPath);
        if (const auto* failure = std::get_if<Failure>(&opened)) {
            require(!failure->sentence.empty(), "what is refused gets a sentence");
            return;
        }
        auto& reader = std::get<RecordingReader>(opened);
        std::size_t at = 0;
        while (const auto each = reader.next()) {
            const Text bytes = bytesOf(each->message);
            if (isSigned) {
                continue;
            }
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
        reader.sampleBefore(1'000'000'000'000 + 70'000'000'000LL, 4);
        reader.survey(RecordingReader::Check::Payloads);
        for (const RecordingDamage& damage : reader.damages()) {
            require(!damage.sentence.empty(), "damage gets a sentence");
        }
    }

    testsupport::TemporaryDirectory directory;
    Text changedPath = directory.file("r");
    std::optional<ChangedFile> main, tail;
    std::vector<Text> told;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    globalDirectory(); /* in memory where that can be */
    static Recording recording;
    Input input(data, size);
    recording.take(input);
    return 0;
}
