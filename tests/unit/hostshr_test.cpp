/* Mapping and unmapping of the segment: addresses, retries, counting, texts and trace. */
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/shm.h>

#include "hostprocess.h"
#include "hostshr.h"
#include "hostunix.h"
#include "processstate.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;

namespace {

constexpr std::uintptr_t alignment = 0x200000;
const auto shmatFailed = reinterpret_cast<void*>(-1);
using ShmatCall = void*(int, const void*, int);
using ShmgetCall = int(key_t, size_t, int);
using ShmdtCall = int(const void*);

std::string format(const char* text, auto... arguments) {
    char line[512];
    std::snprintf(line, sizeof line, text, arguments...);
    return line;
}

void* pointer(std::uintptr_t address) {
    return reinterpret_cast<void*>(address);
}

struct HostShr : Test {
    HostShr() { state->initialize(); }

    void* attach(const std::string& name) {
        HostShrMemAccessor accessor(state.get());
        error.initialize();
        return HostShrMemAttach(&accessor, name.c_str(), &error);
    }
    int detach() {
        HostShrMemAccessor accessor(state.get());
        return HostShrMemDetach(&accessor, &error, 0);
    }
    /* What the trace prints while an attach gives `expected`. */
    std::string trace(const std::string& name, void* expected = nullptr) {
        internal::CaptureStdout();
        hostShrDebugMode = TRUE;
        EXPECT_EQ(attach(name), expected);
        hostShrDebugMode = FALSE;
        return internal::GetCapturedStdout();
    }
    std::string tried(void* requested, void* returned, int number) const {
        return format("[Debug]: basicShmat: shmid = %d, requested address = %p, flags = 0x0\n"
                      "[Debug]: basicShmat: shmat() returned: %p. errno = %d\n",
                      id, requested, returned, number);
    }
    std::size_t attachedBy() const { return attachments(id); }

    TestCache cache;
    const key_t key = cache.segment().key();
    const int id = cache.segment().id();
    const std::string gotKey = format("[Debug]: getKey() success.  key=%u\n", key);
    const std::string gotSegment =
        gotKey +
        format("[Debug]: shmget() succeeded with key %u and flags 2440.  shmid=%d\n", key, id);
    std::unique_ptr<HostShrMemStateType> state = std::make_unique<HostShrMemStateType>();
    SysErrorSType error;
};

TEST_F(HostShr, MapsAtAnAlignedAddressAndTheLastDetachUnmaps) {
    internal::CaptureStdout();
    void* address = attach(cache.name());
    ASSERT_NE(address, nullptr) << error.msg();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address) % alignment, 0U);
    EXPECT_EQ(std::memcmp(address, cache.segment().address(), sizeof(ShrPcConfigSType)), 0);
    EXPECT_THAT(std::tuple(state->shrMemId.loc, state->shrMemId.id, state->actualSegSize,
                           std::string(state->locStr), state->shrMemIsAttached),
                FieldsAre(address, id, cache.segment().size(), cache.name(), TRUE));
    EXPECT_EQ(attach(cache.name()), address);
    EXPECT_EQ(state->threadsAttached, 2);
    EXPECT_EQ(internal::GetCapturedStdout(), "") << "no trace without the switch";
    const std::string other =
        "shared memory already attached with locStr prod~1f2e, arg locStr other~1";
    EXPECT_EQ(trace("other~1"), "[Debug]: " + other + "\n");
    EXPECT_EQ(error.msg(), other);
    EXPECT_EQ(state->threadsAttached, 2);
    state->shrMemId.loc = nullptr;
    EXPECT_EQ(trace(cache.name()),
              "[Debug]: HostShrMemAttach threadsAttached 3, shrMemId.loc==NULL\n");
    state->shrMemId.loc = address;
    for (; state->threadsAttached > 1; detach()) {
        EXPECT_EQ(attachedBy(), 2U) << "the rejected mappings are gone";
    }
    state->semArraySize = 3;
    EXPECT_EQ(detach(), 0);
    EXPECT_EQ(attachedBy(), 1U);
    EXPECT_THAT(std::tuple(state->shrMemId.loc, state->shrMemIsAttached, std::string(state->locStr),
                           state->semArraySize),
                FieldsAre(nullptr, FALSE, "", 0U));
    EXPECT_EQ(detach(), 0) << "nothing is attached any more";
    EXPECT_EQ(state->threadsAttached, 0);
}

