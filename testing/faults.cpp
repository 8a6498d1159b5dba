/* Each function of the table is defined here, for the whole process and from before the first
   constructor on: without sanitizers, and with nothing that could be instrumented until something
   is armed, in atomic words. */
#include "faults.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <locale.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <regex.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

/* The linker's: where this program begins. */
extern "C" const char __executable_start;

/* The leak sanitizer tells what the dynamic linker keeps by the caller of malloc, which is an
   interposed one here. The name is the sanitizer's. */
extern "C" const char* __lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_suppressions() {           // NOLINT(bugprone-reserved-identifier)
    return "leak:_dl_map_object_deps\n";
}

namespace testsupport {

namespace {

/* What a function returns when it reports an error. WhenDone: it has done its work all the same. */
enum class Reports { minusOne, minusOneWhenDone, zero, asResult };

struct Fault {
    int error, from, end;
    CallsOf calls;
    pthread_t arming; /* the thread that armed it */
    int seen = 0, hits = 0;
};

struct Entry {
    const char* name;
    Reports reports;
    const std::type_info* signature;
    void* real = nullptr;
    long calls = 0;
    void* override = nullptr;
    int overrideUsers = 0;
    bool hasFault = false;
    Fault fault = {};
};

/* In the body of an override: calls go to the real functions. */
thread_local bool isInOverride;

template <typename Word> Word load(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_SEQ_CST);
}
template <typename Word> void store(Word& word, Word value) {
    __atomic_store_n(&word, value, __ATOMIC_SEQ_CST);
}

/* Whether this program or the library calls there: the C library calls some itself. */
bool isUnderTest(const void* address) {
    Dl_info object;
    return dladdr(address, &object) != 0 && (object.dli_fbase == &__executable_start ||
                                             strstr(object.dli_fname, "libtvsi") != nullptr);
}

/* The error that the call made at that address is to fail with, or 0. */
int faultOf(Entry& entry, const void* caller) {
    Fault& fault = entry.fault;
    if (isInOverride || !load(entry.hasFault) || !isUnderTest(caller)) {
        return 0;
    }
    const CallsOf own =
        fault.arming == pthread_self() ? CallsOf::thisThread : CallsOf::otherThreads;
    if (fault.calls != CallsOf::allThreads && fault.calls != own) {
        return 0;
    }
    const int call = __atomic_add_fetch(&fault.seen, 1, __ATOMIC_SEQ_CST);
    if (call < fault.from || call >= fault.end) {
        return 0;
    }
    __atomic_add_fetch(&fault.hits, 1, __ATOMIC_SEQ_CST);
    return fault.error;
}

void* realOf(Entry& entry) {
    void* real = load(entry.real);
    if (!real) {
        const int saved = errno;
        real = dlsym(RTLD_NEXT, entry.name);
        store(entry.real, real);
        errno = saved;
    }
    return real;
}

template <typename Result> Result failure(const Entry& entry, std::intptr_t error) {
    if (entry.reports == Reports::asResult) {
        return (Result)error;
    }
    errno = static_cast<int>(error);
    return (Result)(entry.reports == Reports::zero ? std::intptr_t{0} : -1);
}

template <Entry& entry, typename Signature> struct Interposed;
template <Entry& entry, typename Result, typename... Args>
struct Interposed<entry, Result(Args...)> {
    static Result call(Args... args) {
        __atomic_add_fetch(&entry.calls, 1, __ATOMIC_RELAXED);
        if (const int error = faultOf(entry, __builtin_return_address(0))) {
            sideEffect(error, args...);
            return failure<Result>(entry, error);
        }
        if (load(entry.override) && !isInOverride) {
            return callOverride(args...);
        }
        return callReal(args...);
    }

    /* What has happened when the function reports that error. */
    static void sideEffect([[maybe_unused]] int error, Args... args) {
        if (entry.reports == Reports::minusOneWhenDone) {
            callReal(args...);
        }
        if constexpr (std::is_same_v<Result(Args...), int(pthread_t, void**)>) {
            /* The thread has ended, or can't be joined and ends by itself. */
            error == ESRCH ? callReal(args...) : pthread_detach(std::get<0>(std::tie(args...)));
        }
    }

