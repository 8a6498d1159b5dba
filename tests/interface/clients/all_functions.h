/* Calls all 15 functions on a running server, compiled as C11 and as C++; kills the cache monitor
   at the end. Each failed expectation is a line on standard error. Arguments of the program: BROX
   CACHE MONITOR-PID BROX-PID ENTRIES */
#ifndef CLIENTS_ALL_FUNCTIONS_H
#define CLIENTS_ALL_FUNCTIONS_H

#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tvsi.h"

#define MOST_RECORDS 1000

static int failures;
static TvsiResultSType all[MOST_RECORDS];

#define EXPECT(condition)                                                                          \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition);              \
            failures++;                                                                            \
        }                                                                                          \
    } while (0)

/* The single-process queries find what the mask query has shown. */
static void checkLookups(const TvsiResultSType* shown) {
    TvsiResultSType found;
    EXPECT(TvsiStatsForProcessId(shown->stats.processId, &found) == TVSI_SUCCESS);
    EXPECT(strcmp(found.olvName, shown->olvName) == 0);
    if (shown->statType == SHRPC_VOK) {
        EXPECT(TvsiStatsForVokSessionId(shown->stats.sessionId, &found) == TVSI_SUCCESS);
        EXPECT(found.stats.processId == shown->stats.processId);
        EXPECT(TvsiStatsForVokSessionWithName(shown->olvName, &found) == TVSI_SUCCESS);
        EXPECT(found.stats.processId == shown->stats.processId);
    }
    if (shown->statType == SHRPC_VOK_PGSVR_MAIN) {
        EXPECT(TvsiStatsForPgsvrSessionId(shown->stats.sessionId, &found) == TVSI_SUCCESS);
        EXPECT(found.stats.processId == shown->stats.processId);
    }
}

static void checkQueries(int monitor, int brox, int entries) {
    TvsiResultSType record;
    char message[200];
    int count = 0;
    EXPECT(TvsiCacheIsAlive() == 1);
    EXPECT(TvsiFetchMaxProcessesInCache(&count) == TVSI_SUCCESS && count == entries);
    EXPECT(TvsiStatsForShrPcMon(&record) == TVSI_SUCCESS);
    EXPECT(record.stats.processId == monitor && record.statType == SHRPC_MONITOR);
    EXPECT(TvsiStatsForBrox(&record) == TVSI_SUCCESS);
    EXPECT(record.stats.processId == brox && record.statType == SHRPC_BROX);

    int shown = MOST_RECORDS;
    EXPECT(TvsiAllStatsForMask(SHRPC_ALL, all, &shown) == TVSI_SUCCESS);
    EXPECT(shown > 8 && all[0].stats.processId == monitor && all[1].stats.processId == brox);
    int voks = 0;
    for (int i = 0; i < shown; i++) {
        checkLookups(&all[i]);
        voks += all[i].statType == SHRPC_VOK;
    }
    EXPECT(voks == 4);
    EXPECT(TvsiAllVokStatsForVokKindRange(INT_MIN, INT_MAX, NULL, &count) == TVSI_SUCCESS);
    EXPECT(count == voks);
    count = MOST_RECORDS;
    EXPECT(TvsiAllVokStatsForVokKindRange(2, 2, all, &count) == TVSI_SUCCESS);
    EXPECT(count == 1 && all[0].stats.u.vok.vokKind == 2);
    count = MOST_RECORDS;
    EXPECT(TvsiAllVokStatsForRegexName("^VOK[13]$", 1, all, &count, message, sizeof message) ==
           TVSI_SUCCESS);
    EXPECT(count == 2 && strcmp(all[0].olvName, "Vok1") == 0);
    EXPECT(strcmp(all[1].olvName, "Vok3") == 0 && message[0] == '\0');
    EXPECT(TvsiAllVokStatsForRegexName("(", 0, NULL, &count, message, sizeof message) ==
           TVSI_ERR_BAD_REGEX);
    EXPECT(message[0] != '\0');
}

/* The counters are those of processes that run on. */
static void checkMovement(void) {
    TvsiResultSType before;
    TvsiResultSType after;
    EXPECT(TvsiStatsForVokSessionId(1, &before) == TVSI_SUCCESS);
    after = before;
    for (int i = 0; i < 500 && memcmp(&before.stats, &after.stats, sizeof before.stats) == 0; i++) {
        poll(NULL, 0, 20);
        EXPECT(TvsiStatsForVokSessionId(1, &after) == TVSI_SUCCESS);
    }
    EXPECT(memcmp(&before.stats, &after.stats, sizeof before.stats) != 0);
}

static void checkSevered(int monitor) {
    int status = TVSI_SUCCESS;
    TvsiResultSType record;
    EXPECT(kill(monitor, SIGKILL) == 0);
    for (int i = 0; i < 1000 && status == TVSI_SUCCESS; i++) {
        poll(NULL, 0, 20);
        status = TvsiStatsForBrox(&record);
    }
    EXPECT(status == TVSI_ERR_CACHE_CONNECTION_SEVERED);
    EXPECT(TvsiStatsForBrox(&record) == TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT(TvsiCacheIsAlive() == 0);
}

static int checkAllFunctions(int argc, char** argv) {
    char text[1024];
    if (argc != 6) {
        return 2;
    }
    const int monitor = (int)strtol(argv[3], NULL, 10);
    TvsiInit();
    EXPECT(TvsiAttachSharedCache(argv[2], text, sizeof text) == TVSI_SUCCESS);
    checkQueries(monitor, (int)strtol(argv[4], NULL, 10), (int)strtol(argv[5], NULL, 10));
    EXPECT(TvsiDetachSharedCache() == TVSI_SUCCESS);
    EXPECT(TvsiAttachSharedCacheForBrox(argv[1], text, sizeof text) == TVSI_SUCCESS);
    EXPECT(text[0] == '\0');
    checkMovement();
    checkSevered(monitor);
    return failures != 0;
}

#endif
