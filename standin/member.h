/*
 * One process of the server, forked by this one.
 *
 * It ends with a SIGKILL when the thread that forked it ends, so that no member outlives its
 * launcher; a launcher that is killed thus leaves the cache as a crash would.
 */
#ifndef STANDIN_MEMBER_H
#define STANDIN_MEMBER_H

#include <chrono>
#include <functional>
#include <string>
#include <sys/types.h>

namespace standin {

/* What a member's body may use of its process. */
class MemberProcess {
public:
    explicit MemberProcess(int reportPipe) : reportPipe_(reportPipe) {}

    /* Tells the launcher that the member has started, with up to 4000 bytes for it. Once. */
    void reportStarted(const std::string& payload = {});
    /* Tells it why it has not; false when the start has been reported already. */
    bool reportFailure(const std::string& reason);
    /* Sleeps until the next update is due. False when the member has been asked to stop. */
    bool waitForUpdate(std::chrono::nanoseconds period) const;

private:
    int reportPipe_;
};

class Member {
public:
    using Body = std::function<void(MemberProcess&)>;

    /*
     * Forks, runs `body` in the new process, called `name` in process lists, and returns when it
     * has reported its start. Throws std::runtime_error with the reason when it cannot be forked
     * or ends before that; std::exceptions of the body are carried over.
     */
    Member(const std::string& name, const Body& body);
    Member(Member&& other) noexcept;
    Member& operator=(Member&&) = delete;
    /* Asks a member that still runs to stop, and reaps it. */
    ~Member();

    const std::string& name() const { return name_; }
    pid_t pid() const { return pid_; }
    const std::string& payload() const { return payload_; }

    /* Looks whether the member has ended, and reaps it. */
    bool hasEnded();
    /* True when it ended by itself, with success; false while it runs. */
    bool endedCleanly() const { return ended_ && waitStatus_ == 0; }
    /* How it ended, as words for a message: "was killed by signal 9". */
    std::string howItEnded() const;

    /* Asks it to stop; returns at once. */
    void askToStop();
    /* Waits until it has ended; kills it when `patience` is over. */
    void reap(std::chrono::milliseconds patience = std::chrono::seconds(2));

private:
    std::string name_;
    pid_t pid_ = -1;
    std::string payload_;
    bool ended_ = false;
    int waitStatus_ = 0;
};

} // namespace standin

#endif
