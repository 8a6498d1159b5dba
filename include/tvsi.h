/*
 * libtvsi: live statistics of a Talvex database server on the same host.
 *
 * The library attaches the server's shared page cache, a System V shared memory segment,
 * and copies statistics records out of it while the server keeps running. It takes no lock
 * of the server's and writes nothing into the segment. One cache can be attached at a time.
 *
 * Order of calls: TvsiInit() once; TvsiAttachSharedCache() or
 * TvsiAttachSharedCacheForBrox(); any number of queries; TvsiDetachSharedCache(); attach
 * again as often as wanted.
 *
 * Results. Every function but TvsiInit() and TvsiCacheIsAlive() returns a status of
 * tvsierr.h. What a pointer argument points at is written only on TVSI_SUCCESS, except
 * where a function says otherwise. Any function that takes a pointer refuses a null one
 * with TVSI_ERR_BAD_ARG, except where it says otherwise. Arguments are checked after the
 * initialisation (TVSI_ERR_NO_INIT) and before the state of the cache. Records are handed out as
 * they stood at the copy: the server may be writing one at that moment, so that it may mix values
 * from before and after an update.
 *
 * Alive. A cache counts as alive as long as slots 0 and 1 of its process table are in use and
 * the cache monitor's process id exists, which a thread of the library asks once a second. So a
 * monitor that was killed counts as alive for up to a second, and for as long as its parent has
 * not collected it; a Brox that died without giving its slot back is not noticed, nor a server
 * that hangs.
 *
 * When the server dies. That thread unmaps the segment; the queries under way, or else the next
 * one, answer TVSI_ERR_CACHE_CONNECTION_SEVERED, and from then on queries answer
 * TVSI_ERR_CACHE_NOT_ATTACHED until the next attach. A query that finds the cache dead may wait up
 * to about one second for that thread.
 *
 * Threads. Queries may be made from any number of threads at once; they take turns. The
 * caller must not let TvsiAttachSharedCache(), TvsiAttachSharedCacheForBrox() or
 * TvsiDetachSharedCache() overlap with each other or with a query: the library does not
 * guard against it. A query that meets a half-done attach ends the process like any broken
 * invariant (below); attaches that overlap may map a segment twice or forget one.
 *
 * Cancellation. A thread that is cancelled inside a function, by the deferred type, ends at its
 * first cancellation point after the function's return; nothing stays locked. Nothing holds for the
 * asynchronous type. No function may be called in a signal handler.
 *
 * fork(). The child has no thread that watches its parent's attachment: it does not learn that the
 * monitor has died, its detach does not unmap the segment, and a mutex that another thread held
 * stays locked in it. It must not use an attachment that was made before the fork.
 *
 * Stack. An attach needs 80 KiB, any other call 32 KiB; measured were 74 and 26, the C library's
 * part included. An expression needs 0.7 KiB more for each level of parentheses beyond 20.
 *
 * Memory. The segment is mapped for reading and writing although nothing is written, so its
 * permissions must let this user do both. Loading the library changes the process: it unblocks all
 * signals of the loading thread, raises the soft limits of CPU time, data and file size, takes the
 * environment's locale over and sets TX_LOGIN_NAME; see docs/operations.md.
 *
 * Broken invariants end the process with a report on standard error and a wait for a debugger, 60
 * seconds unless TX_CORE_TIME_OUT says otherwise: a mutex that cannot be locked, a query that
 * overlaps an attach, or, in the attach, a segment of the right version and sizes in which a lock
 * record of the server has another name than it must have.
 */
#ifndef TVSI_H
#define TVSI_H

#include <stddef.h>

#include "shrpcstats.h"
#include "tvsierr.h"

/*
 * The version of the server whose caches the library reads: part of the library's file name and of
 * its symbols, and what a cache's registry record must carry.
 */
#define TVSI_INTERFACE_VERSION "3.7.5.1"

/*
 * The release of this project that the header is of, and the same as a number for the preprocessor,
 * two digits for each part behind the first. The build takes all versions from here.
 */
