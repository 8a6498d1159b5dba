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

/* The one code that is named otherwise than its error. */
constexpr SysErrEType SYSERR_DEADLK = SYSERR_DEADLOCK;

/* The code of each error number, from 0. */
#define NAMED(name) SYSERR_##name,
#define UNNAMED(number) static_cast<SysErrEType>(-(number)),
constexpr SysErrEType ERRNO_CODES[] = {SYSERR_NONE, ERRNO_NAMES_TO_122(NAMED, UNNAMED)};
#undef NAMED
#undef UNNAMED
constexpr int ERRNO_CODE_COUNT = sizeof ERRNO_CODES / sizeof ERRNO_CODES[0];
static_assert(ERRNO_CODE_COUNT == EDQUOT + 1 && EDQUOT == 122);

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
    return ERRNO_CODES[errNum];
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
