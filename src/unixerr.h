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

/*
 * The error numbers in ascending order, as a list: NAMED(name without its E), or UNNAMED(number)
 * where Linux has no name. Each use says what an entry becomes. The error record has a code of its
 * own for each name up to 122. (clang-format would make a staircase of it.)
 */
/* clang-format off */
#define ERRNO_NAMES_TO_122(NAMED, UNNAMED) \
    NAMED(PERM) NAMED(NOENT) NAMED(SRCH) NAMED(INTR) NAMED(IO) NAMED(NXIO) NAMED(2BIG) \
    NAMED(NOEXEC) NAMED(BADF) NAMED(CHILD) NAMED(AGAIN) NAMED(NOMEM) NAMED(ACCES) NAMED(FAULT) \
    NAMED(NOTBLK) NAMED(BUSY) NAMED(EXIST) NAMED(XDEV) NAMED(NODEV) NAMED(NOTDIR) NAMED(ISDIR) \
    NAMED(INVAL) NAMED(NFILE) NAMED(MFILE) NAMED(NOTTY) NAMED(TXTBSY) NAMED(FBIG) NAMED(NOSPC) \
    NAMED(SPIPE) NAMED(ROFS) NAMED(MLINK) NAMED(PIPE) NAMED(DOM) NAMED(RANGE) NAMED(DEADLK) \
    NAMED(NAMETOOLONG) NAMED(NOLCK) NAMED(NOSYS) NAMED(NOTEMPTY) NAMED(LOOP) UNNAMED(41) \
    NAMED(NOMSG) NAMED(IDRM) NAMED(CHRNG) NAMED(L2NSYNC) NAMED(L3HLT) NAMED(L3RST) NAMED(LNRNG) \
    NAMED(UNATCH) NAMED(NOCSI) NAMED(L2HLT) NAMED(BADE) NAMED(BADR) NAMED(XFULL) NAMED(NOANO) \
    NAMED(BADRQC) NAMED(BADSLT) UNNAMED(58) NAMED(BFONT) NAMED(NOSTR) NAMED(NODATA) NAMED(TIME) \
    NAMED(NOSR) NAMED(NONET) NAMED(NOPKG) NAMED(REMOTE) NAMED(NOLINK) NAMED(ADV) NAMED(SRMNT) \
    NAMED(COMM) NAMED(PROTO) NAMED(MULTIHOP) NAMED(DOTDOT) NAMED(BADMSG) NAMED(OVERFLOW) \
    NAMED(NOTUNIQ) NAMED(BADFD) NAMED(REMCHG) NAMED(LIBACC) NAMED(LIBBAD) NAMED(LIBSCN) \
    NAMED(LIBMAX) NAMED(LIBEXEC) NAMED(ILSEQ) NAMED(RESTART) NAMED(STRPIPE) NAMED(USERS) \
    NAMED(NOTSOCK) NAMED(DESTADDRREQ) NAMED(MSGSIZE) NAMED(PROTOTYPE) NAMED(NOPROTOOPT) \
    NAMED(PROTONOSUPPORT) NAMED(SOCKTNOSUPPORT) NAMED(OPNOTSUPP) NAMED(PFNOSUPPORT) \
    NAMED(AFNOSUPPORT) NAMED(ADDRINUSE) NAMED(ADDRNOTAVAIL) NAMED(NETDOWN) NAMED(NETUNREACH) \
    NAMED(NETRESET) NAMED(CONNABORTED) NAMED(CONNRESET) NAMED(NOBUFS) NAMED(ISCONN) NAMED(NOTCONN) \
    NAMED(SHUTDOWN) NAMED(TOOMANYREFS) NAMED(TIMEDOUT) NAMED(CONNREFUSED) NAMED(HOSTDOWN) \
    NAMED(HOSTUNREACH) NAMED(ALREADY) NAMED(INPROGRESS) NAMED(STALE) NAMED(UCLEAN) NAMED(NOTNAM) \
    NAMED(NAVAIL) NAMED(ISNAM) NAMED(REMOTEIO) NAMED(DQUOT)
#define ERRNO_NAMES_FROM_123(NAMED, UNNAMED) \
    NAMED(NOMEDIUM) NAMED(MEDIUMTYPE) NAMED(CANCELED) NAMED(NOKEY) NAMED(KEYEXPIRED) \
    NAMED(KEYREVOKED) NAMED(KEYREJECTED) NAMED(OWNERDEAD) NAMED(NOTRECOVERABLE) NAMED(RFKILL) \
    NAMED(HWPOISON)
/* clang-format on */

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
