#include "output.h"

#include "stopsignal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace tvsistat {
namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/* Waits for room in a standard output that somebody made non-blocking. */
void waitForRoom() {
    pollfd out{STDOUT_FILENO, POLLOUT, 0};
    poll(&out, 1, -1);
}

} // namespace

int writeOut(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            waitForRoom();
        } else if (errno != EINTR) {
            return errno;
        }
        /* A stop ends the wait for a reader that does not read. */
        if (!text.empty() && stopIsRequested()) {
            return EINTR;
        }
    }
    return 0;
}

bool outputTakesEscapes() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && !isSet("NO_COLOR") && terminal != nullptr &&
           std::strcmp(terminal, "dumb") != 0;
}

} // namespace tvsistat