    static Result callReal(Args... args) {
        return reinterpret_cast<Result (*)(Args...)>(realOf(entry))(args...);
    }

    static Result callOverride(Args... args) {
        __atomic_add_fetch(&entry.overrideUsers, 1, __ATOMIC_SEQ_CST);
        /* Once more: it may have ended before this thread became a user. */
        auto* body = static_cast<std::function<Result(Args...)>*>(load(entry.override));
        isInOverride = body != nullptr;
        const Result result = body ? (*body)(args...) : callReal(args...);
        isInOverride = false;
        __atomic_sub_fetch(&entry.overrideUsers, 1, __ATOMIC_SEQ_CST);
        return result;
    }
};

} // namespace

/* How the library calls those that the C library declares otherwise. */
int open(const char*, int, mode_t);
int prctl(int, unsigned long, unsigned long, unsigned long, unsigned long);
int setrlimit(int, const struct rlimit*);

/* Name, how it reports errors, and those of its documentation that a caller can meet here. */
#define CALL_TABLE(CALL)                                                                           \
    CALL(clock_gettime, minusOne, EINVAL)                                                          \
    CALL(clock_nanosleep, asResult, EINTR, EINVAL)                                                 \
    CALL(close, minusOneWhenDone, EINTR, EIO)                                                      \
    CALL(execv, minusOne, ENOENT, EACCES, ENOMEM)                                                  \
    CALL(fflush, minusOne, EIO, ENOSPC, EPIPE)                                                     \
    CALL(fwrite, zero, EIO, ENOSPC, EPIPE)                                                         \
    CALL(getaddrinfo, asResult, EAI_AGAIN, EAI_FAIL, EAI_FAMILY, EAI_MEMORY, EAI_NODATA,           \
         EAI_NONAME, EAI_SYSTEM, EAI_ADDRFAMILY, EAI_SERVICE, EAI_SOCKTYPE)                        \
    CALL(getcwd, zero, EACCES, ENOENT, ENOMEM, ERANGE, ENAMETOOLONG)                               \
    CALL(gethostname, minusOne, ENAMETOOLONG, EFAULT)                                              \
    CALL(getlogin_r, asResult, ENXIO, ENOTTY, ERANGE, EMFILE, ENOENT)                              \
    CALL(getpwnam_r, asResult, EINTR, EIO, EMFILE, ENFILE, ENOMEM, ERANGE)                         \
    CALL(getpwuid_r, asResult, EINTR, EIO, EMFILE, ENFILE, ENOMEM, ERANGE)                         \
    CALL(getrlimit, minusOne, EFAULT, EINVAL)                                                      \
    CALL(isatty, zero, EBADF, ENOTTY)                                                              \
    CALL(kill, minusOne, ESRCH, EPERM, EINVAL)                                                     \
    CALL(localtime_r, zero, EOVERFLOW)                                                             \
    CALL(malloc, zero, ENOMEM)                                                                     \
    CALL(nanosleep, minusOne, EINTR, EINVAL)                                                       \
    CALL(open, minusOne, EACCES, EINTR, ELOOP, EMFILE, ENAMETOOLONG, ENFILE, ENODEV, ENOENT,       \
         ENOMEM, ENOTDIR, ENXIO, EPERM)                                                            \
    CALL(opendir, zero, EACCES, EMFILE, ENFILE, ENOENT, ENOMEM, ENOTDIR)                           \
    CALL(poll, minusOne, EINTR, EINVAL, ENOMEM)                                                    \
    CALL(prctl, minusOne, EINVAL, EPERM)                                                           \
    CALL(pthread_attr_getstacksize, asResult, EINVAL)                                              \
    CALL(pthread_attr_init, asResult, ENOMEM)                                                      \
    CALL(pthread_attr_setstacksize, asResult, EINVAL)                                              \
    CALL(pthread_create, asResult, EAGAIN, EINVAL, EPERM)                                          \
    CALL(pthread_join, asResult, EDEADLK, EINVAL, ESRCH)                                           \
    CALL(pthread_mutex_init, asResult, EAGAIN, ENOMEM, EPERM)                                      \
    CALL(pthread_mutex_lock, asResult, EAGAIN, EDEADLK, EINVAL)                                    \
    CALL(pthread_mutex_unlock, asResult, EPERM, EINVAL)                                            \
    CALL(pthread_mutexattr_init, asResult, ENOMEM)                                                 \
    CALL(pthread_mutexattr_settype, asResult, EINVAL)                                              \
    CALL(pthread_setcancelstate, asResult, EINVAL)                                                 \
    CALL(pthread_sigmask, asResult, EINVAL)                                                        \
    CALL(putenv, minusOne, ENOMEM)                                                                 \
    CALL(read, minusOne, EAGAIN, EBADF, EINTR, EINVAL, EIO, EISDIR)                                \
    CALL(readdir, zero, EBADF)                                                                     \
    CALL(readlink, minusOne, EACCES, EINVAL, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR)    \
    CALL(realpath, zero, EACCES, EIO, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR)                \
    CALL(regcomp, asResult, REG_ESPACE)                                                            \
    CALL(regexec, asResult, REG_ESPACE)                                                            \
    CALL(sched_yield, minusOne, ENOSYS)                                                            \
    CALL(setegid, minusOne, EINVAL, EPERM)                                                         \
    CALL(seteuid, minusOne, EINVAL, EPERM)                                                         \
    CALL(setlocale, zero, ENOENT)                                                                  \
    CALL(setreuid, minusOne, EAGAIN, EINVAL, EPERM)                                                \
    CALL(setrlimit, minusOne, EFAULT, EINVAL, EPERM)                                               \
    CALL(shmat, minusOne, EACCES, EIDRM, EINVAL, ENOMEM)                                           \
    CALL(shmctl, minusOne, EACCES, EFAULT, EIDRM, EINVAL, EOVERFLOW)                               \
    CALL(shmdt, minusOneWhenDone, EINVAL)                                                          \
    CALL(shmget, minusOne, EACCES, EEXIST, EINVAL, ENFILE, ENOENT, ENOMEM, ENOSPC, EPERM)          \
    CALL(sigaction, minusOne, EFAULT, EINVAL)                                                      \
    CALL(stat64, minusOne, EACCES, EINTR, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW) \
    CALL(strdup, zero, ENOMEM)                                                                     \
    CALL(strftime, zero, ERANGE)                                                                   \
    CALL(sysconf, minusOne, EINVAL)                                                                \
    CALL(waitpid, minusOne, ECHILD, EINTR, EINVAL)                                                 \
    CALL(write, minusOne, EAGAIN, EBADF, EFBIG, EINTR, EINVAL, EIO, ENOSPC, EPIPE)

