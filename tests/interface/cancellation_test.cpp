/* A thread that is cancelled inside the library ends after it, and leaves nothing locked. */
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>

#include "attachcall.h"
#include "faults.h"
#include "hostprocess.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;

namespace {

/* A thread that has been told to end before it makes a call, with cancellation on or off. */
struct CancelledThread {
    std::function<int()> call;
    int state;                         /* of cancellation, before the call */
    int status = -1, stateBehind = -1; /* -1: the thread has not come so far */

    static void* run(void* self) {
        auto* thread = static_cast<CancelledThread*>(self);
        int ignored = 0;
        pthread_cancel(pthread_self());
        pthread_setcancelstate(thread->state, &ignored);
        thread->status = thread->call();
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &thread->stateBehind);
        pthread_testcancel();
        return nullptr;
    }

    bool isCancelled() {
        pthread_t id{};
        void* result = nullptr;
        return pthread_create(&id, nullptr, run, this) == 0 && pthread_join(id, &result) == 0 &&
               result == PTHREAD_CANCELED;
    }
};

TEST(Cancellation, ActsAfterACallAndTheNextOneOfAnotherThreadWorks) {
    const TestCache cache;
    TvsiResultSType record;
    const ScopedOverride<decltype(poll)> shortSleeps("poll", [](auto* fds, auto number, int span) {
        return poll(fds, number, std::min(span, 20));
    });
    TvsiInit();
    const auto attached = [&] { EXPECT_EQ(attach(cache.name()), success); };
    const auto dead = [&] {
        attached();
        cache.segment().release(1);
    };
    const struct {
        std::function<void()> arrange;
        std::function<int()> call;
        int status;
    } cases[] = {
        {[] {}, [&] { return attach(cache.name()).status; }, TVSI_SUCCESS},
        {[] {}, [&] { return attachForBrox(cache.broxName()).status; }, TVSI_SUCCESS},
        {[] {}, [] { return attach("gone~1f2e").status; }, TVSI_ERR_CACHE_ATTACH_FAILED},
        {attached, TvsiDetachSharedCache, TVSI_SUCCESS},
        {attached, [&] { return TvsiStatsForBrox(&record); }, TVSI_SUCCESS},
        {dead, [&] { return TvsiStatsForBrox(&record); }, TVSI_ERR_CACHE_CONNECTION_SEVERED},
        {dead, TvsiCacheIsAlive, 0},
    };
    for (const int state : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
        for (const auto& example : cases) {
            SCOPED_TRACE(Message() << &example - cases);
            example.arrange();
            CancelledThread thread{example.call, state};
            EXPECT_TRUE(thread.isCancelled());
            ASSERT_EQ(thread.status, example.status) << "else ended inside";
            EXPECT_EQ(thread.stateBehind, state);
            cache.occupy(1, SHRPC_BROX);
            TvsiDetachSharedCache();
            EXPECT_EQ(attach(cache.name()), success);
            EXPECT_EQ(TvsiCacheIsAlive(), 1);
            EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
        }
    }
}

TEST(Cancellation, OfTheThreadThatInitialisesDoesNotSaveABrokenProcess) {
    const Outcome outcome = inNovember([] {
        const ScopedFault failing("pthread_mutex_init", ENOMEM);
        pthread_cancel(pthread_self());
        TvsiInit();
    });
    EXPECT_EQ(outcome.status, 1) << outcome.err;
}

} // namespace
