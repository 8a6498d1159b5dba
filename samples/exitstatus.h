/* The exit statuses of the programs: one table from which their help and manuals are made. */
#ifndef EXITSTATUS_H
#define EXITSTATUS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace samples {

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
    OutputFailed = 9,
    DamagedInput = 10,
    SeveralStatuses = 11
};

struct ExitStatusText {
    ExitStatus status;
    std::string_view text;
};

/* Every status once, by number. */
std::span<const ExitStatusText> exitStatusTexts();

/* The status with this number; nothing when there is none. */
std::optional<ExitStatus> exitStatusOf(int number);

/* Why a program ends: the status and one sentence for standard error (empty: say nothing). */
struct Failure {
    ExitStatus status;
    std::string sentence;
};

} // namespace samples

#endif
