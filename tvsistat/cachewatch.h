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
#include "showing.h"
#include "stopsignal.h"
#include "streamdecoder.h"

#include <optional>
#include <string>
#include <utility>

namespace tvsistat {

class CacheWatch {
public:
    enum class Phase : uint8_t { Starting, Running, Waiting, Over };

    /* References must outlive it. */
    CacheWatch(const Request& asked, View& shownBy, Target target);

    Phase phase() const { return state; }
    /* The stream to poll; -1 while there is none. */
    int fd() const { return reader ? reader->fd() : -1; }
    /* When advance() is to be called, whatever the stream does. */
    Deadline nextDeadline() const { return due; }

    /* Reads what has come, as far as the next sample that is to be shown. */
    void readOn();
    /* Does what is due by now: starts a reader, gives up one that doesn't answer. */
    void advance(Deadline moment);

    /* A sample has come that is not shown yet. */
    bool hasSample() const { return pending; }
    /* Appends its report. */
    void appendReport(std::string& text);

    /* Events since the last call, as the view writes them. */
    std::string takeEvents() { return std::exchange(events, {}); }

    /* How it ended; nothing for a stop in between. Ok may still mean that nothing was selected. */
    const std::optional<samples::Failure>& failure() const { return end; }
    const Showing& showing() const { return shown; }
    const Target& target() const { return watched; }

    /* Ends it without a word: another watch has the same cache. */
    void drop();

private:
    void start();
    void take(samples::Message message);
    void lose(samples::Failure why);
    void finish();
    void retryAfter(Deadline moment, const samples::Failure& why);
    bool waitsFor(const samples::Failure& why, Deadline moment) const;
    void tell(Event::Kind kind, const samples::Times& times, samples::ExitStatus status,
              std::string_view sentence);
    uint64_t samplesWanted() const;
    bool wallClockWasSet();

    const Request& request;
    View& view;
    const Target watched;
    Showing shown;
    Phase state = Phase::Waiting;
    std::optional<samples::ReaderProcess> reader;
    samples::StreamDecoder decoder;
    Deadline due;        /* of the next step, or of the reader's next word */
    Deadline firstStart; /* --wait counts from here */
    Deadline::duration pause;
    bool pending = false;
    bool hasRun = false; /* a sample has come, of whichever reader */
    bool isGone = false; /* one has, and the cache is away */
    bool saidWaiting = false;
    unsigned taken = 0;        /* samples of this reader */
    int64_t clockDistance = 0; /* from the monotonic to the wall clock, when last asked */
    std::string events;
    std::optional<samples::Failure> end;
};

} // namespace tvsistat

#endif