TEST_F(HostShr, TriesAddressesFurtherAndFurtherUp) {
    const std::uintptr_t base = 0x7f0000200000;
    std::vector<std::uintptr_t> expected = {0, base, base + alignment};
    for (std::uintptr_t step = 2; base + step * alignment < 1ULL << 63; step = 2 * step + 2) {
        expected.push_back(base + step * alignment);
    }
    int failing = 0; /* from the third try on */
    void* last = nullptr;
    std::vector<std::uintptr_t> wanted;
    const ScopedOverride<ShmatCall> kernel("shmat", [&](int, const void* address, int) {
        wanted.push_back(reinterpret_cast<std::uintptr_t>(address));
        last = pointer(0x7f0000345000 + wanted.size() * 0x1000);
        errno = failing;
        return failing != 0 && wanted.size() > 2 ? shmatFailed : last;
    });
    const ScopedOverride<ShmdtCall> unmapped("shmdt", [](const void*) { return 0; });
    const long unmappings = callCount("shmdt");
    EXPECT_EQ(attach(cache.name()), nullptr);
    EXPECT_EQ(wanted, expected);
    EXPECT_EQ(callCount("shmdt") - unmappings, static_cast<long>(expected.size()));
    EXPECT_EQ(error.msg(),
              format("shmat: result address %p not 2097152 aligned. Detaching.\n", last));
    EXPECT_EQ(state->shrMemId.loc, nullptr);
    EXPECT_FALSE(state->shrMemIsAttached);
    EXPECT_EQ(state->threadsAttached, 0);
    EXPECT_STREQ(state->locStr, cache.name().c_str());
    failing = EINVAL;
    wanted.clear();
    EXPECT_EQ(attach(cache.name()), nullptr);
    EXPECT_EQ(wanted, expected);
    EXPECT_EQ(error.msg(), format("shmat( %d , %p, 0x0) failed with EINVAL Invalid argument", id,
                                  pointer(expected.back())));
    failing = 0;
    const ScopedFault stuck("shmdt", EINVAL, 1, 1000);
    EXPECT_EQ(attach(cache.name()), nullptr);
    EXPECT_EQ(error.msg(),
              format("shmdt(%p)\n  Could not detach from the shared memory segment with id %d,\n"
                     "      after second attempt at alignment failed\n"
                     " failed with EINVAL Invalid argument",
                     last, id));
}

