/* How the process ends when the library can't go on: the fatal path and the two exits. */
#include "hostdebug.h"
#include "hostprocess.h"
#include "hostunixmt.h"
#include "rows.h"
#include "temporarydirectory.h"
#include "utl.h"
#include "utlexit.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

using namespace std::string_literals;
using namespace testing;
using namespace testsupport;

namespace {

using Prctl = int(int, unsigned long, unsigned long, unsigned long, unsigned long);

struct Ended : Outcome {
    std::string pid;
};

/* A process at a fixed time, with "<3>" on standard error for a wait of 3 seconds, which takes
   none. */
Ended inProcess(const std::function<void()>& body, long nanoseconds = 42000000) {
    const auto recorded = [&] {
        dprintf(STDERR_FILENO, "%d:", getpid());
        const ScopedOverride<decltype(nanosleep)> sleep("nanosleep", [](auto* span, auto*) {
            return dprintf(STDERR_FILENO, "<%ld>", span->tv_sec) < 0 ? -1 : 0;
        });
        body();
    };
    Ended end{inNovember(recorded, "UTC0", nanoseconds), ""};
    end.pid = end.err.substr(0, end.err.find(':'));
    end.err.erase(0, end.pid.size() + 1);
    return end;
}

void boom() {
    HostCallDebuggerMsg("boom");
}

std::string hex(unsigned long value) {
    char text[32];
    snprintf(text, sizeof text, "0x%lx", value);
    return text;
}

const std::string stamp = "11/16/26 18:20:07.042 UTC";
const std::string stampLine = /* a child's thread has the same id */
    stamp + " 1794853207042ms thread " + hex(pthread_self()) + "\n";
const std::string invoked = "\nHostCallDebugger: invoked at: " + stampLine;
const char noPrinter[] = "  Warning: Unable to print C++ call stack.  'pstack' file not found\n";
const std::string tenWaits = "<3><3><3><3><3><3><3><3><3><3>";

/* All that a process prints of the event "boom", with `stack` between its first and last line. */
std::string report(const Ended& process, const std::string& stack = noPrinter,
                   const std::string& delay = "60",
                   const std::string& waits = tenWaits + tenWaits) {
    const pthread_t thread = pthread_self();
    const std::string& pid = process.pid;
    return invoked + "boom\n\nBegin attempt to print C-level stack for process " + pid +
           " at: " + stampLine + stack + "\nEnd of C-level stack for process " + pid +
           "\n\n\n __________________________________ \n"
           "|  HostCallDebugger: Waiting for a C Debugger to attach, process " +
           pid + " at " + stamp + "\n|  process " + pid + " (" + hex(std::stoul(pid)) +
           "), thread " + std::to_string(thread) + " (" + hex(thread) + "), sleep time " + delay +
           "\n|__________________________________ \n" + waits;
}

/* While the library is loaded, between the first and the second of its steps. */
__attribute__((init_priority(1500))) const Ended earlyEvent = inProcess(boom);

TEST(FatalPath, ReportsTheEventWaitsAndEndsTheProcess) {
    for (const Ended& process : {earlyEvent, inProcess(boom)}) {
        EXPECT_EQ(process.status, 1);
        EXPECT_EQ(process.err, report(process));
    }
}

TEST(FatalPath, FailedGuaranteeNamesItsPlaceInALimitedMessageAfterBufferedOutput) {
    const std::string m(5000, 'm');
    for (const auto& [file, end] : {std::pair{"utl"s, "utl line 1137\n\n"s}, {m, m.substr(932)}}) {
        const auto process = inProcess([file = file] {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            printf("buffered");
            HostCallDebuggerMsg_fl(file.c_str(), 1137);
        });
        EXPECT_THAT(process.err, StartsWith("buffered" + invoked + "UTL_GUARANTEE failed, File " +
                                            end + "\nBegin"));
    }
}

TEST(FatalPath, WaitIsConfigurable) {
    const std::string zeros(78, '0');
    const std::pair<std::string, int> cases[] = {{"", 60},          {"0", 60}, {"abc", 60},
                                                 {"-5", 60},        {"7x", 7}, {zeros + "9", 9},
                                                 {zeros + "09", 60}};
    for (const auto& [value, delay] : cases) {
        setenv("TX_CORE_TIME_OUT", value.c_str(), 1);
        EXPECT_EQ(HostDebugCoreDelay(), delay) << value;
    }
    const auto process = inProcess([] {
        setenv("TX_CORE_TIME_OUT", "7", 1);
        boom();
    });
    /* for the debugger, and then, as the variable is set, for other fatal events */
    EXPECT_EQ(process.err, report(process, noPrinter, "7", "<3><3><3><2><2><2><1>"));
}

TEST(FatalPath, WaitSurvivesInterruptionsAndEndsOnATerminationRequest) {
    const auto process = inProcess([] {
        const ScopedOverride<decltype(nanosleep)> sleep("nanosleep", [](auto* span, auto* left) {
            static int count;
            dprintf(STDERR_FILENO, "<%ld>", span->tv_sec);
            if (++count == 5) {
                HostIncrementSigTerm();
            }
            *left = {1, 0};
            errno = EINTR;
            return count == 2 ? -1 : 0;
        });
        boom();
    });
    EXPECT_EQ(process.status, 5);
    EXPECT_EQ(process.err, report(process, noPrinter, "60", "<3><3><1><3><3>"));
}

TEST(FatalPath, FirstEventIsReportedToTheServerAndOthersGiveItTimeBeforeTheyExit) {
    const auto process = inProcess([] {
        HostCheckFatalErr(); /* nothing has happened */
        HostFatalReportFunc = [](auto* message, auto* when, auto milliseconds) {
            printf("%s|%s|%d", message, when->msg, milliseconds);
            setenv("TX_CORE_TIME_OUT", "5", 1);
            HostCheckFatalErr();
            HostIncrementSigTerm();
            HostCheckFatalErr();
            exit(0);
        };
        boom();
    });
    EXPECT_EQ(process.out, "boom|11/16/26 18:20:07.%.3d UTC|42");
    EXPECT_THAT(process.err, EndsWith("\n\n<2><2><1>"));
}

const std::string dumpable = "prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) = 1\n";

/* A fatal event with a shell script as the installation's stack printer. */
Ended fatalWith(const std::string& script, const std::function<void()>& before, int mode = 0755) {
    const TemporaryDirectory directory;
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    std::filesystem::create_directory(directory.file("bin"));
    std::ofstream(directory.file("bin/pstack")) << "#!/bin/sh\n" << script;
    std::filesystem::permissions(directory.file("bin/pstack"), std::filesystem::perms(mode));
    return inProcess([&] {
        setenv("TALVEX", directory.path().c_str(), 1);
        const ScopedOverride<Prctl> permit("prctl", [](int option, auto... values) {
            return option == PR_SET_PTRACER ? 0 : prctl(option, values...);
        });
        const ScopedOverride<decltype(poll)> soon(
            "poll", [](pollfd*, nfds_t, int) { return poll(nullptr, 0, 5); });
        atexit([] { wait(nullptr); }); /* for a printer that nobody waited for */
        before();
        boom();
    });
}

TEST(StackPrinter, IsTheSystemsOneWithoutAnInstallation) {
    const auto process = inProcess([] {
        unsetenv("TALVEX");
        const auto none = [](auto* path, auto*) { return printf("%s\n", path) < 0 ? 0 : -1; };
        const ScopedOverride<int(const char*, struct stat64*)> look("stat64", none);
        boom();
    });
    EXPECT_THAT(process.out, EndsWith("/bin/pstack\n"));
    EXPECT_EQ(process.err, report(process));
}

/* From now on. */
auto failing(const char* function, int error, int nth = 1, int count = 1) {
    return [=] {
        static std::optional<ScopedFault> fault;
        fault.emplace(function, error, nth, count);
    };
}

TEST(StackPrinter, HasItsOutputShownAndItsFailureToldAndThePathGoesOn) {
    const auto undumpable = [](int failingCall) {
        return [=] {
            prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
            failing("prctl", EPERM, failingCall)();
        };
    };
    const auto atTerminal = [] {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        unlockpt(terminal);
        dup2(open(ptsname(terminal), O_RDWR | O_NOCTTY), STDIN_FILENO);
    };
    static int handled;
    const auto withHandler = [] {
        signal(SIGCHLD, [](int) { handled++; });
        atexit([] {
            raise(SIGCHLD);
            printf("%d", handled); /* only our own */
        });
    };
    const std::string notDumpable = "prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) = 0\n";
    const struct {
        std::string script;
        int mode;
        std::function<void()> arrange;
        std::string out, stack;
    } cases[] = {
        {"echo $*; echo stack >&2", 0755, [] { close(0); }, dumpable + "PID\n", "stack\n"},
        {"echo $*", 0755, atTerminal, dumpable + "-b PID\n", ""},
        {"exit 0", 0755, withHandler, dumpable + "1", ""},
        {"kill -9 $$", 0755, [] {}, dumpable, ""},
        {"", 0644, [] {}, dumpable,
         "      System Error:  execv() of child  failed with errno 13, EACCES Permission denied"},
        {"", 0755, failing("vfork", EAGAIN),
         dumpable + "vfork() failure, errno = 11\nUtlVForkAndExec failure, line 1148, errno 11",
         "  Problem calling fork, errno=11\n"},
        {"echo x", 0755, failing("vfork", EINTR, 1, 2), dumpable + "x\n", ""},
        {"echo x", 0755, failing("vfork", ERESTART, 1, 2), dumpable + "x\n", ""},
        {"echo x", 0755, failing("waitpid", EINTR, 1, 2), dumpable + "x\n", ""},
        {"exit 7", 0755, failing("waitpid", ECHILD), dumpable, ""},
        {"exit 7", 0755, failing("waitpid", EINVAL), dumpable,
         "Problem calling waitpid(), result = -1, errno = 22\n"},
        {"", 0755, undumpable(9),
         notDumpable + "prctl(PR_SET_DUMPABLE, 1) ok\nprctl(PR_GET_DUMPABLE) = 1\n", ""},
        {"", 0755, undumpable(2),
         notDumpable + "prctl(PR_SET_DUMPABLE, 1) failed, errno 1, EPERM Operation not permitted\n",
         ""},
        {"", 0755, failing("prctl", EPERM, 2),
         dumpable + "PR_SET_PTRACER failed, errno 1, pstack may fail\n", ""},
    };
    for (const auto& row : cases) {
        const auto process = fatalWith(row.script, row.arrange, row.mode);
        EXPECT_EQ(process.status, 1);
        EXPECT_EQ(std::regex_replace(process.out, std::regex("\\b" + process.pid + "\\b"), "PID"),
                  row.out);
        EXPECT_EQ(process.err, report(process, row.stack));
    }
}

TEST(StackPrinter, RunsUnderOneUserId) {
    if (getuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const std::tuple<uid_t, int, std::string, std::string> cases[] = {
        {65534, 0, "setreuid(65534, 65534) ok\n", "65534\t65534\t65534\t65534\n"},
        {65534, 1, "setreuid(65534, 65534) failed, errno 1, EPERM Operation not permitted\n",
         "1\t65534\t0\t65534\n"},
        {1, 0, "", "1\t1\t0\t1\n"},
        {0, 0, "", "1\t0\t0\t0\n"}};
    forEachRow(cases, [&](auto& effective, auto& failures, auto& line, auto& ids) {
        const auto outcome = fatalWith("grep Uid /proc/$PPID/status\n", [&] {
            ASSERT_EQ(setresuid(1, effective, 0), 0);
            failing("setreuid", EPERM, 1, failures)();
        });
        EXPECT_THAT(outcome.out, StartsWith(line + "prctl("));
        EXPECT_THAT(outcome.out, EndsWith("Uid:\t" + ids));
    });
}

TEST(StackPrinter, IsWaitedForUntilItEnds) {
    const std::string script = "while [ ! -e $TALVEX/end ]; do sleep 0.01; done\necho late >&2\n";
    const auto process = fatalWith(script, [] {
        std::thread([] {
            while (callCount("poll") < 200) { /* two a look: 20 seconds, if these were real */
                usleep(1000);
            }
            std::ofstream(getenv("TALVEX") + std::string("/end"));
        }).detach();
    });
    EXPECT_EQ(process.err, report(process, "late\n"));
}

/* Two events at the same moment, and one more while they wait. */
TEST(FatalPath, OnlyTheFirstEventPrintsTheStack) {
    const auto outcome = inProcess([&] {
        std::atomic<int> reported = 0;
        const ScopedOverride<decltype(write)> together(
            "write", [&](int descriptor, const void* text, size_t size) {
                const ssize_t written = write(descriptor, text, size);
                const bool isMessage = strcmp(static_cast<const char*>(text), "boom\n") == 0;
                for (reported += isMessage ? 1 : 0; isMessage && reported < 2;) {
                }
                return written;
            });
        std::atomic<int> waiting = 0;
        const ScopedOverride<decltype(nanosleep)> sleep("nanosleep", [&](auto...) {
            const int place = ++waiting;
            if (place == 2) {
                std::thread(boom).detach();
            }
            if (place < 3) {
                pause();
            }
            HostIncrementSigTerm();
            return 0;
        });
        std::thread(boom).detach();
        boom();
    });
    EXPECT_EQ(outcome.status, 5);
    const size_t end = outcome.err.find("End of C-level stack");
    EXPECT_THAT(outcome.err.substr(end), HasSubstr("\nboom\n"));
    EXPECT_EQ(outcome.err.find("Begin attempt"), outcome.err.rfind("Begin attempt"));
}

TEST(SignalSafePrint, WritesEverythingUnlessTheDescriptorFails) {
    const std::tuple<int, int, const char*> cases[] = {
        {EINTR, 0, "0123456789"}, {EAGAIN, 0, "0123"}, {0, 1, "0123"}};
    forEachRow(cases, [&](auto& error, auto& isEnd, auto& written) {
        const auto outcome = inChild([&] {
            int calls = 0;
            const ScopedOverride<decltype(write)> partial(
                "write", [&](int descriptor, const void* text, size_t size) -> ssize_t {
                    if (++calls % 2 == 1) {
                        return write(descriptor, text, std::min<size_t>(size, 4));
                    }
                    errno = error;
                    return isEnd != 0 ? 0 : -1;
                });
            HostSignalSafePrint("0123456789");
        });
        EXPECT_EQ(outcome.err, written);
    });
}

TEST(Exit, StatusTellsOfATerminationRequest) {
    for (auto* exitCall : {UtlExit, UtlExitMt}) {
        for (const bool isTerminated : {false, true}) {
            const auto process = inProcess([=] {
                if (isTerminated) {
                    HostIncrementSigTerm();
                }
                setenv("TX_CORE_TIME_OUT", "5", 1); /* no fatal event: nothing to wait for */
                printf("flushed");
                exitCall(3);
            });
            EXPECT_EQ(process.status, isTerminated ? 5 : 3);
            EXPECT_EQ(process.out + process.err, "flushed");
        }
    }
}

TEST(Exit, RunsTheExitFunctionsOnceAndReturnsWhenEnteredAgain) {
    static UtlExitFuncSType second = {&NextRegisteredExitFuncPtr, [] { printf("second "); }};
    static UtlExitFuncSType first = {&second, [] {
                                         UtlExit(9);
                                         printf("first ");
                                     }};
    NextRegisteredExitFuncPtr.next = &first;
    const auto outcome = inChild([] {
        atexit([] {
            UtlExit(9);
            printf("%s", first.func == nullptr && second.func == nullptr ? "cleared" : "kept");
        });
        UtlExit(4);
    });
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, "first second cleared");
    EXPECT_EQ(inChild([] { UtlExitMt(4); }).out, "");
    NextRegisteredExitFuncPtr.next = &NextRegisteredExitFuncPtr;
}

std::string framed(const std::string& line) {
    const std::string edge = line.size() < 79 ? " |" : line.size() == 79 ? "|" : "";
    return "| " + line + std::string(line.size() < 78 ? 78 - line.size() : 0, ' ') + edge + "\n";
}

TEST(Box, LinesAreBrokenAndFramed) {
    const auto x = [](size_t count) { return std::string(count, 'x'); };
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {""}},
        {"a b\n\nc\n", {"a b", "", "c", ""}},
        {x(76) + " y", {x(76) + " y"}},
        {x(77) + "  y", {x(77), " y"}},
        {x(70) + " " + x(8) + " y", {x(70) + " " + x(8), "y"}},
        {x(78), {x(78)}},
        {x(79), {x(79)}},
        {x(80), {x(80)}},
        {x(2045) + " y", {x(2045), "y"}},
        {x(5000), {x(2046), x(2046), x(908)}}};
    for (const auto& [text, lines] : cases) {
        std::string expected;
        for (const std::string& line : lines) {
            expected += framed(line);
        }
        internal::CaptureStdout();
        VerMessage(stdout, text.c_str());
        EXPECT_EQ(internal::GetCapturedStdout(), expected);
    }
}

TEST(InitialisationCrash, IsReportedInABoxWithTheRoundedTime) {
    const auto crash = [] {
        errno = 0; /* no system error: nothing is said of one */
        hostInitCrash("no luck");
    };
    const auto outcome = inProcess(crash, 500000000);
    const std::string edge(80, '_');
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "\n\n " + edge + "\n" + framed("  HostInit failure: no luck") +
                               framed("                   Date: 11/16/26 18:20:08 UTC") + "|" +
                               edge + "|\n");
}

} // namespace
