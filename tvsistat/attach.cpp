#include "attach.h"

#include "report.h"
#include "tvsi.h"

#include <fmt/format.h>

namespace tvsistat {
namespace {

/* A failed attach has one status for many reasons; what tells them apart is the library's
 * text: how it begins, or the name of the system's error at its end. */
struct AttachReason {
    std::string_view marker;
    ExitStatus status;
    fmt::string_view sentence; /* {0} is the cache */
};

constexpr AttachReason attachReasons[] = {
    {"EACCES", ExitStatus::NoPermission,
     "no permission to read {0}: run as the server's user or as a member of its group"},
    {"EPERM", ExitStatus::NoPermission,
     "no permission to read {0}: run as the server's user or as a member of its group"},
    {"file not found:", ExitStatus::NoCache, "there is no {0} on this host"},
    {"Error reading lock file", ExitStatus::NoCache, "{0} is not running: its monitor has ended"},
    {"ENOENT", ExitStatus::NoCache, "{0} is not running: its memory segment is gone"},
    {"[ERROR]: Time out", ExitStatus::Failure,
     "{0} did not finish its start within 2 seconds: try again, or see whether its monitor has "
     "died"},
};

/* The library's text as one line that a terminal can show. */
std::string oneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool isBlank = c == '\n' || c == ' ';
        if (!isBlank) {
            appendPrintable(line, {&c, 1});
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

/* What the library adds to a text when a system call has failed; empty when none has. */
std::string_view systemErrorIn(std::string_view text) {
    const size_t begin = text.rfind(" failed with ");
    return begin == std::string_view::npos ? "" : text.substr(begin);
}

Failure reasonedFailure(const std::string& title, std::string_view libraryText) {
    for (const AttachReason& reason : attachReasons) {
        if (libraryText.starts_with(reason.marker) ||
            systemErrorIn(libraryText).find(reason.marker) != std::string_view::npos) {
            return {reason.status, fmt::format(fmt::runtime(reason.sentence), title)};
        }
    }
    if (libraryText.empty()) {
        return {ExitStatus::Failure,
                fmt::format("{} cannot be attached: its memory segment is not laid out as this "
                            "version expects",
                            title)};
    }
    return {ExitStatus::Failure,
            fmt::format("{} cannot be attached: {}", title, oneLine(libraryText))};
}

} // namespace

std::string Target::title() const {
    std::string text = isBrox ? "cache of Brox " : "cache ";
    appendPrintable(text, name);
    return text;
}

Failure attachFailure(const Target& target, int status, std::string_view libraryText) {
    switch (status) {
    case TVSI_ERR_CACHE_NOT_FOUND:
        return {ExitStatus::NoCache, fmt::format("there is no {} on this host", target.title())};
    case TVSI_ERR_CACHE_WRONG_VERSION:
        return {ExitStatus::WrongVersion,
                fmt::format("{} belongs to another version of Talvex: use the tvsistat of the "
                            "server's own installation",
                            target.title())};
    default:
        return reasonedFailure(target.title(), libraryText);
    }
}

std::optional<Failure> attachTo(const Target& target) {
    TvsiInit();
    char text[1200]; /* the library's error records hold up to 1023 characters */
    const int status = target.isBrox
                           ? TvsiAttachSharedCacheForBrox(target.name.c_str(), text, sizeof text)
                           : TvsiAttachSharedCache(target.name.c_str(), text, sizeof text);
    if (status == TVSI_SUCCESS) {
        return std::nullopt;
    }
    return attachFailure(target, status, text);
}

} // namespace tvsistat
