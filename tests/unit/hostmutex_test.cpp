/* Mutexes, the creation of threads, and the counter of termination requests. */
#include "hostmutex.h"
#include "hostprocess.h"
#include "hostunixmt.h"
#include "rows.h"
#include "utl.h"

#include <gtest/gtest.h>
#include <thread>

using namespace testing;
using namespace testsupport;

namespace {

TEST(Mutex, OnlyTheRecursiveOneIsTakenTwiceByItsOwnerAndNoneByAnother) {
    HostMutexSType plain[2] = {};
    HostMutexSType recursive = {};
    HostMutexInit(&plain[0], FALSE);
    HostMutexInit(&plain[1], TRUE);
    EXPECT_EQ(HostRecursiveMutexInit(&recursive), TRUE);
    for (HostMutexSType* mutex : {&plain[0], &plain[1], &recursive}) {
        EXPECT_EQ(mutex->initialized, TRUE);
        _hostmutexLock(mutex, __LINE__, "test");
        EXPECT_EQ(pthread_mutex_trylock(&mutex->mutex), mutex == &recursive ? 0 : EBUSY);
        std::thread([&] { EXPECT_EQ(pthread_mutex_trylock(&mutex->mutex), EBUSY); }).join();
        _hostmutexUnlock(mutex, __LINE__, "test");
    }
    _hostmutexUnlock(&recursive, __LINE__, "test");
}

TEST(Mutex, FailuresEndTheProcessAndNameTheirPlace) {
    using Mutex = HostMutexSType;
    const auto recursive = [](Mutex* m) { HostRecursiveMutexInit(m); };
    const std::tuple<const char*, int, void (*)(Mutex*), const char*, const char*> cases[] = {
        {"pthread_mutex_init", ENOMEM, [](Mutex* m) { HostMutexInit(m, TRUE); },
         "hostmutex line 49", ""},
        {"pthread_mutexattr_init", ENOMEM, recursive, "hostmutex line 64",
         "pthread_mutexattr_init failed, errno 7\n"},
        {"pthread_mutexattr_settype", EINVAL, recursive, "hostmutex line 69",
         "pthread_mutexattr_settype(RECURSIVE) failed , errno 7\n"},
        {"pthread_mutex_init", EAGAIN, recursive, "hostmutex line 74",
         "pthread_mutex_init failed, errno 7\n"},
        {"pthread_mutex_lock", EINVAL, [](Mutex* m) { _hostmutexLock(m, 123, "tvsi"); },
         "hostmutex line 95",
         "HostMutexError: op=hostmutexLock rc=22 errno=7 at line 123 in tvsi\n"},
        {"pthread_mutex_unlock", EPERM, [](Mutex* m) { _hostmutexUnlock(m, 456, "hostshr"); },
         "hostmutex line 95",
         "HostMutexError: op=hostmutexUnlock rc=1 errno=7 at line 456 in hostshr\n"},
        {"pthread_mutex_unlock", EPERM, [](Mutex* m) { HostMutexHolder(m, "netinfolocal", 789); },
         "hostmutex line 95",
         "HostMutexError: op=hostmutexUnlock rc=1 errno=7 at line 789 in netinfolocal\n"},
        {"sigaction", EINVAL, [](Mutex*) { UnixIoSigaction(SIGCHLD, nullptr, nullptr); },
         "unixiomt line 342", "sigaction failed for sig 17 with errno 22\n"}};
    forEachRow(cases, [&](const auto& function, const auto& error, const auto& call,
                          const auto& place, const auto& out) {
        const auto outcome = inNovember([&] {
            HostMutexSType mutex = {};
            const ScopedFault fault(function, error, 1, 1, CallsOf::thisThread);
            if (std::string(function).ends_with("lock")) {
                pthread_cancel(pthread_self()); /* which must not end this thread alone */
            }
            errno = 7;
            call(&mutex);
        });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, out);
        const std::string text = "\nUTL_GUARANTEE failed, File " + std::string(place) + "\n\n\n";
        EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
    });
}

void setDefaultStackSize(size_t size) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
}

TEST(Thread, StackIsAtLeastTheSmallestInWholePages) {
    const std::array<size_t, 4> cases[] = {
        {8388608, 4096, 524288, 8388608}, {262144, 4096, 524288, 524288},
        {262144, 4096, 524289, 528384},   {262144, 65536, 524288, 524288},
        {262144, 65536, 524289, 589824},  {528384, 65536, 524288, 528384}};
    forEachRow(cases, [&](size_t systemDefault, size_t pageSize, size_t smallest, size_t expected) {
        setDefaultStackSize(systemDefault);
        const ScopedOverride<decltype(sysconf)> fake("sysconf", [&](int) { return pageSize; });
        pthread_attr_t attributes;
        size_t size = 0;
        EXPECT_EQ(hostSetThreadAttributes(&attributes, smallest), &attributes);
        pthread_attr_getstacksize(&attributes, &size);
        EXPECT_EQ(size, expected);
    });
}

/* What a thread sees of itself; instrumented builds give it a larger stack. */
struct Seen {
    size_t stackSize = 0;
    sigset_t mask = {};
};

void* look(void* seen) {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &static_cast<Seen*>(seen)->stackSize);
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, nullptr, &static_cast<Seen*>(seen)->mask);
    return seen;
}

TEST(Thread, HasALargeStackAndItsCreatorsSignalMaskAndCanBeJoined) {
    setDefaultStackSize(262144);
    sigset_t mask = {};
    sigaddset(&mask, SIGUSR2);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    Seen seen;
    HostThreadIdType id;
    ASSERT_EQ(HostCreateThread(&id, look, &seen), 0);
    ASSERT_EQ(pthread_join(id, nullptr), 0);
    EXPECT_GE(seen.stackSize, 524288U);
    EXPECT_TRUE(sigismember(&seen.mask, SIGUSR2));
    EXPECT_FALSE(sigismember(&seen.mask, SIGUSR1));
}

TEST(Thread, IsCreatedWithDefaultAttributesWhenOursFail) {
    const std::tuple<std::string, int, std::string> cases[] = {
        {"pthread_attr_init", ENOMEM, "() failed, rc=12\n"},
        {"pthread_attr_getstacksize", EINVAL, "() failed, rc=22\n"},
        {"pthread_attr_setstacksize", EINVAL, "(67112960) failed, rc=22\n"}};
    forEachRow(cases, [&](const auto& function, int error, const auto& out) {
        const auto outcome = inChild([&] {
            setDefaultStackSize(1048576);
            Seen seen;
            HostThreadIdType id;
            const ScopedFault fault(function, error, 1, 1, CallsOf::thisThread);
            EXPECT_EQ(HostCreateThread_(&id, look, &seen, 67108865), 0);
            pthread_join(id, nullptr);
        });
        EXPECT_EQ(outcome.out, "hostSetThreadAttributes: " + function + out);
    });
    const ScopedFault fault("pthread_create", EAGAIN);
    HostThreadIdType id;
    EXPECT_EQ(HostCreateThread(&id, look, nullptr), EAGAIN);
}

TEST(TerminationRequests, AreCountedFromAnyThread) {
    EXPECT_EQ(HostGetSigTerm(), FALSE);
    const auto increment = [] {
        for (int i = 0; i < 10000; i++) {
            HostIncrementSigTerm();
        }
    };
    std::thread other(increment);
    increment();
    other.join();
    EXPECT_EQ(HostGetSigTermAtomic(), 20000);
    EXPECT_EQ(HostSigTermCount(), 20000);
    EXPECT_EQ(HostGetSigTerm(), 1);
}

} // namespace
