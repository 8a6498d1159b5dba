#include "netinfolocal.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include "hostmutex.h"
#include "hostunix.h"
#include "hostunixmt.h"
#include "tvsi.h"
#include "utl.h"

namespace {

/*
 * Process-wide state, filled on first use and never cleared:
 * - globalDir, globalDirIsOverride: under globalDirOnce.
 * - cachedHostId: 0 until the host id file has been read; hostIdRounds: see the header.
 * - cachedHostName, cachedIpAddress (empty until known), nextLookUp (when the resolver may be asked
 *   again; monotonic nanoseconds) and CachedFtokKey: under cacheMutex, which is never held while
 *   anything else is waited for.
 */
pthread_once_t globalDirOnce = PTHREAD_ONCE_INIT;
const char* globalDir;
BoolType globalDirIsOverride;
std::atomic<uint64_t> cachedHostId;
std::atomic<int> hostIdRounds = 5;
HostMutexSType cacheMutex = {PTHREAD_MUTEX_INITIALIZER, TRUE};
char cachedHostName[257] HOST_GUARDED_BY(cacheMutex);
char cachedIpAddress[46] HOST_GUARDED_BY(cacheMutex);
HostHrtime_t nextLookUp HOST_GUARDED_BY(cacheMutex);
CachedFtokKeyType CachedFtokKey HOST_GUARDED_BY(cacheMutex) = {-1, ""};

/* Owns a descriptor until it is released to somebody who closes it. */
class ScopedDescriptor {
public:
    explicit ScopedDescriptor(int fd) : _fd(fd) {}
    ~ScopedDescriptor() { close(); }
    ScopedDescriptor(const ScopedDescriptor&) = delete;
    ScopedDescriptor& operator=(const ScopedDescriptor&) = delete;

    int get() const { return _fd; }
    int release() {
        const int fd = _fd;
        _fd = -1;
        return fd;
    }
    void close() {
        if (_fd >= 0) {
            HostClose(release());
        }
    }
    /* Only while it owns none. */
    void adopt(int fd) { _fd = fd; }

private:
    int _fd;
};

/* Never waits for a writer when a FIFO or a terminal stands in the place of a file. */
int openForReading(const char* path) {
    return HostOpen(path, O_RDONLY | O_NONBLOCK | O_NOCTTY, 0);
}

void registryDirectory(char* result, size_t resultSize) {
    UtlStrlcpy(result, HostGetGlobalTalvexDir(), resultSize);
    UtlStrlcat(result, "locks/", resultSize);
}

/* Copies a NUL-padded text of at most `sourceSize` characters; an empty one changes nothing. */
void copyPaddedText(char* dest, const char* source, size_t sourceSize) {
    if (source[0] != '\0') {
        const size_t length = strnlen(source, sourceSize);
        memcpy(dest, source, length);
        dest[length] = '\0';
    }
}

} // namespace

NetInfoSType::NetInfoSType() {
    initialize();
}

void NetInfoSType::initialize() {
    existingFileOk = FALSE;
    fullResult = TRUE;
    ePermFromKill = FALSE;
    spare = FALSE;
    processId = -1;
    ftok_key = -1;
    kind = NI_UNKNOWN;
    timeStamp = 0;
    hostId = 0xFFFFFFFF;
    _port = 0;
    ipAddress[0] = '\0';
    creationTimeStr[0] = '\0';
    creator[0] = '\0';
    version[0] = '\0';
    machineName[0] = '\0';
    _name = nullptr;
    _logName = nullptr;
    _cmdLine = nullptr;
    _configFile1 = nullptr;
    _configFile2 = nullptr;
    _exePath = nullptr;
    _productDir = nullptr;
}

void NetInfoSType::installString(char** slot, const char* src) {
    deallocate(slot);
    *slot = src ? strdup(src) : nullptr;
}

void NetInfoSType::deallocate(char** slot) {
    free(*slot);
    *slot = nullptr;
}

void NetInfoSType::clearStrings() {
    deallocate(&_name);
    deallocate(&_logName);
    deallocate(&_cmdLine);
    deallocate(&_configFile1);
    deallocate(&_configFile2);
    deallocate(&_exePath);
    deallocate(&_productDir);
}

