/* What is known of kinds of terminals. Apart from terminal.cpp because of the names that <term.h>
 * takes. */
#ifndef TERMINALTYPE_H
#define TERMINALTYPE_H

namespace tvsistat {

/* Whether the kind that TERM names is known, so that ncurses can begin a screen there. Asked first,
 * because ncurses keeps memory when it fails over that. `output` is where the screen will go. */
bool knowsTerminalType(int output);

} // namespace tvsistat

#endif
