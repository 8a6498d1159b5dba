/* The exit statuses of tvsistat: one table from which --help is made. */
#ifndef EXITSTATUS_H
#define EXITSTATUS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tvsistat {

enum class ExitStatus : uint8_t {
    Ok = 0,
    Failure = 1,
    Usage = 2,
    NoCache = 3,
    NoPermission = 4,
    WrongVersion = 5,
    BadExpression = 6,
    CacheGone = 7,
    NoMatch = 8,
    OutputFailed = 9
};

struct ExitStatusText {
    ExitStatus status;
    std::string_view text;
};

/* Every status once, by number. */
std::span<const ExitStatusText> exitStatusTexts();

/* Why the program ends: the status and one sentence for standard error (empty: say nothing). */
struct Failure {
    ExitStatus status;
    std::string sentence;
};

} // namespace tvsistat

#endif