void CachedFtokKeyType::initForKey(int32_t k, const char* str) {
    key = k;
    UtlStrlcpy(locationStr, str, sizeof locationStr);
}

CachedFtokKeyType NetInfoLocalCachedFtokKey() {
    const HostMutexHolder lock(&cacheMutex, "netinfolocal");
    return CachedFtokKey;
}

void NetInfoLocalLockFileName(const char* name, char* result, size_t resultSize) {
    registryDirectory(result, resultSize);
    UtlStrlcat(result, name, resultSize);
    UtlStrlcat(result, "..LCK", resultSize);
}

NetInfoResultEnum handleError(SysErrorSType* err, ssize_t readCount, const char* fileName, int fd,
                              size_t sz) {
    if (err && readCount == -1) {
        err->setErr(errno);
        err->setMsg("read of %ld bytes failed on file %s", static_cast<long>(sz), fileName);
    } else if (err) {
        err->setErr(-1);
        err->setMsg("read unexpected number (%ld) of bytes on file %s",
                    static_cast<long>(readCount), fileName);
    }
    HostClose(fd);
    return NIRES_ERROR;
}

namespace {

/* The header form of versions before 3.4, told by their text; bytes compare as signed. */
bool isShortForm(const NetInfoTx64_34xSType& header) {
    const auto* version = reinterpret_cast<const signed char*>(header.version);
    if (version[0] < '3') {
        return true;
    }
    return version[0] == '3' && version[2] <= '3' && version[3] != '.';
}

NetInfoResultEnum openRegistryFile(const char* path, ScopedDescriptor* file, SysErrorSType* err) {
    file->adopt(openForReading(path));
    if (file->get() >= 0) {
        return NIRES_OK;
    }
    if (err) {
        err->setErr(errno);
        err->setMsg("open(%s, ORDONLY)", path);
    }
    return NIRES_ERROR;
}

/* Opens the file and reads its header; on NIRES_OK `file` stands at the string area. */
NetInfoResultEnum readHeader(const char* path, ScopedDescriptor* file, NetInfoTx64_34xSType* header,
                             SysErrorSType* err) {
    if (openRegistryFile(path, file, err) != NIRES_OK) {
        return NIRES_ERROR;
    }
    memset(header, 0, sizeof *header);
    const ssize_t count = HostReadFileNi_(file->get(), header, sizeof *header);
    if (count == 0) {
        return NIRES_ZEROSIZE;
    }
    if (count != sizeof(NetInfoTx64_34xSType) && count != sizeof(NetInfoTx64_3xSType)) {
        return handleError(err, count, path, file->release(), sizeof(NetInfoTx64_34xSType));
    }
    if (!isShortForm(*header)) {
        return NIRES_OK;
    }
    header->creationTimeH = 0;
    file->close();
    if (openRegistryFile(path, file, err) != NIRES_OK) {
        return NIRES_ERROR;
    }
    const ssize_t again = HostReadFileNi_(file->get(), header, sizeof(NetInfoTx64_3xSType));
    if (again != sizeof(NetInfoTx64_3xSType)) {
        return handleError(err, again, path, file->release(), sizeof(NetInfoTx64_3xSType));
    }
    return NIRES_OK;
}

/* Takes the strings of the string area in file order; whatever is missing reads as empty. */
void readStringArea(int fd, NetInfoSType* netInfo) {
    char** const slots[] = {&netInfo->_logName,     &netInfo->_productDir,  &netInfo->_cmdLine,
                            &netInfo->_configFile1, &netInfo->_configFile2, &netInfo->_exePath};
    for (char** slot : slots) {
        netInfo->installString(slot, "");
    }
    /* One byte more than a valid area has, so that a longer one shows. */
    char area[24588] = {};
    const ssize_t count = HostReadFileNi_(fd, area, sizeof area);
    if (count < 1 || count >= static_cast<ssize_t>(sizeof area)) {
        return;
    }
    const size_t size = static_cast<size_t>(count);
    area[size] = '\0';
    size_t start = 0;
    for (char** slot : slots) {
        const size_t length = strlen(area + start);
        if (length > 0) {
            netInfo->installString(slot, area + start);
        }
        if (start + length >= size) {
            return;
        }
        start += length + 1;
    }
}

void fillIdentity(const NetInfoTx64_34xSType& header, const char* name, NetInfoSType* netInfo,
                  SysErrorSType* err) {
    SocketGetFirstIpAddressForMyHost(netInfo->ipAddress, sizeof netInfo->ipAddress);
    const uint64_t known = cachedHostId.load(std::memory_order_relaxed);
    if (known != 0) {
        netInfo->hostId = known;
    } else {
        NetInfoLocalGetUniqueHostId(&netInfo->hostId, err, FALSE);
    }
    netInfo->machineName[0] = '\0';
    netInfo->processId = header.processId;
    netInfo->kind = header.kind;
    netInfo->_port = static_cast<uint16_t>(header._port & 0xFFFF);
    if (header.kind != NI_SHRPCMON) {
        return;
    }
    netInfo->ftok_key = static_cast<int32_t>(header.ftok_key);
    if (netInfo->ftok_key != -1) {
        const HostMutexHolder lock(&cacheMutex, "netinfolocal");
        CachedFtokKey.initForKey(netInfo->ftok_key, name);
    }
}

void fillTexts(const NetInfoTx64_34xSType& header, int fd, NetInfoSType* netInfo) {
    netInfo->timeStamp = static_cast<int64_t>(static_cast<uint64_t>(header.creationTimeH) << 32 |
                                              header.creationTimeL);
    UtlListTimeStr(netInfo->timeStamp, netInfo->creationTimeStr, sizeof netInfo->creationTimeStr);
    copyPaddedText(netInfo->creator, header.creator, sizeof header.creator);
    copyPaddedText(netInfo->version, header.version, sizeof header.version);
    readStringArea(fd, netInfo);
}

/* 0, or the errno with which the process refuses a signal. */
int probeProcess(int32_t processId) {
    errno = 0;
    return kill(processId, 0) == 0 ? 0 : errno;
}

/* The executable of the process; empty when it can't be told. */
void readExeLink(int32_t processId, char* link, size_t linkSize) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/exe", processId);
    const ssize_t length = readlink(path, link, linkSize);
    link[length > 0 && static_cast<size_t>(length) < linkSize ? length : 0] = '\0';
}

