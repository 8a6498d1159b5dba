/*
 * Operating-system services: clocks, the environment, file name expansion, file access that
 * survives interruptions, and the load-time set-up of the process and of the socket module.
 *
 * All operations may be called from any thread, except the load-time steps, which run in
 * the loading thread. HostPathExistSize and what builds on it may switch the process's
 * effective ids for the time of one stat; no lock guards that.
 */
#ifndef HOSTUNIX_H
#define HOSTUNIX_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "basetypes.h"

struct HostErrSType;
struct HostMutexSType;

/* Clocks. */

typedef int64_t HostHrtime_t;

/* Wall-clock time: returns seconds since the epoch and stores the milliseconds (0 to 999).
 * Both are 0 when the clock fails. */
time_t HostFtime(unsigned short* millitm);

/* Local time. When the conversion fails, says so on standard error and hands out an all-zero
 * time. Never returns null. */
struct tm* HostLocaltimeR(time_t* t, struct tm* buf);

/* Sleeps on the monotonic clock. Returns TRUE when a signal cut the sleep short; the rest is
 * not slept. */
BoolType HostNanoSleep(int64_t nanosecs);

/* Nanoseconds on the monotonic clock; 0 when the clock fails. */
HostHrtime_t HostMonotonicNanos();

/* Sleeps, and after a signal sleeps the rest. Async-signal-safe. */
void HostMilliSleep(int milliseconds);

/* Environment. */

/* Copies the variable inStr to outStr. Returns FALSE, with outStr empty, when it is unset,
 * empty, or does not fit outSize bytes with its terminator. In a process with raised
 * privileges every variable counts as unset. */
BoolType HostGetEnv(const char* inStr, char* outStr, size_t outSize);

/* TRUE when the variable exists, even empty; for switches that any value turns on. In a
 * process with raised privileges no variable exists. */
BoolType HostEnvExists(const char* name);

/* User ids. */

/* Effective ids, kept while the process acts under its real ones. */
struct HostUserIdSType {
    uid_t uid;
    gid_t gid;
};

/* Makes the real ids the effective ones. Returns 0 when they already are; otherwise stores
 * the former effective ids in saved, which may be null, and returns 1. The caller switches
 * back with setegid, then seteuid. */
int HostUseRealId_(HostUserIdSType* saved);

enum { PASSWORD_BUFFER_SIZE = 1024, HOST_MAX_USERNAME_SIZE = 128 };

/* A user database entry with the storage of its strings. */
struct HostPasswordInfo {
    struct passwd entry;
    char buffer[PASSWORD_BUFFER_SIZE];
};

/* Login name of the real user id, fetched once per process; "FORGED_USER", with one line on
 * standard error, when the user database doesn't tell. */
const char* HostGetUserName();

/* File names. */

/* Turns a file name with environment variables, a leading ~ or ~user, relative parts,
 * doubled slashes and "." or ".." steps into an absolute, normalised path in outbuf,
 * resolved through symbolic links unless disableSoftLinkExpansion is set; a directory then
 * gets a final slash. defaultCwd: relative names start at the current directory, otherwise
 * they stay relative. Never fails: what can't be expanded or resolved stays as text. The
 * result is cut to outbufLength bytes with its terminator. An empty inArg gives an empty
 * result. */
void HostUnixExpandFileName(const char* inArg, char* outbuf, size_t outbufLength,
                            BoolType disableSoftLinkExpansion, BoolType defaultCwd);

/* HostUnixExpandFileName, less the automounter's prefix "/tmp_mnt". */
void HostExpandFileName(const char* inbuf, char* outbuf, size_t outbufLength,
                        BoolType disableSoftLinkExpansion, BoolType defaultCwd);

/* Files. */

/* TRUE, with the file's size in bytes through size, when the file can be examined, if need
 * be under the real ids. Otherwise FALSE, with the errno in hostErr; exists becomes FALSE
 * only when there is no such file. exists and hostErr may be null. */
BoolType HostPathExistSize(const char* fileName, int64_t* size, BoolType* exists,
                           HostErrSType* hostErr);

/* stat. On failure returns FALSE with the error's name and description in msg (msgSize bytes;
 * msg may be null when msgSize is 0). */
BoolType UnixIoStat(const char* file, struct stat64* buf, char* msg, size_t msgSize);

/* HostPathExistSize of the expanded name, symbolic links left alone. */
BoolType HostFileExistSize(const char* fileName, int64_t* size, HostErrSType* hostErr);
BoolType HostFileExist(const char* fileName, HostErrSType* hostErr);

/* open. Returns the descriptor, which is closed on exec, or -1 with errno set. */
int HostOpen(const char* path, int oflag, int mode);

/* close, repeated after interruptions; errno is 0 after success. */
int HostClose(int fd);

/* Reads until numBytes bytes have arrived or the file ends. Returns the number of bytes
 * read, -1 on an error, 0 when fd is negative. */
ssize_t HostReadFileNi_(int fd, void* d, ssize_t numBytes);

/* Load-time steps. */

/* Prepares the process: clears the fatal path's state, unblocks all signals, raises the soft
 * limits of processor time, data and file size to the hard ones (unless TALVEX_NO_SETRLIMIT
 * exists), takes the locale from the environment and sets TX_LOGIN_NAME. */
void HostModuleInitializer();

/* Initialises netSocketMutex and warns on standard error when /dev/urandom can't be read. */
void NetSocketModuleInitializer();

/* Sets debug_conn from TX_DEBUG_SOCKETS. */
void netSocketDebugModeInitializer();

/* Mutex of the socket module. */
extern HostMutexSType netSocketMutex;

/* Debug level of the socket module's tracing, 0 for none; written at load time only. */
extern int debug_conn;

#endif
