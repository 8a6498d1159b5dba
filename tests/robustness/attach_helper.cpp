/* Attaches to the cache that is named on the command line and tells what came of it. */
#include <cstdio>

#include "tvsi.h"

int main(int argc, char** argv) {
    char text[1024] = "";
    TvsiInit();
    const int status = TvsiAttachSharedCache(argc > 1 ? argv[1] : "", text, sizeof text);
    puts(text);
    TvsiDetachSharedCache();
    return status;
}