#define INTERPOSE(name, reports, ...)                                                              \
    namespace {                                                                                    \
    using Signature_##name = detail::Plain<decltype(name)>::Type;                                  \
    constinit Entry entry_##name = {#name, Reports::reports, &typeid(Signature_##name)};           \
    }                                                                                              \
    extern "C" __attribute__((used, visibility("hidden"))) void* const faults_target_##name =      \
        reinterpret_cast<void*>(&Interposed<entry_##name, Signature_##name>::call);                \
    __asm__(".pushsection .text\n.globl " #name "\n.type " #name ", @function\n" #name             \
            ":\n\tjmp *faults_target_" #name "(%rip)\n.size " #name ", .-" #name                   \
            "\n.popsection\n");

CALL_TABLE(INTERPOSE)

/* What realpath is called where the compiler knows the size of the buffer. */
__asm__(".pushsection .text\n.globl __realpath_chk\n.type __realpath_chk, @function\n"
        "__realpath_chk:\n\tjmp realpath\n.size __realpath_chk, .-__realpath_chk\n.popsection\n");

/* vfork returns twice into the frame of its caller and can't be called from a function of ours:
   the decision is made first, and the real one jumped to. */
static constinit Entry entry_vfork = {"vfork", Reports::minusOne, &typeid(int())};
/* What vfork jumps to, or null: it fails. */
extern "C" __attribute__((used, visibility("hidden"))) void* faultsBeforeVfork(const void* caller);
void* faultsBeforeVfork(const void* caller) {
    __atomic_add_fetch(&entry_vfork.calls, 1, __ATOMIC_RELAXED);
    if (const int error = faultOf(entry_vfork, caller)) {
        errno = error;
        return nullptr;
    }
    return realOf(entry_vfork);
}
__asm__(".pushsection .text\n.globl vfork\n.type vfork, @function\nvfork:\n"
        "\tmov (%rsp), %rdi\n\tsub $8, %rsp\n\tcall faultsBeforeVfork\n\tadd $8, %rsp\n"
        "\ttest %rax, %rax\n\tje 1f\n\tjmp *%rax\n1:\tmov $-1, %eax\n\tret\n"
        ".size vfork, .-vfork\n.popsection\n");

namespace {

#define ENTRY_OF(name, ...) &entry_##name,
Entry* const entries[] = {&entry_vfork, CALL_TABLE(ENTRY_OF)};

int indexOf(const std::string& name) {
    for (size_t i = 0; i < std::size(entries); ++i) {
        if (name == entries[i]->name) {
            return static_cast<int>(i);
        }
    }
    throw std::invalid_argument("faults.cpp has no line for " + name);
}

} // namespace

ScopedFault::ScopedFault(const std::string& function, int error, int from, int count, CallsOf calls)
    : index_(indexOf(function)) {
    Entry& entry = *entries[index_];
    entry.fault = {error, from, from + count, calls, pthread_self()};
    store(entry.hasFault, true);
}

ScopedFault::~ScopedFault() {
    store(entries[index_]->hasFault, false);
}

int ScopedFault::hits() const {
    return load(entries[index_]->fault.hits);
}

long callCount(const std::string& function) {
    return load(entries[indexOf(function)]->calls);
}

const std::map<std::string, std::vector<int>>& interposedCalls() {
#define ERRORS_OF(name, reports, ...) {#name, {__VA_ARGS__}},
    static const std::map<std::string, std::vector<int>> calls = {
        {"vfork", {EAGAIN, ENOMEM, ENOSYS}}, CALL_TABLE(ERRORS_OF)};
    return calls;
}

/* glibc's strerror_r and closedir allocate nothing, and the conversions of addresses get constant
   families. That output is lost is nobody's business: tested with a full device. fputs, htonl,
   ntohl and pthread_equal are called where nothing is optimised. */
const char* callsThatCannotFail() {
    return "__cpu_indicator_init __cpu_model __errno_location __fprintf_chk __printf_chk "
           "__realpath_chk __snprintf_chk __stack_chk_fail __vfprintf_chk __vsnprintf_chk _exit "
           "atexit "
           "closedir exit fprintf fputs free freeaddrinfo getegid geteuid getgid getpid getuid "
           "htonl inet_ntop inet_pton memcpy memmove memrchr memset nl_langinfo ntohl printf "
           "pthread_attr_destroy pthread_equal pthread_mutexattr_destroy pthread_once pthread_self "
           "puts regerror regfree secure_getenv sigemptyset sigfillset snprintf stderr stdout "
           "strchr strcmp strerror_r strlen strncmp strnlen strrchr strspn strstr strtol strtoull "
           "vfprintf vprintf vsnprintf";
}

int detail::startOverride(const std::string& function, const std::type_info& type, void* body) {
    const int index = indexOf(function);
    Entry& entry = *entries[index];
    if (type != *entry.signature) {
        throw std::invalid_argument("faults.cpp has another signature of " + function);
    }
    store(entry.override, body);
    return index;
}

void detail::endOverride(int index) noexcept {
    Entry& entry = *entries[index];
    store(entry.override, static_cast<void*>(nullptr));
    while (load(entry.overrideUsers) != 0) {
        sched_yield();
    }
}

ScopedShortReads::ScopedShortReads(size_t limit)
    : ScopedOverride("read", [limit](int fd, void* buffer, size_t size) {
          return ::read(fd, buffer, size < limit ? size : limit);
      }) {}

} // namespace testsupport
