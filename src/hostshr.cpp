#include "hostshr.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "fatal.h"
#include "hostunix.h"
#include "netinfolocal.h"
#include "utl.h"

BoolType hostShrDebugMode = FALSE;

void hostShrDebugModeInitializer() {
    if (HostEnvExists("TX_DEBUG_SHARED_MEM")) {
        puts("[Debug]: Shared memory debug tracing enabled");
        hostShrDebugMode = TRUE;
    }
}

namespace {

constexpr int32_t SHM_ALIGNMENT = 0x200000; /* a large page */
/* Opens what exists and nothing else: readable by owner and group, or by the owner alone. */
constexpr int SHMGET_OWNER_AND_GROUP = 02440;
constexpr int SHMGET_OWNER = 02400;

const void* const SHMAT_FAILED = reinterpret_cast<void*>(-1);

bool isNamed(const HostShrSpinLockSType& lock, const char* expectedName) {
    const size_t length = strlen(expectedName);
    return length <= sizeof lock.lockName && strncmp(lock.lockName, expectedName, length) == 0;
}

__attribute__((format(printf, 2, 3))) void traceIf(BoolType enabled, const char* format, ...) {
    if (!enabled) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
}

bool isReadingOutOfBand(HostShrMemStateType* state) {
    return __atomic_fetch_add(&state->oobThrReading, 0, __ATOMIC_SEQ_CST) != 0;
}

} // namespace

void HostShrSpinLockSType::verifyLockName(const char* expectedName) const {
    if (!isNamed(*this, expectedName)) {
        HostCallDebuggerMsg_fl("hostshr", 1687);
    }
}

void HostShrSpinLockSType::verifyLockNameAndNum(const char* fmt, int lockNum) const {
    char expectedName[256];
    snprintf(expectedName, sizeof expectedName, fmt, lockNum);
    if (!isNamed(*this, expectedName)) {
        HostCallDebuggerMsg_fl("hostshr", 1693);
    }
}

HostShrMemAccessor::HostShrMemAccessor(HostShrMemStateType* state) : _state(state) {
    _hostmutexLock(&_state->_mutex, __LINE__, "hostshr");
}

HostShrMemAccessor::~HostShrMemAccessor() {
    _hostmutexUnlock(&_state->_mutex, __LINE__, "hostshr");
}

void HostShrMemStateType::initialize() {
    memset(this, 0, sizeof *this);
    semArrayId = -1;
    oobSock = -1;
    shrMemId.id = -1;
    HostRecursiveMutexInit(&_mutex);
}

void HostShrMemStateType::closeSocket() {
    if (oobSock != -1) {
        const int fd = oobSock;
        oobSock = -1;
        if (fd > 2 && HostClose(fd) == 0 && debug_conn > 0) {
            char stamp[62];
            UtlTimeStampMsStr_hostagent(stamp, sizeof stamp);
            printf("%s [tid 0x%lx]: SocketClose fd %d\n", stamp, pthread_self(), fd);
            fflush(stdout);
        }
    }
    __atomic_exchange_n(&oobSock, -1, __ATOMIC_SEQ_CST);
    rSsl = nullptr;
}

void printShmgetOk(int32_t key, int flags, int shmid) {
    traceIf(hostShrDebugMode, "[Debug]: shmget() succeeded with key %u and flags %o.  shmid=%d\n",
            key, flags, shmid);
}

void printShmgetFailure(int err, int32_t key, int flags) {
    traceIf(hostShrDebugMode, "[Debug]: shmget() failure with key %u and flags %o, errno=%d\n", key,
            flags, err);
}

int32_t getKey(const char* locStr, SysErrorSType* sErr, BoolType /*useNetinfoCache*/) {
    int32_t key = 0;
    const NetInfoResultEnum result = NetInfoLocalFindFtokKeyForCache(locStr, &key, sErr, FALSE);
    if (!(result & NIRES_usableMask)) {
        if (!sErr->hasError()) {
            sErr->setMsg("Error reading lock file for shared cache '%s'\n", locStr);
        }
        traceIf(hostShrDebugMode, "[Debug]: getKey() failed: %s\n", sErr->_errMsg);
        return 0;
    }
    traceIf(hostShrDebugMode, "[Debug]: getKey() success.  key=%u\n", key);
    return key;
}

