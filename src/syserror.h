/*
 * The system error record: how an operation that failed on a system call reports its failure.
 *
 * The failing step fills the record (number, code, description), the reader completes its text once
 * through msg(). A record belongs to one thread at a time.
 */
#ifndef SYSERROR_H
#define SYSERROR_H

#include <cstddef>
#include <cstdint>

#include "basetypes.h"

/* The library's own classification of errors. Values appear in messages and are compared by
 * callers, so none may move. Numbers without a code of their own are carried negated. */
enum SysErrEType : int32_t {
    SYSERR_NONE,
    SYSERR_UNKNOWN,
    SYSERR_HOST_NOT_FOUND,
    SYSERR_TRY_AGAIN,
    SYSERR_NO_RECOVERY,
    SYSERR_NO_DATA,
    SYSERR_NO_ADDRESS,
    SYSERR_NETDOWN,
    SYSERR_NETUNREACH,
    SYSERR_NETRESET,
    SYSERR_CONNABORTED,
    SYSERR_CONNRESET,
    SYSERR_NOBUFS,
    SYSERR_ISCONN,
    SYSERR_NOTCONN,
    SYSERR_SHUTDOWN,
    SYSERR_TIMEDOUT,
    SYSERR_CONNREFUSED,
    SYSERR_NAMETOOLONG,
    SYSERR_INTR,
    SYSERR_INPROGRESS,
    SYSERR_INVAL,
    SYSERR_ALREADY,
    SYSERR_NOTSOCK,
    SYSERR_DESTADDRREQ,
    SYSERR_MSGSIZE,
    SYSERR_PROTOTYPE,
    SYSERR_NOPROTOOPT,
    SYSERR_PROTONOSUPPORT,
    SYSERR_SOCKTNOSUPPORT,
    SYSERR_OPNOTSUPP,
    SYSERR_NOTSUP,
    SYSERR_PFNOSUPPORT,
    SYSERR_AFNOSUPPORT,
    SYSERR_ADDRINUSE,
    SYSERR_ADDRNOTAVAIL,
    SYSERR_WOULDBLOCK,
    SYSERR_BADF,
    SYSERR_AGAIN,
    SYSERR_NOMEM,
    SYSERR_ACCES,
    SYSERR_FAULT,
    SYSERR_PIPE,
    SYSERR_HOSTDOWN,
    SYSERR_HOSTUNREACH,
    SYSERR_NONET,
    SYSERR_NOSR,
    SYSERR_PROTO,
    SYSERR_NXIO,
    SYSERR_MFILE,
    SYSERR_NFILE,
    TXSOCKETERR_NOHOSTNAME,
    SYSERR_BUSY,
    SYSERR_NOTBLK,
    SYSERR_SPIPE,
    SYSERR_MULTIHOP,
    SYSERR_NOCONNECT,
    SYSERR_BADCONNECT,
    SYSERR_ZERO,
    SYSERR_TOOMANYREFS,
    SYSERR_PERM,
    SYSERR_NOENT,
    SYSERR_SRCH,
    SYSERR_IO,
    SYSERR_2BIG,
    SYSERR_NOEXEC,
    SYSERR_CHILD,
    SYSERR_EXIST,
    SYSERR_XDEV,
    SYSERR_NODEV,
    SYSERR_NOTDIR,
    SYSERR_ISDIR,
    SYSERR_NOTTY,
    SYSERR_TXTBSY,
    SYSERR_FBIG,
    SYSERR_NOSPC,
    SYSERR_ROFS,
    SYSERR_MLINK,
    SYSERR_DOM,
    SYSERR_RANGE,
    SYSERR_UCLEAN,
    SYSERR_NOTNAM,
    SYSERR_NAVAIL,
    SYSERR_ISNAM,
    SYSERR_REMOTEIO,
    SYSERR_NOMSG,
    SYSERR_IDRM,
    SYSERR_CHRNG,
    SYSERR_L2NSYNC,
    SYSERR_L3HLT,
    SYSERR_L3RST,
    SYSERR_LNRNG,
    SYSERR_UNATCH,
    SYSERR_NOCSI,
    SYSERR_L2HLT,
    SYSERR_NOTREADY,
    SYSERR_WRPROTECT,
    SYSERR_FORMAT,
    SYSERR_NOLCK,
    SYSERR_BADE,
    SYSERR_BADR,
    SYSERR_XFULL,
    SYSERR_NOANO,
    SYSERR_BADRQC,
    SYSERR_BADSLT,
    SYSERR_BFONT,
    SYSERR_LOOP,
    SYSERR_OVERFLOW,
    SYSERR_NOTUNIQ,
    SYSERR_BADFD,
    SYSERR_LIBACC,
    SYSERR_LIBBAD,
    SYSERR_LIBSCN,
    SYSERR_LIBMAX,
    SYSERR_LIBEXEC,
    SYSERR_ILSEQ,
    SYSERR_RESTART,
    SYSERR_STRPIPE,
    SYSERR_NOTEMPTY,
    SYSERR_PROCLIM,
    SYSERR_USERS,
    SYSERR_DQUOT,
    SYSERR_STALE,
    SYSERR_REMOTE,
    SYSERR_DEADLOCK,
    SYSERR_NOSTR,
    SYSERR_NODATA,
    SYSERR_TIME,
    SYSERR_BADMSG,
    SYSERR_RREMOTE,
    SYSERR_NOLINK,
    SYSERR_ADV,
    SYSERR_SRMNT,
    SYSERR_COMM,
    SYSERR_DOTDOT,
    SYSERR_REMCHG,
    SYSERR_NOSYS,
    SYSERR_NOPKG,
    SYSERR_NOSYM,
    SYSERR_REMOTERELEASE,
    SYSERR_SSL_GENERIC
};
static_assert(SYSERR_INTR == 19 && SYSERR_AGAIN == 38 && SYSERR_PERM == 60);
static_assert(SYSERR_DEADLOCK == 124 && SYSERR_NOSYS == 136 && SYSERR_SSL_GENERIC == 140);

