/*
 * $TX_CFTIME and $TX_TXLIST_TIME_FORMAT of any form. An input: a time, the size of the result's
 * buffer, the one format up to a line feed, the other.
 */
#include <dlfcn.h>
#include <pthread.h>

#include "fuzzing.h"
#include "utl.h"

using namespace fuzzing;

namespace {

bool isFirstUse; /* the formats are read again at each use */

/* As the library prints it: all of it, or the beginning. */
void requireBeginning(const char* whole, const Buffer& part, const char* text) {
    require(part.size() == 0 || strncmp(whole, text, part.size() - 1) == 0,
            "a small buffer has the beginning of the text");
}

} // namespace

extern "C" int pthread_once(pthread_once_t* control, void (*routine)()) {
    if (isFirstUse) {
        routine();
        return 0;
    }
    static auto* const real =
        reinterpret_cast<int (*)(pthread_once_t*, void (*)())>(dlsym(RTLD_NEXT, "pthread_once"));
    return real(control, routine);
}

int LLVMFuzzerInitialize(int*, char***) {
    setenv("TZ", "UTC0", 1); /* else each use looks whether /etc/localtime has changed */
    silenceLibrary();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto time = input.take<std::int64_t>();
    Buffer result(input.take<std::uint8_t>());
    setenv("TX_CFTIME", input.takeText('\n').c_str(), 1);
    setenv("TX_TXLIST_TIME_FORMAT", input.takeRest().c_str(), 1);
    isFirstUse = true;
    TciCTimeStringType date;
    UtlCtime(time, &date);
    require(strnlen(date.msg, sizeof date.msg) <= 98, "a date has 98 characters");
    ctimeImpl(time, HOST_DATETIME_CONFIGURABLE_MS, &date);
    require(strnlen(date.msg, sizeof date.msg) <= 98, "a date has 98 characters");
    char listing[128];
    UtlListTimeStr(time, listing, sizeof listing);
    UtlListTimeStr(time, result.get(), result.size());
    result.requireTerminated();
    requireBeginning(listing, result, result.get());
    const ssize_t length = UtlTimeStampMs(result.get(), result.size());
    result.requireTerminated();
    require(length >= 0 && length < 128, "a time stamp has 127 characters");
    UtlTimeStampMsStr_hostagent(result.get(), result.size());
    result.requireTerminated();
    isFirstUse = false;
    return 0;
}
