/* What happens in a process while the library is loaded. */
#include "cpucheck.h"
#include "hostmutex.h"
#include "hostprocess.h"
#include "hostunix.h"
#include "loadtime.h"
#include "processstate.h"
#include "rows.h"
#include "utl.h"
#include "utlexit.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using testsupport::CallsOf;
using testsupport::inChild;
using testsupport::inNovember;
using testsupport::processState;
using testsupport::ScopedFault;
using testsupport::ScopedOverride;

using GetLogin = decltype(getlogin_r);

constexpr int raisedLimits[] = {RLIMIT_CPU, RLIMIT_DATA, RLIMIT_FSIZE};

rlimit limitOf(int resource) {
    rlimit limit = {};
    getrlimit(static_cast<decltype(RLIMIT_CPU)>(resource), &limit);
    return limit;
}

rlim_t lowered(int resource) {
    const rlim_t hard = limitOf(resource).rlim_max; /* some are 0 */
    return resource == RLIMIT_CPU ? rlim_t{1} << 20 : std::max<rlim_t>(hard, 1) - 1;
}

void lowerSoftLimits() {
    for (int resource = 0; resource < RLIM_NLIMITS; resource++) {
        const rlimit limit = {lowered(resource), limitOf(resource).rlim_max};
        ASSERT_EQ(setrlimit(static_cast<decltype(RLIMIT_CPU)>(resource), &limit), 0);
    }
}

void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

bool isBlocked(int signalNumber) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signalNumber) != 0;
}

TEST(LoadTime, StepsHaveThisOrder) {
    size_t count = 0;
    const LoadTimeStepSType* steps = loadTimeSteps(&count);
    std::string all;
    for (size_t i = 0; i < count; i++) {
        all += std::to_string(steps[i].priority) + " " + steps[i].name + "\n";
    }
    EXPECT_EQ(all, "1000 processor detection\n1000 processor check\n2000 host module\n"
                   "65535 exit function list\n65535 socket module\n65535 socket trace switch\n"
                   "65535 bit primitive self-test\n65535 shared memory trace switch\n"
                   "65535 cache handle manager\n");
}

/* Whose failures the tests of the library know how to cause, or know to be none. */
TEST(LoadTime, LibraryNeedsNoUnknownFunctionOfTheCLibrary) {
#ifdef TVSI_COVERAGE
    GTEST_SKIP() << "the counters call functions of their own";
#endif
    std::istringstream unfailing(testsupport::callsThatCannotFail());
    std::set<std::string> known{std::istream_iterator<std::string>(unfailing), {}};
    for (const auto& [name, errors] : testsupport::interposedCalls()) {
        known.insert(name);
    }
    const std::regex runtime("(_ITM_|__cxa_(at|finalize)|__gmon_start__|__(a|l|t|ub)san_|"
                             "__sanitizer|_Unwind).*");
    std::istringstream symbols(testsupport::run({"nm", "--undefined-only", "--format=just-symbols",
                                                 "--without-symbol-versions", TVSI_LIBRARY})
                                   .out);
    for (std::string name; symbols >> name;) {
        EXPECT_TRUE(known.erase(name) == 1 || std::regex_match(name, runtime))
            << "faults.cpp has no line for " << name;
    }
    EXPECT_FALSE(known.contains("shmget")) << "nothing has been looked at";
}

/* As far as they can be seen from outside: this program's functions come before the C library's. */
TEST(LoadTime, LibraryTakesTheStepsInOrder) {
    const auto outcome = inNovember([] {
        const auto says = [](const char* text, auto result) {
            return [=](auto...) {
                printf("%s\n", text);
                return result;
            };
        };
        const ScopedOverride<decltype(pthread_sigmask)> mask("pthread_sigmask", says("signals", 0));
        const ScopedOverride<int(int, const rlimit*)> limit("setrlimit", says("limit", 0));
        const ScopedOverride<decltype(setlocale)> locale("setlocale", says("locale", nullptr));
        const ScopedOverride<GetLogin> login("getlogin_r", says("login name", ENXIO));
        const ScopedOverride<decltype(pthread_mutex_init)> mutex("pthread_mutex_init",
                                                                 says("mutex", 0));
        const ScopedOverride<int(const char*, int, mode_t)> device("open", says("open", -1));
        EXPECT_NE(dlopen(TVSI_LIBRARY, RTLD_NOW), nullptr);
    });
    EXPECT_EQ(outcome.out, "signals\nlimit\nlimit\nlimit\nlocale\nlogin name\nmutex\nopen\n"
                           "mutex\nmutex\n");
    EXPECT_EQ(NextRegisteredExitFuncPtr.next, &NextRegisteredExitFuncPtr);
}

