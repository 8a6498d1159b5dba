#include "unixerr.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "utlbase.h"

/* The name in the table is the name of the constant. */
#define ERRNO_ENTRY(name)                                                                          \
    { #name, name }

constexpr ErrnoTableEntry ErrnoTableLinux[133] = {
    ERRNO_ENTRY(EPERM),
    ERRNO_ENTRY(ENOENT),
    ERRNO_ENTRY(ESRCH),
    ERRNO_ENTRY(EINTR),
    ERRNO_ENTRY(EIO),
    ERRNO_ENTRY(ENXIO),
    ERRNO_ENTRY(E2BIG),
    ERRNO_ENTRY(ENOEXEC),
    ERRNO_ENTRY(EBADF),
    ERRNO_ENTRY(ECHILD),
    ERRNO_ENTRY(EAGAIN),
    ERRNO_ENTRY(ENOMEM),
    ERRNO_ENTRY(EACCES),
    ERRNO_ENTRY(EFAULT),
    ERRNO_ENTRY(ENOTBLK),
    ERRNO_ENTRY(EBUSY),
    ERRNO_ENTRY(EEXIST),
    ERRNO_ENTRY(EXDEV),
    ERRNO_ENTRY(ENODEV),
    ERRNO_ENTRY(ENOTDIR),
    ERRNO_ENTRY(EISDIR),
    ERRNO_ENTRY(EINVAL),
    ERRNO_ENTRY(ENFILE),
    ERRNO_ENTRY(EMFILE),
    ERRNO_ENTRY(ENOTTY),
    ERRNO_ENTRY(ETXTBSY),
    ERRNO_ENTRY(EFBIG),
    ERRNO_ENTRY(ENOSPC),
    ERRNO_ENTRY(ESPIPE),
    ERRNO_ENTRY(EROFS),
    ERRNO_ENTRY(EMLINK),
    ERRNO_ENTRY(EPIPE),
    ERRNO_ENTRY(EDOM),
    ERRNO_ENTRY(ERANGE),
    ERRNO_ENTRY(EDEADLK),
    ERRNO_ENTRY(ENAMETOOLONG),
    ERRNO_ENTRY(ENOLCK),
    ERRNO_ENTRY(ENOSYS),
    ERRNO_ENTRY(ENOTEMPTY),
    ERRNO_ENTRY(ELOOP),
    {"Error41", 41},
    ERRNO_ENTRY(ENOMSG),
    ERRNO_ENTRY(EIDRM),
    ERRNO_ENTRY(ECHRNG),
    ERRNO_ENTRY(EL2NSYNC),
    ERRNO_ENTRY(EL3HLT),
    ERRNO_ENTRY(EL3RST),
    ERRNO_ENTRY(ELNRNG),
    ERRNO_ENTRY(EUNATCH),
    ERRNO_ENTRY(ENOCSI),
    ERRNO_ENTRY(EL2HLT),
    ERRNO_ENTRY(EBADE),
    ERRNO_ENTRY(EBADR),
    ERRNO_ENTRY(EXFULL),
    ERRNO_ENTRY(ENOANO),
    ERRNO_ENTRY(EBADRQC),
    ERRNO_ENTRY(EBADSLT),
    {"Error58", 58},
    ERRNO_ENTRY(EBFONT),
    ERRNO_ENTRY(ENOSTR),
    ERRNO_ENTRY(ENODATA),
    ERRNO_ENTRY(ETIME),
    ERRNO_ENTRY(ENOSR),
    ERRNO_ENTRY(ENONET),
    ERRNO_ENTRY(ENOPKG),
    ERRNO_ENTRY(EREMOTE),
    ERRNO_ENTRY(ENOLINK),
    ERRNO_ENTRY(EADV),
    ERRNO_ENTRY(ESRMNT),
    ERRNO_ENTRY(ECOMM),
    ERRNO_ENTRY(EPROTO),
    ERRNO_ENTRY(EMULTIHOP),
    ERRNO_ENTRY(EDOTDOT),
    ERRNO_ENTRY(EBADMSG),
    ERRNO_ENTRY(EOVERFLOW),
    ERRNO_ENTRY(ENOTUNIQ),
    ERRNO_ENTRY(EBADFD),
    ERRNO_ENTRY(EREMCHG),
    ERRNO_ENTRY(ELIBACC),
    ERRNO_ENTRY(ELIBBAD),
    ERRNO_ENTRY(ELIBSCN),
    ERRNO_ENTRY(ELIBMAX),
    ERRNO_ENTRY(ELIBEXEC),
    ERRNO_ENTRY(EILSEQ),
    ERRNO_ENTRY(ERESTART),
    ERRNO_ENTRY(ESTRPIPE),
    ERRNO_ENTRY(EUSERS),
    ERRNO_ENTRY(ENOTSOCK),
    ERRNO_ENTRY(EDESTADDRREQ),
    ERRNO_ENTRY(EMSGSIZE),
    ERRNO_ENTRY(EPROTOTYPE),
    ERRNO_ENTRY(ENOPROTOOPT),
    ERRNO_ENTRY(EPROTONOSUPPORT),
    ERRNO_ENTRY(ESOCKTNOSUPPORT),
    ERRNO_ENTRY(EOPNOTSUPP),
    ERRNO_ENTRY(EPFNOSUPPORT),
    ERRNO_ENTRY(EAFNOSUPPORT),
    ERRNO_ENTRY(EADDRINUSE),
    ERRNO_ENTRY(EADDRNOTAVAIL),
    ERRNO_ENTRY(ENETDOWN),
    ERRNO_ENTRY(ENETUNREACH),
    ERRNO_ENTRY(ENETRESET),
    ERRNO_ENTRY(ECONNABORTED),
    ERRNO_ENTRY(ECONNRESET),
    ERRNO_ENTRY(ENOBUFS),
    ERRNO_ENTRY(EISCONN),
    ERRNO_ENTRY(ENOTCONN),
    ERRNO_ENTRY(ESHUTDOWN),
    ERRNO_ENTRY(ETOOMANYREFS),
    ERRNO_ENTRY(ETIMEDOUT),
    ERRNO_ENTRY(ECONNREFUSED),
    ERRNO_ENTRY(EHOSTDOWN),
    ERRNO_ENTRY(EHOSTUNREACH),
    ERRNO_ENTRY(EALREADY),
    ERRNO_ENTRY(EINPROGRESS),
    ERRNO_ENTRY(ESTALE),
    ERRNO_ENTRY(EUCLEAN),
    ERRNO_ENTRY(ENOTNAM),
    ERRNO_ENTRY(ENAVAIL),
    ERRNO_ENTRY(EISNAM),
    ERRNO_ENTRY(EREMOTEIO),
    ERRNO_ENTRY(EDQUOT),
    ERRNO_ENTRY(ENOMEDIUM),
    ERRNO_ENTRY(EMEDIUMTYPE),
    ERRNO_ENTRY(ECANCELED),
    ERRNO_ENTRY(ENOKEY),
    ERRNO_ENTRY(EKEYEXPIRED),
    ERRNO_ENTRY(EKEYREVOKED),
    ERRNO_ENTRY(EKEYREJECTED),
    ERRNO_ENTRY(EOWNERDEAD),
    ERRNO_ENTRY(ENOTRECOVERABLE),
    ERRNO_ENTRY(ERFKILL),
    ERRNO_ENTRY(EHWPOISON),
};
#undef ERRNO_ENTRY

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
