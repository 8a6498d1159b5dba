/*
 * The state of the live screen, and what keys and samples make of it. Knows neither the terminal
 * nor where samples come from; screenlayout.h turns it into cells.
 */
#ifndef SCREENMODEL_H
#define SCREENMODEL_H

#include "recentsamples.h"
#include "screenkeys.h"
#include "screentable.h"

#include <array>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tvsistat {

/* A line of the event log. */
struct ScreenEvent {
    /* What a line is marked with where many stand beside one another. */
    enum class Kind : uint8_t { Note, Gone, There, Mark };

    int64_t realNs;
    std::string text; /* harmless on a terminal */
    Kind kind = Kind::Note;
    std::string cache = {}; /* title of the one that has come or gone */
};

/* What is replayed, and where it stands. Real times, since the epoch. */
struct ScreenReplay {
    bool canSeek = false;            /* else it is a stream, and shown as it comes */
    int64_t firstNs = 0, lastNs = 0; /* of what there is to be shown */
    int64_t atNs = 0;                /* the moment that is shown */
    bool isPlaying = false;
    double speed = 1;            /* recorded seconds a second; 0: as they come */
    bool isAtEnd = false;        /* there is nothing behind the moment */
    bool isReading = false;      /* it is on its way to another moment */
    double distance = 0;         /* seconds between samples; 0: not known yet */
    std::optional<size_t> event; /* that the moment is one of, in the log */
};

/* A moment to go to. */
struct ScreenGoal {
    /* A moment at which no sample was taken stands for that of the nearest one on a side, or for
     * what was known by then. */
    enum class Sample : uint8_t { Before, After, Any };
    int64_t realNs = 0;
    Sample sample = Sample::After;
};

/* One of the six figures of a whole cache. */
struct Headline {
    samples::Figure figure;
    std::deque<std::optional<double>> course; /* a value a sample; nothing for a gap */
};

/* What it amounts to in a cache's last sample. */
samples::Number valueIn(const Headline& headline, const samples::History& history);

/* A cache on the screen. */
struct ScreenCache {
    ScreenCache(const Request& request, View& view);
    /* Its samples, and what they told. */
    void forget();

    Showing showing;
    std::string title; /* while nothing better is known of it */
    std::array<Headline, statscatalogue::numHeadlines> headlines{};
    RecentSamples recent;
    int64_t heldNs = 0;      /* monotonic: of the sample that is held */
    int64_t goneNs = 0;      /* since the epoch; 0: it is there */
    int64_t lastNs = 0;      /* monotonic: when the course had its last entry */
    std::string goneWhy;     /* without its name */
    std::string waitingFor;  /* no sample has come yet, and why */
    int32_t lastMonitor = 0; /* process id of the monitor that was seen last */
};

class ScreenModel {
public:
    enum class Overlay : uint8_t { None, Help, Columns, Events };
    enum class Prompt : uint8_t { None, Rows, Fields, Recording, Mark, Time };
    /* What the loop has to do about a key. */
    enum class Wish : uint8_t {
        Nothing,
        Quit,
        Interval,
        Redraw,
        Record,
        Mark,
        SampleBack,
        SampleForward,
        GoTo,     /* `goal` */
        GoToTyped /* the moment in `answer` */
    };

    /* The request must outlive it; order, filters and interval are changed here. */
    explicit ScreenModel(Request& asked);

    /* The new one stands before that place. */
    ScreenCache& addCache(std::string title, size_t place = SIZE_MAX);
    void dropCache(const ScreenCache& cache);
    /* Forgets all that was known of the caches, but which there are. */
    void forgetSamples();

    /* What a cache's watch tells. */
    void sampleTaken(ScreenCache& cache);
    void happened(ScreenCache& cache, const Event& event);
    /* Something that concerns no cache in particular; shown at once, too. */
    void note(int64_t realNs, std::string_view sentence);
    /* Time goes on without samples of a cache that is gone: a gap in its courses. */
    void tick(int64_t monotonicNs);
    void tick(ScreenCache& cache, int64_t monotonicNs);
    /* The cache is away, from that moment on. */
    void lose(ScreenCache& cache, int64_t realNs, std::string_view sentence);
    /* Puts an event at its place in the log. */
    void insert(ScreenEvent event);