#define TVSI_RELEASE "1.0.0"
#define TVSI_RELEASE_NUMBER 10000

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Prepares the library. Must have returned before any other function is called. Further
 * calls, also from several threads at once, do nothing. There is no counterpart.
 */
void TvsiInit(void);

/*
 * Attaches the cache with the location string `cacheName`: the name of the Brox, "~" and
 * the host id in hexadecimal (for instance "prod~1f2e"). NUL-terminated; the first 1023
 * characters are kept.
 *
 * `errBuf`, `errBufSize` bytes: receives the reason of a failure, cut to the size and
 * NUL-terminated; empty on success. One byte at least must be writable, whatever the size.
 * It stays empty with TVSI_ERR_BAD_ARG; when the size of a structure in the segment differs
 * (the library prints which one on standard output); and when the cache monitor has recorded
 * the key 0 while the host id can be read.
 *
 * Waits up to 2 seconds for a cache that is still starting, up to about 3 seconds for a watching
 * thread that does not start, and for the resolver, which is asked for the address of this host
 * until it has told it once: when it does not answer, as long as its own time-out, usually 5 to 10
 * seconds for each name server, but not again within 60 seconds.
 *
 * Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT, TVSI_ERR_BAD_ARG, TVSI_ERR_CACHE_ALREADY_ATTACHED,
 * TVSI_ERR_NO_MORE_HANDLES, TVSI_ERR_CACHE_ATTACH_FAILED, TVSI_ERR_CACHE_WRONG_VERSION or
 * TVSI_ERR_WATCHER_THREAD_FAILED. Not to be called while another call is under way.
 */
int TvsiAttachSharedCache(const char* cacheName, char* errBuf, size_t errBufSize);

/*
 * Finds the cache on this host that serves the Brox named `broxName` (NUL-terminated) and
 * attaches it. The Brox is looked up under the name as given; a prefix that ends in "!" is
 * left out of the cache's location string. `errBuf`, waiting and threads as for
 * TvsiAttachSharedCache().
 *
 * Returns what TvsiAttachSharedCache() returns, and TVSI_ERR_CACHE_NOT_FOUND.
 */
int TvsiAttachSharedCacheForBrox(const char* broxName, char* errBuf, size_t errBufSize);

/*
 * Detaches the cache and frees what belongs to it; also clears what a failed attach or a
 * dead cache has left. Waits up to about one second for the watching thread to end.
 *
 * Returns TVSI_SUCCESS when a live attachment was ended, TVSI_ERR_CACHE_NOT_ATTACHED when
 * there was none, TVSI_ERR_NO_INIT. Not to be called while another call is under way.
 */
int TvsiDetachSharedCache(void);

/*
 * The process with operating-system process id `pid` (1 or more), whatever its kind. When
 * several slots carry the id, the lowest slot.
 *
 * Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT, TVSI_ERR_BAD_ARG, TVSI_ERR_CACHE_NOT_ATTACHED,
 * TVSI_ERR_CACHE_CONNECTION_SEVERED or TVSI_ERR_NOT_FOUND. Any thread.
 */
int TvsiStatsForProcessId(int pid, TvsiResultSType* result);

/*
 * The Vok main thread (SHRPC_VOK) of session `sessionId` (1 or more). Returns and threads
 * as for TvsiStatsForProcessId().
 */
int TvsiStatsForVokSessionId(int sessionId, TvsiResultSType* result);

/*
 * The page server (SHRPC_VOK_PGSVR_MAIN or SHRPC_VOK_PGSVR_THD) of session `sessionId` (1
 * or more), lowest slot first. Returns and threads as for TvsiStatsForProcessId().
 */
int TvsiStatsForPgsvrSessionId(int sessionId, TvsiResultSType* result);

/*
 * The Vok main thread or Vok thread (SHRPC_VOK, SHRPC_VokThr) whose name equals `vokName`:
 * case matters, the first 32 characters count. The lowest slot when several do. Returns and
 * threads as for TvsiStatsForProcessId().
 */
int TvsiStatsForVokSessionWithName(const char* vokName, TvsiResultSType* result);

