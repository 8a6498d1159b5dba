#include "unixerr.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "utlbase.h"

/* The name in the table is the name of the constant. */
#define NAMED(name) {"E" #name, E##name},
#define UNNAMED(number) {"Error" #number, number},
constexpr ErrnoTableEntry ErrnoTableLinux[133] = {ERRNO_NAMES_TO_122(NAMED, UNNAMED)
                                                      ERRNO_NAMES_FROM_123(NAMED, UNNAMED)};
#undef NAMED
#undef UNNAMED

namespace {

constexpr int ERRNO_COUNT = sizeof ErrnoTableLinux / sizeof ErrnoTableLinux[0];

constexpr bool everyNumberHasItsName() {
    for (int i = 0; i < ERRNO_COUNT; i++) {
        if (ErrnoTableLinux[i].num != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(everyNumberHasItsName());

const char* errnoName(int errNum) {
    if (errNum == 0) {
        return "Success";
    }
    if (errNum < 0 || errNum > ERRNO_COUNT) {
        return "unknown";
    }
    return ErrnoTableLinux[errNum - 1].name;
}

} // namespace

const ErrnoTableEntry* ErrGetErrnoTable(int* count) {
    *count = ERRNO_COUNT;
    return ErrnoTableLinux;
}

void HostStrerror(int errNum, char* buf, size_t bufSize) {
    if (bufSize == 0) {
        return;
    }
    UtlStrlcpy(buf, errnoName(errNum), bufSize);
    UtlStrlcat(buf, " ", bufSize);

    /* The GNU form returns a constant text for the numbers it knows and uses the space for others.
     */
    const size_t length = strlen(buf);
    char* space = buf + length;
    const char* description = strerror_r(errNum, space, bufSize - length);
    if (description == nullptr || description == space) {
        snprintf(buf, bufSize, "(no message from strerror for %d)", errNum);
        return;
    }
    UtlStrlcat(buf, description, bufSize);
}

void HostGetErrMsg(const HostErrSType* theErr, char* msgStr, size_t maxLength) {
    HostStrerror(theErr->theErrno, msgStr, maxLength);
}
