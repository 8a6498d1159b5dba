/*
 * The calls that lead to the fatal path. Modules below it meet conditions that the library can't
 * continue from, and it needs those modules to report them: these declarations are the one way up.
 * The path itself is in hostdebug.
 */
#ifndef FATAL_H
#define FATAL_H

/* Reports msg, prints the stack, waits for a debugger and ends the process. Any thread may call. */
[[noreturn]] void HostCallDebuggerMsg(const char* msg);

/* The same for a failed guarantee: file is a source file name without extension. */
[[noreturn]] void HostCallDebuggerMsg_fl(const char* file, int line);

/* Reports a failure of the set-up at load time, with the caller's errno, and ends the process with
 * status 3. Returns only if another exit of the process is already in progress. */
void hostInitCrash(const char* msg);

/* If a fatal event has begun anywhere in the process, flushes the standard streams and gives it
 * time: at most HostDebugCoreDelay() seconds, less when a termination request arrives. */
void HostCheckFatalErr();

/* Writes text on the standard error descriptor, past all buffers. Safe in a signal handler. */
void HostSignalSafePrint(const char* text);

/* Clears HostFatalReportFunc and the state of the report. Called once, while the library is loaded.
 */
void hostClearFatalReport();

#endif
