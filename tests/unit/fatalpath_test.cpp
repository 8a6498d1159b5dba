/* How the process ends when the library can't go on. Waits are recorded, the time stands still. */
#include "hostdebug.h"
#include "hostprocess.h"
#include "hostunixmt.h"
#include "rows.h"
#include "temporarydirectory.h"
#include "utl.h"
#include "utlexit.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::callCount;
using testsupport::inChild;
using testsupport::inNovember;
using testsupport::Outcome;
using testsupport::ScopedFault;
using testsupport::ScopedOverride;
using testsupport::TemporaryDirectory;

using Prctl = int(int, unsigned long, unsigned long, unsigned long, unsigned long);

/* What a child tells its parent. */
struct Report {
    pid_t pid;
    int sleepCount;
    long sleeps[100]; /* seconds */
};
Report& report = *static_cast<Report*>(
    mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

std::vector<long> sleeps() {
    return {report.sleeps, report.sleeps + report.sleepCount};
}

/* A process that says who it is and records its waits. */
Outcome inProcess(const std::function<void()>& body, long nanoseconds = 42000000) {
    report.sleepCount = 0;
    const auto recorded = [&] {
        report.pid = getpid();
        const ScopedOverride<decltype(nanosleep)> sleep(
            "nanosleep", [](const timespec* span, timespec*) {
                report.sleeps[report.sleepCount++ % 100] = span->tv_sec;
                return 0;
            });
        body();
    };
    return inNovember(recorded, "UTC0", nanoseconds);
}

std::string hex(unsigned long value) {
    char text[32];
    snprintf(text, sizeof text, "0x%lx", value);
    return text;
}

const std::string stampText = "11/16/26 18:20:07.042 UTC";
const pthread_t thread = pthread_self(); /* a child's one has the same id */
const std::string stampLine = stampText + " 1794853207042ms thread " + hex(thread) + "\n";

std::string pid() {
    return std::to_string(report.pid);
}

std::string invoked(const std::string& message) {
    return "\nHostCallDebugger: invoked at: " + stampLine + message + "\n";
}

std::string stackPrint(const std::string& content) {
    return "\nBegin attempt to print C-level stack for process " + pid() + " at: " + stampLine +
           content + "\nEnd of C-level stack for process " + pid() + "\n\n";
}

std::string banner(int delay) {
    return "\n __________________________________ \n"
           "|  HostCallDebugger: Waiting for a C Debugger to attach, process " +
           pid() + " at " + stampText + "\n|  process " + pid() + " (" +
           hex(static_cast<unsigned long>(report.pid)) + "), thread " + std::to_string(thread) +
           " (" + hex(thread) + "), sleep time " + std::to_string(delay) +
           "\n|__________________________________ \n";
}

const std::string noPrinter =
    "  Warning: Unable to print C++ call stack.  'pstack' file not found\n";

TEST(FatalPath, ReportsTheEventWaitsAndEndsTheProcess) {
    const auto outcome = inProcess([] { HostCallDebuggerMsg("boom"); });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, invoked("boom") + stackPrint(noPrinter) + banner(60));
    EXPECT_EQ(sleeps(), std::vector<long>(20, 3));
}

TEST(FatalPath, FailedGuaranteeNamesItsPlaceInALimitedMessageAfterBufferedOutput) {
    const auto failed = [](const std::string& file) {
        return inProcess([&] {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            printf("buffered");
            HostCallDebuggerMsg_fl(file.c_str(), 1137);
        });
    };
    const std::string text = "UTL_GUARANTEE failed, File ";
    EXPECT_THAT(failed("utl").err, StartsWith("buffered" + invoked(text + "utl line 1137\n")));
    EXPECT_THAT(failed(std::string(5000, 'm')).err,
                StartsWith("buffered" + invoked(text + std::string(4068, 'm')) + "Begin"));
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
    const auto outcome = inProcess([] {
        setenv("TX_CORE_TIME_OUT", "7", 1);
        HostCallDebuggerMsg("boom");
    });
    EXPECT_THAT(outcome.err, EndsWith(banner(7)));
    /* for the debugger, and then, as the variable is set, for other fatal events */
    EXPECT_EQ(sleeps(), (std::vector<long>{3, 3, 3, 2, 2, 2, 1}));
}

TEST(FatalPath, WaitSurvivesInterruptionsAndEndsOnATerminationRequest) {
    const auto outcome = inProcess([] {
        const ScopedOverride<decltype(nanosleep)> sleep(
            "nanosleep", [](const timespec* span, timespec* left) {
                report.sleeps[report.sleepCount++] = span->tv_sec;
                if (report.sleepCount == 5) {
                    HostIncrementSigTerm();
                }
                *left = {1, 0};
                errno = EINTR;
                return report.sleepCount == 2 ? -1 : 0;
            });
        HostCallDebuggerMsg("boom");
    });
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(sleeps(), (std::vector<long>{3, 3, 1, 3, 3}));
}

