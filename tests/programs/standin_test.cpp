/* The stand-in server behaves as a server does. */
#include <algorithm>
#include <climits>
#include <map>
#include <set>
#include <sys/shm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "census.h"
#include "countermover.h"
#include "registrydirectory.h"
#include "runningprogram.h"
#include "sharedsegment.h"
#include "statscatalogue.h"
#include "temporarydirectory.h"

namespace {

using standin::SegmentGeometry;
using statscatalogue::Meaning;
using testsupport::eventually;
using testsupport::TemporaryDirectory;

std::int64_t valueOf(const ShrPcStatsSType& stats, std::uint32_t kind, std::string_view field) {
    TvsiResultSType record{};
    record.stats = stats;
    const auto place = statscatalogue::findField(*statscatalogue::kindOfBit(kind), field);
    return statscatalogue::read(record, place.value()).asSigned();
}

std::vector<statscatalogue::Field> fieldsOf(const statscatalogue::Kind& kind) {
    std::vector<statscatalogue::Field> fields;
    for (const auto& place : kind.blocks()) {
        fields.insert(fields.end(), place.block.fields.begin(), place.block.fields.end());
    }
    return fields;
}

TEST(Standin, CountersOnlyGrowGaugesMoveBothWaysAndAgesAgreeWithTimeStamps) {
    for (const auto& kind : statscatalogue::kinds()) {
        SCOPED_TRACE(kind.name);
        ShrPcStatsSType stats{};
        standin::CounterMover mover(stats, kind.bit, 1);
        mover.start(1000);
        std::set<Meaning> fallen;
        for (std::time_t now = 1000; now < 1100; ++now) {
            const ShrPcStatsSType before = stats;
            mover.update(now);
            for (const auto& field : fieldsOf(kind)) {
                const std::int64_t value = valueOf(stats, kind.bit, field.name);
                if (value < valueOf(before, kind.bit, field.name)) {
                    fallen.insert(field.meaning);
                }
                if (field.meaning == Meaning::EventTime) { // "timeLast..."
                    const std::string age =
                        "secondsSince" + std::string(field.name.view().substr(8));
                    EXPECT_EQ(valueOf(stats, kind.bit, age), now - value) << age;
                }
            }
        }
        EXPECT_FALSE(fallen.contains(Meaning::Counter));
        EXPECT_FALSE(fallen.contains(Meaning::Position));
        EXPECT_TRUE(fallen.contains(Meaning::Gauge));
    }
}

TEST(Standin, TheMonitorsTotalsFollowTheSums) {
    const standin::CacheSegment cache(SegmentGeometry::withSlots(64));
    const ShrPcStatsSType& monitor = cache.entry(0).stats;
    std::uint32_t& own = cache.entry(1).stats.cmn.localPageCacheMisses;
    cache.occupy(0, {1, 0, "shrpcmonitor", SHRPC_MONITOR});
    for (int round = 0; round < 3; ++round) {
        cache.occupy(1, {100, 1, "Vok", SHRPC_VOK});
        own = 0xFFFFFFF0;
        standin::followTotals(cache);
        own += 100;       // it wraps around
        cache.release(1); // its last counts are not lost
        standin::followTotals(cache);
    }
    EXPECT_EQ(valueOf(monitor, SHRPC_MONITOR, "totalLocalPageCacheMisses"), 3 * 0x100000054);
    cache.occupy(1, {1, 0, "prod", SHRPC_BROX});
    cache.occupy(2, {1, 1, "Vok1", SHRPC_VOK});
    cache.occupy(4, {1, 1, "Pgsvr1", SHRPC_VOK_PGSVR_MAIN});
    cache.occupy(5, {INT_MAX, 1, "gone", SHRPC_VOK});
    standin::markCrashedSlots(cache);
    standin::countProcesses(cache, SHRPC_MONITOR);
    const std::pair<const char*, std::int64_t> counts[] = {
        {"totalProcsInCacheCount", 5}, {"voksInCacheCount", 2}, {"pageServersInCacheCount", 1},
        {"slotsCrashedCount", 1},      {"slotsTotalCount", 64}, {"slotsFreeCount", 59},
    };
    for (const auto& [field, count] : counts) {
        EXPECT_EQ(valueOf(monitor, SHRPC_MONITOR, field), count) << field;
    }
}

auto filesIn(const TemporaryDirectory& directory) {
    return std::distance(std::filesystem::recursive_directory_iterator(directory.path()), {});
}

using Options = std::map<std::string, std::string>;

std::vector<std::string> commandFor(const TemporaryDirectory& directory, Options options) {
    std::vector<std::string> command = {TVXSTANDIN};
    options.emplace("--brox", "prod");
    options.emplace("--host-id", "ab12");
    options.emplace("--dir", directory.path());
    for (const auto& [option, value] : options) {
        command.insert(command.end(), {option, value});
    }
    return command;
}

/* A running tvxstandin with what can be seen of it. */
struct ServerProgram : testsupport::RunningProgram {
    explicit ServerProgram(const TemporaryDirectory& directory, const Options& options = {})
        : RunningProgram(commandFor(directory, options)) {
        hasWritten("\n");
        const standin::RegistryDirectory registry(directory.path());
        const auto key = static_cast<key_t>(registry.readRecord("prod~ab12").value().key);
        segmentId = shmget(key, 0, 0);
        const auto segment = standin::SharedSegment::attach(segmentId);
        const standin::CacheView view(segment.address(), SegmentGeometry());
        for (std::uint32_t slot = 0; slot < 64; ++slot) {
            if (view.entry(slot).inUse) {
                members[view.entry(slot).processName] = view.entry(slot).stats.processId;
            }
        }
        EXPECT_EQ(out(),
                  "ready cache=prod~ab12 monitor=" + std::to_string(members["shrpcmonitor"]) +
                      " brox=" + std::to_string(members["prod"]) + " entries=64\n");
    }
    ~ServerProgram() { shmctl(segmentId, IPC_RMID, nullptr); } // a killed server leaves it
    bool hasLeftNoProcess() const {
        const auto lives = [](const auto& member) { return kill(member.second, 0) == 0; };
        return eventually([&] { return std::ranges::none_of(members, lives); });
    }
    bool hasSegment() const {
        shmid_ds status;
        return shmctl(segmentId, IPC_STAT, &status) == 0 && !(status.shm_perm.mode & SHM_DEST);
    }