bool isDeletedExe(const char* exeLink, const char* exePath) {
    const size_t length = strlen(exePath);
    return strncmp(exeLink, exePath, length) == 0 && strcmp(exeLink + length, " (deleted)") == 0;
}

/* The command name in the process's status line, without its directory; may be empty. */
void readCommandName(int32_t processId, char* name, size_t nameSize) {
    name[0] = '\0';
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/stat", processId);
    const ScopedDescriptor file(HostOpen(path, O_RDONLY, 0));
    if (file.get() < 0) {
        return;
    }
    char line[1024];
    constexpr ssize_t LIMIT = sizeof line - 1;
    ssize_t count;
    do {
        count = read(file.get(), line, LIMIT);
    } while (count < 0 && errno == EINTR && HostGetSigTermAtomic() == 0);
    if (count <= 0 || count >= LIMIT) {
        return;
    }
    line[count] = '\0';
    const char* open = strchr(line, '(');
    const char* close = strchr(line, ')');
    if (!open || !close || close < open) {
        return;
    }
    const size_t length = static_cast<size_t>(close - open) - 1;
    UtlStrlcpy(name, open + 1, length < nameSize ? length + 1 : nameSize);
}

/* Whether the process that wrote the record still runs. */
NetInfoResultEnum judgeProcess(NetInfoSType* netInfo) {
    if (probeProcess(netInfo->processId) == ESRCH) {
        return NIRES_STALE;
    }
    char exeLink[4096];
    readExeLink(netInfo->processId, exeLink, sizeof exeLink);
    NetInfoResultEnum candidate = NIRES_STALE;
    if (netInfo->exePath()[0] != '\0' && exeLink[0] != '\0') {
        if (strcmp(netInfo->exePath(), exeLink) == 0) {
            return NIRES_OK;
        }
        if (isDeletedExe(exeLink, netInfo->exePath())) {
            candidate = NIRES_EXE_DEL;
        }
    } else if (isTalvexProcess(netInfo->processId, exeLink, netInfo->cmdLine())) {
        return NIRES_OK;
    }
    const int refusal = probeProcess(netInfo->processId);
    if (refusal == ESRCH) {
        return NIRES_STALE;
    }
    if (refusal == EPERM) {
        netInfo->ePermFromKill = TRUE;
    }
    /* A live process counts whatever its name is: the record's owner may have been renamed. */
    return candidate == NIRES_EXE_DEL ? NIRES_EXE_DEL : NIRES_OK;
}

} // namespace