TEST(FatalPath, FirstEventIsReportedToTheServerAndOthersGiveItTimeBeforeTheyExit) {
    const auto outcome = inProcess([] {
        HostCheckFatalErr(); /* nothing has happened */
        HostFatalReportFunc = [](const char* message, const TciCTimeStringType* when,
                                 unsigned short milliseconds) {
            printf("%s|%s|%d", message, when->msg, milliseconds);
            setenv("TX_CORE_TIME_OUT", "5", 1);
            HostCheckFatalErr();
            HostIncrementSigTerm();
            HostCheckFatalErr();
            exit(0);
        };
        HostCallDebuggerMsg("boom");
    });
    EXPECT_EQ(outcome.out, "boom|11/16/26 18:20:07.%.3d UTC|42");
    EXPECT_EQ(sleeps(), (std::vector<long>{2, 2, 1}));
}

const std::string dumpable = "prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) = 1\n";

/* A fatal event with a shell script as the installation's stack printer. */
Outcome fatalWith(const std::string& script, const std::function<void()>& before, int mode = 0755) {
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
        HostCallDebuggerMsg("boom");
    });
}

TEST(StackPrinter, GetsTheProcessAndTheTerminalFlag) {
    auto outcome = fatalWith("echo \"$*\"\necho stack >&2\n", [] { close(STDIN_FILENO); });
    EXPECT_EQ(outcome.out, dumpable + pid() + "\n");
    EXPECT_EQ(outcome.err, invoked("boom") + stackPrint("stack\n") + banner(60));

    outcome = fatalWith("echo \"$*\"", [] {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        unlockpt(terminal);
        dup2(open(ptsname(terminal), O_RDWR | O_NOCTTY), STDIN_FILENO);
    });
    EXPECT_EQ(outcome.out, dumpable + "-b " + pid() + "\n");
}

TEST(StackPrinter, IsTheSystemsOneWithoutAnInstallation) {
    const auto outcome = inProcess([] {
        unsetenv("TALVEX");
        const ScopedOverride<int(const char*, struct stat64*)> look(
            "stat64", [](const char* path, struct stat64*) {
                printf("%s\n", path);
                return -1;
            });
        HostCallDebuggerMsg("boom");
    });
    EXPECT_THAT(outcome.out, EndsWith("/bin/pstack\n"));
    EXPECT_THAT(outcome.err, HasSubstr(stackPrint(noPrinter)));
}

void failFromNowOn(const char* function, int error, int nth, int count) {
    static std::optional<ScopedFault> fault;
    fault.emplace(function, error, nth, count);
}

TEST(StackPrinter, FailureIsReportedAndThePathGoesOn) {
    const std::string noFork =
        "vfork() failure, errno = 11\nUtlVForkAndExec failure, line 1148, errno 11";
    const std::string forbidden =
        "      System Error:  execv() of child  failed with errno 13, EACCES Permission denied";
    const std::string noWait = "Problem calling waitpid(), result = -1, errno = 22\n";
    using Case = std::tuple<const char*, int, const char*, int, int, std::string, std::string>;
    const Case cases[] = {
        {"kill -9 $$", 0755, "vfork", EAGAIN, 0, "", ""},
        {"", 0644, "vfork", EAGAIN, 0, "", forbidden},
        {"", 0755, "vfork", EAGAIN, 1, noFork, "  Problem calling fork, errno=11\n"},
        {"echo x", 0755, "vfork", EINTR, 2, "x\n", ""},
        {"echo x", 0755, "vfork", ERESTART, 2, "x\n", ""},
        {"echo x", 0755, "waitpid", EINTR, 2, "x\n", ""},
        {"exit 7", 0755, "waitpid", ECHILD, 1, "", ""},
        {"exit 7", 0755, "waitpid", EINVAL, 1, "", noWait}};
    testsupport::forEachRow(cases, [&](const auto& script, const auto& mode, const auto& function,
                                       const auto& error, const auto& count, const auto& out,
                                       const auto& err) {
        const auto armed = [&] { failFromNowOn(function, error, 1, count); };
        const auto outcome = fatalWith(script, armed, mode);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, dumpable + out);
        EXPECT_EQ(outcome.err, invoked("boom") + stackPrint(err) + banner(60));
    });
}