/* What a library could change in its process, by name. */
std::map<std::string, std::string> everything() {
    std::map<std::string, std::string> all;
    for (char** variable = environ; *variable != nullptr; variable++) {
        const std::string text = *variable;
        all[text.substr(0, text.find('='))] = text.substr(text.find('='));
    }
    for (int resource = 0; resource < RLIM_NLIMITS; resource++) {
        all[std::to_string(resource)] = std::to_string(limitOf(resource).rlim_cur);
    }
    for (int number = 1; number < NSIG; number++) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        all["actions"] += testing::PrintToString(action.sa_handler == SIG_DFL);
        all["blocked"] += isBlocked(number) ? "x" : "";
    }
    all["locale"] = setlocale(LC_ALL, nullptr);
    all["umask"] = std::to_string(umask(027));
    const auto state = processState();
    all["state"] =
        testing::PrintToString(std::tuple(state.descriptors, state.threads, state.sharedMemory));
    return all;
}

TEST(LoadTime, LibraryChangesNothingElseInTheProcess) {
    const auto outcome = inChild([] {
        setenv("LC_ALL", "C.utf8", 1);
        setlocale(LC_ALL, "C");
        umask(027);
        lowerSoftLimits();
        blockSignals();
        const ScopedOverride<GetLogin> login(
            "getlogin_r", [](char* name, size_t) { return strcpy(name, "carol") == nullptr; });
        auto expected = everything();
        expected["blocked"] = "";
        expected["locale"] = "C.utf8";
        expected["TX_LOGIN_NAME"] = "=carol";
        for (const int resource : raisedLimits) {
            expected[std::to_string(resource)] = std::to_string(limitOf(resource).rlim_max);
        }
        EXPECT_NE(dlopen(TVSI_LIBRARY, RTLD_NOW), nullptr) << dlerror();
        EXPECT_EQ(everything(), expected);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(HostModule, LeavesTheLimitsAloneWhenTheVariableExists) {
    for (const char* value : {"", "0", "yes"}) {
        const auto outcome = inChild([&] {
            lowerSoftLimits();
            setenv("TALVEX_NO_SETRLIMIT", value, 1);
            blockSignals();
            HostModuleInitializer();
            EXPECT_FALSE(isBlocked(SIGTERM)); /* the other steps are taken */
            for (const auto resource : raisedLimits) {
                EXPECT_EQ(limitOf(resource).rlim_cur, lowered(resource));
            }
        });
        EXPECT_EQ(outcome.out, "") << value;
        EXPECT_EQ(outcome.status, 0);
    }
}

TEST(HostModule, LimitThatCanNotBeRaisedEndsTheProcessWithAReport) {
    const std::string edge(80, '_');
    const auto framed = [](const std::string& line) {
        return "| " + line + std::string(78 - line.size(), ' ') + " |\n";
    };
    const std::string resources[] = {"(RLIMIT_CPU)", "(RLIMIT_DATA)", "(RLIMIT_FSIZE)"};
    for (const std::string function : {"getrlimit", "setrlimit"}) {
        for (int nth = 1; nth <= 3; nth++) {
            const auto outcome = inNovember([&] {
                const ScopedFault fault(function, EPERM, nth, 1, CallsOf::thisThread);
                HostModuleInitializer();
            });
            const std::string failure = function + resources[nth - 1] + " error";
            EXPECT_EQ(outcome.status, 3);
            EXPECT_EQ(outcome.err,
                      "\n\n " + edge + "\n" + framed("  HostInit failure: " + failure) +
                          framed("           Last 'errno': 1 (EPERM Operation not permitted)") +
                          framed("                   Date: 11/16/26 18:20:07 UTC") + "|" + edge +
                          "|\n");
        }
    }
}

TEST(HostModule, SetsTheLoginNameIfThereIsOne) {
    const std::string longest(63, 'n');
    const std::tuple<int, std::string, const char*, std::string> cases[] = {
        {0, "carol", "other", "carol"},
        {0, longest, nullptr, longest},
        {ENXIO, "carol", "other", "other"},
        {ENOTTY, "carol", nullptr, "(unset)"}};
    testsupport::forEachRow(cases, [&](const auto& error, const auto& name, const auto& inherited,
                                       const auto& expected) {
        const auto outcome = inNovember([&] {
            if (inherited != nullptr) {
                setenv("TX_LOGIN_NAME", inherited, 1);
            }
            const ScopedOverride<GetLogin> login("getlogin_r", [&](char* result, size_t size) {
                EXPECT_EQ(size, 64U);
                strcpy(result, name.c_str());
                return error;
            });
            HostModuleInitializer();
            const char* value = getenv("TX_LOGIN_NAME");
            printf("%s", value == nullptr ? "(unset)" : value);
        });
        EXPECT_EQ(outcome.out + outcome.err, expected);
    });
}

TEST(SocketModule, WarnsOfARandomDeviceThatCanNotBeOpened) {
    const auto outcome = inChild([] {
        netSocketMutex = {};
        printf("before");
        const ScopedFault fault("open", EACCES);
        NetSocketModuleInitializer();
        _exit(netSocketMutex.initialized ? 0 : 1);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "before"); /* flushed first */
    EXPECT_EQ(outcome.err, "unable to open /dev/urandom, netsocket: HostOpen( /dev/urandom , "
                           "O_RDONLY) failed failed with EACCES Permission denied\n");
    const auto quiet = inChild([] {
        const size_t descriptors = processState().descriptors;
        const ScopedFault interruption("open", EINTR, 1, 2);
        NetSocketModuleInitializer();
        EXPECT_EQ(interruption.hits(), 2);
        EXPECT_EQ(processState().descriptors, descriptors);
    });
    EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST(SocketModule, TraceLevelIsTheNumberGivenButAtLeastOne) {
    const std::string zeros(255, '0');
    const std::pair<std::string, int> cases[] = {{"", 0},          {"abc", 1},       {"0", 1},
                                                 {"-4", 1},        {"2", 2},         {"5x", 5},
                                                 {zeros + "7", 7}, {zeros + "07", 0}};
    for (const auto& [value, level] : cases) {
        setenv("TX_DEBUG_SOCKETS", value.c_str(), 1);
        netSocketDebugModeInitializer();
        EXPECT_EQ(debug_conn, level) << value;
    }
}

TEST(BitPrimitives, FindNothingInZero) {
    EXPECT_EQ(tx_ffs(0) + tx_ffs8(0) + tx_msb(0) + tx_msb8(0), -4);
    EXPECT_EQ(tx_bitfit8(0), 0);
}

/* Wrong for one value. */
template <auto primitive, auto value> auto broken(decltype(value) argument) {
    auto result = primitive(argument);
    if (argument == value) {
        result = static_cast<decltype(result)>(result ^ 1);
    }
    return result;
}

/* What is wrong stands at the ends of what is looked at. */
TEST(BitPrimitives, SelfTestNamesTheBrokenOne) {
    const auto with = [](auto member, auto primitive) {
        TxBitPrimitivesSType primitives = txBitPrimitives;
        primitives.*member = primitive;
        return primitives;
    };
    using P = TxBitPrimitivesSType;
    constexpr uint64_t top = uint64_t{1} << 63;
    const std::pair<const char*, P> cases[] = {
        {"bad tx_ffs() result", with(&P::ffs, broken<tx_ffs, 0U>)},
        {"bad tx_ffs() result", with(&P::ffs, broken<tx_ffs, 0x80000000>)},
        {"bad tx_ffs8() result", with(&P::ffs8, broken<tx_ffs8, top>)},
        {"bad tx_msb() result", with(&P::msb, broken<tx_msb, 0x80000000>)},
        {"bad tx_msb8() result", with(&P::msb8, broken<tx_msb8, uint64_t{1}>)},
        {"bad tx_popcnt() result", with(&P::popcnt, broken<tx_popcnt, 0xFFFFEC1F>)},
        {"bad tx_popcnt8() result", with(&P::popcnt8, broken<tx_popcnt8, 0xFFFFFFFFFFFFE0B3>)},
        {"bad tx_bswap2() result", with(&P::bswap2, broken<tx_bswap2, uint16_t{1 << 15}>)},
        {"bad tx_bswap4() result", with(&P::bswap4, broken<tx_bswap4, 2U>)},
        {"bad tx_bswap8() result", with(&P::bswap8, broken<tx_bswap8, top>)},
        {"bad bit fitting result", with(&P::bitfit8, broken<tx_bitfit8, (top >> 1) + 2>)},
        {nullptr, txBitPrimitives}};
    for (const auto& [message, primitives] : cases) {
        EXPECT_STREQ(txBitPrimitivesFault(&primitives), message);
    }
}

TEST(Processor, WithoutARequiredFeatureEndsTheProcessAtOnce) {
    CpuCheckCpu(); /* this machine has them: the library is loaded */
    const auto outcome = inChild([] {
        atexit([] { fputs("exit handler", stderr); });
        printf("not flushed");
        const CpuFeature features[] = {
            {"aes", true}, {"avx", false}, {"mmx", true}, {"pclmul", false}};
        cpuRequireFeatures(features, 1);
        cpuRequireFeatures(features, 4);
    });
    EXPECT_EQ(outcome.status, 1);
#ifndef __SANITIZE_THREAD__ /* whose _exit() flushes */
    EXPECT_EQ(outcome.out, "");
#endif
    EXPECT_EQ(outcome.err,
              "[Error]: Program cannot start because the CPU is missing the following "
              "feature(s):\n[Error]:  avx pclmul\n"
              "[Error]: For more information, please contact Morvane technical support.\n");
}

} // namespace
