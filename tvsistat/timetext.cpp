#include "timetext.h"

#include "digits.h"
#include "numbertext.h"

#include <array>
#include <string_view>

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

/* "2026-11-16T18:20:07" of a moment in UTC since 1970, as far as 64 bits of nanoseconds go: a
 * sample has hundreds of them. */
std::string_view inUtc(int64_t seconds, std::array<char, 19>& text) {
    const auto day = static_cast<uint32_t>(seconds / 86400);
    const auto time = static_cast<uint32_t>(seconds % 86400);
    /* Years begin with March here, and are counted from that of the year 0. */
    const uint32_t sinceYear0 = day + 719468;
    const uint32_t era = sinceYear0 / 146097;
    const uint32_t dayOfEra = sinceYear0 % 146097;
    const uint32_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const uint32_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const uint32_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    const uint32_t year = era * 400 + yearOfEra + (month <= 2 ? 1 : 0);
    text = {'y', 'y', 'y', 'y', '-', 'm', 'm', '-', 'd', 'd',
            'T', 'h', 'h', ':', 'm', 'm', ':', 's', 's'};
    samples::digits::putPair(&text[0], year / 100);
    samples::digits::putPair(&text[2], year % 100);
    samples::digits::putPair(&text[5], month);
    samples::digits::putPair(&text[8], dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    samples::digits::putPair(&text[11], time / 3600);
    samples::digits::putPair(&text[14], time / 60 % 60);
    samples::digits::putPair(&text[17], time % 60);
    return {text.data(), text.size()};
}

} // namespace

bool TimeText::split(int64_t seconds, struct tm& parts) const {
    const time_t moment = seconds;
    return (isUtc ? gmtime_r(&moment, &parts) : localtime_r(&moment, &parts)) != nullptr;
}

void TimeText::append(std::string& text, int64_t nanoseconds, int decimals) {
    const auto [seconds, rest] = splitSecond(nanoseconds);
    if (seconds != lastSecond && isUtc && seconds >= 0) {
        std::array<char, 19> written;
        lastSecond = seconds;
        lastDate = inUtc(seconds, written);
        lastZone = "Z";
    } else if (seconds != lastSecond) {
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