TEST(StackPrinter, MayTraceTheProcess) {
    const std::string notDumpable = "prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) = 0\n";
    const std::tuple<int, int, std::string> cases[] = {
        {0, 9, notDumpable + "prctl(PR_SET_DUMPABLE, 1) ok\nprctl(PR_GET_DUMPABLE) = 1\n"},
        {0, 2,
         notDumpable +
             "prctl(PR_SET_DUMPABLE, 1) failed, errno 1, EPERM Operation not permitted\n"},
        {1, 2, dumpable + "PR_SET_PTRACER failed, errno 1, pstack may fail\n"}};
    testsupport::forEachRow(cases,
                            [&](const auto& isDumpable, const auto& failingCall, const auto& out) {
                                const auto outcome = fatalWith("", [&] {
                                    prctl(PR_SET_DUMPABLE, isDumpable, 0, 0, 0);
                                    failFromNowOn("prctl", EPERM, failingCall, 1);
                                });
                                EXPECT_EQ(outcome.out, out);
                            });
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
    testsupport::forEachRow(
        cases, [&](const auto& effective, const auto& failures, const auto& line, const auto& ids) {
            const auto outcome = fatalWith("grep Uid /proc/$PPID/status\n", [&] {
                ASSERT_EQ(setresuid(1, effective, 0), 0);
                failFromNowOn("setreuid", EPERM, 1, failures);
            });
            EXPECT_THAT(outcome.out, StartsWith(line + "prctl("));
            EXPECT_THAT(outcome.out, EndsWith("Uid:\t" + ids));
        });
}

TEST(StackPrinter, IsWaitedForUntilItEnds) {
    const std::string script = "while [ ! -e $TALVEX/end ]; do sleep 0.01; done\necho late >&2\n";
    const auto outcome = fatalWith(script, [] {
        std::thread([] {
            while (callCount("poll") < 200) { /* two a look: 20 seconds, if these were real */
                usleep(1000);
            }
            std::ofstream(getenv("TALVEX") + std::string("/end"));
        }).detach();
    });
    EXPECT_EQ(outcome.err, invoked("boom") + stackPrint("late\n") + banner(60));
}

TEST(StackPrinter, EndIsHiddenFromTheProgramsOwnHandler) {
    static int handled;
    const auto outcome = fatalWith("exit 0", [] {
        signal(SIGCHLD, [](int) { handled++; });
        atexit([] {
            raise(SIGCHLD);
            printf("%d", handled); /* only our own */
        });
    });
    EXPECT_EQ(outcome.out, dumpable + "1");
}

/* Two events at the same moment, and one more while they wait. */
TEST(FatalPath, OnlyTheFirstEventPrintsTheStack) {
    const auto event = [] { HostCallDebuggerMsg("boom"); };
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
                std::thread(event).detach();
            }
            if (place < 3) {
                pause();
            }
            HostIncrementSigTerm();
            return 0;
        });
        std::thread(event).detach();
        event();
    });
    EXPECT_EQ(outcome.status, 5);
    const size_t end = outcome.err.find("End of C-level stack");
    EXPECT_THAT(outcome.err.substr(end), HasSubstr("\nboom\n"));
    EXPECT_EQ(outcome.err.find("Begin attempt"), outcome.err.rfind("Begin attempt"));
}

TEST(SignalSafePrint, WritesEverythingUnlessTheDescriptorFails) {
    const std::tuple<int, int, const char*> cases[] = {
        {EINTR, 0, "0123456789"}, {EAGAIN, 0, "0123"}, {0, 1, "0123"}};
    testsupport::forEachRow(cases, [&](const auto& error, const auto& isEnd, const auto& written) {
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
    const std::tuple<void (*)(int), int, bool, int> cases[] = {{UtlExit, 3, false, 3},
                                                               {UtlExit, 3, true, 5},
                                                               {UtlExitMt, 1, false, 1},
                                                               {UtlExitMt, 1, true, 5}};
    testsupport::forEachRow(cases, [&](const auto& exitCall, const auto& status,
                                       const auto& isTerminated, const auto& expected) {
        const auto outcome = inProcess([&] {
            if (isTerminated) {
                HostIncrementSigTerm();
            }
            setenv("TX_CORE_TIME_OUT", "5", 1); /* no fatal event: nothing to wait for */
            printf("flushed");
            exitCall(status);
        });
        EXPECT_EQ(outcome.status, expected);
        EXPECT_EQ(outcome.out, "flushed");
        EXPECT_TRUE(sleeps().empty());
    });
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
    std::string words;
    for (int i = 0; i < 40; i++) {
        words += "word ";
    }
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {""}},
        {"a b\n\nc\n", {"a b", "", "c", ""}},
        {x(76) + " y", {x(76) + " y"}},
        {x(77) + "  y", {x(77), " y"}},
        {x(78), {x(78)}},
        {x(79), {x(79)}},
        {x(80), {x(80)}},
        {x(2045) + " y", {x(2045), "y"}},
        {x(5000), {x(2046), x(2046), x(908)}},
        {words, {words.substr(0, 79), words.substr(80, 79), words.substr(160)}}};
    testsupport::forEachRow(cases, [&](const auto& text, const auto& lines) {
        std::string expected;
        for (const std::string& line : lines) {
            expected += framed(line);
        }
        EXPECT_EQ(inChild([&] { VerMessage(stdout, text.c_str()); }).out, expected);
    });
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
