/* Ending the process. */
#ifndef UTLEXIT_H
#define UTLEXIT_H

/* An entry of the circular list of exit functions; owned by whoever links it in. */
struct UtlExitFuncSType {
    UtlExitFuncSType* next;
    void (*func)(); /* null once it has run */
};

/* Head of the list; it carries no function of its own. The list is changed only while one thread
 * uses the library. An entry is linked in behind the head. */
extern UtlExitFuncSType NextRegisteredExitFuncPtr;

/* Makes the list empty. Called once, while the library is loaded; before that UtlExit takes the
 * list as empty. */
void UtlExitFuncListInit();

/* Runs the exit functions and ends the process with status, or with 5 when a termination request
 * is pending. Only the first call of the process does: every later one returns at once (after the
 * wait for a debugger, when TX_CORE_TIME_OUT is set). */
void UtlExit(int status);

/* Ends the process with status, or with 5 when a termination request is pending. Runs no exit
 * functions and never returns; any thread may call it. */
[[noreturn]] void UtlExitMt(int status);

#endif
