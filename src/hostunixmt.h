/* Threads, signal actions and the counter of termination requests. */
#ifndef HOSTUNIXMT_H
#define HOSTUNIXMT_H

#include <csignal>
#include <cstddef>
#include <pthread.h>

#include "basetypes.h"

typedef pthread_t HostThreadIdType;
typedef void* HostThreadMainFuncType(void* arg);

/* Creates a joinable thread with a stack of at least 512 KiB that runs func(arg). It inherits the
 * caller's signal mask. Returns 0 or the error number of pthread_create; the caller owns the join.
 */
int HostCreateThread(HostThreadIdType* id, HostThreadMainFuncType* func, void* arg);

/* The same with a smallest stack size of the caller's, in bytes. */
int HostCreateThread_(HostThreadIdType* id, HostThreadMainFuncType* funcArg, void* arg,
                      size_t minStackSize);

/* Prepares *attrPtr for a stack of at least minStackSize bytes. Returns attrPtr, or null (the
 * system defaults) when an attribute call failed; that is printed on standard output. */
pthread_attr_t* hostSetThreadAttributes(pthread_attr_t* attrPtr, size_t minStackSize);

/* In its scope the calling thread is not cancelled: a request acts at the first cancellation point
 * behind it. A cancelled thread runs no destructor of this library, so whoever holds something at a
 * cancellation point (a sleep, a join, a file, output) needs one. No help against cancellation of
 * the asynchronous type. */
class CancellationOff {
public:
    CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_before); }
    ~CancellationOff() { pthread_setcancelstate(_before, nullptr); }
    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

private:
    int _before = PTHREAD_CANCEL_ENABLE;
};

/* The counter of termination requests. The library never raises it; an embedding program may, also
 * from a signal handler. */
void HostIncrementSigTerm();
int HostGetSigTermAtomic(); /* the count, read with a full barrier */
BoolType HostGetSigTerm();  /* TRUE when a request has been counted; no ordering */
int HostSigTermCount();     /* the count; no ordering */

/* sigaction, but a failure ends the process. */
void UnixIoSigaction(int sig, const struct sigaction* act, struct sigaction* oact);

/* Forgets the saved signal actions. Called once, while the library is loaded. */
void hostClearSavedSignalActions();

#endif
