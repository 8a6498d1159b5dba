#include "shrpclocstr.h"

#include <cstdio>
#include <cstring>

BoolType ShrPcCacheLocationStr(const char* egsBrxName, uint64_t broxHostId, char* dest,
                               size_t destSize) {
    const char* bang = strrchr(egsBrxName, '!');
    const char* broxName = bang ? bang + 1 : egsBrxName;
    const size_t writable = destSize > 0 ? destSize - 1 : 0;
    const int length = snprintf(dest, writable, "%s~%lx", broxName, broxHostId);
    if (length >= 0 && static_cast<size_t>(length) + 2 <= destSize) {
        return TRUE;
    }
    fprintf(stderr, "ShrPcCacheLocationStr: name %s is too large\n", broxName);
    fflush(stderr);
    if (destSize > 0) {
        dest[0] = '\0';
    }
    return FALSE;
}

BoolType ShrPcCacheLocationStr(const char* egsBrxName, uint64_t broxHostId,
                               ShrPcLocationArgType* dest) {
    return ShrPcCacheLocationStr(egsBrxName, broxHostId, dest->locationStr,
                                 sizeof dest->locationStr);
}
