/*
 * A whole server: the cache monitor, the Brox and the other members as processes of their own,
 * the segment, the host id file and the registry files.
 *
 * The monitor creates and removes the segment and its registry file, the Brox its own one. What a
 * killed member leaves stays, as a crashed server leaves it, until the Server object goes.
 */
#ifndef STANDIN_SERVER_H
#define STANDIN_SERVER_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "member.h"
#include "registrydirectory.h"
#include "segmentgeometry.h"

namespace standin {

struct ServerOptions {
    std::string brox;
    std::filesystem::path directory; /* the global directory */
    std::uint32_t sessions = 4;      /* Vok sessions */
    /* Further Vok threads and page servers (main thread and one more each), dealt out to the
       sessions in turn; default: one for every two sessions. */
    std::optional<std::uint32_t> vokThreads;
    std::optional<std::uint32_t> pageServers;
    std::optional<std::uint32_t> slots; /* process table entries; default: as needed, at least 64 */
    std::int32_t pages = 64;
    double updatesPerSecond = 10;
    std::optional<std::uint64_t> hostId; /* default: the host id file's, else a random one */
    mode_t segmentMode = 0600;
    /* Asked before each member but the monitor and the Brox starts; an answer of true gives up the
     * start. */
    std::function<bool()> mustStop = [] { return false; };
};

/* The start of a server was given up. */
struct StartInterrupted : std::runtime_error {
    StartInterrupted() : std::runtime_error("told to stop while the server started") {}
};

/* The reason why the options make no server, in one sentence; empty when they do. */
std::string findFault(const ServerOptions& options);

/* How many process table entries the options need. */
std::uint64_t slotsNeeded(const ServerOptions& options);

class Server {
public:
    /*
     * Starts everything and returns when the cache is ready. Replaces what a dead server of the
     * same name left behind. Throws std::invalid_argument for faulty options, StartInterrupted
     * when mustStop() says so and std::exception otherwise; nothing is left behind then.
     */
    explicit Server(const ServerOptions& options);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /* stop() */
    ~Server();

    const std::string& cacheName() const { return cacheName_; }
    pid_t monitorPid() const { return members_.at(0).pid(); }
    pid_t broxPid() const { return members_.at(1).pid(); }
    std::uint32_t slots() const { return geometry_.counts.numProcesses; }
    int segmentId() const { return segmentId_; }
    /* Slot i is owned by member i: the monitor, the Brox, then the others. None after stop(). */
    const std::vector<Member>& members() const { return members_; }

    /* Reaps members that have ended since the last call; one sentence for each. */
    std::vector<std::string> noticeEndedMembers();

    /* Ends the members in a server's order (sessions and threads, Brox, monitor), then removes
       what killed ones left. Does nothing the second time. */
    void stop();

private:
    void start(const ServerOptions& options);
    void startMonitor(const ServerOptions& options, std::uint64_t hostId);
    void startBrox(const ServerOptions& options);
    void startOthers(const ServerOptions& options);
    void stopMembers(std::size_t first, std::size_t last);

    RegistryDirectory registry_;
    SegmentGeometry geometry_;
    std::string cacheName_;
    int segmentId_ = -1;
    std::vector<Member> members_;
    std::vector<bool> noticed_; /* by member: its end has been told */
};

} // namespace standin

#endif
