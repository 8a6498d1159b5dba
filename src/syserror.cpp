#include "syserror.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "hostunixmt.h"
#include "unixerr.h"
#include "utlbase.h"

namespace {

/* Flag bits of errFlags. */
constexpr uint32_t FLAG_INTERRUPTED = 1;
constexpr uint32_t FLAG_WOULD_BLOCK = 2;
constexpr uint32_t FLAG_SIGTERM = 4; /* a termination request was pending at an interruption */

struct ErrnoCode {
    int num;
    SysErrEType code;
};

/* The codes are named as the errno values are, so that one name makes an entry. */
#define ERRNO_CODE(name)                                                                           \
    { E##name, SYSERR_##name }

constexpr ErrnoCode ERRNO_CODES[] = {
    {0, SYSERR_NONE},
    ERRNO_CODE(PERM),
    ERRNO_CODE(NOENT),
    ERRNO_CODE(SRCH),
    ERRNO_CODE(INTR),
    ERRNO_CODE(IO),
    ERRNO_CODE(NXIO),
    ERRNO_CODE(2BIG),
    ERRNO_CODE(NOEXEC),
    ERRNO_CODE(BADF),
    ERRNO_CODE(CHILD),
    ERRNO_CODE(AGAIN),
    ERRNO_CODE(NOMEM),
    ERRNO_CODE(ACCES),
    ERRNO_CODE(FAULT),
    ERRNO_CODE(NOTBLK),
    ERRNO_CODE(BUSY),
    ERRNO_CODE(EXIST),
    ERRNO_CODE(XDEV),
    ERRNO_CODE(NODEV),
    ERRNO_CODE(NOTDIR),
    ERRNO_CODE(ISDIR),
    ERRNO_CODE(INVAL),
    ERRNO_CODE(NFILE),
    ERRNO_CODE(MFILE),
    ERRNO_CODE(NOTTY),
    ERRNO_CODE(TXTBSY),
    ERRNO_CODE(FBIG),
    ERRNO_CODE(NOSPC),
    ERRNO_CODE(SPIPE),
    ERRNO_CODE(ROFS),
    ERRNO_CODE(MLINK),
    ERRNO_CODE(PIPE),
    ERRNO_CODE(DOM),
    ERRNO_CODE(RANGE),
    {EDEADLK, SYSERR_DEADLOCK},
    ERRNO_CODE(NAMETOOLONG),
    ERRNO_CODE(NOLCK),
    ERRNO_CODE(NOSYS),
    ERRNO_CODE(NOTEMPTY),
    ERRNO_CODE(LOOP),
    {41, static_cast<SysErrEType>(-41)}, /* Linux has no error 41 */
    ERRNO_CODE(NOMSG),
    ERRNO_CODE(IDRM),
    ERRNO_CODE(CHRNG),
    ERRNO_CODE(L2NSYNC),
    ERRNO_CODE(L3HLT),
    ERRNO_CODE(L3RST),
    ERRNO_CODE(LNRNG),
    ERRNO_CODE(UNATCH),
    ERRNO_CODE(NOCSI),
    ERRNO_CODE(L2HLT),
    ERRNO_CODE(BADE),
    ERRNO_CODE(BADR),
    ERRNO_CODE(XFULL),
    ERRNO_CODE(NOANO),
    ERRNO_CODE(BADRQC),
    ERRNO_CODE(BADSLT),
    {58, static_cast<SysErrEType>(-58)}, /* nor an error 58 */
    ERRNO_CODE(BFONT),
    ERRNO_CODE(NOSTR),
    ERRNO_CODE(NODATA),
    ERRNO_CODE(TIME),
    ERRNO_CODE(NOSR),
    ERRNO_CODE(NONET),
    ERRNO_CODE(NOPKG),
    ERRNO_CODE(REMOTE),
    ERRNO_CODE(NOLINK),
    ERRNO_CODE(ADV),
    ERRNO_CODE(SRMNT),
    ERRNO_CODE(COMM),
    ERRNO_CODE(PROTO),
    ERRNO_CODE(MULTIHOP),
    ERRNO_CODE(DOTDOT),
    ERRNO_CODE(BADMSG),
    ERRNO_CODE(OVERFLOW),
    ERRNO_CODE(NOTUNIQ),
    ERRNO_CODE(BADFD),
    ERRNO_CODE(REMCHG),
    ERRNO_CODE(LIBACC),
    ERRNO_CODE(LIBBAD),
    ERRNO_CODE(LIBSCN),
    ERRNO_CODE(LIBMAX),
    ERRNO_CODE(LIBEXEC),
    ERRNO_CODE(ILSEQ),
    ERRNO_CODE(RESTART),
    ERRNO_CODE(STRPIPE),
    ERRNO_CODE(USERS),
    ERRNO_CODE(NOTSOCK),
    ERRNO_CODE(DESTADDRREQ),
    ERRNO_CODE(MSGSIZE),
    ERRNO_CODE(PROTOTYPE),
    ERRNO_CODE(NOPROTOOPT),
    ERRNO_CODE(PROTONOSUPPORT),
    ERRNO_CODE(SOCKTNOSUPPORT),
    ERRNO_CODE(OPNOTSUPP),
    ERRNO_CODE(PFNOSUPPORT),
    ERRNO_CODE(AFNOSUPPORT),
    ERRNO_CODE(ADDRINUSE),
    ERRNO_CODE(ADDRNOTAVAIL),
    ERRNO_CODE(NETDOWN),
    ERRNO_CODE(NETUNREACH),
    ERRNO_CODE(NETRESET),
    ERRNO_CODE(CONNABORTED),
    ERRNO_CODE(CONNRESET),
    ERRNO_CODE(NOBUFS),
    ERRNO_CODE(ISCONN),
    ERRNO_CODE(NOTCONN),
    ERRNO_CODE(SHUTDOWN),
    ERRNO_CODE(TOOMANYREFS),
    ERRNO_CODE(TIMEDOUT),
    ERRNO_CODE(CONNREFUSED),
    ERRNO_CODE(HOSTDOWN),
    ERRNO_CODE(HOSTUNREACH),
    ERRNO_CODE(ALREADY),
    ERRNO_CODE(INPROGRESS),
    ERRNO_CODE(STALE),
    ERRNO_CODE(UCLEAN),
    ERRNO_CODE(NOTNAM),
    ERRNO_CODE(NAVAIL),
    ERRNO_CODE(ISNAM),
    ERRNO_CODE(REMOTEIO),
    ERRNO_CODE(DQUOT),
};
#undef ERRNO_CODE

constexpr int ERRNO_CODE_COUNT = sizeof ERRNO_CODES / sizeof ERRNO_CODES[0];

constexpr bool everyNumberHasItsLine() {
    for (int i = 0; i < ERRNO_CODE_COUNT; i++) {
        if (ERRNO_CODES[i].num != i) {
            return false;
        }
    }
    return true;
}
static_assert(ERRNO_CODE_COUNT == EDQUOT + 1 && EDQUOT == 122);
static_assert(everyNumberHasItsLine());

/* Numbers without a code of their own are carried negated. */
SysErrEType negatedCode(int num) {
    return static_cast<SysErrEType>(static_cast<int32_t>(0U - static_cast<unsigned>(num)));
}

SysErrEType codeOfErrno(int errNum) {
    if (errNum == -1) {
        return SYSERR_NONE;
    }
    if (errNum < 0 || errNum >= ERRNO_CODE_COUNT) {
        return negatedCode(errNum);
    }
    return ERRNO_CODES[errNum].code;
}

/* Print formats of the resolver's codes, by code. */
constexpr const char* RESOLVER_FORMATS[] = {
    "unknown h_errno = %d\n",
    "h_errno = %d, HOST_NOT_FOUND, Authoritive Answer Host not found",
    "h_errno = %d, TRY_AGAIN, Non-Authoritive Host not found, or SERVERFAIL",
    "h_errno = %d, NO_RECOVERY, Non recoverable errors, FORMERR, REFUSED, NOTIMP",
    "h_errno = %d, NO_DATA, Valid name, no data record of requested type",
};

void resolverText(int num, char* text, size_t size) {
    const int known = sizeof RESOLVER_FORMATS / sizeof RESOLVER_FORMATS[0];
    snprintf(text, size, RESOLVER_FORMATS[num > 0 && num < known ? num : 0], num);
}

struct FlagText {
    uint32_t flag;
    const char* text;
};

/* In the order in which they are appended. */
constexpr FlagText FLAG_TEXTS[] = {
    {FLAG_WOULD_BLOCK, " EWOULDBLOCK"},
    {FLAG_INTERRUPTED, " EINTR"},
    {FLAG_SIGTERM, " SIGTERM"},
};

} // namespace

void SysErrorSType::initialize() {
    errFlags = 0;
    errCode = SYSERR_NONE;
    eaiError = 0;
    errMsgFinished = FALSE;
    _errMsg[0] = '\0';
}

BoolType SysErrorSType::setErrNum(int errNum) {
    uint32_t flags = 0;
    if (errNum == EINTR || errNum == ERESTART) {
        flags = FLAG_INTERRUPTED | (HostGetSigTermAtomic() != 0 ? FLAG_SIGTERM : 0);
    } else if (errNum == EAGAIN) {
        flags = FLAG_WOULD_BLOCK;
    }
    errFlags = (static_cast<int64_t>(errNum) << 32) | flags;
    return flags == 0 ? TRUE : FALSE;
}

BoolType SysErrorSType::setErr(int errNum) {
    const BoolType isHardError = setErrNum(errNum);
    categ = SYSERRCAT_ERRNO;
    errCode = codeOfErrno(errNum);
    return isHardError;
}

void SysErrorSType::setHErr(int code, SysErrCategoryEType category) {
    categ = category;
    setErrNum(code);
    errCode = category == SYSERRCAT_ERRNO ? codeOfErrno(code) : negatedCode(code);
}

int SysErrorSType::errNum() {
    return static_cast<int>(errFlags >> 32);
}

BoolType SysErrorSType::hasError() const {
    return errCode != SYSERR_NONE || _errMsg[0] != '\0' ? TRUE : FALSE;
}

void SysErrorSType::setMsg(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(_errMsg, sizeof _errMsg, format, arguments);
    va_end(arguments);
}

void SysErrorSType::appendStr(const char* s) {
    UtlStrlcat(_errMsg, s, sizeof _errMsg);
}

void SysErrorSType::finishMsg() {
    if (errMsgFinished) {
        return;
    }

    const int num = errNum();
    char text[sizeof _errMsg] = "";
    if (errCode != SYSERR_NONE) {
        if (categ != SYSERRCAT_ERRNO) {
            resolverText(num, text, sizeof text);
        } else {
            HostStrerror(num, text, sizeof text);
        }
        appendStr(" failed with ");
    } else if (num != 0) {
        snprintf(text, sizeof text, " errno = %d", num);
    } else if (eaiError != 0) {
        snprintf(text, sizeof text, " eaiError = %d", eaiError);
    }
    appendStr(text);
    if (text[0] != '\0') {
        errMsgFinished = TRUE;
    }

    for (const FlagText& entry : FLAG_TEXTS) {
        if ((static_cast<uint32_t>(errFlags) & entry.flag) == 0) {
            continue;
        }
        appendStr(entry.text);
        errMsgFinished = TRUE;
    }

    if (!errMsgFinished && _errMsg[0] == '\0' && errFlags != 0) {
        snprintf(_errMsg, sizeof _errMsg, " errFlags=%ld", errFlags);
        errMsgFinished = TRUE;
    }
}

const char* SysErrorSType::msg() {
    finishMsg();
    return _errMsg;
}

void SysErrorSType::copyFrom(const char* what, SysErrorSType* other) {
    errFlags = other->errFlags;
    errCode = other->errCode;
    eaiError = other->eaiError;
    categ = other->categ;

    const char* otherText = other->msg();
    if (strstr(otherText, what) != nullptr) {
        appendStr(" ");
    } else {
        UtlStrlcpy(_errMsg, what, sizeof _errMsg);
        appendStr(", ");
    }
    appendStr(otherText);
}
