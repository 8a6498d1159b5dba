/*
 * The watch over one cache: a reader as long as the cache lives, another one when that is asked
 * for, and what the readers send.
 *
 *    Starting ── sample ──> Running ── lost, or the reader ended ──> Waiting (with --follow)
 *       │                      │                                       │ a moment later
 *       └─ lost ─> Waiting (with --wait), Over                         └──> Starting
 *                              └─ the last sample was shown ──> Over
 */
#ifndef CACHEWATCH_H
#define CACHEWATCH_H

#include "readerprocess.h"
#include "readerstream.h"
#include "recorder.h"
#include "showing.h"
#include "stopsignal.h"
#include "streamdecoder.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tvsistat {

class CacheWatch {
public:
    enum class Phase : uint8_t { Starting, Running, Waiting, Over };

    using EventSink = std::function<void(const Event&)>;

    /* References must outlive it. Samples go to `receiving`, events to the sink. */
    CacheWatch(const Request& asked, Showing& receiving, EventSink sink, Target target);

    Phase phase() const { return state; }
    /* The stream to poll; -1 while there is none. */
    int fd() const { return reading && state != Phase::Over ? reading->process.fd() : -1; }
    /* That of the reader that is to follow this one. */
    int successorFd() const { return successor ? successor->process.fd() : -1; }
    /* When advance() is to be called, whatever the streams do. */
    Deadline nextDeadline() const { return successor ? std::min(due, successorDue) : due; }

    /* From now on all that is read goes there, too. It must outlive this object. */
    void recordTo(MessageSink& sink);
    void stopRecording() { recorder = nullptr; }
    /* A mark of the user's, into the recording. */
    void mark(std::string_view text);

    /* Reads what has come, as far as the next sample that is to be shown. */
    void readOn();
    /* Does what is due by now: starts a reader, gives up one that doesn't answer. */
    void advance(Deadline moment);

    /* A sample has come that is not shown yet. */
    bool hasSample() const { return pending; }
    /* It has been shown; the next one is read only then. */
    void release();

    /* The request has another interval now: a second reader is started, and takes over with its
     * first sample. */
    void changeInterval();

    /* How it ended; nothing for a stop in between. Ok may still mean that nothing was selected. */
    const std::optional<samples::Failure>& failure() const { return end; }
    Showing& showing() { return shown; }
    const Showing& showing() const { return shown; }
    const Target& target() const { return watched; }

    /* Its first sample is an event: the cache has just appeared. */
    void expectArrival() { saidWaiting = true; }

    /* Ends it without a word: another watch has the same cache. */
    void drop();

private:
    struct Reading {
        samples::ReaderProcess process;
        samples::StreamDecoder decoder;
    };

    std::variant<Reading, samples::Failure> startReader() const;
    void start();
    void readSuccessor();
    void giveUpSuccessor(std::string_view why);
    void take(samples::Message message);
    void record(const samples::Message& message) {
        if (recorder != nullptr) {
            recorder->take(recordedAs, message);
        }
    }
    void giveUp(samples::Failure why);
    void lose(samples::Failure why, const samples::Times& times);
    void finish();
    void retryAfter(Deadline moment, const samples::Failure& why);
    bool waitsFor(const samples::Failure& why, Deadline moment) const;
    void tell(Event::Kind kind, const samples::Times& times, samples::ExitStatus status,
              std::string_view sentence);
    uint64_t samplesWanted() const;
    bool wallClockWasSet();

    const Request& request;
    Showing& shown;
    const EventSink events;
    const Target watched;
    Phase state = Phase::Waiting;
    std::optional<Reading> reading;
    std::optional<samples::StreamHeader> announced; /* of this reader, until its first sample */
    std::optional<Reading> successor;
    std::optional<samples::StreamHeader> successorHeader;
    Deadline due; /* of the next step, or of the reader's next word */
    Deadline successorDue = noDeadline;
    Deadline firstStart; /* --wait counts from here */
    samples::RetryPause pause;
    bool pending = false;
    bool hasRun = false; /* a sample has come, of whichever reader */
    bool isGone = false; /* one has, and the cache is away */
    bool saidWaiting = false;
    unsigned taken = 0;        /* samples of this reader */
    int64_t clockDistance = 0; /* from the monotonic to the wall clock, when last asked */
    std::optional<samples::Failure> end;
    MessageSink* recorder = nullptr;
    uint32_t recordedAs = 0;
};

/* Of two watches that turn out to have the same cache, also when the first has already shown all
 * that was asked for, the second one; nothing when there are no two. */
std::optional<size_t> findDouble(std::span<const std::unique_ptr<CacheWatch>> watches);

} // namespace tvsistat

#endif
