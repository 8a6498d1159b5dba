/* A query allocates nothing and makes no system call; one with an expression allocates what the C
   library's matching needs and no more. */
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <regex.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "attachcall.h"
#include "basetypes.h"
#include "faults.h"
#include "process.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;

namespace {

constexpr std::uint32_t slots = 40;
constexpr const char* expression = "^(s|S)ess.*1[0-9]+$";

TvsiResultSType results[slots];
int count;

struct Query {
    int (*call)();
    int status = TVSI_SUCCESS;
};

/* All but the one with an expression; hits, misses and refused arguments. */
constexpr Query plainQueries[] = {
    {[] { return TvsiStatsForProcessId(1007, results); }},
    {[] { return TvsiStatsForProcessId(9, results); }, TVSI_ERR_NOT_FOUND},
    {[] { return TvsiStatsForVokSessionId(7, results); }},
    {[] { return TvsiStatsForVokSessionId(9999, results); }, TVSI_ERR_NOT_FOUND},
    {[] { return TvsiStatsForPgsvrSessionId(8, results); }},
    {[] { return TvsiStatsForPgsvrSessionId(7, results); }, TVSI_ERR_NOT_FOUND},
    {[] { return TvsiStatsForVokSessionWithName("Session13", results); }},
    {[] { return TvsiStatsForVokSessionWithName("nobody", results); }, TVSI_ERR_NOT_FOUND},
    {[] { return TvsiStatsForBrox(results); }},
    {[] { return TvsiStatsForShrPcMon(results); }},
    {[] { return TvsiStatsForProcessId(0, results); }, TVSI_ERR_BAD_ARG},
    {[] { return TvsiCacheIsAlive(); }, 1},
    {[] { return TvsiFetchMaxProcessesInCache(&count); }},
    {[] { return TvsiAllStatsForMask(SHRPC_ALL, results, &count); }},
    {[] { return TvsiAllVokStatsForVokKindRange(0, 9, results, &count); }},
    {[] { return TvsiAllVokStatsForVokKindRange(0, 9, nullptr, &(count = 0)); }},
};

constexpr Query expressionQuery = {
    [] { return TvsiAllVokStatsForRegexName(expression, TRUE, results, &count, nullptr, 0); }};

int answerOf(const Query& query) {
    count = slots;
    return query.call();
}

/* Of malloc, those of the C library count, too. */
long callsMadeBy(const std::function<void()>& body, const char* function = "malloc") {
    const long before = callCount(function);
    body();
    return callCount(function) - before;
}

/* From now on a system call of this thread ends the process, unless it is one of `allowed`. */
void forbidSystemCalls(const std::vector<std::uint32_t>& allowed) {
    std::vector<sock_filter> filter = {BPF_STMT(BPF_LD | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const std::uint32_t number : allowed) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

struct QueryCosts : Test {
    QueryCosts() {
        for (int id = 2; id < static_cast<int>(slots); ++id) {
            const auto kind = id % 2 == 0 ? SHRPC_VOK_PGSVR_MAIN : SHRPC_VOK;
            const std::string name = "Session" + std::to_string(id);
            cache.occupy(static_cast<std::uint32_t>(id), kind, name, id, 1000 + id);
        }
        TvsiInit();
        EXPECT_EQ(attach(cache.name()), success);
    }
    ~QueryCosts() override { TvsiDetachSharedCache(); }

    /* Whether the query answers as it should without a system call but those `allowed`. */
    bool makesOnly(const std::vector<std::uint32_t>& allowed, const Query& query) const {
        TvsiDetachSharedCache(); /* a child has no watcher */
        const auto body = [&] {
            attach(cache.name());
            answerOf(query); /* the first call binds functions and maps pages */
            forbidSystemCalls(allowed);
            syscall(SYS_exit_group, answerOf(query) == query.status ? 0 : 102);
        };
        return inChild(body).status == 0;
    }

    const TestCache cache{{.geometry = standin::SegmentGeometry::withSlots(slots)}};
};

TEST_F(QueryCosts, NoQueryAllocatesOrChangesTheStateOfCancellation) {
    void* (*volatile allocate)(size_t) = std::malloc; /* the compiler can't leave it out */
    ASSERT_EQ(callsMadeBy([&] { std::free(allocate(1)); }), 1);
    for (const Query& query : plainQueries) {
        for (const char* function : {"malloc", "pthread_setcancelstate"}) {
            EXPECT_EQ(callsMadeBy([&] { answerOf(query); }, function), 0) << &query - plainQueries;
        }
    }
}

TEST_F(QueryCosts, AnExpressionQueryAllocatesWhatTheMatchingNeeds) {
    const auto matchBare = [this] {
        regex_t compiled;
        regcomp(&compiled, expression, REG_EXTENDED | REG_NOSUB | REG_ICASE);
        for (std::uint32_t slot = 3; slot < slots; slot += 2) {
            (void)regexec(&compiled, cache.entry(slot).processName, 0, nullptr, 0);
        }
        regfree(&compiled);
    };
    matchBare(); /* the first one allocates what the process keeps */
    EXPECT_EQ(callsMadeBy([] { answerOf(expressionQuery); }), callsMadeBy(matchBare));
}

TEST_F(QueryCosts, NoQueryMakesASystemCall) {
    ASSERT_FALSE(makesOnly({SYS_exit_group}, {[] { return getppid() == 0 ? 1 : 0; }}));
    for (const Query& query : plainQueries) {
        EXPECT_TRUE(makesOnly({SYS_exit_group}, query)) << &query - plainQueries;
    }
}

TEST_F(QueryCosts, AnExpressionQueryMakesSystemCallsForMemoryAlone) {
    EXPECT_TRUE(
        makesOnly({SYS_exit_group, SYS_brk, SYS_mmap, SYS_munmap, SYS_madvise, SYS_mprotect},
                  expressionQuery));
}

} // namespace