    int segmentId = -1;
    std::map<std::string, pid_t> members; /* by name */
};

TEST(StandinProgram, LeavesNothingWhenItIsToldToStop) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, 0}) {
        const TemporaryDirectory directory;
        ServerProgram server(directory, {{"--run-time", signal == 0 ? "0.5" : "1000"}});
        EXPECT_EQ(server.members.size(), 19U);
        EXPECT_EQ(filesIn(directory), 4);
        server.send(signal);
        EXPECT_EQ(server.wait(), 0);
        EXPECT_EQ(server.err(), "");
        EXPECT_TRUE(server.hasLeftNoProcess());
        EXPECT_FALSE(server.hasSegment());
        EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
    }
}

TEST(StandinProgram, GivesUpItsStartWhenItIsToldToStop) {
    const TemporaryDirectory directory;
    testsupport::RunningProgram server(commandFor(directory, {{"--sessions", "1000"}}));
    ASSERT_TRUE(eventually([&] { return filesIn(directory) == 4; }));
    server.send(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    EXPECT_EQ(server.out() + server.err(), "") << "not ready before it ended";
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(StandinProgram, SurvivesKilledMembersAndIsReplacedWhenItIsKilledItself) {
    const TemporaryDirectory directory;
    ServerProgram server(directory, {{"--rate", "100"}});
    const auto segment = standin::SharedSegment::attach(server.segmentId);
    const standin::CacheView view(segment.address(), SegmentGeometry());
    const ShrPcStatsSType& monitor = view.entry(0).stats;
    const std::string vok = std::to_string(server.members["Vok2"]);
    kill(server.members["Vok2"], SIGKILL);
    EXPECT_TRUE(eventually([&] { return monitor.u.monitor.slotsCrashedCount == 1; }));
    EXPECT_TRUE(eventually([&] { return server.err().ends_with("\n"); }));
    EXPECT_EQ(server.err(),
              "tvxstandin: Vok2 (process " + vok + ", slot 10) was killed by signal 9.\n");
    EXPECT_TRUE(view.entry(10).inUse);
    const std::int64_t reads = monitor.u64.monitor64.totalPageReads;
    EXPECT_TRUE(eventually([&] { return monitor.u64.monitor64.totalPageReads > reads; }));
    kill(server.members["shrpcmonitor"], SIGKILL);
    EXPECT_TRUE(eventually([&] { return server.err().find("shrpcmon") != std::string::npos; }));

    server.send(SIGKILL);
    server.wait();
    EXPECT_TRUE(server.hasLeftNoProcess()) << "members end with their launcher";
    EXPECT_TRUE(server.hasSegment());
    EXPECT_EQ(filesIn(directory), 4);
    ServerProgram next(directory);
    EXPECT_FALSE(server.hasSegment());
    next.send(SIGTERM);
    EXPECT_EQ(next.wait(), 0);
    EXPECT_EQ(filesIn(directory), 1) << "locks/ is not its own";
}

TEST(StandinProgram, RefusesWhatItCannotRunAndLeavesNothing) {
    const TemporaryDirectory directory, inUse;
    const ServerProgram running(inUse);
    const std::string other = inUse.path();
    const std::tuple<Options, int, std::string> cases[] = {
        {{{"--brox", ""}}, 2, "the Brox needs a name"},
        {{{"--brox", "a/b"}}, 2, "a character that no name may have"},
        {{{"--brox", std::string(234, 'x')}}, 2, "has 234 characters; at most 233"},
        {{{"--sessions", "4294967295"}}, 2, "at most 100000"},
        {{{"--slots", "18"}}, 2, "need 19"},
        {{{"--sessions", "0"}, {"--vok-threads", "1"}}, 2, "need at least one session"},
        {{{"--pages", "0"}}, 2, "the number of pages must be from 1"},
        {{{"--rate", "0"}}, 2, "update rate"},
        {{{"--host-id", "0"}}, 2, "the host id must not be 0"},
        {{{"--dir", directory.path() / "none"}}, 1, "cannot create the directory"},
        {{{"--dir", other}}, 1, "already runs as process"},
        {{{"--dir", other}, {"--brox", "b"}, {"--host-id", "ff"}}, 1, "holds another id than"},
    };
    for (const auto& [options, status, reason] : cases) {
        const auto outcome = testsupport::run(commandFor(directory, options));
        EXPECT_EQ(outcome.status, status) << reason;
        EXPECT_THAT(outcome.err, testing::MatchesRegex("tvxstandin: [^\n]*" + reason + "[^\n]*\n"));
        EXPECT_TRUE(std::filesystem::is_empty(directory.path())) << reason;
    }
    EXPECT_EQ(filesIn(inUse), 4) << "the running server's files";
}

} // namespace
