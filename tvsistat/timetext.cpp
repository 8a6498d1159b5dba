#include "timetext.h"

#include "numbertext.h"

namespace tvsistat {
namespace {

constexpr int64_t second = 1000000000;

/* Whole seconds, rounded down, and the nanoseconds left. */
std::pair<int64_t, int64_t> splitSecond(int64_t nanoseconds) {
    int64_t seconds = nanoseconds / second;
    int64_t rest = nanoseconds % second;
    if (rest < 0) {
        seconds--;
        rest += second;
    }
    return {seconds, rest};
}

std::string formatted(const char* format, const struct tm& parts) {
    char text[64];
    return {text, std::strftime(text, sizeof text, format, &parts)};
}

} // namespace

bool TimeText::split(int64_t seconds, struct tm& parts) const {
    const time_t moment = seconds;
    return (isUtc ? gmtime_r(&moment, &parts) : localtime_r(&moment, &parts)) != nullptr;
}

void TimeText::append(std::string& text, int64_t nanoseconds, int decimals) {
    const auto [seconds, rest] = splitSecond(nanoseconds);
    if (seconds != lastSecond) {
        struct tm parts {};
        if (!split(seconds, parts)) {
            appendInteger(text, seconds);
            return;
        }
        lastSecond = seconds;
        lastDate = formatted("%Y-%m-%dT%H:%M:%S", parts);
        lastZone = isUtc ? "Z" : formatted("%z", parts);
        if (lastZone.size() == 5) {
            lastZone.insert(3, 1, ':');
        }
    }
    text += lastDate;
    if (decimals > 0) {
        text += '.';
        int64_t unit = second / 10;
        for (int i = 0; i < decimals; i++, unit /= 10) {
            text += static_cast<char>('0' + rest / unit % 10);
        }
    }
    text += lastZone;
}

void TimeText::appendSeconds(std::string& text, int64_t seconds) {
    if (seconds > INT64_MAX / second || seconds < INT64_MIN / second) {
        appendInteger(text, seconds);
    } else {
        append(text, seconds * second, 0);
    }
}

void TimeText::appendShort(std::string& text, int64_t seconds, int64_t nowNs) {
    struct tm parts {};
    struct tm now {};
    const bool isKnown = split(seconds, parts) && split(splitSecond(nowNs).first, now);
    if (!isKnown || parts.tm_year < -1900 || parts.tm_year > 9999 - 1900) {
        tvsistat::appendShort(text, static_cast<double>(seconds));
        return;
    }
    const bool isToday = parts.tm_year == now.tm_year && parts.tm_yday == now.tm_yday;
    text += formatted(isToday ? "%H:%M:%S" : "%Y-%m-%d", parts);
}

} // namespace tvsistat