/*
 * The Brox, owner of slot 1. Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT, TVSI_ERR_BAD_ARG,
 * TVSI_ERR_CACHE_NOT_ATTACHED, TVSI_ERR_CACHE_CONNECTION_SEVERED, or TVSI_ERR_NO_BROX when
 * slot 1 belongs to another kind (a cache on another host than its Brox). Any thread.
 */
int TvsiStatsForBrox(TvsiResultSType* stats);

/*
 * The cache monitor, owner of slot 0. Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT,
 * TVSI_ERR_BAD_ARG, TVSI_ERR_CACHE_NOT_ATTACHED or TVSI_ERR_CACHE_CONNECTION_SEVERED (also,
 * with the cache left attached, when slot 0 belongs to another kind). Any thread.
 */
int TvsiStatsForShrPcMon(TvsiResultSType* stats);

/*
 * Stores in `*result` the number of slots of the cache's process table, used or not: the
 * largest number of records that a query can return before the server enlarges the table. Less
 * than 2 when the server gives the table up at that moment; the next query tells. Stores -1 on any
 * failure but TVSI_ERR_NO_INIT and TVSI_ERR_BAD_ARG.
 *
 * Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT, TVSI_ERR_BAD_ARG, TVSI_ERR_CACHE_NOT_ATTACHED or
 * TVSI_ERR_CACHE_CONNECTION_SEVERED. Any thread.
 */
int TvsiFetchMaxProcessesInCache(int* result);

/*
 * Returns 1 when the attached cache is alive, else 0; before TvsiInit() has returned, 1
 * (the value of TVSI_ERR_NO_INIT). A query like the others: it ends the attachment to a
 * dead cache. Any thread.
 */
int TvsiCacheIsAlive(void);

/*
 * The queries for many processes fill the caller's array `result` in slot order. On entry
 * `*resultSize` is the array's capacity in records, 1 or more; on TVSI_SUCCESS it is the
 * number of records written. Matches that do not fit are left out without notice:
 * TvsiFetchMaxProcessesInCache() gives a capacity that suffices until the server enlarges its
 * table. On any other status neither is changed.
 */

/*
 * Every process whose kind is in `mask`, a non-empty set of kind bits within SHRPC_ALL. A
 * mask of SHRPC_MONITOR and SHRPC_BROX alone looks at slots 0 and 1 only; the mask
 * SHRPC_BROX alone gives no record when slot 1 is not the Brox's.
 *
 * Returns TVSI_SUCCESS, TVSI_ERR_NO_INIT, TVSI_ERR_BAD_ARG, TVSI_ERR_CACHE_NOT_ATTACHED or
 * TVSI_ERR_CACHE_CONNECTION_SEVERED. Any thread.
 */
int TvsiAllStatsForMask(unsigned int mask, TvsiResultSType* result, int* resultSize);

/*
 * Every Vok main thread (SHRPC_VOK) with vokKindMin <= u.vok.vokKind <= vokKindMax, signed;
 * slots 0 and 1 are not looked at. With a null `result` the matches are only counted:
 * `*resultSize` is ignored on entry and receives their number.
 *
 * Returns as TvsiAllStatsForMask(). Any thread.
 */
int TvsiAllVokStatsForVokKindRange(int vokKindMin, int vokKindMax, TvsiResultSType* result,
                                   int* resultSize);

/*
 * Every Vok main thread (SHRPC_VOK) whose name matches the POSIX extended regular
 * expression `regexName` (not empty) anywhere, with case ignored when `ignoreCase` is not 0;
 * slots 0 and 1 are not looked at. With a null `result` the matches are only counted, as
 * above.
 *
 * `errMsg`, `errMsgSize` bytes, may be null: receives the reason, cut to the size and
 * NUL-terminated, when the expression does not compile; else empty (untouched with
 * TVSI_ERR_NO_INIT).
 *
 * Returns as TvsiAllStatsForMask(), and TVSI_ERR_BAD_REGEX. Any thread. The expression is
 * compiled anew by every call; an expression that is expensive to match keeps other queries
 * waiting.
 */
int TvsiAllVokStatsForRegexName(const char* regexName, BoolType ignoreCase, TvsiResultSType* result,
                                int* resultSize, char* errMsg, size_t errMsgSize);

#ifdef __cplusplus
}
#endif

#endif
