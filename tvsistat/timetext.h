/* Moments as text: ISO 8601. */
#ifndef TIMETEXT_H
#define TIMETEXT_H

#include <cstdint>
#include <ctime>
#include <string>

namespace tvsistat {

/* Writes times in the local zone or in UTC. Remembers the last second's text, which most of the
 * times in a report share. */
class TimeText {
public:
    explicit TimeText(bool inUtc) : isUtc(inUtc) {}

    /* "2026-11-16T18:20:07.042+01:00", with `decimals` (0, 3 or 6) digits of the second. */
    void append(std::string& text, int64_t nanoseconds, int decimals);

    /* The same of whole seconds; the number itself when no calendar has it. */
    void appendSeconds(std::string& text, int64_t seconds);

    /* For a narrow column: "18:20:07" on the day of `nowNs`, else "2026-11-16". */
    void appendShort(std::string& text, int64_t seconds, int64_t nowNs);

private:
    bool split(int64_t seconds, struct tm& parts) const;

    bool isUtc;
    int64_t lastSecond = INT64_MIN;
    std::string lastDate; /* "2026-11-16T18:20:07" */
    std::string lastZone; /* "+01:00", "Z" */
};

} // namespace tvsistat

#endif
