/* The C++ header: what its calls give is what the C calls give, and an attachment ends once. */
#include "tvsi.hpp"

#include <functional>
#include <gmock/gmock.h>
#include <set>
#include <span>
#include <sys/wait.h>

#include "process.h"
#include "statscatalogue.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;
using namespace std::chrono_literals;

namespace {

/* A cache with a few Voks, one more of which has a page server. */
class TvsiHpp : public Test {
protected:
    TvsiHpp() {
        cache.occupy(3, SHRPC_VOK, "Vok1", 1, 101);
        cache.occupy(4, SHRPC_VOK, "Vok2", 2, 102);
        cache.occupy(5, SHRPC_VokThr, "Vok2t", 2, 102);
        cache.occupy(6, SHRPC_VOK_PGSVR_MAIN, "Pgsvr2", 2, 103);
        cache.entry(4).stats.u.vok.vokKind = 7;
        cache.entry(4).stats.uTimeStats.vok.timeLastCommit = 1234;
    }
    static tvsi::Cache attach() {
        auto attached = tvsi::Cache::attachForBrox("prod");
        EXPECT_TRUE(attached) << attached.error().sentence;
        return *std::move(attached);
    }

    TestCache cache;
    tvsi::Buffer buffer;
    TvsiResultSType record{};
};

template <class Typed> std::string names(const tvsi::Result<tvsi::Records<Typed>>& records) {
    if (!records) {
        return "failure " + std::to_string(records.status());
    }
    std::string all;
    for (const Typed typed : *records) {
        all += std::string(all.empty() ? "" : " ") + std::string(typed.name());
    }
    return all;
}

/* Where a view finds its kind's blocks, as offset and size, in the order of the record. */
using Places = std::vector<std::pair<size_t, size_t>>;
template <class Typed> Places placesOf(const TvsiResultSType& record) {
    Places places;
    const Typed typed(record);
    const auto add = [&](const auto& block) {
        places.emplace_back(reinterpret_cast<const char*>(&block) -
                                reinterpret_cast<const char*>(&record),
                            sizeof block);
    };
    add(typed.common());
    if constexpr (Typed::hasCounters) {
        add(typed.counters());
    }
    add(typed.common64());
    if constexpr (Typed::hasCounters64) {
        add(typed.counters64());
    }
    if constexpr (Typed::hasTimes) {
        add(typed.times());
    }
    return places;
}

template <class... Views> void expectCatalogue(const TvsiResultSType& record) {
    EXPECT_EQ(sizeof...(Views) + 1, statscatalogue::kinds().size()); // all but SHRPC_SYSTEM
    const auto expectKind = [&](uint32_t bit, const Places& found) {
        Places wanted;
        for (const auto& place : statscatalogue::kindOfBit(bit)->blocks()) {
            if (place.block.size > 0) {
                wanted.emplace_back(place.recordOffset, place.block.size);
            }
        }
        EXPECT_EQ(found, wanted) << "kind " << bit;
    };
    (expectKind(Views::kinds, placesOf<Views>(record)), ...);
}

TEST_F(TvsiHpp, ViewsHaveTheBlocksOfTheirKinds) {
    expectCatalogue<tvsi::Monitor, tvsi::Brox, tvsi::VokPgsvrMain, tvsi::Vok, tvsi::Statmon,
                    tvsi::App, tvsi::Psc, tvsi::Pagemgr, tvsi::BrxRestoreThr, tvsi::VokThr,
                    tvsi::BrxAioThr, tvsi::FfThr, tvsi::CachePgsvr, tvsi::VokPgsvrThd>(record);
    record.statType = SHRPC_VOK;
    EXPECT_TRUE(tvsi::Record(record).as<tvsi::Vok>());
    EXPECT_FALSE(tvsi::Record(record).as<tvsi::VokThr>());
    std::memset(record.olvName, 'x', sizeof record.olvName);
    EXPECT_EQ(tvsi::Record(record).name(), std::string(32, 'x'));
}

TEST_F(TvsiHpp, QueriesGiveWhatTheCallsGive) {
    const tvsi::Cache attached = attach();
    EXPECT_EQ(names(attached.query(SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN, buffer)), "Vok1 Vok2 Pgsvr2");
    const auto voks = attached.query<tvsi::Vok>(buffer);
    ASSERT_EQ(names(voks), "Vok1 Vok2");
    EXPECT_EQ((*voks)[1].counters().vokKind, 7);
    EXPECT_EQ((*voks)[1].times().timeLastCommit, 1234);
    EXPECT_EQ(std::span(voks->data(), voks->size()).back().stats.processId, 102);
    EXPECT_EQ(names(attached.voksOfKind(1, 9, buffer)), "Vok2");
    EXPECT_EQ(names(attached.voksMatching("^vok1", true, buffer)), "Vok1");
    EXPECT_EQ(*attached.countVoksOfKind(1, 9), 1);
    EXPECT_EQ(*attached.countVoksMatching("Vok", false), 2);
    EXPECT_EQ(*attached.slots(), static_cast<int>(cache.header().numProcesses));
    EXPECT_TRUE(attached.isAlive());

    EXPECT_EQ(attached.process(103, record)->name(), "Pgsvr2");
    EXPECT_EQ(attached.vok(2, record)->counters().vokKind, 7);
    EXPECT_EQ(attached.pageServer(2, record)->processId(), 103);
    EXPECT_EQ(attached.vokNamed("Vok2t", record)->kind(), static_cast<uint32_t>(SHRPC_VokThr));
    EXPECT_EQ(attached.brox(record)->processId(), getpid());
    EXPECT_EQ(attached.monitor(record)->kind(), static_cast<uint32_t>(SHRPC_MONITOR));
}

TEST_F(TvsiHpp, FailuresHaveTheLibrarysSentenceOrThatOfTheStatus) {
    const auto nobodys = tvsi::Cache::attachForBrox("nobody");
    EXPECT_EQ(nobodys.status(), TVSI_ERR_CACHE_NOT_FOUND);
    EXPECT_EQ(nobodys.error().sentence, "Brox named 'nobody' not found on this host");
    const tvsi::Cache attached = attach();
    EXPECT_EQ(tvsi::Cache::attach(cache.name()).error().sentence,
              "Shared cache prod~1f2e is already attached");
    EXPECT_EQ(attached.vok(99, record).error().sentence, tvsi::sentenceOf(TVSI_ERR_NOT_FOUND));
    EXPECT_EQ(attached.vok(0, record).status(), TVSI_ERR_BAD_ARG);
    EXPECT_EQ(attached.query(0U, buffer).status(), TVSI_ERR_BAD_ARG);
    cache.entry(1).statType = SHRPC_APP;
    EXPECT_EQ(attached.brox(record).status(), TVSI_ERR_NO_BROX);
    const auto bad = attached.voksMatching("(", false, buffer);
    EXPECT_EQ(bad.status(), TVSI_ERR_BAD_REGEX);
    EXPECT_THAT(bad.error().sentence, HasSubstr("nmatched"));
    EXPECT_EQ(attached.countVoksMatching("(", false).error().sentence, bad.error().sentence);

    std::set<std::string_view> sentences;
    for (int status = TVSI_ERR_NO_INIT; status <= TVSI_ERR_BAD_REGEX + 1; status++) {
        sentences.insert(tvsi::sentenceOf(status));
    }
    EXPECT_EQ(sentences.size(), TVSI_ERR_BAD_REGEX + 1U);
    EXPECT_FALSE(sentences.contains(""));
    EXPECT_EQ(tvsi::sentenceOf(-1), tvsi::sentenceOf(99));
}

TEST_F(TvsiHpp, ABufferGrowsWithTheTableAndIsUsedAgain) {
    const std::uint32_t all = cache.header().numProcesses;
    for (std::uint32_t slot = 2; slot < all; slot++) {
        cache.occupy(slot, SHRPC_VOK, "Vok");
    }
    const tvsi::Cache attached = attach();
    cache.header().numProcesses = 4;
    EXPECT_EQ(attached.query(buffer)->size(), 4U);
    cache.header().numProcesses = all;
    const auto grown = attached.query(buffer);
    EXPECT_EQ(grown->size(), all);
    const TvsiResultSType* const place = grown->data();
    EXPECT_EQ(attached.query<tvsi::Vok>(buffer)->data(), place);
    EXPECT_EQ(buffer.capacity(), all + 1);
}

/* Whether the process is attached, however it came to that. */
bool isAttached() {
    int slots = 0;
    return TvsiFetchMaxProcessesInCache(&slots) == TVSI_SUCCESS;
}

TEST_F(TvsiHpp, OnlyTheOwnerOfAnAttachmentDetachesIt) {
    // NOLINTBEGIN(bugprone-use-after-move): an object that was moved from answers, too
    {
        tvsi::Cache first = attach();
        tvsi::Cache owner = std::move(first);
        EXPECT_EQ(first.query(buffer).status(), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_EQ(first.detach(), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_TRUE(owner.isAlive());
        first = std::move(owner);
        EXPECT_TRUE(first.isAlive());
        EXPECT_FALSE(owner.isAlive());
    }
    // NOLINTEND(bugprone-use-after-move)
    EXPECT_FALSE(isAttached());
    tvsi::Cache again = attach();
    EXPECT_EQ(again.detach(), TVSI_SUCCESS);
    EXPECT_EQ(again.detach(), TVSI_ERR_CACHE_NOT_ATTACHED);

    auto dead = std::make_unique<tvsi::Cache>(attach());
    cache.entry(1).inUse = 0;
    EXPECT_EQ(dead->query(buffer).status(), TVSI_ERR_CACHE_CONNECTION_SEVERED);
    EXPECT_EQ(dead->query(buffer).status(), TVSI_ERR_CACHE_NOT_ATTACHED);
    cache.entry(1).inUse = 1;
    const tvsi::Cache next = attach();
    EXPECT_EQ(dead->slots().status(), TVSI_ERR_CACHE_NOT_ATTACHED);
    dead.reset();
    EXPECT_TRUE(next.isAlive());
}

TEST_F(TvsiHpp, SamplesKeepToTheirScheduleAndEndWithTheDeathOnce) {
    const tvsi::Cache attached = attach();
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::uint64_t> numbers;
    std::vector<int> failures;
    for (const auto& sample : attached.samples<tvsi::Vok>(20ms, buffer)) {
        if (!sample) {
            failures.push_back(sample.status());
            continue;
        }
        EXPECT_GE(sample->time - start, 20ms * static_cast<int>(sample->number));
        EXPECT_EQ(sample->records.size(), 2U);
        numbers.push_back(sample->number);
        if (numbers.size() == 2) {
            std::this_thread::sleep_for(50ms); // two moments are missed
        } else if (numbers.size() == 4) {
            cache.entry(1).inUse = 0;
        }
        ASSERT_LT(numbers.size(), 100U);
    }
    ASSERT_EQ(numbers.size(), 4U);
    EXPECT_EQ(numbers[0], 0U);
    EXPECT_GE(numbers[2], numbers[1] + 3);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_THAT(failures, ElementsAre(TVSI_ERR_CACHE_CONNECTION_SEVERED));
}

/* On a busy machine a sample may be late, but not each of many. */
TEST_F(TvsiHpp, TheLoopDoesNotMoveTheMomentsOfItsSamples) {
    const tvsi::Cache attached = attach();
    const auto isOnTime = [&] {
        const auto start = std::chrono::steady_clock::now();
        for (const auto& sample : attached.samples(20ms, buffer)) {
            if (sample->number > 0) {
                return sample->time - start < 20ms * static_cast<int>(sample->number) + 10ms;
            }
            std::this_thread::sleep_for(10ms);
        }
        return false;
    };
    int attempts = 0;
    while (attempts < 200 && !isOnTime()) {
        attempts++;
    }
    EXPECT_LT(attempts, 200);
}

/* Queries of several threads while the cache dies: each answer is a documented one. */
TEST_F(TvsiHpp, ThreadsShareAnAttachment) {
    const tvsi::Cache attached = attach();
    std::atomic<int> severed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; i++) {
        threads.emplace_back([&] {
            tvsi::Buffer own;
            tvsi::Result<tvsi::Records<>> records = attached.query(own);
            while (records) {
                records = attached.query(own);
            }
            severed += records.status() == TVSI_ERR_CACHE_CONNECTION_SEVERED;
            EXPECT_THAT(records.status(),
                        AnyOf(TVSI_ERR_CACHE_CONNECTION_SEVERED, TVSI_ERR_CACHE_NOT_ATTACHED));
        });
    }
    std::this_thread::sleep_for(20ms);
    std::atomic_ref(cache.entry(1).inUse).store(0);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(severed, 1);
}

} // namespace
