/* Status codes of the functions declared in tvsi.h. The values are part of the interface. */
#ifndef TVSIERR_H
#define TVSIERR_H

enum {
    /* The operation succeeded. */
    TVSI_SUCCESS = 0,
    /* TvsiInit() has not been called, or has not finished yet. */
    TVSI_ERR_NO_INIT = 1,
    /* The cache named is the one that is attached. */
    TVSI_ERR_CACHE_ALREADY_ATTACHED = 2,
    /* No process of the cache matches. The cache stays attached. */
    TVSI_ERR_NOT_FOUND = 3,
    /* An argument was refused; nothing was looked at. A message buffer is made empty. */
    TVSI_ERR_BAD_ARG = 4,
    /* The cache has gone since the attach and the connection has been given up: attach again.
       From TvsiStatsForShrPcMon() also: slot 0 is not the cache monitor's (still attached). */
    TVSI_ERR_CACHE_CONNECTION_SEVERED = 5,
    /* Slot 1 of the cache is not a Brox's. The cache stays attached. */
    TVSI_ERR_NO_BROX = 6,
    /* No cache is attached; from TvsiDetachSharedCache() also: none that was still alive. */
    TVSI_ERR_CACHE_NOT_ATTACHED = 7,
    /* Another cache is attached, or a dead one has not been given up yet: detach first. */
    TVSI_ERR_NO_MORE_HANDLES = 8,
    /* The segment could not be mapped, or it failed a check. */
    TVSI_ERR_CACHE_ATTACH_FAILED = 9,
    /* The thread that watches the cache could not be started. */
    TVSI_ERR_WATCHER_THREAD_FAILED = 10,
    /* The cache belongs to a server of another version. Stays the answer to every attach that
       fails to map or accept a segment until TvsiDetachSharedCache() or a query has reset the
       connection. */
    TVSI_ERR_CACHE_WRONG_VERSION = 11,
    /* No cache on this host serves the Brox named. */
    TVSI_ERR_CACHE_NOT_FOUND = 12,
    /* The regular expression does not compile. */
    TVSI_ERR_BAD_REGEX = 13
};

#endif
