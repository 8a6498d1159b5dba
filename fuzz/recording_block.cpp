/*
 * What a recording's block says, from anywhere. The first byte of an input says what the rest is:
 *
 *   bits 0, 1   the catalogue: this program's own; one of few fields; one of another release, with
 *               fields in another order, of other widths, and such that this program doesn't
 *               know; one from the input, behind a length of two bytes
 *   bit 2       the sizes of sections are as the input wants them. Otherwise they are made to fit:
 *               each section stands behind a length of two bytes
 *   bit 3       a chunk for a payload, and the rest for another payload of the same minute
 *   bit 4       the rest is a payload as it stands in a file, behind its size before compression in
 *               two bytes
 *
 * What is refused leaves nothing; what has been taken can be written, and is read as the same.
 */
#include <array>
#include <span>
#include <variant>
#include <vector>

#include "fuzzing.h"
#include "recordingblock.h"
#include "streamencoder.h"

using namespace fuzzing;
using namespace samples;

namespace {

using Bytes = std::vector<std::byte>;

constexpr unsigned tableBits = 3;
constexpr unsigned isRaw = 4;
constexpr unsigned hasTwoPayloads = 8;
constexpr unsigned isPacked = 16;

const FieldTable& tableOf(unsigned which) {
    static const FieldTable few =
        FieldTable::from("kind 2 brox\nkind 8 vok\ncommitCount u32 1\n").value();
    static const FieldTable other =
        FieldTable::from("kind 8 vok\nother i64 3\nabortCount i32 1\ncommitCount u32 1\n"
                         "commitCount u64 1\nkind 4 news\ncommitCount u32 2\n")
            .value();
    return which == 0 ? FieldTable::own() : which == 1 ? few : other;
}

/* The bytes of all messages but carried headers, which a stream doesn't have. */
std::span<const std::byte> streamOf(const std::vector<BlockMessage>& messages,
                                    StreamEncoder& encoder) {
    encoder.clear();
    for (const BlockMessage& each : messages) {
        if (!each.isCarried) {
            encoder.add(each.message);
        }
    }
    return encoder.bytes();
}

void again(const std::vector<BlockMessage>& messages) {
    static BlockEncoder encoder;
    encoder.clear();
    for (const BlockMessage& each : messages) {
        each.isCarried ? encoder.carry(std::get<StreamHeader>(each.message))
                       : encoder.add(each.message);
    }
    if (encoder.minute().isEmpty()) {
        return;
    }
    static BlockPayload payload;
    encoder.makeMinute(payload);
    std::vector<BlockMessage> read;
    require(decodeBlock(payload.bytes, payload.unpacked, FieldTable::own(), read),
            "what is written can be read");
    static StreamEncoder before;
    static StreamEncoder after;
    require(std::ranges::equal(streamOf(messages, before), streamOf(read, after)),
            "what is read is what was written");
}

template <class Pieces> void append(Bytes& to, const Pieces& pieces) {
    const auto bytes = std::as_bytes(std::span(pieces));
    to.insert(to.end(), bytes.begin(), bytes.end());
}

/* One chunk, or as many as the input has, for a payload. */
Bytes takeChunks(Input& input, unsigned how, bool isLast) {
    Bytes payload;
    if ((how & isRaw) != 0) {
        append(payload, input.takeBytes(isLast ? SIZE_MAX : input.take<std::uint16_t>()));
        return payload;
    }
    std::vector<std::uint32_t> sizes{0};
    std::array<Bytes, numBlockSections> sections;
    do {
        for (Bytes& section : sections) {
            const auto bytes = input.takeBytes(input.take<std::uint16_t>());
            append(section, bytes);
            sizes.push_back(static_cast<std::uint32_t>(bytes.size()));
        }
        sizes[0]++;
    } while (isLast && !input.isEmpty());
    append(payload, sizes);
    for (const Bytes& section : sections) {
        append(payload, section);
    }
    return payload;
}

void take(Input& input, unsigned how, const FieldTable& table) {
    std::vector<BlockMessage> messages;
    if ((how & isPacked) != 0) {
        const std::size_t unpacked = input.take<std::uint16_t>();
        decodeBlock(input.takeBytes(SIZE_MAX), unpacked, table, messages);
    } else {
        for (const bool isLast : {false, true}) {
            if (!isLast && (how & hasTwoPayloads) == 0) {
                continue;
            }
            const std::size_t known = messages.size();
            require(decodeChunks(takeChunks(input, how, isLast), table, messages) ||
                        messages.size() == known,
                    "nothing stays of what is refused");
        }
    }
    disownForeignKinds(messages);
    again(messages);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned how = input.take<std::uint8_t>();
    if ((how & tableBits) < tableBits) {
        take(input, how, tableOf(how & tableBits));
        return 0;
    }
    const auto text = input.takeBytes(input.take<std::uint16_t>());
    const auto table = FieldTable::from({reinterpret_cast<const char*>(text.data()), text.size()});
    if (table) {
        take(input, how, *table);
    }
    return 0;
}