    Wish press(Key key);
    /* The mouse: a row of the table, a title, the wheel. */
    void chooseRow(size_t row);
    void chooseTitle(size_t row, size_t column);
    void scroll(int lines);
    /* The cell of so many on which the time of a recording is drawn. */
    Wish chooseMoment(size_t cell, size_t cells);

    /* Makes the rows anew; the selected process stays selected. */
    void refresh();

    Request& request;
    ScreenTable table;
    std::vector<std::unique_ptr<ScreenCache>> caches;
    size_t current = 0; /* of the caches */
    ScreenCache& cache() { return *caches[current]; }

    size_t selected = 0;   /* of the rows */
    bool isDetail = false; /* the keys move in the detail */
    bool isPaused = false;
    Overlay overlay = Overlay::None;
    Prompt prompt = Prompt::None;
    std::string typed;   /* in the prompt */
    std::string message; /* for once, in the last line */
    bool isMessageProblem = false;
    std::deque<ScreenEvent> events;     /* in the order of time */
    std::optional<ScreenReplay> replay; /* nothing: caches are watched */
    ScreenGoal goal;                    /* of Wish::GoTo */
    std::string recordedTo;             /* a file; empty: nothing is recorded */
    std::string fileToRecord;           /* what is asked for when a recording begins */
    std::string answer; /* of the last prompt: the file, the mark's text, the moment */

    /* Settled by the layout, which alone knows how much fits. */
    size_t topItem = 0;     /* of the table */
    size_t firstColumn = 0; /* behind the fixed ones */
    size_t topField = 0;    /* of the detail */
    size_t topHelp = 0;
    size_t pageSize = 1;     /* rows, fields or lines that are seen */
    size_t chosenFigure = 0; /* in the choice of columns */
    size_t topFigure = 0;
    size_t chosenEvent = 0; /* in the log */
    size_t topEvent = 0;

    const samples::Row* selectedRow() const {
        return selected < table.allRows().size() ? &table.allRows()[selected] : nullptr;
    }
    /* The figures among which columns are chosen: those of the selected process's kind. */
    std::vector<samples::Figure> choosable() const;
    /* Between samples, in seconds. */
    double interval() const {
        const double usual = replay && replay->distance > 0 ? replay->distance : 1;
        return request.interval.value_or(usual);
    }
    /* Whether the time can be moved about in. */
    bool canSeek() const { return replay && replay->canSeek; }
    /* How many events are of the moment that is shown or of earlier ones. */
    size_t numPassedEvents() const;

private:
    /* What the selected process is known by when rows come and go. */
    struct Identified {
        uint32_t statType = 0;
        int32_t pid = 0, session = 0;
        int64_t startedNs = 0;
        std::string name;
        bool operator==(const Identified&) const = default;
    };
    static Identified identified(const samples::Record& record);

    Wish obey(Command command, Key key);
    void move(int64_t rows);
    void moveTo(size_t row);
    Wish typeKey(Key key);
    void applyFilter();
    Wish acceptAnswer();
    void openPrompt(Command command);
    void chooseColumn(Key key);
    void pause(bool isOn);
    Wish changeInterval(int step);
    Wish obeyReplay(Command command);
    Wish obeyRecorder(Command command);
    Wish goTo(int64_t realNs, ScreenGoal::Sample sample);
    Wish goToEvent(size_t event);
    void showCache(size_t place);
    void play(bool isOn);
    void changeSpeed(int step);
    void refuseKey(Command command);
    void back();
    void tell(int64_t realNs, std::string text);
    void noteGap(ScreenCache& cache, int64_t monotonicNs);

    std::optional<Identified> followed; /* chosen by the user; comes back to it */
    std::optional<Identified> standIn;  /* selected while that one isn't shown */
};

/* "1 s", "500 ms", "2 m". */
std::string intervalText(double seconds);

} // namespace tvsistat

#endif
