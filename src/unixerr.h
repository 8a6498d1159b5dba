/* Names and descriptions of errno values. */
#ifndef UNIXERR_H
#define UNIXERR_H

#include <cstddef>
#include <cstdint>

struct ErrnoTableEntry {
    const char* name;
    int32_t num; /* the errno value */
};

/* The error numbers 1 to 133, ascending: entry i has num i + 1. */
extern const ErrnoTableEntry ErrnoTableLinux[133];

/* Returns ErrnoTableLinux and stores its size through count. */
const ErrnoTableEntry* ErrGetErrnoTable(int* count);

/* The errno value that a file operation failed with. */
struct HostErrSType {
    int32_t theErrno;

    HostErrSType() { initialize(); }
    void initialize() { theErrno = 0; }
};

/* Writes the name of an error number, a blank and the C library's description of it, or a text that
 * says that there is no description. Terminated when bufSize is at least 1, cut where it does not
 * fit, nothing written for 0. Safe from any thread. */
void HostStrerror(int errNum, char* buf, size_t bufSize);

/* HostStrerror of theErr. */
void HostGetErrMsg(const HostErrSType* theErr, char* msgStr, size_t maxLength);

#endif
