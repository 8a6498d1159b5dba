/* What /proc says of one process. Every function may be called from any thread. */
#ifndef PROCESSFACTS_H
#define PROCESSFACTS_H

#include "sample.h"

#include <optional>
#include <sys/types.h>

namespace reader {

/* State, start and user of the process, read afresh (10 to 25 microseconds); nothing when /proc
 * doesn't show it. Without the user, who then is unknown, it takes five sixths of that. */
std::optional<samples::ProcessFacts> readFacts(pid_t pid, bool withUser = true);

/* A process whose state is read again and again: from a file that is kept open (4 microseconds). */
class StateFile {
public:
    StateFile() = default;
    StateFile(const StateFile&) = delete;
    StateFile& operator=(const StateFile&) = delete;
    ~StateFile() { close(); }

    bool isOpen() const { return fd >= 0; }
    void open(pid_t pid);
    void close();
    /* The state and the start, not the user, of the very process that it was opened for; nothing
     * when that has ended. */
    std::optional<samples::ProcessFacts> read() const;

private:
    int fd = -1;
};

} // namespace reader

#endif
