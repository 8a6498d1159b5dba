#include "processfacts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
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

using PathBuffer = std::array<char, 32>;

/* "/proc/PID", with a name behind it when there is one. */
const char* procPath(PathBuffer& buffer, pid_t pid, const char* name) {
    char* const end = buffer.data() + buffer.size() - 1;
    char* at = std::copy_n("/proc/", 6, buffer.data());
    at = std::to_chars(at, end, pid).ptr;
    at = std::copy_n(name, std::min<size_t>(std::strlen(name), static_cast<size_t>(end - at)), at);
    *at = '\0';
    return buffer.data();
}

/* The user that the process runs as. Its directory tells, whereas the files in it belong to root
 * once the process has changed its user. */
uint32_t userOf(pid_t pid) {
    PathBuffer path;
    struct stat status;
    return stat(procPath(path, pid, ""), &status) == 0 ? status.st_uid : samples::unknownUser;
}

int64_t nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * nsInSecond + now.tv_nsec;
}

/* The moment of the host's start, since the epoch. The distance of the clocks never changes but
 * when the wall clock is set. They can't be read at once, and this process may be interrupted in
 * between: the closest of some readings counts, and rounding takes away the rest, so that every
 * reader finds the same. */
int64_t bootTimeNs() {
    static const int64_t time = [] {
        constexpr int64_t grain = 10'000'000;
        int64_t distance = 0;
        int64_t closest = INT64_MAX;
        for (int i = 0; i < 5; i++) {
            const int64_t before = nanosecondsOf(CLOCK_BOOTTIME);
            const int64_t wallClock = nanosecondsOf(CLOCK_REALTIME);
            const int64_t after = nanosecondsOf(CLOCK_BOOTTIME);
            if (after - before < closest) {
                closest = after - before;
                distance = wallClock - before;
            }
        }
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

int64_t numberIn(std::string_view word) {
    int64_t number = 0;
    std::from_chars(word.data(), word.data() + word.size(), number);
    return number;
}

/* What stands in the "stat" file of a process: "PID (NAME) STATE ...", and the name may be any. */
std::optional<ProcessFacts> parseStat(std::string_view text) {
    const size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string_view::npos || nameEnd + 2 >= text.size()) {
        return std::nullopt;
    }
    text.remove_prefix(nameEnd + 2);
    constexpr int threadsWord = 17;
    constexpr int startWord = 19;
    ProcessFacts facts;
    facts.state = stateOf(text[0]);
    if (facts.state == ProcessState::Zombie && numberIn(wordOf(text, threadsWord)) > 1) {
        facts.state = ProcessState::Alive; /* only its first thread has ended */
    }
    const std::string_view start = wordOf(text, startWord);
    facts.startedNs = start.empty() ? 0 : bootTimeNs() + nsOfTicks(numberIn(start));
    return facts;
}

} // namespace

std::optional<ProcessFacts> readFacts(pid_t pid, bool withUser) {
    StateFile file;
    file.open(pid);
    auto facts = file.read();
    if (facts && withUser) {
        facts->uid = userOf(pid);
    }
    return facts;
}

void StateFile::open(pid_t pid) {
    close();
    PathBuffer path;
    fd = ::open(procPath(path, pid, "/stat"), O_RDONLY | O_CLOEXEC);
}

void StateFile::close() {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

std::optional<ProcessFacts> StateFile::read() const {
    std::array<char, 1024> buffer;
    const ssize_t count = fd < 0 ? -1 : pread(fd, buffer.data(), buffer.size(), 0);
    return parseStat({buffer.data(), count > 0 ? static_cast<size_t>(count) : 0});
}

} // namespace reader
