/*
 * What a watch reads from when it isn't the reader of a cache: standard input, files that hold a
 * sample stream, recordings; several of them as one time line. For one thread.
 *
 * A source is read forwards with next(). Files also know what time they cover, can
 * be read from another moment on, and tell where the samples and events around a moment are.
 */
#ifndef MESSAGESOURCE_H
#define MESSAGESOURCE_H

#include "exitstatus.h"
#include "sample.h"
#include "streamfile.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tvsistat {

struct SourceMessage {
    size_t cache; /* index into MessageSource::caches() */
    samples::Message message;
    bool isCarried = false; /* a header that holds here, and comes from earlier */
};

/* Real time of the first message and of the last one. */
using Span = samples::StreamFile::Span;

/* A place to jump to. */
struct Landmark {
    size_t cache;
    samples::StreamEvent event;
};

class MessageSource {
public:
    virtual ~MessageSource() = default;
    MessageSource() = default;
    MessageSource(const MessageSource&) = delete;
    MessageSource& operator=(const MessageSource&) = delete;

    /* The next message in the order of time. Nothing when it has not come yet (wait for fd(), then
     * call readOn()), or when isOver(). A cache's first message, also after a seek, is the
     * StreamHeader that holds there. */
    virtual std::optional<SourceMessage> next() = 0;
    virtual bool isOver() const = 0;
    /* Takes a sample back whose records are no longer needed, to use its memory again. */
    virtual void recycle(samples::Sample&& sample) = 0;

    /* The descriptor to poll for input; -1 for a source that never waits. */
    virtual int fd() const { return -1; }
    virtual void readOn() {}

    /* Every cache that is known so far, with its last header. Grows while messages are read. */
    virtual std::span<const samples::StreamHeader> caches() const = 0;

    /* Whether this is the story of caches, told by one reader after the other, rather than the
     * stream of one reader: what lies between them then belongs to it. */
    virtual bool isRecording() const = 0;

    /* What has been found damaged since the last call: sentences for the user, without a full stop.
     * Reading goes on behind it where it can. */
    virtual std::vector<std::string> takeDamage() = 0;

    /* ---- moving about; a pipe can't ---- */

    virtual bool canSeek() const { return false; }
    /* Nothing when no message is there, or that isn't known. */
    virtual std::optional<Span> span() { return std::nullopt; }
    /* The next sample of each cache is its first one at that real time or after it. */
    virtual void seek([[maybe_unused]] int64_t realNs) {}
    /* Real time of the sample that is `count` samples before the moment, or (sampleAfter) at or
     * after it, of whichever cache; that of the first or last one when there are fewer; nothing
     * when there is none on that side. Where next() goes on stays. */
    virtual std::optional<int64_t> sampleBefore([[maybe_unused]] int64_t realNs,
                                                [[maybe_unused]] size_t count = 1) {
        return std::nullopt;
    }
    virtual std::optional<int64_t> sampleAfter([[maybe_unused]] int64_t realNs,
                                               [[maybe_unused]] size_t count = 1) {
        return std::nullopt;
    }
    /* Attaches, losses and marks, in the order of time. May take a pass over all of it: ask once.
     * Where next() goes on stays. */
    virtual std::vector<Landmark> landmarks() { return {}; }
};

/* A stream that comes through a descriptor: what "-" names, when that isn't standard input. */
std::unique_ptr<MessageSource> openStream(samples::Descriptor descriptor);

/* Opens what --read names: "-" for standard input (alone), files that hold a sample stream or a
 * recording, and directories of recordings. Failure: one can't be opened, or holds neither. */
std::variant<std::unique_ptr<MessageSource>, samples::Failure>
openSource(std::span<const std::string> names);

} // namespace tvsistat

#endif
