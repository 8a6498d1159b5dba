#include <stdio.h>
#include <tvsi.h>

int main(int argc, char** argv) {
    static TvsiResultSType records[1000];
    int count = 1000;
    char problem[1024];
    TvsiInit();
    const char* brox = argc > 1 ? argv[1] : "brox";
    if (TvsiAttachSharedCacheForBrox(brox, problem, sizeof problem) != TVSI_SUCCESS) {
        fprintf(stderr, "%s\n", problem);
        return 1;
    }
    int status = TvsiAllStatsForMask(SHRPC_ALL, records, &count);
    for (int i = 0; status == TVSI_SUCCESS && i < count; i++)
        printf("%-31.32s pid %7d  pages located %lld\n", records[i].olvName,
               (int)records[i].stats.processId, (long long)records[i].stats.cmn64.pageLocateCount);
    TvsiDetachSharedCache();
    return status;
}
