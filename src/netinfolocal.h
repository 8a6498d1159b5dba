/*
 * The registry of server processes on this host: small binary files in the registry
 * directory (the global directory and "locks/"), one a process, that tell its id, kind, the
 * key of its shared memory and a few texts. This module reads them, judges whether their
 * writers still run, and maps a Brox name to its cache. It never writes one.
 *
 * Process-wide, filled on first use: the global directory, the host id, the host's name and
 * first address, and the key of the cache monitor seen last. Any thread may call; a record
 * belongs to one thread.
 */
#ifndef NETINFOLOCAL_H
#define NETINFOLOCAL_H

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "basetypes.h"
#include "netinfolayout.h"
#include "shrpclocstr.h"
#include "syserror.h"
#include "utl.h" /* for whoever includes this header */

/* The result of a lookup; usable when it has the bit NIRES_usableMask. */
enum NetInfoResultEnum {
    NIRES_ERROR = 0,
    NIRES_DOESNOTEXIST = 1,
    NIRES_EXISTS = 2,
    NIRES_STALE = 3, /* the process is gone */
    NIRES_ZEROSIZE = 4,
    NIRES_EXE_DEL = 8, /* the process runs an executable that has been deleted */
    NIRES_usableMask = 8,
    NIRES_OK = 9
};

enum { MAX_VERSION_SIZE = 32 };

/* One registry file in memory. Owns its heap strings. */
struct NetInfoSType {
    BoolByteType existingFileOk;
    BoolByteType fullResult;    /* FALSE: identity fields only, no time text, texts or strings */
    BoolByteType ePermFromKill; /* the process exists and belongs to another user */
    BoolByteType spare;
    int32_t processId;
    int32_t ftok_key; /* -1 unless the record is a cache monitor's with a key */
    NetInfoEnum kind;
    int64_t timeStamp; /* creation, seconds since the epoch */
    uint64_t hostId;
    uint16_t _port;     /* network byte order */
    char ipAddress[46]; /* this host's first address */
    char creationTimeStr[128];
    char creator[128];
    char version[MAX_VERSION_SIZE];
    char machineName[64];
    char* _name;
    char* _logName;
    char* _cmdLine;
    char* _configFile1;
    char* _configFile2;
    char* _exePath;
    char* _productDir;

    NetInfoSType();
    ~NetInfoSType() { clearStrings(); }
    NetInfoSType(const NetInfoSType&) = delete;
    NetInfoSType& operator=(const NetInfoSType&) = delete;

    /* The initial values. Releases nothing. */
    void initialize();
    /* Replaces the string in `slot` by a copy of `src` (null stays null). A copy that can't be
       allocated leaves null, which reads as the empty string. */
    void installString(char** slot, const char* src);
    void deallocate(char** slot);
    void clearStrings();

    /* The string, or an empty one for null. Owned by the record. */
    const char* name() const { return text(_name); }
    const char* logName() const { return text(_logName); }
    const char* cmdLine() const { return text(_cmdLine); }
    const char* configFile1() const { return text(_configFile1); }
    const char* configFile2() const { return text(_configFile2); }
    const char* exePath() const { return text(_exePath); }
    const char* productDir() const { return text(_productDir); }

    void set_name(const char* src) { installString(&_name, src); }
    void set_logName(const char* src) { installString(&_logName, src); }
    void set_cmdLine(const char* src) { installString(&_cmdLine, src); }
    void set_configFile1(const char* src) { installString(&_configFile1, src); }
    void set_configFile2(const char* src) { installString(&_configFile2, src); }
    void set_exePath(const char* src) { installString(&_exePath, src); }
    void set_productDir(const char* src) { installString(&_productDir, src); }

private:
    static const char* text(const char* string) { return string ? string : ""; }
};

/* The last cache monitor key seen; see NetInfoLocalCachedFtokKey(). */
struct CachedFtokKeyType {
    int32_t key;
    char locationStr[4096];

    void initForKey(int32_t k, const char* str);
};

/* The search argument of the directory scan for a Brox's cache. */
struct ShrPcCacheAddress {
    uint64_t hostId; /* 0 until a match is found */
    char broxName[256];
};

/* Called for each registry file of a scan; TRUE ends the scan. */
typedef BoolType NetInfoFEFuncType(int count, const char* name, NetInfoResultEnum result,
                                   NetInfoSType* netInfo, void* userData);

/* The registry file of the process registered as `name`, cut to `resultSize`. */
void NetInfoLocalLockFileName(const char* name, char* result, size_t resultSize);

/* Reads the registry file of `name` into `netInfo` and judges its writer. `err` may be null. */
NetInfoResultEnum NetInfoFindLocal(const char* name, NetInfoSType* netInfo, SysErrorSType* err);

/* Reports a failed or short read of a registry file in `err` (may be null), closes `fd`. `sz`: the
   number of bytes wanted. */
NetInfoResultEnum handleError(SysErrorSType* err, ssize_t readCount, const char* fileName, int fd,
                              size_t sz);

/* TRUE when the process whose executable link is `exeLink` (may be empty) goes by one of the
   product's names; `cmdLine` is its recorded command line. */
BoolType isTalvexProcess(int32_t processId, const char* exeLink, const char* cmdLine);
BoolType isTalvexExeName(const char* exeName, const char* cmdLine);

/* This host's first address as text, empty when it has none; `result` of 46 bytes. */
void SocketGetFirstIpAddressForMyHost(char* result, size_t resultSize);

/* The host-wide directory of the product, ending in "/"; chosen once, owned by the process. */
const char* HostGetGlobalTalvexDir(BoolType* hasOverride = nullptr);
/* The directory that TALVEX_GLOBAL_DIR names, as a heap copy, or null. */
char* checkForGlobalDirOverride();

/* Reads the host id file. `err` may be null. `createIfAbsent` must be FALSE. */
BoolType NetInfoLocalGetUniqueHostId(uint64_t* result, SysErrorSType* err, BoolType createIfAbsent);
/* How often a short host id file is read, 100 ms apart, before that counts as a failure; 5 unless
 * set. Every record that is read asks for the id, so one round is enough for whoever has just
 * waited for it in vain. */
void NetInfoLocalSetHostIdRounds(int rounds);

/* The location string of the cache on this host that serves `broxName`. */
BoolType NetInfoLocalCacheNameForBrox(const char* broxName, ShrPcLocationArgType* locArg,
                                      SysErrorSType* serr);

/* Walks the registry directory; `machine`, `err` and `netldiName` are not used. */
void NetInfoLocalForeach(const char* machine, NetInfoFEFuncType* cb, void* userData,
                         SysErrorSType* err, const char* netldiName);

/* The callback that looks for the cache of a Brox; `userData` is a ShrPcCacheAddress. */
BoolType findCacheWithBroxName(int count, const char* name, NetInfoResultEnum result,
                               NetInfoSType* netInfo, void* userData);

/* The System V key recorded for the cache with location string `locStr`: -1 unless the record is
   a cache monitor's. `useCachedValue` must be FALSE. */
NetInfoResultEnum NetInfoLocalFindFtokKeyForCache(const char* locStr, int32_t* keyPtr,
                                                  SysErrorSType* err, BoolType useCachedValue);

/* The key of the cache monitor read last, by any thread; -1 when none was read. */
CachedFtokKeyType NetInfoLocalCachedFtokKey();

#endif
