#include "terminaltype.h"

#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1
#include <curses.h>
#include <term.h>

namespace tvsistat {

bool knowsTerminalType(int output) {
    int found = 0;
    if (setupterm(nullptr, output, &found) != OK) {
        return false;
    }
    del_curterm(cur_term);
    return true;
}

} // namespace tvsistat
