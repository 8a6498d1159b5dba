/* What happens in a process while the library is loaded. */
#include "cpucheck.h"
#include "hostprocess.h"
#include "hostunix.h"
#include "loadtime.h"
#include "processstate.h"
#include "utlexit.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <iterator>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace testing;
using namespace testsupport;

namespace {

using GetLogin = decltype(getlogin_r);

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
    std::istringstream unfailing(callsThatCannotFail());
    std::set<std::string> known{std::istream_iterator<std::string>(unfailing), {}};
    for (const auto& [name, errors] : interposedCalls()) {
        known.insert(name);
    }
    const std::regex runtime("(_ITM_|__cxa_(at|finalize)|__gmon_start__|__(a|l|t|ub)san_|"
                             "__sanitizer|_Unwind).*");
    const Outcome nm = run({"nm", "--undefined-only", "--format=just-symbols",
                            "--without-symbol-versions", TVSI_LIBRARY});
    std::istringstream symbols(nm.out);
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

rlimit limitOf(int resource) {
    rlimit limit = {};
    getrlimit(static_cast<decltype(RLIMIT_CPU)>(resource), &limit);
    return limit;
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
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    for (int number = 1; number < NSIG; number++) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        all["actions"] += action.sa_handler == SIG_DFL ? "d" : "h";
        all["blocked"] += sigismember(&mask, number) == 1 ? "x" : "";
    }
    all["locale"] = setlocale(LC_ALL, nullptr);
    all["umask"] = std::to_string(umask(027));
    const auto state = processState();
    all["state"] = PrintToString(std::tuple(state.descriptors, state.threads, state.sharedMemory));
    return all;
}

TEST(LoadTime, LibraryChangesNothingElseInTheProcess) {
    for (const char* keepsLimits : {(const char*)nullptr, "", "0"}) {
        const auto outcome = inChild([&] {
            setenv("LC_ALL", "C.utf8", 1);
            setlocale(LC_ALL, "C");
            umask(027);
            keepsLimits != nullptr&& setenv("TALVEX_NO_SETRLIMIT", keepsLimits, 1);
            for (int resource = 0; resource < RLIM_NLIMITS; resource++) {
                rlimit limit = limitOf(resource);
                limit.rlim_cur =
                    resource == RLIMIT_CPU ? 1 << 20 : std::max(limit.rlim_max, 1UL) - 1;
                setrlimit(static_cast<decltype(RLIMIT_CPU)>(resource), &limit);
            }
            sigset_t signals;
            sigfillset(&signals);
            pthread_sigmask(SIG_SETMASK, &signals, nullptr);
            const ScopedOverride<GetLogin> login(
                "getlogin_r", [](char* name, size_t) { return strcpy(name, "carol") == nullptr; });
            auto expected = everything();
            expected["blocked"] = "";
            expected["locale"] = "C.utf8";
            expected["TX_LOGIN_NAME"] = "=carol";
            for (const int resource : {RLIMIT_CPU, RLIMIT_DATA, RLIMIT_FSIZE}) {
                EXPECT_NE(limitOf(resource).rlim_cur, limitOf(resource).rlim_max);
                if (keepsLimits == nullptr) {
                    expected[std::to_string(resource)] = std::to_string(limitOf(resource).rlim_max);
                }
            }
            EXPECT_NE(dlopen(TVSI_LIBRARY, RTLD_NOW), nullptr) << dlerror();
            EXPECT_EQ(everything(), expected);
            _exit(Test::HasFailure() ? 1 : 0);
        });
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST(LoadTime, LimitThatCanNotBeRaisedEndsTheProcessWithAReport) {
    const std::string resources[] = {"(RLIMIT_CPU)", "(RLIMIT_DATA)", "(RLIMIT_FSIZE)"};
    for (const std::string function : {"getrlimit", "setrlimit"}) {
        for (int nth = 1; nth <= 3; nth++) {
            const auto outcome = inNovember([&] {
                const ScopedFault fault(function, EPERM, nth, 1, CallsOf::thisThread);
                HostModuleInitializer();
            });
            EXPECT_EQ(outcome.status, 3);
            EXPECT_THAT(
                outcome.err,
                AllOf(HasSubstr("|   HostInit failure: " + function + resources[nth - 1] +
                                " error  "),
                      HasSubstr("|            Last 'errno': 1 (EPERM Operation not permitted) ")));
        }
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
