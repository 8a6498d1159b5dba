#include "exitstatus.h"

namespace samples {

std::span<const ExitStatusText> exitStatusTexts() {
    static constexpr ExitStatusText texts[] = {
        {ExitStatus::Ok, "the reports were made (also when interrupted)"},
        {ExitStatus::Failure, "the cache could not be attached or read, for a reason of its own"},
        {ExitStatus::Usage, "an option or argument is wrong"},
        {ExitStatus::NoCache, "no such cache or Brox runs on this host"},
        {ExitStatus::NoPermission, "no permission to read the cache"},
        {ExitStatus::WrongVersion, "the cache belongs to another version of Talvex"},
        {ExitStatus::BadExpression, "the regular expression does not compile"},
        {ExitStatus::CacheGone, "the cache went away"},
        {ExitStatus::NoMatch, "no process was ever selected"},
        {ExitStatus::OutputFailed, "standard output could not be written"},
        {ExitStatus::DamagedInput,
         "a recording or stream is damaged; what could be read was shown"},
        {ExitStatus::SeveralStatuses, "several caches ended with different statuses"},
    };
    return texts;
}

std::optional<ExitStatus> exitStatusOf(int number) {
    for (const ExitStatusText& entry : exitStatusTexts()) {
        if (static_cast<int>(entry.status) == number) {
            return entry.status;
        }
    }
    return std::nullopt;
}

} // namespace samples
