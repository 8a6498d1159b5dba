/*
 * Process-wide state: netSocketMutex and debug_conn, set while the library is loaded, and the
 * process's user name, filled on first use under userNameFetched.
 */
#include "hostunix.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "fatal.h"
#include "hostmutex.h"
#include "hostunixmt.h"
#include "syserror.h"
#include "unixerr.h"
#include "utlbase.h"

HostMutexSType netSocketMutex;
int debug_conn = 0;

namespace {

constexpr size_t MAX_NAME_LENGTH = 4096;
constexpr char AUTOMOUNTER_PREFIX[] = "/tmp_mnt/";

char userName[HOST_MAX_USERNAME_SIZE];
pthread_once_t userNameFetched = PTHREAD_ONCE_INIT;

bool endsInSlash(const char* path) {
    size_t length = strlen(path);
    return length > 0 && path[length - 1] == '/';
}

/* A file name in the making. What doesn't fit is dropped. */
struct WorkTextType {
    char text[MAX_NAME_LENGTH + 1] = "";
    size_t length = 0;

    void put(char c) {
        if (length == MAX_NAME_LENGTH) {
            return;
        }
        text[length++] = c;
        text[length] = '\0';
    }

    bool endsInSlash() const { return length > 0 && text[length - 1] == '/'; }
};

/* Copies the slash or the pair of slashes at in. Returns where copying goes on. */
const char* copySlash(const char* in, WorkTextType* work) {
    bool isPair = in[1] == '/';
    if (isPair || !work->endsInSlash()) {
        work->put('/');
    }
    return in + (isPair ? 2 : 1);
}

void copyValue(const char* value, WorkTextType* work) {
    if (work->endsInSlash() && *value == '/') {
        value++;
    }
    while (*value != '\0') {
        if (*value == '/') {
            value = copySlash(value, work);
        } else {
            work->put(*value++);
        }
    }
}

/* Takes the variable name, plain or in braces, that starts at in. Returns what follows it, null
 * when there is no name or it is too long for one. */
const char* takeVariableName(const char* in, char (&name)[MAX_NAME_LENGTH + 1]) {
    bool braced = *in == '{';
    if (braced) {
        in++;
    }
    size_t length = strspn(in, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_");
    if (length == 0 || length > MAX_NAME_LENGTH) {
        return nullptr;
    }
    UtlStrlcpy(name, in, length + 1);
    in += length;
    return braced && *in == '}' ? in + 1 : in;
}

/* Replaces the variable whose dollar sign is at in. Returns where copying goes on. */
const char* copyVariable(const char* in, WorkTextType* work) {
    if (in[1] == '$') {
        return in + strspn(in, "$");
    }
    char name[MAX_NAME_LENGTH + 1];
    const char* rest = takeVariableName(in + 1, name);
    /* Not HostGetEnv: a value that is too long and one that is unset are different cases. */
    const char* value = rest != nullptr ? secure_getenv(name) : nullptr;
    if (rest == nullptr || (value != nullptr && strlen(value) >= MAX_NAME_LENGTH)) {
        work->put('$');
        return in + 1;
    }
    if (value != nullptr && *value != '\0') {
        copyValue(value, work);
        return rest;
    }
    return work->endsInSlash() && *rest == '/' ? rest + 1 : rest;
}

void expandVariables(const char* in, WorkTextType* work) {
    while (*in != '\0') {
        switch (*in) {
        case '"':
            in++;
            break;
        case '/':
            in = copySlash(in, work);
            break;
        case '$':
            in = copyVariable(in, work);
            break;
        default:
            work->put(*in++);
        }
    }
}

/* Reads the process's own entry of the user database; null with errno set when there is none. */
const struct passwd* findOwnEntry(HostPasswordInfo* info) {
    struct passwd* found = nullptr;
    int rc;
    do {
        errno = 0;
        rc = getpwuid_r(getuid(), &info->entry, info->buffer, sizeof(info->buffer), &found);
    } while (rc == EINTR);
    if (rc != 0) {
        errno = rc;
    }
    return rc == 0 ? found : nullptr;
}

const struct passwd* findUser(const char* name, HostPasswordInfo* info) {
    struct passwd* found = nullptr;
    int rc;
    do {
        rc = getpwnam_r(name, &info->entry, info->buffer, sizeof(info->buffer), &found);
    } while (rc == EINTR);
    return rc == 0 ? found : nullptr;
}

void fetchUserName() {
    HostPasswordInfo info;
    const struct passwd* own = findOwnEntry(&info);
    if (own == nullptr) {
        fprintf(stderr, "HostGetUserName:  getpwuid(%d) returned NULL, errno = %d\n",
                static_cast<int>(getuid()), errno);
        fflush(stderr);
    }
    UtlStrlcpy(userName, own != nullptr ? own->pw_name : "FORGED_USER", sizeof(userName));
}

/* Writes the home directory of a user, known or not. */
void copyHome(const char* user, char* result, size_t size) {
    HostPasswordInfo info;
    const struct passwd* known = findUser(user, &info);
    if (known != nullptr) {
        UtlStrlcpy(result, known->pw_dir, size);
    } else {
        snprintf(result, size, "/home/%s", user);
    }
}

/* Makes a name that begins with a tilde absolute. FALSE, with the name unchanged, when it names
 * a user but no path. */
BoolType startAtHome(const char* name, char* result, size_t size) {
    const char* slash = strchr(name, '/');
    bool isOwn = name[1] == '\0' || name[1] == '/';
    if (slash == nullptr && !isOwn) {
        UtlStrlcpy(result, name, size);
        return FALSE;
    }
    char user[256];
    if (isOwn) {
        UtlStrlcpy(user, HostGetUserName(), sizeof(user));
    } else {
        size_t nameSize = static_cast<size_t>(slash - name);
        UtlStrlcpy(user, name + 1, nameSize < sizeof(user) ? nameSize : sizeof(user));
    }
    copyHome(user, result, size);
    UtlStrlcat(result, slash != nullptr ? slash : "", size);
    return TRUE;
}

/* Makes a relative name absolute; it stays relative when the current directory is unknown. */
void startAtCurrentDirectory(const char* name, char* result, size_t size) {
    char directory[MAX_NAME_LENGTH + 1];
    if (getcwd(directory, sizeof(directory)) == nullptr) {
        directory[0] = '\0';
    } else if (!endsInSlash(directory)) {
        UtlStrlcat(directory, "/", sizeof(directory));
    }
    UtlStrlcpy(result, directory, size);
    UtlStrlcat(result, name, size);
}

/* Writes name as an absolute path. FALSE when it isn't one and must stay as it is. */
BoolType makeAbsolute(const char* name, char* result, size_t size, BoolType defaultCwd) {
    if (name[0] == '~') {
        return startAtHome(name, result, size);
    }
    if (name[0] == '/' || name[0] == '$' || !defaultCwd) {
        UtlStrlcpy(result, name, size);
    } else {
        startAtCurrentDirectory(name, result, size);
    }
    return TRUE;
}

bool cutOut(char* from, const char* to) {
    memmove(from, to, strlen(to) + 1);
    return true;
}

/* The rules of normalisation. Each looks for its first case in a path that is not empty, and
 * reports whether it has found one and removed it. */

bool mergeDoubledSlash(char* path) {
    char* at = strstr(path, "//");
    return at != nullptr && cutOut(at, at + 1);
}

bool cutFinalPoint(char* path) {
    size_t length = strlen(path);
    if (length <= 2 || strcmp(path + length - 2, "/.") != 0) {
        return false;
    }
    path[length - 2] = '\0';
    return true;
}

bool cutPointStep(char* path) {
    char* at = strstr(path + 1, "/./");
    return at != nullptr && cutOut(at, at + 2);
}

bool cutParentStep(char* path) {
    for (char* at = strstr(path + 1, "/.."); at != nullptr; at = strstr(at + 1, "/..")) {
        const char* rest = at + strlen("/..");
        if (*rest != '/' && *rest != '\0') {
            continue;
        }
        char* component = at;
        while (component > path && component[-1] != '/') {
            component--;
        }
        return cutOut(component, *rest == '/' ? rest + 1 : rest);
    }
    return false;
}

void normalise(char* path) {
    while (path[0] != '\0' && (mergeDoubledSlash(path) || cutFinalPoint(path) ||
                               cutPointStep(path) || cutParentStep(path))) {
        ;
    }
}

/* Puts the resolved form of a path's beginning before the rest, which begins with a slash. */
void replacePrefix(const char* resolvedPrefix, const char* rest, char* path, size_t size) {
    char whole[16384];
    UtlStrlcpy(whole, strcmp(resolvedPrefix, "/") == 0 ? "" : resolvedPrefix, sizeof(whole));
    UtlStrlcat(whole, rest, sizeof(whole));
    UtlStrlcpy(path, whole, size);
}

/* Resolves the symbolic links of a path, or of the longest part of it that exists. */
void resolveLinks(char* path, size_t size) {
    char resolved[PATH_MAX];
    if (realpath(path, resolved) != nullptr) {
        UtlStrlcpy(path, resolved, size);
        return;
    }
    if (errno != ENOENT) {
        return;
    }
    char* slash = strrchr(path, '/');
    while (slash != nullptr) {
        *slash = '\0';
        bool resolves = realpath(path, resolved) != nullptr;
        *slash = '/';
        if (resolves) {
            replacePrefix(resolved, slash, path, size);
            return;
        }
        slash = static_cast<char*>(memrchr(path, '/', static_cast<size_t>(slash - path)));
    }
}

/* Gives an existing directory its final slash. */
void markDirectory(char* path, size_t size) {
    int64_t fileSize;
    struct stat64 info;
    if (HostPathExistSize(path, &fileSize, nullptr, nullptr) &&
        UnixIoStat(path, &info, nullptr, 0) && S_ISDIR(info.st_mode) && !endsInSlash(path)) {
        UtlStrlcat(path, "/", size);
    }
}

/* stat, repeated after interruptions. FALSE with errno set when it fails. */
BoolType statFile(const char* file, struct stat64* buf) {
    int result;
    do {
        result = stat64(file, buf);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

/* A switch that the system refuses leaves the ids as they are; the next file access shows it. */
void setEffectiveIds(uid_t uid, gid_t gid) {
    [[maybe_unused]] int groupResult = setegid(gid);
    [[maybe_unused]] int userResult = seteuid(uid);
}

/* statFile, under the real ids when the effective ones are refused. */
BoolType statFileAsAnyUser(const char* file, struct stat64* buf) {
    if (statFile(file, buf)) {
        return TRUE;
    }
    HostUserIdSType saved;
    if (errno != EACCES || !HostUseRealId_(&saved)) {
        return FALSE;
    }
    BoolType succeeded = statFile(file, buf);
    setEffectiveIds(saved.uid, saved.gid);
    errno = EACCES;
    return succeeded;
}

struct SoftLimitType {
    decltype(RLIMIT_CPU) resource;
    const char* getFailure;
    const char* setFailure;
};

constexpr SoftLimitType SOFT_LIMITS[] = {
    {RLIMIT_CPU, "getrlimit(RLIMIT_CPU) error", "setrlimit(RLIMIT_CPU) error"},
    {RLIMIT_DATA, "getrlimit(RLIMIT_DATA) error", "setrlimit(RLIMIT_DATA) error"},
    {RLIMIT_FSIZE, "getrlimit(RLIMIT_FSIZE) error", "setrlimit(RLIMIT_FSIZE) error"},
};

void raiseSoftLimit(const SoftLimitType& limit) {
    struct rlimit values;
    if (getrlimit(limit.resource, &values) != 0) {
        hostInitCrash(limit.getFailure);
        return;
    }
    values.rlim_cur = values.rlim_max;
    if (setrlimit(limit.resource, &values) != 0) {
        hostInitCrash(limit.setFailure);
    }
}

void raiseSoftLimits() {
    if (HostEnvExists("TALVEX_NO_SETRLIMIT")) {
        return;
    }
    for (const SoftLimitType& limit : SOFT_LIMITS) {
        raiseSoftLimit(limit);
    }
}

void setLoginName() {
    char login[64];
    if (getlogin_r(login, sizeof(login)) != 0) {
        return;
    }
    size_t size = strlen("TX_LOGIN_NAME") + strlen("=") + strlen(login) + 1;
    char* text = static_cast<char*>(malloc(size));
    if (text == nullptr) {
        return;
    }
    snprintf(text, size, "%s=%s", "TX_LOGIN_NAME", login);
    if (putenv(text) != 0) {
        free(text);
    }
} // NOLINT(clang-analyzer-unix.Malloc): the environment keeps the text

void warnIfUnreadable(const char* device) {
    int fd = HostOpen(device, O_RDONLY, 0);
    if (fd != -1) {
        HostClose(fd);
        return;
    }
    SysErrorSType err;
    err.setErr(errno);
    err.setMsg("netsocket: HostOpen( %s , O_RDONLY) failed", device);
    fflush(stdout);
    fprintf(stderr, "unable to open %s, %s\n", device, err.msg());
    fflush(stderr);
}

} // namespace

time_t HostFtime(unsigned short* millitm) {
    struct timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        *millitm = 0;
        return 0;
    }
    *millitm = static_cast<unsigned short>(now.tv_nsec / 1000000);
    return now.tv_sec;
}

struct tm* HostLocaltimeR(time_t* t, struct tm* buf) {
    if (localtime_r(t, buf) != nullptr) {
        return buf;
    }
    fprintf(stderr, "NULL from localtime_r, errno = %d\n", errno);
    memset(buf, 0, sizeof(*buf));
    return buf;
}

HostHrtime_t HostMonotonicNanos() {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

BoolType HostNanoSleep(int64_t nanosecs) {
    constexpr int64_t SECOND = 1000000000;
    struct timespec span = {nanosecs / SECOND, nanosecs % SECOND};
    int rc = clock_nanosleep(CLOCK_MONOTONIC, 0, &span, nullptr);
    return rc == EINTR || rc == ERESTART;
}

void HostMilliSleep(int milliseconds) {
    constexpr int64_t MILLISECOND = 1000000;
    int64_t left = milliseconds * MILLISECOND;
    const HostHrtime_t end = HostMonotonicNanos() + left;
    /* The kernel never restarts a poll, whatever the handler's flags. */
    while (left > 0) {
        const auto timeout = static_cast<int>((left + MILLISECOND - 1) / MILLISECOND);
        if (poll(nullptr, 0, timeout) != -1 || errno != EINTR) {
            return;
        }
        /* No more than before, should the clock fail now. */
        left = std::min(left, end - HostMonotonicNanos());
    }
}

BoolType HostGetEnv(const char* inStr, char* outStr, size_t outSize) {
    UtlStrlcpy(outStr, "", outSize);
    const char* value = secure_getenv(inStr);
    if (value == nullptr || *value == '\0' || strlen(value) >= outSize) {
        return FALSE;
    }
    UtlStrlcpy(outStr, value, outSize);
    return TRUE;
}

BoolType HostEnvExists(const char* name) {
    return secure_getenv(name) != nullptr;
}

int HostUseRealId_(HostUserIdSType* saved) {
    HostUserIdSType effective = {geteuid(), getegid()};
    uid_t realUid = getuid();
    gid_t realGid = getgid();
    if (effective.uid == realUid && effective.gid == realGid) {
        return 0;
    }
    if (saved != nullptr) {
        *saved = effective;
    }
    setEffectiveIds(realUid, realGid);
    return 1;
}

const char* HostGetUserName() {
    pthread_once(&userNameFetched, fetchUserName);
    return userName;
}

void HostUnixExpandFileName(const char* inArg, char* outbuf, size_t outbufLength,
                            BoolType disableSoftLinkExpansion, BoolType defaultCwd) {
    if (outbufLength == 0) {
        return;
    }
    if (inArg[0] == '\0') {
        outbuf[0] = '\0';
        return;
    }
    WorkTextType work;
    expandVariables(inArg, &work);
    if (!makeAbsolute(work.text, outbuf, outbufLength, defaultCwd)) {
        return;
    }
    normalise(outbuf);
    if (disableSoftLinkExpansion) {
        return;
    }
    resolveLinks(outbuf, outbufLength);
    markDirectory(outbuf, outbufLength);
}

void HostExpandFileName(const char* inbuf, char* outbuf, size_t outbufLength,
                        BoolType disableSoftLinkExpansion, BoolType defaultCwd) {
    if (outbufLength == 0) {
        return;
    }
    HostUnixExpandFileName(inbuf, outbuf, outbufLength, disableSoftLinkExpansion, defaultCwd);
    size_t length = strlen(AUTOMOUNTER_PREFIX);
    if (strncmp(outbuf, AUTOMOUNTER_PREFIX, length) == 0) {
        cutOut(outbuf, outbuf + length - 1);
    }
}

BoolType HostPathExistSize(const char* fileName, int64_t* size, BoolType* exists,
                           HostErrSType* hostErr) {
    if (exists != nullptr) {
        *exists = TRUE;
    }
    struct stat64 info;
    if (statFileAsAnyUser(fileName, &info)) {
        *size = info.st_size;
        return TRUE;
    }
    int err = errno;
    if (hostErr != nullptr) {
        hostErr->theErrno = err;
    }
    if (exists != nullptr && err == ENOENT) {
        *exists = FALSE;
    }
    return FALSE;
}

BoolType UnixIoStat(const char* file, struct stat64* buf, char* msg, size_t msgSize) {
    if (statFile(file, buf)) {
        return TRUE;
    }
    if (errno > 0) {
        HostStrerror(errno, msg, msgSize);
    } else {
        UtlStrlcpy(msg, "", msgSize);
    }
    return FALSE;
}

BoolType HostFileExistSize(const char* fileName, int64_t* size, HostErrSType* hostErr) {
    char path[MAX_NAME_LENGTH + 1];
    HostExpandFileName(fileName, path, sizeof(path), TRUE, TRUE);
    return HostPathExistSize(path, size, nullptr, hostErr);
}

BoolType HostFileExist(const char* fileName, HostErrSType* hostErr) {
    int64_t size;
    return HostFileExistSize(fileName, &size, hostErr);
}

int HostOpen(const char* path, int oflag, int mode) {
    int fd;
    do {
        fd = open(path, oflag | O_CLOEXEC, mode);
    } while (fd == -1 && errno == EINTR);
    return fd;
}

int HostClose(int fd) {
    int result;
    do {
        errno = 0;
        result = close(fd);
    } while (result != 0 && (errno == EINTR || errno == ERESTART));
    return result;
}

ssize_t HostReadFileNi_(int fd, void* d, ssize_t numBytes) {
    if (fd < 0) {
        return 0;
    }
    char* target = static_cast<char*>(d);
    ssize_t total = 0;
    while (total < numBytes) {
        ssize_t count = read(fd, target + total, static_cast<size_t>(numBytes - total));
        if (count == 0) {
            break;
        }
        if (count > 0) {
            total += count;
        } else if (errno != EINTR && errno != ERESTART) {
            return -1;
        }
    }
    return total;
}

void HostModuleInitializer() {
    hostClearFatalReport();
    hostClearSavedSignalActions();
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    raiseSoftLimits();
    setlocale(LC_ALL, "");
    setLoginName();
}

void NetSocketModuleInitializer() {
    HostMutexInit(&netSocketMutex, FALSE);
    warnIfUnreadable("/dev/urandom");
}

void netSocketDebugModeInitializer() {
    char value[257];
    if (!HostGetEnv("TX_DEBUG_SOCKETS", value, sizeof(value))) {
        debug_conn = 0;
        return;
    }
    long level = strtol(value, nullptr, 10);
    if (level < 1) {
        level = 1;
    }
    debug_conn = level < INT_MAX ? static_cast<int>(level) : INT_MAX;
}
