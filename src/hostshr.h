/*
 * The System V segment of a cache in this process: finding it by its key, mapping it at an
 * aligned address, counting the attachments and unmapping it.
 *
 * Owns HostShrMemStateType, the attach state of one cache; one lives in each cache handle.
 * Every field of it is read and written with its recursive mutex held through a
 * HostShrMemAccessor. Whoever also needs the handle's cacheMutex takes that one first.
 */
#ifndef HOSTSHR_H
#define HOSTSHR_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "basetypes.h"
#include "hostmutex.h"
#include "shrpclayout.h"
#include "syserror.h"
#include "utl.h" /* for whoever includes this header */

/* One attached segment. */
struct ShrMemSType {
    int32_t id;             /* from shmget; -1 when none */
    void* loc;              /* where it is mapped; null when it is not */
    HostFnameStrType fname; /* not used */
};

struct SslStateSType;

/* The attach state of one cache. Fields without a remark are inert and keep their initial value. */
struct HostShrMemStateType {
    size_t actualSegSize; /* bytes, as the kernel reports it; 0 before a successful shmget */
    SslStateSType* rSsl;
    uint32_t semArraySize;
    int32_t semArrayKey;
    int32_t semArrayId;
    int32_t threadsAttached; /* attach calls of this process that hold the mapping */
    int32_t masterSpcClientId;
    int32_t totalSlaveDisconnects;
    int32_t oobSock; /* out-of-band socket, closed by the detach; -1 when none */
    HostMutexSType _mutex;
    BoolType shrMemIsLocked;
    BoolType shrMemIsAttached; /* from a successful attach to the detach that unmaps */
    BoolType slaveDisconnectFailed;
    ShrMemSType shrMemId;
    HostFnameStrType locStr; /* location string of the attached cache, else empty */
    int32_t oobThrReading;   /* atomic: a thread reads oobSock; holds off the unmapping */
    int32_t bytesAvail;
    int32_t readBuf[2];

    /* The detached state, with a freshly initialised mutex: nobody may hold the old one. */
    void initialize();
    /* Closes oobSock and forgets rSsl. */
    void closeSocket();
};

/* Holds the mutex of a HostShrMemStateType for its scope. */
struct HOST_LOCK_HOLDER HostShrMemAccessor {
    HostShrMemStateType* _state;

    explicit HostShrMemAccessor(HostShrMemStateType* state) HOST_TAKES(state->_mutex);
    ~HostShrMemAccessor() HOST_RELEASES();
    HostShrMemAccessor(const HostShrMemAccessor&) = delete;
    HostShrMemAccessor& operator=(const HostShrMemAccessor&) = delete;
    HostShrMemStateType* state() const { return _state; }
};

/* Maps one segment at an address that is a multiple of `alignValue`. */
struct SharedMemoryAligner {
    HostShrMemStateType* state; /* receives the accepted address in shrMemId.loc */
    int32_t shmid;
    void* userAddr;     /* the first address to ask for; null: the kernel chooses */
    void* resultAddr;   /* what the last shmat gave, also when rejected; null when it failed */
    int32_t flags;      /* of shmat */
    int32_t alignValue; /* bytes, a power of two; 0 accepts any address */
    BoolType debugMode;
    BoolType attachFailed; /* the last shmat failed, as opposed to a rejected address */

    /* Tries userAddr, then addresses further and further up. Returns the accepted address, or
       null with the reason in `sErr`. */
    void* attach(SysErrorSType* sErr);
    /* One try; TRUE when the segment is mapped at an acceptable address. */
    BoolType tryMemAttach(void* desiredAddr, SysErrorSType* sErr);

    /* Hands the accepted address to the state. */
    void storeResult() const;
};

/* The trace of this module, "[Debug]: " lines on standard output; written at load time only. */
extern BoolType hostShrDebugMode;

/* Load-time step: switches the trace on when TX_DEBUG_SHARED_MEM exists. */
void hostShrDebugModeInitializer();

/*
 * Maps the segment of the cache with location string `locStr`, or counts one more attachment
 * when it is mapped already. Returns the address, or null with the reason in `sErr`.
 * `readonly`, `firstAttach` and `useNetinfoCache` have one supported value each.
 */
void* HostShrMemAttach(HostShrMemAccessor* acc, const char* locStr, SysErrorSType* sErr,
                       BoolType readonly = FALSE, BoolType* firstAttach = nullptr,
                       BoolType useNetinfoCache = FALSE);

/* Takes one attachment back and unmaps the segment with the last one. Returns 0, or -1 with the
   reason in `sErr` when the unmapping failed. `flags` is not looked at. */
int HostShrMemDetach(HostShrMemAccessor* acc, SysErrorSType* sErr, int flags);

/* The System V key recorded for the cache, or 0 with the reason in `sErr`. */
int32_t getKey(const char* locStr, SysErrorSType* sErr, BoolType useNetinfoCache);

/* Maps segment `id` at an aligned address; null with the reason in `sErr`. */
void* unixMemAttach(HostShrMemStateType* state, int id, void* desiredAddr, SysErrorSType* sErr);

/* shmat with its trace; (void*)-1 with the reason in `sErr`. */
void* basicShmat(HostShrMemStateType* state, int shmid, void* firstAddr, int flags,
                 SysErrorSType* sErr);

void printShmgetOk(int32_t key, int flags, int shmid);
void printShmgetFailure(int err, int32_t key, int flags);

#endif
