/* The forms in which samples are printed. A view turns what is shown into text and knows nothing of
 * where it comes from or goes to. */
#ifndef VIEW_H
#define VIEW_H

#include "exitstatus.h"
#include "request.h"
#include "rowmaker.h"
#include "sample.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tvsistat {

/* A sample, and what of it is shown. */
struct Shown {
    const samples::StreamHeader& header;
    const samples::Sample& sample;
    samples::Moment moment;
    samples::Printing printing; /* of counters, where a column doesn't say */
    std::span<const samples::Row> rows;
    std::span<const std::string> warnings; /* sentences: what makes the figures doubtful */
    unsigned numAlike; /* reports of this cache just before this one whose counters print alike */
};

/* Something that happened to a cache. */
struct Event {
    enum class Kind : uint8_t {
        Gone,   /* the cache was lost */
        Back,   /* it, or one of its name, was attached again, or has appeared */
        Ended,  /* a stream that was read has come to its end */
        Notice, /* the library has printed something */
        Mark,   /* somebody wanted to remember the moment */
        Waiting /* there is no cache yet, and it is waited for: no event for programs */
    };
    Kind kind;
    const samples::StreamHeader& header;
    samples::Times times;
    samples::ExitStatus status; /* of Gone */
    std::string_view sentence;
};

class View {
public:
    /* Writes out the text that is appended to, and empties it; keeps a failure to itself. */
    using Drain = std::function<void()>;

    virtual ~View() = default;
    /* Where a view whose texts are long leaves what it has so far, so that they stay small. Without
     * it the text has everything. */
    void drainTo(Drain to) { drain = std::move(to); }
    virtual void appendSample(std::string& text, const Shown& shown) = 0;
    virtual void appendEvent(std::string& text, const Event& event) = 0;
    /* For a view that can only write when it has seen everything: appends a further piece of that,
     * or returns false. */
    virtual bool appendRest([[maybe_unused]] std::string& text) { return false; }
    /* False for a kind that has none of the fields that the user asked for. */
    virtual bool shows(const statscatalogue::Kind* kind) = 0;
    /* False for a row that shows nothing but zeros. */
    virtual bool showsAny(const samples::Row& row, const samples::Moment& moment,
                          samples::Printing printing) = 0;

protected:
    /* To be called before a text would become longer than a pipe takes at once. */
    static constexpr size_t pieceSize = 65536;
    void makeRoom(const std::string& text, size_t wanted) const {
        if (drain && text.size() + wanted > pieceSize) {
            drain();
        }
    }

private:
    Drain drain;
};

/* Lets an event be known in the request's form: in the view's text where that has a place for it,
 * on standard error otherwise. That a stream has ended is only of interest to programs. */
void announce(const Request& request, View& view, std::string& text, const Event& event);

/* What a view needs to know of its surroundings. */
struct Surroundings {
    bool isTerminal = false;
    bool takesColor = false;
    bool hasSeveralCaches = false;
};

/* The view for the request's form. The request must outlive it. */
std::unique_ptr<View> makeView(const Request& request, const Surroundings& surroundings);

/* The surroundings of this process. */
Surroundings findSurroundings(const Request& request, bool hasSeveralCaches);

/* The columns of the terminal that standard output is, read anew; 80 when it doesn't say. */
size_t terminalWidth();

/* "prod~1f2e", or what is known of the cache, harmless on a terminal. */
std::string cacheTitle(const samples::StreamHeader& header);

/* "DEAD", "ZOMBIE", "STOPPED", "alive", "unknown". */
std::string_view loudName(samples::ProcessState state);

} // namespace tvsistat

#endif
