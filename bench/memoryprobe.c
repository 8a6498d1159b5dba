/*
 * Prints the bytes of memory that this process alone holds, page tables included: at first, once it
 * has loaded the library named by the first argument, once it has attached the cache named by the
 * second one, and after a query; then the bytes of the segment that it has mapped.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tvsi.h"

/* Kilobytes of pages that nobody else has, other than those of the segment. */
static long privateKilobytes(void) {
    FILE* maps = fopen("/proc/self/smaps", "r");
    if (!maps) {
        return -1;
    }
    long sum = 0;
    int isSegment = 0;
    char line[512];
    while (fgets(line, sizeof line, maps)) {
        const char* value = strchr(line, ':');
        if (strstr(line, "/SYSV") != NULL) {
            isSegment = 1;
        } else if (strncmp(line, "VmFlags:", 8) == 0) {
            isSegment = 0;
        } else if (!isSegment && value && strncmp(line, "Private_", strlen("Private_")) == 0) {
            sum += strtol(value + 1, NULL, 10);
        }
    }
    fclose(maps);
    return sum;
}

/* Kilobytes, as the kernel gives them under that name. */
static long statusKilobytes(const char* name) {
    FILE* status = fopen("/proc/self/status", "r");
    if (!status) {
        return -1;
    }
    long kilobytes = -1;
    char line[512];
    while (fgets(line, sizeof line, status)) {
        if (strncmp(line, name, strlen(name)) == 0) {
            kilobytes = strtol(line + strlen(name) + 1, NULL, 10);
        }
    }
    fclose(status);
    return kilobytes;
}

static long ownKilobytes(void) {
    return privateKilobytes() + statusKilobytes("VmPTE");
}

static void* function(void* library, const char* name) {
    void* address = dlsym(library, name);
    if (!address) {
        fprintf(stderr, "%s\n", dlerror());
    }
    return address;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    ownKilobytes(); /* the first time takes memory */
    const long atFirst = ownKilobytes();
    void* library = dlopen(argv[1], RTLD_NOW);
    if (!library) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const long loaded = ownKilobytes();

    void (*init)(void);
    int (*attach)(const char*, char*, size_t);
    int (*query)(int, TvsiResultSType*);
    *(void**)&init = function(library, "TvsiInit");
    *(void**)&attach = function(library, "TvsiAttachSharedCache");
    *(void**)&query = function(library, "TvsiStatsForProcessId");
    if (!init || !attach || !query) {
        return 1;
    }
    char text[1024];
    TvsiResultSType result;
    init();
    if (attach(argv[2], text, sizeof text) != TVSI_SUCCESS) {
        fprintf(stderr, "%s\n", text);
        return 1;
    }
    const long attached = ownKilobytes();
    query(4999999, &result);
    const long queried = ownKilobytes();
    printf("%ld %ld %ld %ld %ld\n", atFirst * 1024, loaded * 1024, attached * 1024, queried * 1024,
           statusKilobytes("RssShmem") * 1024);
    return 0;
}
