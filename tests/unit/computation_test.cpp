/* What is computed from samples: growth, sums, derived figures, matching, choice and order. */
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "history.h"
#include "rowmaker.h"
#include "samplestream.h"
#include "streamdecoder.h"

namespace {

using namespace samples;
using statscatalogue::FieldType;
using testsupport::SampleStream;
using testsupport::StreamProcess;

/* The history of samples as they come out of a stream. */
class Past {
public:
    Past& begin(int monitorPid) {
        pid = monitorPid;
        return *this;
    }
    Past& sample(double second, const std::vector<StreamProcess>& processes) {
        SampleStream stream("prod~1f2e", pid);
        const std::string bytes = stream.sample(second, processes).bytes();
        StreamDecoder decoder;
        decoder.feed(std::as_bytes(std::span(bytes)));
        history.begin(std::get<StreamHeader>(*decoder.next()));
        history.add(std::get<Sample>(*decoder.next()));
        return *this;
    }
    History history;

private:
    int pid = 100;
};

Figure figure(std::uint32_t kind, std::string_view name, const Annotations& annotations = {}) {
    return figuresNamed(*statscatalogue::kindOfBit(kind), name, annotations).at(0);
}

/* A number as text: "-" for nothing. */
std::string text(Number number) {
    switch (number.form()) {
    case Number::Form::Nothing:
        return "-";
    case Number::Form::Signed:
        return std::to_string(number.asSigned());
    case Number::Form::Unsigned:
        return std::to_string(number.asUnsigned());
    case Number::Form::Decimal:
        break;
    }
    std::string decimal = std::to_string(number.asDouble());
    decimal.erase(decimal.find_last_not_of("0") + 1);
    return decimal;
}

TEST(Computation, ACounterGrowsAlsoOverItsWidth) {
    const std::tuple<FieldType, std::uint64_t, std::uint64_t, std::string> cases[] = {
        {FieldType::U32, 10, 30, "20"},
        {FieldType::U32, 0xFFFFFFFF, 1, "2"},
        {FieldType::U32, 30, 10, "-"}, // its owner started anew
        {FieldType::I32, 0x7FFFFFFF, 0xFFFFFFFF80000000, "1"},
        {FieldType::I64, 5, 0x7FFFFFFFFFFFFFFF, "9223372036854775802"},
        {FieldType::I64, 5, 4, "-"},
    };
    for (const auto& [type, before, now, growth] : cases) {
        EXPECT_EQ(text(counterGrowth(type, {now, true}, {before, true})), growth)
            << before << " to " << now;
    }
}

TEST(Computation, FiguresOfOneProcessAndOfSeveral) {
    const auto vok = [](int pid, std::int64_t commits, std::int64_t kind, std::int64_t rate) {
        return StreamProcess{SHRPC_VOK,
                             pid,
                             pid,
                             "v",
                             {{"commitCount", commits},
                              {"vokKind", kind},
                              {"secondsSinceLogin", kind * 10},
                              {"sessionStats[3]", commits},
                              {"localPageCacheHits", 3 * commits},
                              {"localPageCacheMisses", commits},
                              {"timeLastCommit", 1794853200 + rate},
                              {"memMappedSize", INT64_MAX - rate}}};
    };
    Past past;
    past.sample(0, {vok(1, 0xFFFFFFF6, -2, 0), vok(2, 100, -2, 0)});
    past.sample(2, {vok(1, 10, -2, 5), vok(2, 90, -2, 8), vok(3, 7, 3, 9)});
    const auto all = past.history.processes();
    const Moment moment = past.history.moment();
    EXPECT_EQ(moment.seconds, 2);
    using Print = std::pair<std::string_view, std::string>; /* field, value growth rate */
    const auto expect = [&](std::span<const Process> processes, const std::vector<Print>& prints) {
        for (const auto& [name, numbers] : prints) {
            const Figure of = figure(SHRPC_VOK, name);
            EXPECT_EQ(text(valueOf(of, processes, moment)) + " " + text(growthOf(of, processes)) +
                          " " + text(rateOf(of, processes, moment)),
                      numbers)
                << name << " of " << processes.size();
        }
    };
    expect(all.subspan(0, 1), {{"commitCount", "10 20 10."},
                               {"vokKind", "-2 - -"},
                               {"timeLastCommit", "1794853205 - -"},
                               {"memMappedSize", "9223372036854775802 -5 -"},
                               {"ageLastCommit", "4.042 - -"}});
    expect(all.subspan(1, 1), {{"commitCount", "90 - -"}}); // went back
    expect(all.subspan(0, 2), {{"vokKind", "-2 - -"}, {"commitCount", "100 20 10."}});
    expect(all, {{"commitCount", "107 20 10."},
                 {"vokKind", "- - -"},
                 {"timeLastCommit", "- - -"},
                 {"memMappedSize", "27670116110564327424. -13 -"}});
}

TEST(Computation, APositionMovesBothWaysAndWraps) {
    Past past;
    const auto brox = [](std::int64_t record, std::int64_t file) {
        return StreamProcess{SHRPC_BROX, 1, 0, "b", {{"logRecordId", record}, {"logFileId", file}}};
    };
    past.sample(0, {brox(0xFFFFFFFA, 7)});
    past.sample(2, {brox(4, 5)});
    const auto processes = past.history.processes();
    EXPECT_EQ(text(growthOf(figure(SHRPC_BROX, "logRecordId"), processes)), "10");
    EXPECT_EQ(text(growthOf(figure(SHRPC_BROX, "logFileId"), processes)), "-2");
}

TEST(Computation, ADerivedFigureOfSeveralIsOfTheirTermsTogether) {
    const auto vok = [](int pid, std::int64_t hits, std::int64_t misses) {
        return StreamProcess{SHRPC_VOK,
                             pid,
                             0,
                             "v",
                             {{"localPageCacheHits", hits}, {"localPageCacheMisses", misses}}};
    };
    Past past;
    past.sample(0, {vok(1, 0, 0), vok(2, 0, 0)});
    const Figure hits = figure(SHRPC_VOK, "hitPercent");
    EXPECT_EQ(text(valueOf(hits, past.history.processes(), past.history.moment())), "-");
    past.sample(1, {vok(1, 90, 10), vok(2, 0, 100)});
    const auto both = past.history.processes();
    const auto valueIn = [&](size_t from, size_t count) {
        return text(valueOf(hits, both.subspan(from, count), past.history.moment()));
    };
    EXPECT_EQ(valueIn(0, 1), "90.");
    EXPECT_EQ(valueIn(1, 1), "0.");
    EXPECT_EQ(valueIn(0, 2), "45.");
    past.sample(2, {vok(1, 90, 10), vok(2, 0, 100)});
    EXPECT_EQ(text(valueOf(hits, past.history.processes(), past.history.moment())), "-");
}

TEST(Computation, WhatAPersonKnowsIsOnlyTakenWhereTheCatalogueIsSilent) {
    Annotations known;
    known.units = {{"time*", statscatalogue::Unit::Milliseconds}};
    known.meanings = {{"*[3]", statscatalogue::Meaning::Counter},
                      {"*Stats", statscatalogue::Meaning::Gauge},
                      {"vok.*Stats", statscatalogue::Meaning::Counter}};
    known.labels = {{"sessionStats[3]", "orders"}};
    EXPECT_EQ(figure(SHRPC_VOK, "timeWaitingForCommit", known).unit,
              statscatalogue::Unit::Milliseconds);
    EXPECT_EQ(figure(SHRPC_VOK, "timeLastCommit", known).unit,
              figure(SHRPC_VOK, "timeLastCommit").unit);
    const Figure orders = figure(SHRPC_VOK, "orders", known);
    EXPECT_EQ(orders.element, 3);
    EXPECT_TRUE(orders.isCounter());
    EXPECT_FALSE(orders.isHiddenWhileZero());
    EXPECT_FALSE(figure(SHRPC_VokThr, "sessionStats[4]", known).isCounter());
    EXPECT_TRUE(figure(SHRPC_VokThr, "sessionStats[4]", known).isHiddenWhileZero());
}

/* For each process now, the place before of the one it is taken for; "-" for none. */
std::string matchesOf(const std::vector<StreamProcess>& before,
                      const std::vector<StreamProcess>& now, int monitorNow = 100) {
    Past past;
    past.sample(0, before);
    past.begin(monitorNow).sample(1, now);
    std::string places;
    for (const Process& process : past.history.processes()) {
        places += process.before == nullptr
                      ? "-"
                      : text(valueOf(figure(SHRPC_APP, "otPageOps"),
                                     std::array{Process{process.before, nullptr}}, {}));
    }
    return places;
}

TEST(Computation, AProcessIsTheSameWhenAllOfItsIdentityIs) {
    const auto process = [](int place, int pid, std::int64_t slot = 0) {
        return StreamProcess{
            SHRPC_APP, pid, 0, "a", {{"otPageOps", place}, {"cacheSlotIndex", slot}}};
    };
    const std::vector<StreamProcess> before = {process(0, 1), process(1, 2), process(2, 3),
                                               process(3, 3), process(4, 4)};
    EXPECT_EQ(matchesOf(before, before), "01234");
    EXPECT_EQ(matchesOf(before, before, 101), "-----") << "another monitor";
    auto others = before;
    others[0].kind = SHRPC_PSC;
    others[1].session = 1;
    others[2].name = "b";
    others[3].startedSec++;
    others[4].pid = 5;
    EXPECT_EQ(matchesOf(before, others), "-----");
    EXPECT_EQ(matchesOf(before, {before[4], before[3], before[3], before[3], before[0]}), "423-0")
        << "alike are paired in order";
    const std::vector<StreamProcess> slots = {process(0, 1, 7), process(1, 1, 8), process(2, 1, 9)};
    EXPECT_EQ(matchesOf(slots, {slots[2], slots[0]}), "20");
    EXPECT_EQ(matchesOf({slots[0]}, {slots[1]}), "0") << "one alone may change its slot";
}

TEST(Computation, RowsAreChosenSortedAndSummed) {
    const auto process = [](std::uint32_t kind, int pid, int session, const std::string& name,
                            std::int64_t commits) {
        StreamProcess made{kind, pid, session, name, {}};
        if (kind == SHRPC_VOK) {
            made.values["commitCount"] = commits;
        }
        return made;
    };
    Past past;
    past.sample(0, {process(SHRPC_VOK, 1, 5, "beta", 10), process(SHRPC_VOK, 2, 6, "Alpha", 30),
                    process(SHRPC_VOK_PGSVR_MAIN, 3, 5, "gamma", 0),
                    process(SHRPC_VOK, 4, 5, "delta", 20), process(24, 5, 5, "torn", 0)});
    RowMaker maker;
    const auto pids = [&](const RowChoice& choice) {
        std::string list;
        for (const Row& row : maker.make(choice, past.history.processes(), past.history.moment(),
                                         Printing::Total, [](const Row&) { return true; })) {
            list += std::to_string(row.record().pid) + "x" + std::to_string(row.processes.size()) +
                    "@" + std::to_string(row.index) + " ";
        }
        return list;
    };
    std::string problem;
    RowChoice choice;
    EXPECT_EQ(pids(choice), "1x1@0 2x1@1 3x1@2 4x1@3 5x1@4 ");
    choice.isSum = true;
    EXPECT_EQ(pids(choice), "3x1@2 1x3@0 ") << "by kind; a torn record has nothing to sum";
    choice.isSum = false;
    choice.order.key = SortIdentity::Name;
    choice.most = 2;
    EXPECT_EQ(pids(choice), "2x1@1 1x1@0 ");
    choice.order.isReversed = true;
    EXPECT_EQ(pids(choice), "5x1@4 3x1@2 ");
    SortFigure commits;
    commits.byKind[SHRPC_VOK_IDX] = figure(SHRPC_VOK, "commitCount");
    choice.order = {commits, false};
    choice.most = 4;
    EXPECT_EQ(pids(choice), "2x1@1 4x1@3 1x1@0 3x1@2 ") << "kinds without the figure come last";
    choice.order.isReversed = true;
    EXPECT_EQ(pids(choice), "1x1@0 4x1@3 2x1@1 3x1@2 ");
    choice.selection.kinds = SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN;
    choice.selection.sessions = {5, 7};
    choice.selection.pids = {1, 2, 3};
    EXPECT_EQ(pids(choice), "1x1@0 3x1@2 ");
    choice.selection.names.push_back(NamePattern::glob("be*", false));
    choice.selection.names.push_back(NamePattern::glob("GAMM?", true));
    EXPECT_EQ(pids(choice), "1x1@0 3x1@2 ");
    choice.selection.names.clear();
    choice.selection.names.push_back(NamePattern::expression("M+", true, problem));
    EXPECT_EQ(pids(choice), "3x1@2 ");
    NamePattern::expression("(a", false, problem);
    EXPECT_EQ(problem, "Unmatched ( or \\(");
}

} // namespace