BoolType isTalvexExeName(const char* exeName, const char* cmdLine) {
    static const char* const talvexExeNames[] = {"netldid", "broxd", "shrpcmonitor", ""};
    if (strcmp(exeName, "vok") == 0) {
        return strncmp(cmdLine, "logreceiver", strlen("logreceiver")) == 0 ||
               strncmp(cmdLine, "logsender", strlen("logsender")) == 0;
    }
    for (const char* const* known = talvexExeNames; **known != '\0'; ++known) {
        if (strcmp(exeName, *known) == 0) {
            return TRUE;
        }
    }
    return FALSE;
}

BoolType isTalvexProcess(int32_t processId, const char* exeLink, const char* cmdLine) {
    if (exeLink[0] != '\0') {
        const char* slash = strrchr(exeLink, '/');
        return isTalvexExeName(slash ? slash + 1 : exeLink, cmdLine);
    }
    char commandName[1024];
    readCommandName(processId, commandName, sizeof commandName);
    return isTalvexExeName(commandName, cmdLine);
}

NetInfoResultEnum NetInfoFindLocal(const char* name, NetInfoSType* netInfo, SysErrorSType* err) {
    netInfo->clearStrings();
    netInfo->initialize();
    netInfo->set_name(name);

    HostFnameStrType path;
    NetInfoLocalLockFileName(name, path, sizeof path);
    if (!HostFileExist(path, nullptr)) {
        if (err) {
            err->setErr(-1);
            err->setMsg("file not found: %s", path);
        }
        return NIRES_DOESNOTEXIST;
    }
    ScopedDescriptor file(-1);
    NetInfoTx64_34xSType header;
    const NetInfoResultEnum outcome = readHeader(path, &file, &header, err);
    if (outcome != NIRES_OK) {
        return outcome;
    }
    fillIdentity(header, name, netInfo, err);
    if (netInfo->fullResult) {
        fillTexts(header, file.get(), netInfo);
    }
    file.close();
    return judgeProcess(netInfo);
}

/* This host's first address. */

