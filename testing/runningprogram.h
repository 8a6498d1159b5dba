/* A program that runs beside the test; its output can be looked at meanwhile. */
#ifndef TESTING_RUNNINGPROGRAM_H
#define TESTING_RUNNINGPROGRAM_H

#include <unistd.h>

#include "process.h"

namespace testsupport {

/* Looks every few milliseconds whether something has come true; false when it takes too long. */
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 6000 && !condition(); ++i) {
        usleep(5000);
    }
    return condition();
}

class RunningProgram : public ChildProcess {
public:
    explicit RunningProgram(const std::vector<std::string>& command,
                            const Environment& environment = {})
        : ChildProcess([&] { execute(command, environment); }) {}

    /* Waits until `text` stands in the standard output. */
    bool hasWritten(const std::string& text) const {
        return eventually([&] { return out().find(text) != std::string::npos; });
    }
};

} // namespace testsupport

#endif