TEST_F(HostShr, TheTraceFollowsEveryTry) {
    constexpr std::size_t roomSize = 16 * alignment;
    void* room = mmap(nullptr, roomSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const std::uintptr_t base =
        (reinterpret_cast<std::uintptr_t>(room) + alignment) & ~(alignment - 1);
    void* const misaligned = pointer(base + 0x1000);
    void* const good = pointer(base + 2 * alignment);
    int tries = 0;
    const ScopedOverride<ShmatCall> kernel("shmat", [&](int shmid, const void*, int) {
        ++tries;
        errno = tries == 2 ? EINVAL : 0;
        return tries == 2 ? shmatFailed : shmat(shmid, tries < 4 ? misaligned : good, SHM_REMAP);
    });
    const std::string rejected =
        format("[Debug]: basicShmat: Rejecting address %p from shmat() because it is not aligned "
               "to a 2 MB boundary\n",
               misaligned);
    EXPECT_EQ(trace(cache.name(), good), gotSegment + tried(nullptr, misaligned, 0) + rejected +
                                             tried(pointer(base), shmatFailed, 22) +
                                             "[Debug]: tryMemAttach: Attach failed.  errno = 22\n" +
                                             tried(pointer(base + alignment), misaligned, 0) +
                                             rejected + tried(good, good, 0));
    EXPECT_FALSE(error.hasError()) << "the rejections are forgotten";
    EXPECT_EQ(attachedBy(), 2u);
    EXPECT_EQ(detach(), 0);
    EXPECT_EQ(trace(cache.name(), good), gotSegment + tried(nullptr, good, 0));
    EXPECT_EQ(tries, 5) << "an aligned first address is taken";
    EXPECT_EQ(detach(), 0);
    munmap(room, roomSize);
}

TEST_F(HostShr, ARefusedShmgetIsRetriedOnceForTheOwnerAlone) {
    std::vector<int> flags;
    const ScopedOverride<ShmgetCall> watched("shmget", [&](key_t k, size_t size, int flag) {
        flags.push_back(flag);
        errno = EPERM;
        return k != key || size != 0 || flag == 02440 ? -1 : shmget(k, size, flag);
    });
    ASSERT_NE(attach(cache.name()), nullptr) << error.msg();
    EXPECT_EQ(flags, (std::vector{02440, 02400}));
    EXPECT_EQ(detach(), 0);
}

TEST_F(HostShr, AFailedStepEndsTheAttachAndIsToldInTheTrace) {
    const std::string file = (cache.directory() / "locks" / "gone~1..LCK").string();
    cache.recordCache("stale~1", key, 0x3FFFFFFF);
    cache.recordCache("keyless~1", 0);
    cache.recordCache("big~1", static_cast<key_t>(0xF0000001));
    const std::string failure = "[Debug]: HostShrMemAttach() failure at 429: shmget(";
    const struct {
        const char* function; /* whose first `count` calls fail */
        int errorNumber, count;
        std::string name, trace;
    } cases[] = {
        {"shmget", 0, 0, "gone~1", "[Debug]: getKey() failed: file not found: " + file + "\n"},
        {"shmget", 0, 0, "stale~1",
         "[Debug]: getKey() failed: Error reading lock file for shared cache 'stale~1'\n\n"},
        {"shmget", 0, 0, "keyless~1", "[Debug]: getKey() success.  key=0\n"},
        {"shmget", 0, 0, "big~1",
         "[Debug]: getKey() success.  key=4026531841\n"
         "[Debug]: shmget() failure with key 4026531841 and flags 2440, errno=2\n" +
             failure + "-268435455, 0, 1312) failed with ENOENT No such file or directory\n"},
        {"shmget", EACCES, 2, cache.name(),
         gotKey +
             format("[Debug]: shmget() failure with key %u and flags 2440, errno=13\n"
                    "[Debug]: shmget() failure with key %u and flags 2400, errno=13\n",
                    key, key) +
             failure + format("%d, 0, 1280) failed with EACCES Permission denied\n", key)},
        {"shmctl", EIDRM, 1, cache.name(),
         gotSegment + format("[Debug]: shmctl() failed: shmctl(%d, IPC_STAT, )\n", id)},
        {"shmat", ENOMEM, 1, cache.name(),
         gotSegment + tried(nullptr, shmatFailed, 12) +
             "[Debug]: tryMemAttach: Attach failed.  errno = 12\n" +
             format("[Debug]: unixMemAttach failed, shmat( %d , (nil), 0x0)\n", id)},
    };
    for (const auto& [function, errorNumber, count, name, expected] : cases) {
        const ScopedFault fault(function, errorNumber, 1, count);
        EXPECT_EQ(trace(name), expected);
        EXPECT_EQ(fault.hits(), count);
    }
    EXPECT_EQ(attachedBy(), 1u);
}

TEST_F(HostShr, ADetachMayLeaveTheSegmentMapped) {
    void* address = attach(cache.name());
    state->oobThrReading = 1;
    EXPECT_EQ(detach(), 0);
    EXPECT_EQ(state->shrMemId.loc, address) << "the socket's reader holds off the unmapping";
    EXPECT_TRUE(state->shrMemIsAttached);
    EXPECT_EQ(state->threadsAttached, 0);
    state->oobThrReading = 0;
    setenv("TX_DISABLE_SHMDT", "", 1);
    internal::CaptureStdout();
    EXPECT_EQ(detach(), 0);
    EXPECT_EQ(internal::GetCapturedStdout(),
              "[Info]: Skipping shared memory segment detach system call shmdt()\n");
    EXPECT_EQ(attachedBy(), 2u);
    EXPECT_FALSE(state->shrMemIsAttached);
    EXPECT_EQ(state->shrMemId.loc, nullptr);
    EXPECT_EQ(shmdt(address), 0);
}

TEST_F(HostShr, TheLastDetachClosesASocketWithItsTrace) {
    const int socket = dup(0);
    state->rSsl = reinterpret_cast<SslStateSType*>(state.get());
    internal::CaptureStdout();
    debug_conn = 1;
    for (const int descriptor : {socket, 2, 9999}) { /* standard streams stay open */
        attach(cache.name());
        state->oobSock = descriptor;
        EXPECT_EQ(detach(), 0);
        EXPECT_EQ(state->oobSock, -1);
    }
    debug_conn = 0;
    EXPECT_THAT(internal::GetCapturedStdout(),
                ContainsRegex("[^\n]+ \\[tid 0x[0-9a-f]+\\]: SocketClose fd " +
                              std::to_string(socket) + "\n"));
    EXPECT_EQ(fcntl(socket, F_GETFD), -1);
    EXPECT_EQ(fcntl(2, F_GETFD), 0);
    EXPECT_EQ(state->rSsl, nullptr);
}

TEST(LockName, IsComparedNoFurtherThanItsField) {
    HostShrSpinLockSType lock{};
    lock.queueLock = 0x41414141; /* what follows the name is none of it */
    std::memset(lock.lockName, 'A', sizeof lock.lockName);
    lock.verifyLockName(std::string(38, 'A').c_str());
    EXPECT_EQ(inNovember([&] { lock.verifyLockName(std::string(39, 'A').c_str()); }).status, 1);
}

TEST(Trace, IsSwitchedOnWhenTheLibraryIsLoaded) {
    const TestCache cache;
    testsupport::Environment environment = {{"TALVEX_GLOBAL_DIR", cache.directory().string()}};
    EXPECT_THAT(run({TVSI_SNAPSHOT, "prod"}, environment).out, Not(HasSubstr("[Debug]")));
    environment["TX_DEBUG_SHARED_MEM"] = "";
    EXPECT_THAT(run({TVSI_SNAPSHOT, "prod"}, environment).out,
                StartsWith("[Debug]: Shared memory debug tracing enabled\n"
                           "[Debug]: getKey() success.  key="));
}

} // namespace
