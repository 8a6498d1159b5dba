#include "hostdebug.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hostunix.h"
#include "hostunixmt.h"
#include "unixerr.h"
#include "utl.h"
#include "utlexit.h"

HostFatalReportFuncType* HostFatalReportFunc;

namespace {

/* State of the process. Any thread may raise these, so each is an atomic. */
std::atomic<int> fatalErr{0};              /* fatal events begun, never lowered */
std::atomic<int> hostCallDebuggerCount{0}; /* entries into HostCallDebuggerMsg, never lowered */
std::atomic<int> printingStacks{0};        /* threads at the stack print */
std::atomic<int> hostFatalReportCount{0};  /* nesting of the report step */
std::atomic<int> forkCount{0};             /* threads at the start of a child */
static_assert(std::atomic<int>::is_always_lock_free);

constexpr int DEFAULT_CORE_DELAY = 60;    /* seconds */
constexpr size_t MESSAGE_SIZE = 4096;     /* a fatal message with its terminator */
constexpr size_t SAFE_LINE_SIZE = 512;    /* any other line written past the buffers */
constexpr size_t PATH_SIZE = 4097;        /* a file name with its terminator */
constexpr size_t BOX_LINE_WIDTH = 78;     /* text between the edges of the message box */
constexpr size_t BOX_BREAK_LENGTH = 76;   /* a longer line is broken at the next blank */
constexpr size_t BOX_LONGEST_LINE = 2046; /* and here at the latest */
constexpr int VFORK_FAILURE_LINE = 1148;  /* reported place, doesn't follow the source */
constexpr int64_t NANOS_ROUNDED_DOWN = 499999999;
constexpr char BOX_EDGE[] =
    "________________________________________________________________________________";
static_assert(sizeof BOX_EDGE == 80 + 1);

/* Orders everything around it, for whoever looks at the process from outside or from a debugger. */
void fullBarrier() {
    __sync_synchronize();
}

void sleepSeconds(time_t seconds) {
    timespec left = {seconds, 0};
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

bool isInterruption(int errNum) {
    return errNum == EINTR || errNum == ERESTART;
}

[[gnu::format(printf, 1, 2)]] void safePrintf(const char* format, ...) {
    char line[SAFE_LINE_SIZE];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    HostSignalSafePrint(line);
}

/* The stack printer can't attach to a process whose real user is not the effective one. */
void unifyUserIds() {
    const uid_t effective = geteuid();
    if (effective == 0 || effective == getuid()) {
        return;
    }
    const int id = static_cast<int>(effective);
    if (setreuid(effective, effective) == 0) {
        printf("setreuid(%d, %d) ok\n", id, id);
        return;
    }
    const int failure = errno;
    char text[256];
    HostStrerror(failure, text, sizeof text);
    printf("setreuid(%d, %d) failed, errno %d, %s\n", id, id, failure, text);
}

/* Nor to one that is not dumpable. */
void becomeDumpable() {
    const int dumpable = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0);
    printf("prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) = %d\n", dumpable);
    if (dumpable == 1) {
        return;
    }
    if (prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) != 0) {
        const int failure = errno;
        char text[256];
        HostStrerror(failure, text, sizeof text);
        printf("prctl(PR_SET_DUMPABLE, 1) failed, errno %d, %s\n", failure, text);
        return;
    }
    printf("prctl(PR_SET_DUMPABLE, 1) ok\n");
    printf("prctl(PR_GET_DUMPABLE) = %d\n", prctl(PR_GET_DUMPABLE, 0, 0, 0, 0));
}

/* Waits until the child is gone, also when somebody else collected it. */
void awaitChild(pid_t child) {
    for (;;) {
        HostMilliSleep(200);
        errno = 0;
        const pid_t result = waitpid(child, nullptr, WNOHANG | WUNTRACED);
        if (result == child) {
            HostNanoSleep(50000000);
            continue;
        }
        if (result != -1 || errno == EINTR) {
            continue;
        }
        if (errno != ECHILD) {
            safePrintf("Problem calling waitpid(), result = %d, errno = %d\n", result, errno);
        }
        return;
    }
}

void runStackPrinter(const PStackArgs& printer) {
    char pidText[16];
    snprintf(pidText, sizeof pidText, "%d", getpid());
    const char* args[4] = {};
    int count = 0;
    args[count++] = printer.commandName;
    if (printer.flag != nullptr) {
        args[count++] = printer.flag;
    }
    args[count] = pidText;

    unifyUserIds();
    becomeDumpable();
    fflush(stdout);

    /* The program's own handler must not collect the child or act on its end. */
    struct sigaction defaultAction = {};
    struct sigaction oldAction;
    defaultAction.sa_handler = SIG_DFL;
    sigfillset(&defaultAction.sa_mask);
    UnixIoSigaction(SIGCHLD, &defaultAction, &oldAction);

    ForkStateType start;
    start.cmdPath = printer.commandPath;
    start.argStrings = const_cast<char* const*>(args); /* execv changes none of them */
    start.forPstack = TRUE;
    start.doUtlVForkAndExec();
    if (start.childId == -1) {
        printf("UtlVForkAndExec failure, line %d, errno %d", start.line, start.errNum);
        safePrintf("  Problem calling fork, errno=%d\n", start.errNum);
    } else {
        awaitChild(start.childId);
    }

    UnixIoSigaction(SIGCHLD, &oldAction, nullptr);
}