/* Which numbering the number of a record belongs to. */
enum SysErrCategoryEType : int32_t {
    SYSERRCAT_ERRNO = 0,  /* an errno value */
    SYSERRCAT_HERRNO = 1, /* a code of the host name resolver */
    SYSERRCAT_OPENSSL = 2 /* declared, never produced by this library */
};

struct SysErrorSType {
    int64_t errFlags;    /* high half: the error number (signed); low half: flag bits */
    SysErrEType errCode; /* SYSERR_NONE: no classified error */
    int32_t eaiError;    /* host name resolver result, 0 if none */
    SysErrCategoryEType categ;
    BoolType errMsgFinished; /* finishMsg has completed the text */
    char _errMsg[1024];      /* always terminated */

    SysErrorSType() { initialize(); }

    /* Empties the record. categ is left alone: whatever sets errCode sets categ too. */
    void initialize();

    /* Stores the number and the flags that it implies. FALSE for an error that is not a hard one
     * (an interrupted or a would-block call), else TRUE. */
    BoolType setErrNum(int errNum);

    /* Records an errno value with its code. errNum -1: a failure without a system error.
     * Returns as setErrNum does. Does not touch the text. */
    BoolType setErr(int errNum);

    /* Records a failure of the host name resolver. */
    void setHErr(int code, SysErrCategoryEType category);

    int errNum();
    BoolType hasError() const;

    /* Replaces the text by what the print format makes; what does not fit is cut. */
    void setMsg(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /* Appends to the text; what does not fit is cut. */
    void appendStr(const char* s);

    /* Completes the text with the name and description of the error, once. */
    void finishMsg();

    /* The finished text, valid as long as the record. */
    const char* msg();

    /* Takes over the error of another record (which is completed by this), with a word on what
     * failed unless the other text already says so. */
    void copyFrom(const char* what, SysErrorSType* other);
};
static_assert(offsetof(SysErrorSType, errFlags) == 0);
static_assert(offsetof(SysErrorSType, errCode) == 8);
static_assert(offsetof(SysErrorSType, eaiError) == 12);
static_assert(offsetof(SysErrorSType, categ) == 16);
static_assert(offsetof(SysErrorSType, errMsgFinished) == 20);
static_assert(offsetof(SysErrorSType, _errMsg) == 24);
static_assert(sizeof(SysErrorSType) == 1048);

#endif
