/* The types that every module uses. */
#ifndef BASETYPES_H
#define BASETYPES_H

#include <cstdint>

/* 32-bit truth value: 0 is false, any other value true. shrpcstats.h, which includes nothing of the
   library, has the same declaration. */
typedef int32_t BoolType;

/* BoolType in one byte. */
typedef int8_t BoolByteType;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

/* A file name or location string: 4096 characters and the NUL. */
typedef char HostFnameStrType[4097];

#endif