namespace {

bool hostName(char* name, size_t nameSize) {
    const HostMutexHolder lock(&cacheMutex, "netinfolocal");
    if (cachedHostName[0] == '\0' && gethostname(cachedHostName, sizeof cachedHostName - 1) != 0) {
        cachedHostName[0] = '\0';
    }
    UtlStrlcpy(name, cachedHostName, nameSize);
    return name[0] != '\0';
}

bool isAddressLiteral(const char* name) {
    in6_addr address;
    return inet_pton(AF_INET6, name, &address) == 1 || inet_pton(AF_INET, name, &address) == 1;
}

int tracedGetaddrinfo(const char* name, const addrinfo& hints, addrinfo** results) {
    if (debug_conn <= 0) {
        return getaddrinfo(name, nullptr, &hints, results);
    }
    char stamp[62];
    UtlTimeStampMsStr_hostagent(stamp, sizeof stamp);
    printf("%s [tid 0x%lx]: %s getaddrinfo(%s, %s, flags 0x%x ...) ", stamp, pthread_self(),
           hints.ai_family == AF_INET ? "AF_INET4" : "AF_INET6", name, "NULL",
           static_cast<unsigned>(hints.ai_flags));
    const int status = getaddrinfo(name, nullptr, &hints, results);
    if (status == 0) {
        printf(" -- OK");
    } else {
        printf(" -- fail, status %d \n", status);
    }
    return status;
}

/* How long the resolver may take to fail before it counts as one that doesn't answer, and how long
   it is left alone then: the address is a text that an attach can do without. */
constexpr HostHrtime_t SLOW_LOOK_UP_NS = 2000000000;
constexpr HostHrtime_t SLOW_RESOLVER_PAUSE_NS = 60000000000;

/* The time since `start` on the monotonic clock; not positive when it failed then or fails now. */
HostHrtime_t nanosSince(HostHrtime_t start) {
    return start == 0 ? 0 : HostMonotonicNanos() - start;
}

/* getaddrinfo that asks again while the resolver says so: up to five times in all, and not once the
   look-up that began at `start` is slow. */
int resolve(const char* name, int family, int flags, HostHrtime_t start, addrinfo** results) {
    addrinfo hints = {};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    for (int answers = 1;; ++answers) {
        const int status = tracedGetaddrinfo(name, hints, results);
        if (status != EAI_AGAIN || answers == 5 || nanosSince(start) >= SLOW_LOOK_UP_NS) {
            return status;
        }
        if (answers > 1) {
            HostMilliSleep(1);
        }
    }
}

bool isUnknownInFamily(int status) {
    return status == EAI_NONAME || status == EAI_NODATA || status == EAI_FAMILY ||
           status == EAI_ADDRFAMILY;
}

/* The first address of the host, an IPv4 one mapped into IPv6. */
bool firstAddress(const char* name, HostHrtime_t start, in6_addr* address) {
    const int flags = isAddressLiteral(name) ? AI_NUMERICHOST : 0;
    constexpr char MAPPED_PREFIX[] = "::ffff:";
    constexpr size_t PREFIX_LENGTH = sizeof MAPPED_PREFIX - 1;
    in_addr embedded;
    if (strncmp(name, MAPPED_PREFIX, PREFIX_LENGTH) == 0 &&
        inet_pton(AF_INET, name + PREFIX_LENGTH, &embedded) == 1) {
        name += PREFIX_LENGTH;
    }
    addrinfo* results = nullptr;
    int status =
        resolve(strcmp(name, "::1") == 0 ? "127.0.0.1" : name, AF_INET, flags, start, &results);
    if (isUnknownInFamily(status)) {
        status = resolve(name, AF_INET6, flags | AI_V4MAPPED, start, &results);
    }
    if (status != 0) {
        return false;
    }
    bool known = true;
    if (results->ai_family == AF_INET6) {
        *address = reinterpret_cast<const sockaddr_in6*>(results->ai_addr)->sin6_addr;
    } else if (results->ai_family == AF_INET) {
        memset(address, 0, 10);
        memset(address->s6_addr + 10, 0xFF, 2);
        memcpy(address->s6_addr + 12,
               &reinterpret_cast<const sockaddr_in*>(results->ai_addr)->sin_addr, 4);
    } else {
        known = false;
    }
    freeaddrinfo(results);
    return known;
}

/* An IPv4-mapped address as an IPv4 one; of the others, the C library would write those that have
   nothing before their last two groups as half an IPv4 address, too. */
void formatAddress(const in6_addr& address, char* text, size_t textSize) {
    const uint8_t* bytes = address.s6_addr;
    const int lastButOne = bytes[12] << 8 | bytes[13];
    if (IN6_IS_ADDR_V4MAPPED(&address)) {
        inet_ntop(AF_INET, bytes + 12, text, static_cast<socklen_t>(textSize));
    } else if (IN6_IS_ADDR_V4COMPAT(&address) && lastButOne != 0) {
        snprintf(text, textSize, "::%x:%x", lastButOne, bytes[14] << 8 | bytes[15]);
    } else {
        inet_ntop(AF_INET6, &address, text, static_cast<socklen_t>(textSize));
    }
}

} // namespace

