/*
 * What a sample stream says, message by message: the form in which samples travel through the
 * programs. streamformat.h draws the bytes; streamencoder.h and streamdecoder.h go from one to the
 * other.
 *
 *    StreamHeader  Sample*  (Notice and Mark between any of them)  Lost or End
 *
 * A stream may follow another one in the same bytes. All messages belong to one thread.
 */
#ifndef SAMPLE_H
#define SAMPLE_H

#include "statscatalogue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace samples {

/* What a stream holds is bounded. */
inline constexpr uint32_t maxRecords = 65536;  /* of a sample */
inline constexpr uint32_t maxTextBytes = 2048; /* of a text */

/* What the kernel says of a process at the moment of the sample. */
enum class ProcessState : uint8_t {
    Unknown, /* it can't be told: no right, or no way to ask */
    Alive,
    Stopped, /* by a signal or a debugger: its figures stand still for now */
    Zombie,  /* has ended and was not reaped by its parent */
    Ended
};

/* "unknown", "alive", "stopped", "zombie", "ended". */
std::string_view nameOf(ProcessState state);

/* A moment on both clocks, in nanoseconds. Distances are taken on the monotonic one, which doesn't
 * jump; between two hosts, or two starts of one host, it says nothing. */
struct Times {
    int64_t realNs = 0;      /* CLOCK_REALTIME: since the Unix epoch */
    int64_t monotonicNs = 0; /* CLOCK_MONOTONIC */

    bool operator==(const Times&) const = default;
};

/* This moment. */
Times currentTimes();

/* Who writes the stream, and what it is about. Texts are any bytes, at most maxTextBytes. Of a
 * cache that could not be attached only what is known is filled in; a Lost follows. */
struct StreamHeader {
    uint32_t version = 0;         /* of the stream: streamVersion */
    uint32_t recordSize = 0;      /* of TvsiResultSType where it was written */
    std::string interfaceVersion; /* of the server that the reader's library belongs to */
    std::string readerVersion;    /* release of the program that writes */
    std::string location;         /* "prod~1f2e"; empty when unknown */
    std::string brox;             /* "prod" */
    std::string host;             /* host name */
    int32_t monitorPid = 0;       /* 0: unknown */
    int64_t monitorStartedNs = 0; /* since the epoch; 0: unknown. As Record::startedNs */
    int32_t slots = 0;            /* of the process table, used or not; 0: unknown */
    Times times;

    bool operator==(const StreamHeader&) const = default;
};

inline constexpr uint32_t unknownUser = UINT32_MAX;

/* What the kernel says of a record's owner. */
struct ProcessFacts {
    ProcessState state = ProcessState::Unknown;
    int64_t startedNs = 0;      /* as Record::startedNs */
    uint32_t uid = unknownUser; /* as Record::uid */

    bool operator==(const ProcessFacts&) const = default;
};

/* One process at the moment of a sample. Refers to the sample's bytes: valid while that lives. */
struct Record {
    const statscatalogue::Kind* kind; /* null: statType is no known kind, and there are no blocks */
    uint32_t statType;
    int32_t pid;
    int32_t session;
    std::string_view name; /* up to its NUL, at most 32 bytes, any bytes */
    ProcessState state;
    int64_t startedNs; /* start of the process, nanoseconds since the epoch, to 10 ms; 0: unknown.
                          The same process shows the same number, unless the wall clock was set. */
    uint32_t uid;      /* user that the process runs as; unknownUser: unknown */
    /* The kind's blocks one after the other, as the catalogue's packed offsets count. Not aligned.
     */
    const std::byte* blocks;
    /* How many samples the process was in, of those that this one stands for; 0: of those it is
     * one. */
    uint32_t merged = 0;

    /* Where it stands for several: how far each field's minimum is below what the blocks say, and
     * how far its maximum is above it, laid out as these. Only those of gauges, and of what
     * applications keep, mean something. */
    const std::byte* below() const { return blocks + kind->packedSize(); }
    const std::byte* above() const { return below() + kind->packedSize(); }
    /* Bytes of all that. */
    size_t blocksSize() const {
        return kind == nullptr ? 0 : kind->packedSize() * (merged == 0 ? size_t{1} : size_t{3});
    }
};

/* Bytes that a Sample keeps. Unlike a vector's, they are not written before they are used. */
class Bytes {
public:
    Bytes() = default;
    Bytes(Bytes&& other) noexcept
        : storage(std::move(other.storage)), reserved(std::exchange(other.reserved, 0)) {}
    Bytes& operator=(Bytes&& other) noexcept {
        storage = std::move(other.storage);
        reserved = std::exchange(other.reserved, 0);
        return *this;
    }

    std::byte* data() { return storage.get(); }
    const std::byte* data() const { return storage.get(); }
    size_t capacity() const { return reserved; }
    /* Makes room for `size` bytes, the first `kept` of which stay. Grows by half at least. */
    void reserve(size_t size, size_t kept);

private:
    std::unique_ptr<std::byte[]> storage;
    size_t reserved = 0;
};

/* One look at the cache, or what several amount to: then times, number, states and counters are
 * those of the last one, and gauges averages. Owns its bytes; moving it leaves the records valid.
 */
class Sample {
public:
    Times times;           /* when the table was read */
    uint64_t sequence = 0; /* grows by one a sample; what is missing was left out on the way */
    int32_t slots = 0;     /* of the process table, used or not */
    int32_t used = -1;     /* slots in use; -1: unknown */
    int64_t lateNs = 0;    /* after the moment at which it was due */
    uint32_t merged = 0;   /* how many it stands for; 0: it is one look */

    /* In the order of their slots. */
    std::span<const Record> records() const { return list; }
    /* The blocks of a record, to be changed. */
    std::byte* blocksOf(size_t index) { return bytes.data() + (list[index].blocks - bytes.data()); }
    /* Lets it stand for so many samples, and each record for some of them; what is below and above
     * is 0 where it has been one look. */
    void merge(uint32_t numSamples, std::span<const uint32_t> byRecord);

    /* An equal sample with bytes of its own, as many as it needs. */
    Sample copy() const;
    /* Bytes that a copy takes. */
    size_t size() const;

    Sample() = default;
    Sample(Sample&&) = default;
    Sample& operator=(Sample&&) = default;

private:
    friend class StreamDecoder;
    friend class BlockDecoder;
    Bytes bytes;
    std::vector<Record> list;
};

/* The cache is gone, or could not be attached: the last message of its stream. */
struct Lost {
    int32_t status = 0;   /* exit status of the reader: one of exitstatus.h, never 0 */
    std::string sentence; /* for the user, without a full stop */
    Times times;

    bool operator==(const Lost&) const = default;
};

/* Text that the library has printed: any bytes, whole lines where it can be. */
struct Notice {
    std::string text;
    Times times;

    bool operator==(const Notice&) const = default;
};

/* The samples that were asked for have all been taken: the last message of its stream. */
struct End {
    Times times;

    bool operator==(const End&) const = default;
};

/* What a person wanted to remember of a moment: any bytes, at most maxTextBytes. */
struct Mark {
    std::string text;
    Times times;

    bool operator==(const Mark&) const = default;
};

using Message = std::variant<StreamHeader, Sample, Lost, Notice, End, Mark>;

} // namespace samples

#endif
