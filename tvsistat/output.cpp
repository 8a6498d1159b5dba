#include "output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tvsistat {
namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/* False where a write can wait for a reader: at pipes, sockets and terminals. */
bool neverWaits(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 &&
           (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode) ||
            (S_ISCHR(status.st_mode) && isatty(descriptor) == 0));
}

/* What a pipe or terminal with some room takes without waiting for its reader, who may be slow, so
 * that a stop never waits for one: a whole pipe when it is empty, a little otherwise. */
size_t pieceSize() {
    int unread = 1;
    const int capacity = fcntl(STDOUT_FILENO, F_GETPIPE_SZ);
    const bool isEmptyPipe =
        capacity > 0 && ioctl(STDOUT_FILENO, FIONREAD, &unread) == 0 && unread == 0;
    return isEmptyPipe ? static_cast<size_t>(capacity) : PIPE_BUF;
}

} // namespace

int writeOut(std::string_view text, const std::function<Deadline()>& meanwhile) {
    const bool isFile = neverWaits(STDOUT_FILENO);
    while (!text.empty()) {
        size_t piece = text.size();
        if (!isFile) {
            pollfd out{STDOUT_FILENO, POLLOUT, 0};
            int ready = 0;
            while (ready == 0) {
                ready = pollUntil({&out, 1}, meanwhile ? meanwhile() : noDeadline);
            }
            if (ready < 0) {
                return errno;
            }
            piece = std::min(piece, pieceSize());
        }
        const ssize_t written = write(STDOUT_FILENO, text.data(), piece);
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            return errno;
        }
    }
    return 0;
}

samples::Failure outputFailure(int error) {
    using samples::ExitStatus;
    /* A reader that has left wants to hear nothing more; a full disk is worth a sentence. */
    if (error == EPIPE) {
        return {ExitStatus::OutputFailed, ""};
    }
    return {ExitStatus::OutputFailed,
            "standard output cannot be written: " + std::generic_category().message(error)};
}

void complain(std::string_view sentence) {
    std::string line = "tvsistat: ";
    line += sentence;
    line += '\n';
    /* In one piece, so that the lines of several programs don't mix; nobody hears of its failure.
     */
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

bool outputIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

bool outputTakesEscapes() {
    const char* const terminal = std::getenv("TERM");
    return outputIsTerminal() && !isSet("NO_COLOR") && terminal != nullptr && *terminal != '\0' &&
           std::strcmp(terminal, "dumb") != 0;
}

} // namespace tvsistat
