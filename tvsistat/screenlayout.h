/* Lays the live screen's state out into cells: everything that is seen, without a terminal. */
#ifndef SCREENLAYOUT_H
#define SCREENLAYOUT_H

#include "screengrid.h"
#include "screenmodel.h"

#include <vector>

namespace tvsistat {

struct ScreenSize {
    size_t width, height;
};
inline constexpr ScreenSize smallestScreen{40, 10};
inline constexpr size_t widthOfDetail = 120; /* from here on it stands beside the table */
inline constexpr size_t heightOfEvents = 40; /* from here on there is an event log */

/* What the layout depends on besides the state. */
struct Surface {
    ScreenSize size;
    int64_t nowNs = 0; /* the clock: since the epoch */
    bool takesUnicode = false;
};

/* What was laid out, and where the mouse finds it. */
struct Picture {
    struct RowPlace {
        size_t y, end; /* up to this column */
        size_t row;
    };
    struct TitlePlace {
        size_t y, begin, end;
        size_t row; /* one of the section */
        size_t column;
    };
    /* The line on which the time of a recording is drawn. */
    struct TimelinePlace {
        size_t y = 0, begin = 0, end = 0;
    };
    Grid grid;
    TimelinePlace timeline;
    std::vector<RowPlace> rows;
    std::vector<TitlePlace> titles;
};

/* The model's rows must be fresh. Settles its scroll positions and its columns' widths, which
 * depend on the size; the same state and surface give the same picture. */
Picture layOut(ScreenModel& model, const Surface& surface);

} // namespace tvsistat

#endif