void* basicShmat(HostShrMemStateType* /*state*/, int shmid, void* firstAddr, int flags,
                 SysErrorSType* sErr) {
    traceIf(hostShrDebugMode,
            "[Debug]: basicShmat: shmid = %d, requested address = %p, flags = 0x%x\n", shmid,
            firstAddr, flags);
    errno = 0;
    void* address = shmat(shmid, firstAddr, flags);
    const int error = errno;
    traceIf(hostShrDebugMode, "[Debug]: basicShmat: shmat() returned: %p. errno = %d\n", address,
            error);
    if (address == SHMAT_FAILED) {
        sErr->setErr(error);
        sErr->setMsg("shmat( %d , %p, 0x%x)", shmid, firstAddr, flags);
    }
    return address;
}

BoolType SharedMemoryAligner::tryMemAttach(void* desiredAddr, SysErrorSType* sErr) {
    void* address = basicShmat(state, shmid, desiredAddr, flags, sErr);
    attachFailed = address == SHMAT_FAILED;
    if (attachFailed) {
        traceIf(debugMode, "[Debug]: tryMemAttach: Attach failed.  errno = %d\n", sErr->errNum());
        resultAddr = nullptr;
        return FALSE;
    }
    resultAddr = address;
    if (alignValue == 0 ||
        (reinterpret_cast<uintptr_t>(address) & static_cast<uintptr_t>(alignValue - 1)) == 0) {
        storeResult();
        return TRUE;
    }
    traceIf(debugMode,
            "[Debug]: basicShmat: Rejecting address %p from shmat() because it is not aligned to "
            "a %d MB boundary\n",
            address, alignValue >> 20);
    sErr->setMsg("shmat: result address %p not %d aligned. Detaching.\n", address, alignValue);
    if (shmdt(address) != 0) {
        sErr->setErr(errno);
        sErr->setMsg("shmdt(%p)", address);
        char text[160];
        snprintf(text, sizeof text,
                 "\n  Could not detach from the shared memory segment with id %d,\n"
                 "      after second attempt at alignment failed\n",
                 shmid);
        sErr->appendStr(text);
    }
    return FALSE;
}

void SharedMemoryAligner::storeResult() const {
    state->shrMemId.loc = resultAddr;
}

void* SharedMemoryAligner::attach(SysErrorSType* sErr) {
    if (tryMemAttach(userAddr, sErr)) {
        return resultAddr;
    }
    if (attachFailed) {
        return nullptr;
    }
    const auto step = static_cast<uint64_t>(alignValue);
    const uint64_t base = reinterpret_cast<uint64_t>(resultAddr) & ~(step - 1);
    const auto tryAddress = [this, sErr](uint64_t address) {
        sErr->initialize();
        return tryMemAttach(reinterpret_cast<void*>(address), sErr);
    };
    if (tryAddress(base) || tryAddress(base + step)) {
        return resultAddr;
    }
    uint64_t stride = step * 2;
    uint64_t address = base + stride;
    while (static_cast<int64_t>(address) > 0) {
        if (tryAddress(address)) {
            return resultAddr;
        }
        stride *= 2;
        address += stride;
    }
    state->shrMemId.loc = nullptr;
    if (!sErr->hasError()) {
        sErr->appendStr("  Attach to the shared memory segment succeeded, but not at an\n"
                        "  aligned address.\n");
    }
    return nullptr;
}

void* unixMemAttach(HostShrMemStateType* state, int id, void* desiredAddr, SysErrorSType* sErr) {
    state->shrMemId.loc = nullptr;
    SharedMemoryAligner aligner = {.state = state,
                                   .shmid = id,
                                   .userAddr = desiredAddr,
                                   .resultAddr = nullptr,
                                   .flags = 0,
                                   .alignValue = SHM_ALIGNMENT,
                                   .debugMode = hostShrDebugMode,
                                   .attachFailed = FALSE};
    return aligner.attach(sErr);
}