void SocketGetFirstIpAddressForMyHost(char* result, size_t resultSize) {
    const HostHrtime_t start = HostMonotonicNanos();
    {
        const HostMutexHolder lock(&cacheMutex, "netinfolocal");
        UtlStrlcpy(result, cachedIpAddress, resultSize);
        if (cachedIpAddress[0] != '\0' || start < nextLookUp) {
            return;
        }
    }
    char name[128];
    if (!hostName(name, sizeof name)) {
        return;
    }
    in6_addr address;
    const bool isFound = firstAddress(name, start, &address);
    const HostHrtime_t taken = nanosSince(start);
    const HostMutexHolder lock(&cacheMutex, "netinfolocal");
    if (isFound) {
        formatAddress(address, cachedIpAddress, sizeof cachedIpAddress);
        UtlStrlcpy(result, cachedIpAddress, resultSize);
    } else if (taken > SLOW_LOOK_UP_NS) {
        nextLookUp = start + taken + SLOW_RESOLVER_PAUSE_NS;
    }
}

/* The global directory and the host id. */

char* checkForGlobalDirOverride() {
    char path[4097];
    if (!HostGetEnv("TALVEX_GLOBAL_DIR", path, sizeof path) || !HostFileExist(path, nullptr)) {
        return nullptr;
    }
    const size_t length = strlen(path);
    if (length > 4094) {
        return nullptr;
    }
    if (path[length - 1] != '/') {
        UtlStrlcat(path, "/", sizeof path);
    }
    return strdup(path);
}

namespace {

void warnOfTwoDirectories() {
    fputs("Warning: using '/opt/talvex' instead of '/usr/talvex' which also exists.\n"
          "  Talvex will work best if only one exists.\n"
          "  Releases before 5.0 will work only with '/usr/talvex'.\n"
          "  Release 5.0 and later will work with either one.\n"
          "  This warning can be disabled by setting env variable TX_DISABLE_WARNING.\n",
          stderr);
}

const char* installedGlobalDir() {
    if (HostFileExist("/opt/talvex", nullptr)) {
        char value[256];
        if (!HostGetEnv("TX_DISABLE_WARNING", value, sizeof value) &&
            HostFileExist("/usr/talvex", nullptr)) {
            warnOfTwoDirectories();
        }
        return "/opt/talvex/";
    }
    return HostFileExist("/usr/talvex", nullptr) ? "/usr/talvex/" : "/opt/talvex/";
}

void chooseGlobalDir() {
    const char* override = checkForGlobalDirOverride();
    globalDirIsOverride = override != nullptr;
    globalDir = override ? override : installedGlobalDir();
}

} // namespace

const char* HostGetGlobalTalvexDir(BoolType* hasOverride) {
    pthread_once(&globalDirOnce, chooseGlobalDir);
    if (hasOverride) {
        *hasOverride = globalDirIsOverride;
    }
    return globalDir;
}

BoolType NetInfoLocalGetUniqueHostId(uint64_t* result, SysErrorSType* err,
                                     BoolType /*createIfAbsent*/) {
    SysErrorSType unreported;
    SysErrorSType* report = err ? err : &unreported;
    HostFnameStrType path;
    registryDirectory(path, sizeof path);
    UtlStrlcat(path, "talvex.hostid", sizeof path);

    const int rounds = hostIdRounds.load(std::memory_order_relaxed);
    int lastDescriptor = -1;
    int lastErrno = 0;
    for (int round = 0; round < rounds; ++round) {
        if (round > 0) {
            HostMilliSleep(100);
        }
        const ScopedDescriptor file(openForReading(path));
        if (file.get() < 0) {
            if (errno == EACCES) {
                report->setErr(EACCES);
                report->setMsg("open(%s, O_RDONLY)", path);
            } else {
                report->setMsg("Unable to open %s ", path);
            }
            return FALSE;
        }
        uint64_t hostId = 0;
        const ssize_t count = HostReadFileNi_(file.get(), &hostId, sizeof hostId);
        lastErrno = count == -1 ? errno : 0;
        if (count == sizeof hostId) {
            cachedHostId.store(hostId, std::memory_order_relaxed);
            *result = hostId;
            return TRUE;
        }
        lastDescriptor = file.get();
    }
    report->setErr(lastErrno);
    report->setMsg("failure after %d retries, read(%d, &result, 8), reading %s", rounds,
                   lastDescriptor, path);
    return FALSE;
}

void NetInfoLocalSetHostIdRounds(int rounds) {
    hostIdRounds.store(rounds, std::memory_order_relaxed);
}

/* From a Brox to its cache, from a cache to its key. */

