/* The location string that names a cache on its host: Brox name, "~", host id in hexadecimal. */
#ifndef SHRPCLOCSTR_H
#define SHRPCLOCSTR_H

#include <cstddef>
#include <cstdint>

#include "basetypes.h"

/* Holds one location string of at most 510 characters. */
struct ShrPcLocationArgType {
    char locationStr[512];

    ShrPcLocationArgType() : locationStr{} {}
};

/*
 * Forms the location string from the Brox name (what stands before its last "!" is dropped)
 * and the host id into `dest`, `destSize` bytes. FALSE, with a line on standard error and an
 * empty `dest`, when it has more than destSize - 2 characters.
 */
BoolType ShrPcCacheLocationStr(const char* egsBrxName, uint64_t broxHostId, char* dest,
                               size_t destSize);
BoolType ShrPcCacheLocationStr(const char* egsBrxName, uint64_t broxHostId,
                               ShrPcLocationArgType* dest);

#endif
