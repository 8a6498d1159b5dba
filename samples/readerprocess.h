/*
 * tvsi-reader as a child of this process: it attaches a cache, which nothing else does, and sends
 * its samples. It is found beside the running program or where it is installed, never through PATH.
 *
 * The child has an empty standard input, the default signal actions and no descriptor of its
 * parent's. It ends by itself when nobody holds the read end of its stream any more. For one
 * thread.
 */
#ifndef READERPROCESS_H
#define READERPROCESS_H

#include "exitstatus.h"
#include "shrpcstats.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace samples {

/* Owns a descriptor. */
class Descriptor {
public:
    explicit Descriptor(int owned = -1) : number(owned) {}
    Descriptor(Descriptor&& other) noexcept : number(other.number) { other.number = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor();

    int get() const { return number; }

private:
    int number;
};

struct ReaderOptions {
    bool isBrox = true; /* `cache` is the name of a Brox, else a location */
    std::string cache;
    std::chrono::nanoseconds interval = std::chrono::seconds(1); /* 1 ms to 1 day, or 0: no pause */
    bool isAligned = false;     /* samples at whole multiples of it on the wall clock */
    uint64_t count = 0;         /* of samples; 0: for ever */
    uint32_t kinds = SHRPC_ALL; /* kinds that are sampled: a mask */
    bool hasUsers = true;       /* users of the processes are looked up */
};

class ReaderProcess {
public:
    /* Starts a reader, which has not attached anything yet; that, too, it tells in its stream. */
    static std::variant<ReaderProcess, Failure> start(const ReaderOptions& options);
    /* Starts it with any arguments; `errors` receives its standard error, -1: nothing does. */
    static std::variant<ReaderProcess, Failure> start(const std::vector<std::string>& arguments,
                                                      int errors);

    ReaderProcess(ReaderProcess&& other) noexcept;
    ReaderProcess& operator=(ReaderProcess&& other) noexcept;
    /* Kills it and takes its end, so that nothing is left of it. */
    ~ReaderProcess();

    /* The read end of the stream, not blocking. It is at its end when the reader has ended. */
    int fd() const { return output.get(); }
    pid_t pid() const { return child; }
    /* Ends it at once (SIGKILL), whatever it does: a broken segment can keep it for a minute. */
    void kill();
    /* Its exit status once it has ended, or 128 and the signal that ended it; nothing while it
     * runs. Doesn't wait. */
    std::optional<int> reap();

private:
    ReaderProcess(pid_t started, Descriptor readEnd) : child(started), output(std::move(readEnd)) {}
    void endNow();

    pid_t child;            /* -1: moved away */
    std::optional<int> end; /* set when it has been reaped */
    Descriptor output;
};

/* The program's file; empty when it is in neither place. */
std::string readerProgram();

} // namespace samples

#endif