BoolType findCacheWithBroxName(int /*count*/, const char* name, NetInfoResultEnum result,
                               NetInfoSType* netInfo, void* userData) {
    auto* sought = static_cast<ShrPcCacheAddress*>(userData);
    if (!(result & NIRES_usableMask) || netInfo->kind != NI_SHRPCMON ||
        strcmp(netInfo->version, TVSI_INTERFACE_VERSION) != 0) {
        return FALSE;
    }
    const char* tilde = strchr(name, '~');
    if (!tilde) {
        return FALSE;
    }
    const size_t length = static_cast<size_t>(tilde - name);
    if (strlen(sought->broxName) != length || strncmp(sought->broxName, name, length) != 0) {
        return FALSE;
    }
    sought->hostId = strtoull(tilde + 1, nullptr, 16);
    return TRUE;
}

void NetInfoLocalForeach(const char* /*machine*/, NetInfoFEFuncType* cb, void* userData,
                         SysErrorSType* /*err*/, const char* /*netldiName*/) {
    HostFnameStrType unexpanded;
    registryDirectory(unexpanded, sizeof unexpanded);
    HostFnameStrType path;
    HostExpandFileName(unexpanded, path, sizeof path, FALSE, TRUE);
    DIR* directory = opendir(path);
    if (!directory) {
        return;
    }
    constexpr char SUFFIX[] = "..LCK";
    constexpr size_t SUFFIX_LENGTH = sizeof SUFFIX - 1;
    int count = 0;
    BoolType found = FALSE;
    while (const dirent* entry = found ? nullptr : readdir(directory)) {
        char name[256];
        UtlStrlcpy(name, entry->d_name, sizeof name);
        const size_t length = strlen(name);
        if (length <= SUFFIX_LENGTH || strcmp(name + length - SUFFIX_LENGTH, SUFFIX) != 0) {
            continue;
        }
        name[length - SUFFIX_LENGTH] = '\0';
        NetInfoSType netInfo;
        const NetInfoResultEnum result = NetInfoFindLocal(name, &netInfo, nullptr);
        found = cb(++count, name, result, &netInfo, userData);
    }
    closedir(directory);
}

namespace {

/* The id of the host whose cache serves the Brox; FALSE with the reason in `serr`. */
BoolType hostIdOfCacheForBrox(const char* broxName, uint64_t* hostId, SysErrorSType* serr) {
    NetInfoSType brox;
    if (NetInfoFindLocal(broxName, &brox, serr) & NIRES_usableMask) {
        *hostId = cachedHostId.load(std::memory_order_relaxed);
        return *hostId != 0 ? TRUE : NetInfoLocalGetUniqueHostId(hostId, serr, FALSE);
    }
    ShrPcCacheAddress sought = {};
    UtlStrlcpy(sought.broxName, broxName, sizeof sought.broxName);
    NetInfoLocalForeach(nullptr, findCacheWithBroxName, &sought, nullptr, nullptr);
    if (sought.hostId == 0) {
        serr->setErr(-1);
        serr->setMsg("No brox or cache for brox named %s was found on this machine.", broxName);
        return FALSE;
    }
    *hostId = sought.hostId;
    return TRUE;
}

} // namespace

BoolType NetInfoLocalCacheNameForBrox(const char* broxName, ShrPcLocationArgType* locArg,
                                      SysErrorSType* serr) {
    uint64_t hostId = 0;
    if (!hostIdOfCacheForBrox(broxName, &hostId, serr)) {
        return FALSE;
    }
    if (!ShrPcCacheLocationStr(broxName, hostId, locArg)) {
        serr->setErr(-1);
        serr->setMsg("[ERROR]: ShrPcCacheLocationStr() failed\n");
        return FALSE;
    }
    return TRUE;
}

NetInfoResultEnum NetInfoLocalFindFtokKeyForCache(const char* locStr, int32_t* keyPtr,
                                                  SysErrorSType* err, BoolType /*useCachedValue*/) {
    NetInfoSType netInfo;
    const NetInfoResultEnum result = NetInfoFindLocal(locStr, &netInfo, err);
    *keyPtr = netInfo.ftok_key;
    return result;
}