void printStack() {
    const int pid = getpid();
    safePrintf("\nBegin attempt to print C-level stack for process %d at: ", pid);
    threadSafePrintTimestamp();

    char path[PATH_SIZE];
    HostExpandFileName("$TALVEX/bin/pstack", path, sizeof path, FALSE, TRUE);
    const PStackArgs printer = {"pstack", path, isatty(STDIN_FILENO) ? "-b" : nullptr};
    if (HostFileExist(path, nullptr)) {
        runStackPrinter(printer);
    } else {
        safePrintf("  Warning: Unable to print C++ call stack.  '%s' file not found\n",
                   printer.commandName);
    }

    safePrintf("\nEnd of C-level stack for process %d\n\n", pid);
}

/* What only the first fatal event of the process does. */
void reportFirstEvent(const char* msg) {
    unsigned short millis = 0;
    const time_t now = HostFtime(&millis);
    fflush(stderr);
    fflush(stdout);
    fatalErr.fetch_add(1);
    const bool isOutermostReport = hostFatalReportCount.fetch_add(1) == 0;
    const bool isOnlyPrinter = printingStacks.fetch_add(1) < 1;
    if (isOutermostReport && isOnlyPrinter) {
        printStack();
    }
    printingStacks.fetch_sub(1);

    TciCTimeStringType when;
    ctimeImpl(now, HOST_DATETIME_CONFIGURABLE_MS, &when);
    if (HostFatalReportFunc != nullptr) {
        HostFatalReportFunc(msg, &when, millis);
    }
    hostFatalReportCount.fetch_sub(1);
}

void printDebuggerBanner(int delay) {
    char stamp[64];
    UtlTimeStampMs(stamp, sizeof stamp);
    const int pid = getpid();
    const unsigned long thread = pthread_self();
    HostSignalSafePrint("\n __________________________________ \n");
    safePrintf("|  HostCallDebugger: Waiting for a C Debugger to attach, process %d at %s\n", pid,
               stamp);
    safePrintf("|  process %d (0x%x), thread %lu (0x%lx), sleep time %d\n", pid,
               static_cast<unsigned>(pid), thread, thread, delay);
    HostSignalSafePrint("|__________________________________ \n");
}

void awaitDebugger(int delay) {
    for (; delay >= 1; delay -= 3) {
        sleepSeconds(3);
        if (HostGetSigTermAtomic() != 0) {
            return;
        }
    }
}

/* Seconds since the epoch, to the nearest; 0 when the clock fails. */
time_t roundedWallClock() {
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return 0;
    }
    return now.tv_nsec > NANOS_ROUNDED_DOWN ? now.tv_sec + 1 : now.tv_sec;
}

/* format: print format with one text. */
void boxText(const char* format, const char* text) {
    char line[PATH_SIZE];
    snprintf(line, sizeof line, format, text);
    VerMessage(stderr, line);
}

void boxErrno(int errNum) {
    HostErrSType failure;
    failure.theErrno = errNum;
    char description[PATH_SIZE];
    HostGetErrMsg(&failure, description, sizeof description);
    char line[PATH_SIZE + 64];
    snprintf(line, sizeof line, "           Last 'errno': %d (%s)", errNum, description);
    VerMessage(stderr, line);
}

/* Only one thread at a time starts a child. */
void acquireForkTurn() {
    while (forkCount.fetch_add(1) != 0) {
        forkCount.fetch_sub(1);
        HostMilliSleep(10);
    }
}

/* Runs in the child, on the memory and the stack of its suspended parent. */
[[noreturn]] void execInChild(ForkStateType* start) {
    execv(start->cmdPath, start->argStrings);
    start->errNum = errno;
    start->printOsErr("execv() of child ");
    fprintf(stderr, "      System Error:  %s", start->errMsg);
    fflush(stderr);
    _exit(1);
}

} // namespace

void HostCallDebuggerMsg(const char* msg) {
    fatalErr.fetch_add(1);
    fullBarrier();
    preWaitForDebugger();

    HostSignalSafePrint("\n");
    HostSignalSafePrint("HostCallDebugger: invoked at: ");
    threadSafePrintTimestamp();
    char line[MESSAGE_SIZE];
    snprintf(line, sizeof line, "%s\n", msg);
    HostSignalSafePrint(line);

    if (hostCallDebuggerCount.fetch_add(1) == 0) {
        reportFirstEvent(msg);
    }

    const int delay = HostDebugCoreDelay();
    fullBarrier();
    preWaitForDebugger();
    printDebuggerBanner(delay);
    awaitDebugger(delay);
    fullBarrier();
    UtlExitMt(1);
}

