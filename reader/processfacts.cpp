#include "processfacts.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace reader {

using samples::ProcessFacts;
using samples::ProcessState;

namespace {

constexpr int64_t nsInSecond = 1'000'000'000;

/* Owns a descriptor of /proc. */
class ProcFile {
public:
    ProcFile(pid_t pid, const char* name) {
        std::array<char, 64> path;
        std::snprintf(path.data(), path.size(), "/proc/%d/%s", static_cast<int>(pid), name);
        fd = open(path.data(), O_RDONLY | O_CLOEXEC);
    }
    ProcFile(const ProcFile&) = delete;
    ProcFile& operator=(const ProcFile&) = delete;
    ~ProcFile() {
        if (fd >= 0) {
            close(fd);
        }
    }
    /* Its text, as far as it fits; empty when it can't be read. */
    template <size_t size> std::string_view text(std::array<char, size>& buffer) const {
        const ssize_t count = fd < 0 ? -1 : read(fd, buffer.data(), buffer.size());
        return {buffer.data(), count > 0 ? static_cast<size_t>(count) : 0};
    }
    /* The user that the file belongs to. */
    std::optional<uid_t> owner() const {
        struct stat status;
        return fd >= 0 && fstat(fd, &status) == 0 ? std::optional(status.st_uid) : std::nullopt;
    }

private:
    int fd;
};

int64_t nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * nsInSecond + now.tv_nsec;
}

/* The moment of the host's start, since the epoch. The distance of the clocks never changes but
 * when the wall clock is set; rounding takes away that they can't be read at once, so that every
 * reader finds the same. */
int64_t bootTimeNs() {
    static const int64_t time = [] {
        constexpr int64_t grain = 10'000'000;
        const int64_t distance = nanosecondsOf(CLOCK_REALTIME) - nanosecondsOf(CLOCK_BOOTTIME);
        return (distance + grain / 2) / grain * grain;
    }();
    return time;
}

int64_t nsOfTicks(int64_t ticks) {
    static const int64_t ticksInSecond = sysconf(_SC_CLK_TCK);
    return ticks * (nsInSecond / ticksInSecond);
}

ProcessState stateOf(char letter) {
    switch (letter) {
    case 'T':
    case 't':
        return ProcessState::Stopped;
    case 'Z':
    case 'X':
    case 'x':
        return ProcessState::Zombie;
    default:
        return ProcessState::Alive;
    }
}

/* The word with the given number, from 0, of words with one blank between them. */
std::string_view wordOf(std::string_view text, int number) {
    for (; number > 0; number--) {
        const size_t blank = text.find(' ');
        text = blank == std::string_view::npos ? std::string_view() : text.substr(blank + 1);
    }
    return text.substr(0, text.find(' '));
}

/* The user of a process whose files belong to root: those of one that changed its user belong to
 * root, too. */
uint32_t exactUser(pid_t pid) {
    std::array<char, 2048> buffer;
    const std::string_view text = ProcFile(pid, "status").text(buffer);
    constexpr std::string_view key = "\nUid:\t";
    const size_t at = text.find(key);
    if (at == std::string_view::npos) {
        return samples::unknownUser;
    }
    /* Real, effective, saved, of the file system. */
    const size_t effective = text.find('\t', at + key.size());
    uint32_t user = samples::unknownUser;
    if (effective != std::string_view::npos) {
        std::from_chars(text.data() + effective + 1, text.data() + text.size(), user);
    }
    return user;
}

} // namespace

std::optional<ProcessFacts> readFacts(pid_t pid) {
    std::array<char, 1024> buffer;
    const ProcFile file(pid, "stat");
    std::string_view text = file.text(buffer);
    /* "PID (NAME) STATE ...", and the name may hold anything. */
    const size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string_view::npos || nameEnd + 2 >= text.size()) {
        return std::nullopt;
    }
    text.remove_prefix(nameEnd + 2);
    constexpr int startWord = 19;
    const std::string_view start = wordOf(text, startWord);
    int64_t ticks = 0;
    std::from_chars(start.data(), start.data() + start.size(), ticks);
    ProcessFacts facts;
    facts.state = stateOf(text[0]);
    facts.startedNs = start.empty() ? 0 : bootTimeNs() + nsOfTicks(ticks);
    const uid_t owner = file.owner().value_or(samples::unknownUser);
    facts.uid = owner == 0 ? exactUser(pid) : owner;
    return facts;
}

} // namespace reader
