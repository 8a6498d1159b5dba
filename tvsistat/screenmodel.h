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
    int64_t realNs;
    std::string text; /* harmless on a terminal */
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
    enum class Overlay : uint8_t { None, Help, Columns };
    enum class Prompt : uint8_t { None, Rows, Fields, Recording, Mark };
    /* What the loop has to do about a key. */
    enum class Wish : uint8_t { Nothing, Quit, Interval, Redraw, Record, Mark };

    /* The request must outlive it; order, filters and interval are changed here. */
    explicit ScreenModel(Request& asked);

    ScreenCache& addCache(std::string title);
    void dropCache(const ScreenCache& cache);

    /* What a cache's watch tells. */
    void sampleTaken(ScreenCache& cache);
    void happened(ScreenCache& cache, const Event& event);
    /* Something that concerns no cache in particular; shown at once, too. */
    void note(int64_t realNs, std::string_view sentence);
    /* Time goes on without samples of a cache that is gone: a gap in its courses. */
    void tick(int64_t monotonicNs);

    Wish press(Key key);
    /* The mouse: a row of the table, a title, the wheel. */
    void chooseRow(size_t row);
    void chooseTitle(size_t row, size_t column);
    void scroll(int lines);

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
    std::deque<ScreenEvent> events;
    std::string recordedTo;   /* a file; empty: nothing is recorded */
    std::string fileToRecord; /* what is asked for when a recording begins */
    std::string answer;       /* of the last prompt: the file, or the mark's text */

    /* Settled by the layout, which alone knows how much fits. */
    size_t topItem = 0;     /* of the table */
    size_t firstColumn = 0; /* behind the fixed ones */
    size_t topField = 0;    /* of the detail */
    size_t topHelp = 0;
    size_t pageSize = 1;     /* rows, fields or lines that are seen */
    size_t chosenFigure = 0; /* in the choice of columns */
    size_t topFigure = 0;

    const samples::Row* selectedRow() const {
        return selected < table.allRows().size() ? &table.allRows()[selected] : nullptr;
    }
    /* The figures among which columns are chosen: those of the selected process's kind. */
    std::vector<samples::Figure> choosable() const;
    double interval() const { return request.interval.value_or(1); }

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