void HostCallDebuggerMsg_fl(const char* file, int line) {
    char msg[MESSAGE_SIZE];
    snprintf(msg, sizeof msg, "%s, File %s line %d\n", "UTL_GUARANTEE failed", file, line);
    HostCallDebuggerMsg(msg);
}

void hostInitCrash(const char* msg) {
    const int callersErrno = errno;
    TciCTimeStringType date;
    UtlCtime(roundedWallClock(), &date);

    fflush(stderr);
    fprintf(stderr, "\n\n");
    fprintf(stderr, " %s\n", BOX_EDGE);
    boxText("  HostInit failure: %s", msg);
    if (callersErrno != 0) {
        boxErrno(callersErrno);
    }
    boxText("                   Date: %s", date.msg);
    fprintf(stderr, "|%s|\n", BOX_EDGE);
    fflush(stderr);
    UtlExit(3);
}

void HostCheckFatalErr() {
    if (fatalErr.fetch_add(0) == 0) {
        return;
    }
    /* Not all streams: that would wait for whoever blocks in a read. exit() flushes the others. */
    preWaitForDebugger();
    for (int left = HostDebugCoreDelay(); left > 0; left -= 2) {
        if (fatalErr.fetch_add(0) == 0 || HostGetSigTermAtomic() != 0) {
            return;
        }
        sleepSeconds(left < 2 ? left : 2);
    }
}

int HostDebugCoreDelay() {
    char text[80];
    if (!HostGetEnv("TX_CORE_TIME_OUT", text, sizeof text)) {
        return DEFAULT_CORE_DELAY;
    }
    const long seconds = strtol(text, nullptr, 10);
    if (seconds < 1) {
        return DEFAULT_CORE_DELAY;
    }
    return seconds < INT_MAX ? static_cast<int>(seconds) : INT_MAX;
}

void HostSignalSafePrint(const char* text) {
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t written = write(STDERR_FILENO, text, left);
        if (written == -1 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        text += written;
        left -= static_cast<size_t>(written);
    }
}

void preWaitForDebugger() {
    fflush(stdout);
    fflush(stderr);
}

void VerMessage(FILE* f, const char* text) {
    char line[BOX_LONGEST_LINE + 1];
    size_t length = 0;
    for (; *text != '\0'; text++) {
        const bool isBreak = *text == '\n' || (length > BOX_BREAK_LENGTH && *text == ' ');
        if (!isBreak) {
            line[length++] = *text;
        }
        if (!isBreak && length < BOX_LONGEST_LINE) {
            continue;
        }
        line[length] = '\0';
        dumpShortLine(f, line);
        length = 0;
    }
    line[length] = '\0';
    dumpShortLine(f, line);
}

void dumpShortLine(FILE* f, const char* line) {
    const size_t length = strlen(line);
    const char* edge = "";
    if (length <= BOX_LINE_WIDTH) {
        edge = " |";
    } else if (length == BOX_LINE_WIDTH + 1) {
        edge = "|";
    }
    fprintf(f, "| %-*s%s\n", static_cast<int>(BOX_LINE_WIDTH), line, edge);
}

void ForkStateType::doUtlVForkAndExec() {
    acquireForkTurn();
    fflush(stdout);
    fflush(stderr);
    do {
        /* Not posix_spawn: a child that can't exec says so in this object and on standard error,
         * while this thread is suspended. */
        // NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork)
        const pid_t child = vfork();
        if (child == 0) {
            execInChild(this);
        }
        // NOLINTEND(clang-analyzer-security.insecureAPI.vfork, clang-analyzer-unix.Vfork)
        childId = child;
        if (child == -1) {
            errNum = errno;
        }
    } while (childId == -1 && isInterruption(errNum) && HostGetSigTermAtomic() == 0);
    forkCount.fetch_sub(1);

    if (childId == -1) {
        printf("vfork() failure, errno = %d\n", errNum);
        line = VFORK_FAILURE_LINE;
        return;
    }
    if (forPstack && prctl(PR_SET_PTRACER, static_cast<unsigned long>(childId), 0, 0, 0) != 0) {
        printf("PR_SET_PTRACER failed, errno %d, pstack may fail\n", errno);
        fflush(stdout);
    }
}

void ForkStateType::printOsErr(const char* what) {
    char description[512];
    HostStrerror(errNum, description, sizeof description);
    snprintf(errMsg, sizeof errMsg, "%s failed with errno %d, ", what, errNum);
    UtlStrlcat(errMsg, description, sizeof errMsg);
}

void hostClearFatalReport() {
    HostFatalReportFunc = nullptr;
    hostFatalReportCount = 0;
}
