/*
 * The fatal-error path: what happens when the library meets a condition it cannot continue from.
 *
 * The event is reported on standard error, the process's stack is printed with the installation's
 * pstack program (once a process), a debugger is waited for, and the process ends. fatal.h has the
 * calls that lead here.
 */
#ifndef HOSTDEBUG_H
#define HOSTDEBUG_H

#include <cstdio>
#include <sys/types.h>

#include "basetypes.h"
#include "fatal.h"

/* How long to wait for a debugger, in seconds: TX_CORE_TIME_OUT, or 60. */
int HostDebugCoreDelay();

/* Flushes standard output and standard error. */
void preWaitForDebugger();

/* Writes text to f as lines of a box 82 characters wide, broken at blanks where they are longer. */
void VerMessage(FILE* f, const char* text);

/* Writes one line of the box. A line too long for the box is left without its right edge. */
void dumpShortLine(FILE* f, const char* line);

/* The stack printer's call: all three are texts, flag may be null. */
struct PStackArgs {
    const char* commandName;
    const char* commandPath;
    const char* flag;
};

struct TciCTimeStringType;
struct ForkArgsSType; /* redirections of a child; this library starts none that has them */

/* One start of a child program. Used by one thread at a time. */
struct ForkStateType {
    const char* cmdPath = nullptr;        /* program to run */
    char* const* argStrings = nullptr;    /* its argument vector, ended by a null */
    const ForkArgsSType* fArgs = nullptr; /* always null here */
    pid_t childId = -1;                   /* -1: no child was started */
    int errNum = 0;
    int line = 0; /* place of the failure */
    BoolType forTxHostProcess = 0;
    BoolType forPerformOnServer = 0;
    BoolType forPstack = 0; /* the child may trace this process */
    char errMsg[256] = "";

    /* Starts cmdPath. Starts of several threads run one after the other. Does not wait for the
     * child: whoever finds childId set owns it. */
    void doUtlVForkAndExec();

    /* Describes errNum in errMsg: what failed, the number and its text. */
    void printOsErr(const char* what);
};

/* Reports a fatal event to a server. when: the time of the event as ctimeImpl leaves it for
 * HOST_DATETIME_CONFIGURABLE_MS, to be completed with millis.
 * Null, and nothing in this library sets it; read by the first thread that meets a fatal event. */
typedef void HostFatalReportFuncType(const char* msg, const TciCTimeStringType* when,
                                     unsigned short millis);
extern HostFatalReportFuncType* HostFatalReportFunc;

#endif
