/*
 * The bytes of a sample stream, from anywhere. The first byte of an input says how the rest comes:
 *
 *   0 to 127      the rest is the stream, in pieces of so many bytes (0: all at once)
 *   128 to 255    a good stream, changed: triples of place (two bytes) and value are put into it,
 *                 and what is left over, one byte or two, is the place where it is cut off
 *
 * Whatever has been taken must be what stands there: written again, it is the same bytes.
 */
#include <span>
#include <variant>
#include <vector>

#include "fuzzing.h"
#include "streamdecoder.h"
#include "streamencoder.h"
#include "versions.h"

using namespace fuzzing;
using namespace samples;

namespace {

using StreamBytes = std::vector<std::byte>;

StreamBytes goodStream() {
    StreamEncoder encoder;
    StreamHeader header;
    header.interfaceVersion = serverVersion();
    header.readerVersion = releaseVersion();
    header.location = "p~1";
    encoder.add(header);
    encoder.add(Notice{"n\n", {}});
    for (std::uint64_t sequence = 1; sequence < 3; ++sequence) {
        Sample sample;
        sample.sequence = sequence;
        encoder.beginSample(sample);
        for (const unsigned kind :
             {SHRPC_MONITOR + 0U, SHRPC_VokThr + 0U, SHRPC_STATMON + 0U, 3U}) {
            TvsiResultSType record{};
            record.statType = kind;
            encoder.addRecord(record, {});
        }
        encoder.endSample();
    }
    encoder.add(Lost{7, "gone", {}});
    return {encoder.bytes().begin(), encoder.bytes().end()};
}

/* Takes pieces of the stream, and requires of each message that it is what the bytes say. */
void take(std::span<const std::byte> bytes, std::size_t piece) {
    static StreamEncoder again;
    StreamDecoder decoder;
    std::size_t at = 0;
    for (std::size_t fed = 0; fed < bytes.size();) {
        const auto part = bytes.subspan(fed, std::min(piece, bytes.size() - fed));
        decoder.feed(part);
        fed += part.size();
        while (auto message = decoder.next()) {
            require(!decoder.failed(), "a message comes from a good stream");
            again.clear();
            std::visit([](const auto& which) { again.add(which); }, *message);
            const auto written = again.bytes();
            require(at + written.size() == decoder.position(), "a message has its length");
            require(std::equal(written.begin(), written.end(), bytes.subspan(at).begin()),
                    "a message is what stands there");
            at += written.size();
            if (auto* sample = std::get_if<Sample>(&*message)) {
                decoder.recycle(std::move(*sample));
            }
        }
    }
    decoder.finish();
    require(decoder.failed() == !decoder.problem().empty(), "what is refused gets a sentence");
    require(decoder.failed() || at == bytes.size(), "what is left over is refused");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto how = input.take<std::uint8_t>();
    if (how < 128) {
        const std::string rest = input.takeRest();
        take(std::as_bytes(std::span(rest)), how == 0 ? SIZE_MAX : how);
        return 0;
    }
    static const StreamBytes good = goodStream();
    static StreamBytes changed;
    changed = good;
    std::size_t left = size - 1;
    for (; left >= 3; left -= 3) {
        const std::size_t place = input.take<std::uint16_t>() % good.size();
        changed[place] = input.take<std::byte>();
    }
    if (left > 0) {
        changed.resize(input.take<std::uint16_t>() % good.size());
    }
    take(changed, SIZE_MAX);
    return 0;
}
