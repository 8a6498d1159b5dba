/* Processes in which host services are tried: at a fixed time, with an environment of their own. */
#ifndef TESTING_HOSTPROCESS_H
#define TESTING_HOSTPROCESS_H

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <regex>
#include <time.h>

#include "faults.h"
#include "process.h"

namespace testsupport {

constexpr time_t november16 = 1794853207; /* 2026-11-16 18:20:07 UTC */

/*
 * A process in which it is always November 16 and `nanoseconds`, with the C locale, without the
 * library's variables and without an installed stack printer, and where nanosleep doesn't wait.
 */
inline Outcome inNovember(const std::function<void()>& body, const char* zone = "UTC0",
                          long nanoseconds = 42999999) {
    return inChild([&] {
        for (const char* name : {"TX_CFTIME", "TX_TXLIST_TIME_FORMAT", "TX_CORE_TIME_OUT",
                                 "TALVEX_NO_SETRLIMIT", "TX_LOGIN_NAME"}) {
            unsetenv(name);
        }
        setenv("TALVEX", "/nonexistent", 1);
        setenv("TZ", zone, 1);
        tzset();
        setlocale(LC_ALL, "C");
        const ScopedOverride<decltype(clock_gettime)> clock("clock_gettime",
                                                            [&](clockid_t, timespec* now) {
                                                                *now = {november16, nanoseconds};
                                                                errno = EDOM;
                                                                return 0;
                                                            });
        const ScopedOverride<decltype(nanosleep)> noWait(
            "nanosleep", [](const timespec*, timespec*) { return 0; });
        body();
    });
}

/* The pairs of a table of "key=value" with a line's end or two blanks and more between them. */
inline std::vector<std::pair<std::string, std::string>> pairs(const std::string& table) {
    static const std::regex pair("(\\S[^=\n]*)=((?:\\S| (?=\\S))*)");
    std::vector<std::pair<std::string, std::string>> all;
    for (std::sregex_iterator at(table.begin(), table.end(), pair), end; at != end; ++at) {
        all.emplace_back((*at)[1], (*at)[2]);
    }
    return all;
}

} // namespace testsupport

#endif
