/* Thins a directory out while it is recorded to: at the start and when an hour has begun, in a
 * process that gives way to every other one, so that no sample waits for it. For one thread. */
#ifndef THINNINGCHILD_H
#define THINNINGCHILD_H

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace tvsistat {

class ThinningChild {
public:
    /* The rules as --thin takes them; empty: nothing is ever thinned. */
    ThinningChild(std::string rules, std::string directory);
    ThinningChild(const ThinningChild&) = delete;
    ThinningChild& operator=(const ThinningChild&) = delete;
    /* Ends it wherever it is: what it was making is removed. */
    ~ThinningChild();

    /* Begins when it is time. A sentence without a full stop when one failed as none before; else
     * empty.
     */
    std::string advance(int64_t realNs);

private:
    void start();

    const std::string thinning;
    const std::string path;
    pid_t child = -1;
    int lastStatus = 0;       /* as waitpid() gives it; what it says is said once */
    int64_t hour = INT64_MIN; /* in which it has begun last */
};

} // namespace tvsistat

#endif
