#include "utlexit.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "fatal.h"
#include "hostunix.h"
#include "hostunixmt.h"

UtlExitFuncSType NextRegisteredExitFuncPtr;

namespace {

/* The status that tells a parent that the process ended on request. */
constexpr int STATUS_TERMINATED = 5;

/* How many times UtlExit was called in this process. */
std::atomic<int> InExit{0};

void awaitFatalEvents() {
    char timeOut[80];
    if (HostGetEnv("TX_CORE_TIME_OUT", timeOut, sizeof timeOut)) {
        HostCheckFatalErr();
    }
}

int statusToReport(int status) {
    return HostGetSigTermAtomic() != 0 ? STATUS_TERMINATED : status;
}

/* Each function runs once, also when it leads back here. */
void runExitFunctions() {
    UtlExitFuncSType* const head = &NextRegisteredExitFuncPtr;
    for (UtlExitFuncSType* entry = head->next; entry != nullptr && entry != head;
         entry = entry->next) {
        void (*const func)() = entry->func;
        entry->func = nullptr;
        if (func != nullptr) {
            func();
        }
    }
}

} // namespace

void UtlExitFuncListInit() {
    NextRegisteredExitFuncPtr.next = &NextRegisteredExitFuncPtr;
    NextRegisteredExitFuncPtr.func = nullptr;
}

void UtlExit(int status) {
    awaitFatalEvents();
    if (InExit.fetch_add(1) > 0) {
        return;
    }
    const int reported = statusToReport(status);
    runExitFunctions();
    exit(reported);
}

void UtlExitMt(int status) {
    const int reported = statusToReport(status);
    fflush(stdout);
    fflush(stderr);
    awaitFatalEvents();
    exit(reported);
}