namespace {

/* One more attachment to the segment that is mapped already. */
void* attachAgain(HostShrMemStateType* state, const char* locStr, SysErrorSType* sErr) {
    if (strcmp(state->locStr, locStr) != 0) {
        sErr->setMsg("shared memory already attached with locStr %s, arg locStr %s", state->locStr,
                     locStr);
        traceIf(hostShrDebugMode, "[Debug]: %s\n", sErr->_errMsg);
        return nullptr;
    }
    ++state->threadsAttached;
    if (!state->shrMemId.loc) {
        sErr->setMsg("HostShrMemAttach threadsAttached %d, shrMemId.loc==NULL",
                     state->threadsAttached);
        traceIf(hostShrDebugMode, "[Debug]: %s\n", sErr->_errMsg);
    }
    return state->shrMemId.loc;
}

/* Finds the segment and stores its id. */
bool findSegment(HostShrMemStateType* state, int32_t key, SysErrorSType* sErr) {
    int flags = SHMGET_OWNER_AND_GROUP;
    errno = 0;
    int id = shmget(key, 0, flags);
    if (id == -1 && (errno == EACCES || errno == EPERM)) {
        printShmgetFailure(errno, key, flags);
        flags = SHMGET_OWNER;
        errno = 0;
        id = shmget(key, 0, flags);
    }
    if (id == -1) {
        const int error = errno;
        sErr->setErr(error);
        sErr->setMsg("shmget(%d, 0, %d)", key, flags);
        printShmgetFailure(error, key, flags);
        traceIf(hostShrDebugMode, "[Debug]: HostShrMemAttach() failure at %d: %s\n", 429,
                sErr->msg());
        return false;
    }
    printShmgetOk(key, flags, id);
    state->shrMemId.id = id;
    return true;
}

bool learnSize(HostShrMemStateType* state, SysErrorSType* sErr) {
    shmid_ds description;
    if (shmctl(state->shrMemId.id, IPC_STAT, &description) == -1) {
        sErr->setErr(errno);
        sErr->setMsg("shmctl(%d, IPC_STAT, )", state->shrMemId.id);
        traceIf(hostShrDebugMode, "[Debug]: shmctl() failed: %s\n", sErr->_errMsg);
        return false;
    }
    state->actualSegSize = description.shm_segsz;
    return true;
}

} // namespace

void* HostShrMemAttach(HostShrMemAccessor* acc, const char* locStr, SysErrorSType* sErr,
                       BoolType /*readonly*/, BoolType* /*firstAttach*/, BoolType useNetinfoCache) {
    HostShrMemStateType* state = acc->state();
    if (state->shrMemIsAttached) {
        return attachAgain(state, locStr, sErr);
    }
    state->actualSegSize = 0;
    const int32_t key = getKey(locStr, sErr, useNetinfoCache);
    if (key == 0 || !findSegment(state, key, sErr) || !learnSize(state, sErr)) {
        return nullptr;
    }
    void* address = unixMemAttach(state, state->shrMemId.id, nullptr, sErr);
    UtlStrlcpy(state->locStr, locStr, sizeof state->locStr);
    if (!address) {
        traceIf(hostShrDebugMode, "[Debug]: unixMemAttach failed, %s\n", sErr->_errMsg);
        return nullptr;
    }
    ++state->threadsAttached;
    state->shrMemIsAttached = TRUE;
    return address;
}

int HostShrMemDetach(HostShrMemAccessor* acc, SysErrorSType* sErr, int /*flags*/) {
    HostShrMemStateType* state = acc->state();
    if (state->threadsAttached > 0 && --state->threadsAttached != 0) {
        return 0;
    }
    if (isReadingOutOfBand(state) || !state->shrMemIsAttached || !state->shrMemId.loc) {
        return 0;
    }
    int result = 0;
    if (HostEnvExists("TX_DISABLE_SHMDT")) {
        puts("[Info]: Skipping shared memory segment detach system call shmdt()");
    } else if (shmdt(state->shrMemId.loc) != 0) {
        sErr->setErr(errno);
        sErr->setMsg("shmdt(%p)", state->shrMemId.loc);
        sErr->finishMsg();
        char text[160];
        snprintf(text, sizeof text,
                 "\n  Could not detach from the shared memory segment starting\n  at address %p",
                 state->shrMemId.loc);
        sErr->appendStr(text);
        result = -1;
    }
    state->shrMemId.loc = nullptr;
    if (!isReadingOutOfBand(state)) {
        state->closeSocket();
    }
    state->shrMemIsAttached = FALSE;
    state->semArraySize = 0;
    state->locStr[0] = '\0';
    return result;
}
