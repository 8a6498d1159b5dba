#include "server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <random>
#include <stdexcept>
#include <sys/shm.h>
#include <unistd.h>

#include "census.h"
#include "countermover.h"
#include "sharedsegment.h"

namespace standin {
namespace {

constexpr std::uint32_t fewestSlots = 64;
constexpr std::uint32_t mostSlots = 100000;
/* A file name has 255 characters: the cache's with "~", 16 digits and the suffix must fit. */
constexpr std::size_t longestBroxName = 255 - 17 - 5;
constexpr double highestRate = 1000;
constexpr std::int32_t mostPages = 1 << 20;

/* The members that every server has, whatever its sessions. */
struct FixedMember {
    const char* name;
    std::uint32_t kind;
};
constexpr std::array fixedMembers = std::to_array<FixedMember>({
    {"PageMgr", SHRPC_PAGEMGR},
    {"FreeFrame1", SHRPC_FF_Thr},
    {"FreeFrame2", SHRPC_FF_Thr},
    {"BrxAio1", SHRPC_BrxAioThr},
    {"BrxAio2", SHRPC_BrxAioThr},
    {"BrxRestore", SHRPC_BrxRestoreThr},
    {"CachePgsvr", SHRPC_CACHE_PGSVR},
});

std::uint32_t vokThreadsOf(const ServerOptions& options) {
    return options.vokThreads.value_or(options.sessions / 2);
}

std::uint32_t pageServersOf(const ServerOptions& options) {
    return options.pageServers.value_or(options.sessions / 2);
}

std::uint32_t slotsOf(const ServerOptions& options) {
    if (options.slots.has_value()) {
        return *options.slots;
    }
    return static_cast<std::uint32_t>(std::max<std::uint64_t>(slotsNeeded(options), fewestSlots));
}

std::string faultOfName(const std::string& brox) {
    if (brox.empty()) {
        return "the Brox needs a name";
    }
    if (brox.size() > longestBroxName) {
        return "the Brox name has " + std::to_string(brox.size()) + " characters; at most " +
               std::to_string(longestBroxName) + " fit a registry file's name";
    }
    const bool isPlain = std::all_of(brox.begin(), brox.end(), [](unsigned char c) {
        return c > ' ' && c != 0x7F && c != '/' && c != '~' && c != '!';
    });
    if (!isPlain) {
        return "the Brox name '" + brox +
               "' has a character that no name may have: '/', '~', '!', a blank or a control "
               "character";
    }
    return {};
}

std::string faultOfCounts(const ServerOptions& options) {
    const std::uint32_t slots = slotsOf(options);
    const std::uint64_t needed = slotsNeeded(options);
    if (needed > mostSlots || slots > mostSlots) {
        return "a process table of " + std::to_string(std::max<std::uint64_t>(needed, slots)) +
               " slots is too large; at most " + std::to_string(mostSlots) + " are possible";
    }
    if (slots < needed) {
        return std::to_string(slots) + " slots are too few; " + std::to_string(options.sessions) +
               " sessions and the server's own processes need " + std::to_string(needed);
    }
    if (options.sessions == 0 && vokThreadsOf(options) + pageServersOf(options) > 0) {
        return "Vok threads and page servers need at least one session";
    }
    if (options.pages < 1 || options.pages > mostPages) {
        return "the number of pages must be from 1 to " + std::to_string(mostPages);
    }
    if (!std::isfinite(options.updatesPerSecond) || options.updatesPerSecond <= 0 ||
        options.updatesPerSecond > highestRate) {
        return "the update rate must be more than 0 and at most 1000 updates a second";
    }
    if (options.hostId == std::uint64_t{0}) {
        return "the host id must not be 0";
    }
    return {};
}

const ServerOptions& checked(const ServerOptions& options) {
    const std::string fault = findFault(options);
    if (!fault.empty()) {
        throw std::invalid_argument(fault);
    }
    return options;
}

SegmentGeometry geometryFor(const ServerOptions& options) {
    SegmentCounts counts;
    counts.numProcesses = slotsOf(options);
    counts.numPages = options.pages;
    return SegmentGeometry(counts);
}

std::uint64_t randomHostId() {
    std::random_device random;
    return std::uniform_int_distribution<std::uint64_t>(1, (std::uint64_t{1} << 48) - 1)(random);
}

/* The host has one id; the first server gives it one. */
std::uint64_t hostIdFor(const ServerOptions& options, const RegistryDirectory& registry) {
    const std::optional<std::uint64_t> present = registry.readHostId();
    if (!present) {
        return options.hostId ? *options.hostId : randomHostId();
    }
    if (options.hostId && *options.hostId != *present) {
        throw std::runtime_error("the host id file " + registry.hostIdFile().string() +
                                 " holds another id than the one asked for");
    }
    return *present;
}

/* What the process runs; empty when another user's process keeps that to itself. No value: the
   process is gone, be it as a zombie that nobody has reaped. */
std::optional<std::string> executableOf(pid_t pid) {
    if (pid <= 0 || (kill(pid, 0) == -1 && errno == ESRCH)) {
        return std::nullopt;
    }
    std::error_code error;
    const auto executable =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
    if (error == std::errc::no_such_file_or_directory) {
        return std::nullopt;
    }
    return executable.string();
}

/* The number may have been given to another program since; what can't be told counts as alive. */
bool isAlive(const RegistryRecord& record) {
    const std::optional<std::string> executable = executableOf(record.processId);
    if (!executable) {
        return false;
    }
    return executable->empty() || record.executablePath.empty() ||
           *executable == record.executablePath ||
           *executable == record.executablePath + " (deleted)";
}

/* Removes the segment that a dead monitor recorded, if it has created it. */
void removeStaleSegment(const RegistryRecord& record) {
    const std::optional<FoundSegment> found = findSegment(static_cast<key_t>(record.key));
    if (found && found->creator == record.processId) {
        shmctl(found->id, IPC_RMID, nullptr);
    }
}

/* Makes way for a server under this registry name; throws when a live one has it. True when a
   dead one left something. */
bool clearStale(const RegistryDirectory& registry, const std::string& name) {
    const std::optional<RegistryRecord> record = registry.readRecord(name);
    if (!record) {
        return false;
    }
    if (isAlive(*record)) {
        throw std::runtime_error(name + " already runs as process " +
                                 std::to_string(record->processId) + " (" +
                                 registry.recordFile(name).string() + ")");
    }
    if (record->kind == NI_SHRPCMON && record->key != noKey) {
        removeStaleSegment(*record);
    }
    return true;
}

std::chrono::nanoseconds periodOf(const ServerOptions& options) {
    return std::chrono::nanoseconds(
        static_cast<std::int64_t>(std::ceil(1e9 / options.updatesPerSecond)));
}

/* Owns a slot from start to stop: moves its counters and does what else the owner has to do. */
template <typename Duty>
void ownSlot(MemberProcess& self, const CacheView& cache, std::uint32_t slot,
             std::chrono::nanoseconds period, const std::string& report, Duty duty) {
    ShrPcPteSType& entry = cache.entry(slot);
    CounterMover mover(entry.stats, entry.statType, slot + 1);
    mover.start(std::time(nullptr));
    self.reportStarted(report);
    do {
        const std::time_t now = std::time(nullptr);
        mover.update(now);
        duty(now);
    } while (self.waitForUpdate(period));
    cache.release(slot);
}

struct OtherMember {
    EntryIdentity identity;
    std::int32_t vokKind = 0;
    pid_t client = 0; /* of a page server: the Vok it serves */
};

/* What an entry says about its owner besides the identity. */
void describe(ShrPcStatsSType& stats, const OtherMember& member) {
    switch (member.identity.kind) {
    case SHRPC_VOK:
        stats.u.vok.vokKind = member.vokKind;
        return;
    case SHRPC_VokThr:
        stats.u.vokthr.vokKind = member.vokKind;
        return;
    case SHRPC_VOK_PGSVR_MAIN:
    case SHRPC_VOK_PGSVR_THD:
        stats.u.vokPgsvr.clientPid = static_cast<std::uint32_t>(member.client);
        return;
    default:
        return;
    }
}

} // namespace

std::uint64_t slotsNeeded(const ServerOptions& options) {
    return 2 + fixedMembers.size() + std::uint64_t{options.sessions} + vokThreadsOf(options) +
           2 * std::uint64_t{pageServersOf(options)};
}

std::string findFault(const ServerOptions& options) {
    const std::string fault = faultOfName(options.brox);
    return fault.empty() ? faultOfCounts(options) : fault;
}

Server::Server(const ServerOptions& options)
    : registry_(checked(options).directory), geometry_(geometryFor(options)) {
    try {
        start(options);
    } catch (...) {
        stop();
        throw;
    }
}

Server::~Server() {
    stop();
}

void Server::start(const ServerOptions& options) {
    const std::uint64_t hostId = hostIdFor(options, registry_);
    cacheName_ = standin::cacheName(options.brox, hostId);
    const bool cacheHadDied = clearStale(registry_, cacheName_);
    const bool broxHadDied = clearStale(registry_, options.brox);
    /* Nobody else will remove the host id file of a server that died. */
    if (cacheHadDied || broxHadDied || !registry_.readHostId()) {
        registry_.adopt(registry_.hostIdFile());
    }
    registry_.adopt(registry_.recordFile(cacheName_));
    registry_.adopt(registry_.recordFile(options.brox));

    members_.reserve(static_cast<std::size_t>(slotsNeeded(options)));
    startMonitor(options, hostId);
    startBrox(options);
    startOthers(options);
    noticed_.resize(members_.size());
}

void Server::startMonitor(const ServerOptions& options, std::uint64_t hostId) {
    members_.emplace_back("shrpcmonitor", [&](MemberProcess& self) {
        RegistryDirectory registry(options.directory);
        if (!registry.readHostId()) {
            registry.writeHostId(hostId);
        }
        /* Recorded first: so the next server finds it, whenever this one is killed. */
        const CacheSegment segment(geometry_, options.segmentMode, [&](key_t key) {
            registry.writeRecord(cacheName_, monitorRecord(getpid(), key));
        });
        segment.occupy(0, {getpid(), 0, "shrpcmonitor", SHRPC_MONITOR});
        segment.setInitDone();
        std::time_t lastLook = 0;
        ownSlot(self, segment, 0, periodOf(options), std::to_string(segment.id()),
                [&](std::time_t now) {
                    if (now != lastLook) {
                        markCrashedSlots(segment);
                        lastLook = now;
                    }
                    countProcesses(segment, SHRPC_MONITOR);
                    followTotals(segment);
                });
    });
    segmentId_ = std::stoi(members_.back().payload());
}

void Server::startBrox(const ServerOptions& options) {
    members_.emplace_back("broxd", [&](MemberProcess& self) {
        RegistryDirectory registry(options.directory);
        const SharedSegment segment = SharedSegment::attach(segmentId_);
        const CacheView cache(segment.address(), geometry_);
        cache.occupy(1, {getpid(), 0, options.brox, SHRPC_BROX});
        registry.writeRecord(options.brox, broxRecord(getpid()));
        ownSlot(self, cache, 1, periodOf(options), {},
                [&](std::time_t) { countProcesses(cache, SHRPC_BROX); });
    });
}

void Server::startOthers(const ServerOptions& options) {
    const auto startOther = [&](const OtherMember& other) {
        if (options.mustStop()) {
            throw StartInterrupted();
        }
        const auto slot = static_cast<std::uint32_t>(members_.size());
        members_.emplace_back(other.identity.name, [&](MemberProcess& self) {
            const SharedSegment segment = SharedSegment::attach(segmentId_);
            const CacheView cache(segment.address(), geometry_);
            EntryIdentity identity = other.identity;
            identity.pid = getpid();
            cache.occupy(slot, identity);
            describe(cache.entry(slot).stats, other);
            ownSlot(self, cache, slot, periodOf(options), {}, [](std::time_t) {});
        });
    };

    for (const FixedMember& fixed : fixedMembers) {
        startOther({{0, 0, fixed.name, fixed.kind}});
    }
    const auto firstVok = members_.size();
    const auto sessionOf = [&](std::uint32_t i) {
        return static_cast<std::int32_t>(i % options.sessions) + 1;
    };
    const auto vokKindOf = [](std::int32_t session) { return (session - 1) % 4 + 1; };
    for (std::uint32_t i = 0; i < options.sessions; ++i) {
        const std::int32_t session = sessionOf(i);
        startOther({{0, session, "Vok" + std::to_string(session), SHRPC_VOK}, vokKindOf(session)});
    }
    for (std::uint32_t i = 0; i < vokThreadsOf(options); ++i) {
        const std::int32_t session = sessionOf(i);
        startOther(
            {{0, session, "VokThr" + std::to_string(i + 1), SHRPC_VokThr}, vokKindOf(session)});
    }
    for (std::uint32_t i = 0; i < pageServersOf(options); ++i) {
        const std::int32_t session = sessionOf(i);
        const pid_t client = members_[firstVok + i % options.sessions].pid();
        const std::string name = "Pgsvr" + std::to_string(i + 1);
        startOther({{0, session, name, SHRPC_VOK_PGSVR_MAIN}, 0, client});
        startOther({{0, session, name + "Thr", SHRPC_VOK_PGSVR_THD}, 0, client});
    }
}

std::vector<std::string> Server::noticeEndedMembers() {
    std::vector<std::string> sentences;
    for (std::size_t i = 0; i < members_.size(); ++i) {
        Member& member = members_[i];
        if (!noticed_[i] && member.hasEnded()) {
            noticed_[i] = true;
            sentences.push_back(member.name() + " (process " + std::to_string(member.pid()) +
                                ", slot " + std::to_string(i) + ") " + member.howItEnded());
        }
    }
    return sentences;
}

void Server::stopMembers(std::size_t first, std::size_t last) {
    last = std::min(last, members_.size());
    for (std::size_t i = first; i < last; ++i) {
        members_[i].askToStop();
    }
    for (std::size_t i = first; i < last; ++i) {
        members_[i].reap();
    }
}

void Server::stop() {
    stopMembers(2, members_.size());
    stopMembers(1, 2);
    stopMembers(0, 1);
    const bool segmentIsLeft = segmentId_ != -1 && !members_.empty() && !members_[0].endedCleanly();
    if (segmentIsLeft) {
        shmctl(segmentId_, IPC_RMID, nullptr);
    }
    segmentId_ = -1;
    members_.clear();
    noticed_.clear();
    registry_.removeAll();
}

} // namespace standin
