/* From samples to the text that Prometheus reads. */
#include "exposition.h"
#include "metricnumber.h"

#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "samplestream.h"
#include "streamdecoder.h"
#include <gmock/gmock.h>

namespace {

using namespace exporter;
using samples::Number;
using testing::HasSubstr;
using testing::Not;
using testsupport::SampleStream;
using testsupport::StreamProcess;

class Cache {
public:
    explicit Cache(SeriesChoice wanted = {})
        : choice(std::move(wanted)), plan(choice), sums(choice, plan) {}

    /* Takes the samples of a stream: another reader. */
    Cache& read(const SampleStream& stream) {
        samples::StreamDecoder decoder;
        const std::string bytes = stream.bytes();
        decoder.feed(std::as_bytes(std::span(bytes)));
        sums.begin();
        while (auto message = decoder.next()) {
            if (auto* sample = std::get_if<samples::Sample>(&*message)) {
                sums.add(std::move(*sample));
            }
        }
        EXPECT_FALSE(decoder.failed()) << decoder.problem();
        return *this;
    }
    std::string text(TextForm form = TextForm::Prometheus) const {
        std::string text;
        const LiveCache cache{"cache=\"c\"", sums.picture().get()};
        Exposition(plan).append(text, form, {&cache, 1}, choice.isPerProcess, [](std::string&) {});
        return text;
    }
    /* What stands behind the series; "none" when it isn't there, "twice" when it is. */
    std::string valueOf(const std::string& series) const {
        std::istringstream lines(text());
        std::string line;
        std::string value = "none";
        while (std::getline(lines, line)) {
            if (line.starts_with(series + ' ')) {
                value = value == "none" ? line.substr(series.size() + 1) : "twice";
            }
        }
        return value;
    }
    size_t numSeries() const {
        const LiveCache cache{"", sums.picture().get()};
        return Exposition::seriesOf({&cache, 1}, choice.isPerProcess);
    }

private:
    SeriesChoice choice;
    MetricPlan plan;
    Accumulation sums;
};

StreamProcess vok(int pid, std::map<std::string, std::int64_t> values, std::string name = "Vok",
                  std::int64_t started = 1794853000) {
    return {SHRPC_VOK, pid, pid, std::move(name), std::move(values), samples::ProcessState::Alive,
            started};
}

std::string ofVoks(const std::string& name, const std::string& labels = "") {
    return name + R"({cache="c",kind="vok")" + (labels.empty() ? "" : "," + labels) + "}";
}

TEST(Accumulation, ACounterIsTheSumOfWhatEachProcessGained) {
    constexpr std::int64_t nearWrap = 0xFFFFFFF0;
    using Samples = std::vector<std::vector<StreamProcess>>;
    const auto at = [](int pid, std::int64_t value) { return vok(pid, {{"commitCount", value}}); };
    const struct {
        const char* what;
        Samples samples;
        const char* total;
    } cases[] = {
        {"the first sample says where all are", {{at(1, 50), at(2, 70)}}, "0"},
        {"growth of all", {{at(1, 50), at(2, 70)}, {at(1, 53), at(2, 71)}}, "4"},
        {"one that comes adds what it has", {{at(1, 50)}, {at(1, 51), at(2, 7)}}, "8"},
        {"one that goes takes nothing",
         {{at(1, 5), at(2, 7)}, {at(1, 6), at(2, 9)}, {at(1, 7)}},
         "4"},
        {"all that go take nothing", {{at(1, 5)}, {at(1, 9)}, {}}, "4"},
        {"a slot used again", {{at(1, 50)}, {at(1, 60)}, {at(3, 2)}, {at(3, 5)}}, "15"},
        {"a 32-bit counter wraps around", {{at(1, nearWrap)}, {at(1, 4)}}, "20"},
        {"one that went back", {{at(1, 50)}, {at(1, 10)}, {at(1, 12)}}, "2"},
        {"one that takes another name has not come",
         {{at(1, 50)}, {vok(1, {{"commitCount", 53}}, "Session1")}},
         "3"},
        {"nor has one whose start becomes known",
         {{vok(1, {{"commitCount", 50}}, "Vok", 0)}, {at(1, 53)}},
         "3"},
        {"a process id used again",
         {{vok(1, {{"commitCount", 50}})}, {vok(1, {{"commitCount", 3}}, "Vok", 1794853100)}},
         "3"},
    };
    for (const auto& [what, samples, total] : cases) {
        SampleStream stream;
        for (size_t i = 0; i < samples.size(); i++) {
            stream.sample(static_cast<double>(i), samples[i]);
        }
        EXPECT_EQ(Cache().read(stream).valueOf(ofVoks("tvsi_vok_commit_total")), total) << what;
    }
}

TEST(Accumulation, ACounterGoesOnAfterAnotherAttach) {
    Cache cache;
    const std::pair<std::int64_t, std::int64_t> attaches[] = {{100, 103}, {1000, 1004}, {0, 2}};
    for (const auto& [first, second] : attaches) {
        cache.read(SampleStream()
                       .sample(0, {vok(1, {{"commitCount", first}})})
                       .sample(1, {vok(1, {{"commitCount", second}})}));
    }
    EXPECT_EQ(cache.valueOf(ofVoks("tvsi_vok_commit_total")), "9");
}

TEST(Accumulation, NumbersHaveTheirBaseUnitAndGaugesTheirAggregation) {
    Cache cache({.hasApplications = true});
    cache.read(SampleStream().sample(
        0, {vok(1, {{"codeCacheSizeKBytes", 3},
                    {"transLevel", 2},
                    {"vokHasCommitToken", 7},
                    {"gcState", 4},
                    {"tempObjSpacePercentUsed", 45},
                    {"timeLastCommit", 1794853001},
                    {"sessionStats[3]", -5},
                    {"vokKind", 2}}),
            vok(2, {{"codeCacheSizeKBytes", 4},
                    {"transLevel", 1},
                    {"vokHasCommitToken", 7},
                    {"gcState", 5},
                    {"tempObjSpacePercentUsed", 7},
                    {"timeLastCommit", 1794853001},
                    {"sessionStats[3]", -5},
                    {"vokKind", 2}}),
            {SHRPC_MONITOR, 100, 0, "Mon", {{"cacheIdle", 0}}},
            {SHRPC_BROX, 101, 0, "Brx", {{"numInRunQueue", 6}, {"numInObjWaitQueue[9]", 8}}}}));
    const std::pair<std::string, const char*> expected[] = {
        {ofVoks("tvsi_vok_code_cache_size_bytes"), "7168"},
        {ofVoks("tvsi_vok_trans_level"), "2"},
        {ofVoks("tvsi_vok_vok_has_commit_token"), "1"},
        {ofVoks("tvsi_vok_gc_state"), "none"}, /* they differ */
        {ofVoks("tvsi_vok_vok_kind"), "2"},
        {ofVoks("tvsi_vok_temp_obj_space_used_ratio"), "0.45"},
        {ofVoks("tvsi_vok_last_commit_timestamp_seconds"), "1794853001"},
        {ofVoks("tvsi_vok_last_abort_timestamp_seconds"), "none"}, /* never seen */
        {ofVoks("tvsi_vok_session_stats", R"(index="3")"), "-5"},
        {R"(tvsi_monitor_cache_idle{cache="c",kind="monitor"})", "0"},
        {R"(tvsi_monitor_rep_pages_total{cache="c",kind="monitor",owner="brox",page="ot_leaf"})",
         "0"},
        {R"(tvsi_brox_queue_length{cache="c",kind="brox",queue="run"})", "6"},
        {R"(tvsi_brox_queue_length{cache="c",kind="brox",queue="obj_wait",index="9"})", "8"},
        {R"(tvsi_processes{cache="c",kind="vok",state="alive"})", "2"},
        {R"(tvsi_cache_slots{cache="c"})", "64"},
        {R"(tvsi_cache_slots_used{cache="c"})", "4"},
    };
    for (const auto& [series, value] : expected) {
        EXPECT_EQ(cache.valueOf(series), value) << series;
    }
    EXPECT_THAT(cache.text(TextForm::OpenMetrics),
                HasSubstr("# HELP tvsi_vok_tci_sent_bytes Bytes that TCI sent.\n"
                          "# TYPE tvsi_vok_tci_sent_bytes counter\n"
                          "# UNIT tvsi_vok_tci_sent_bytes bytes\n"
                          "tvsi_vok_tci_sent_bytes_total{cache=\"c\",kind=\"vok\"} 0\n"));
    EXPECT_THAT(cache.text(), HasSubstr("# TYPE tvsi_vok_tci_sent_bytes_total counter\n"));
}

TEST(Accumulation, SeriesOfProcessesAreNeverDoubled) {
    Cache cache({.isPerProcess = true});
    const std::string hostile("a\"b\\\n\xFF\xC3\xA9", 8);
    const auto sampleAt = [&](SampleStream& stream, double second, std::int64_t growth) {
        stream.sample(second, {vok(1, {{"commitCount", 5 + growth}}, "alike"),
                               vok(1, {{"commitCount", 6 + growth}}, "alike"),
                               vok(2, {{"commitCount", 7 + growth}}, hostile),
                               vok(3, {{"commitCount", 0xFFFFFFFF + growth}}, "\\xff"),
                               vok(3, {{"commitCount", 1}}, "\xFF")});
    };
    SampleStream stream;
    sampleAt(stream, 0, 0);
    sampleAt(stream, 1, 3);
    cache.read(stream);
    const std::pair<const char*, const char*> expected[] = {
        {R"(pid="1",session="1",name="alike")", "17"},
        {R"(pid="2",session="2",name="a\"b\\\n\\xff)"
         "\xC3\xA9\"",
         "10"},
        {R"(pid="3",session="3",name="\\xff")", "4294967299"}, /* both of them, and no wrap */
    };
    for (const auto& [labels, value] : expected) {
        EXPECT_EQ(cache.valueOf(ofVoks("tvsi_process_vok_commit_total", labels)), value) << labels;
    }
    std::istringstream lines(cache.text());
    std::multiset<std::string> series;
    std::set<std::string> families;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# TYPE")) {
            EXPECT_TRUE(families.insert(line).second) << line;
        } else if (!line.starts_with('#')) {
            series.insert(line.substr(0, line.rfind(' ')));
        }
    }
    EXPECT_EQ(series.size(), std::set<std::string>(series.begin(), series.end()).size());
    const size_t others = 4; /* processes, cache_slots, cache_slots_used, sample_late_seconds */
    EXPECT_EQ(series.size(), cache.numSeries() + others);
}

TEST(Accumulation, PatternsAndKindsNarrow) {
    const auto with = [](std::vector<std::pair<const char*, bool>> patterns) {
        SeriesChoice choice;
        for (const auto& [pattern, isIncluded] : patterns) {
            choice.patterns.push_back({samples::FigurePattern(pattern), isIncluded});
        }
        choice.processes.kinds = SHRPC_VOK;
        Cache cache(std::move(choice));
        cache.read(SampleStream().sample(0, {vok(1, {}), {SHRPC_BROX, 101, 0, "Brx", {}}}));
        return cache.text();
    };
    const std::string all = with({});
    EXPECT_THAT(all, HasSubstr("tvsi_vok_commit_total{"));
    EXPECT_THAT(all, Not(HasSubstr("tvsi_brox_")));
    EXPECT_THAT(all, Not(HasSubstr("session_stats")));
    const std::string commits = with({{"commit*", true}, {"*After*", false}});
    EXPECT_THAT(commits, HasSubstr("tvsi_vok_commit_total{"));
    EXPECT_THAT(commits, Not(HasSubstr("tvsi_vok_commits_after_replay")));
    EXPECT_THAT(commits, Not(HasSubstr("tvsi_vok_abort_")));
    const std::string others = with({{"vok.commit*", false}});
    EXPECT_THAT(others, Not(HasSubstr("tvsi_vok_commit_total{")));
    EXPECT_THAT(others, HasSubstr("tvsi_vok_abort_total{"));
}

TEST(Exposition, NumbersAreExact) {
    const std::tuple<Number, double, const char*> cases[] = {
        {Number::ofSigned(-5), 1, "-5"},
        {Number::ofUnsigned(UINT64_MAX), 1, "18446744073709551615"},
        {Number::ofSigned(INT64_MIN), 1, "-9223372036854775808"},
        {Number::ofUnsigned(UINT64_MAX), 1024, "1.888946593147858e+22"},
        {Number::ofUnsigned(3), 1048576, "3145728"},
        {Number::ofSigned(-1), 1024, "-1024"},
        {Number::ofUnsigned(12345), 1e-3, "12.345"},
        {Number::ofUnsigned(12000), 1e-3, "12"},
        {Number::ofUnsigned(7), 1e-6, "0.000007"},
        {Number::ofSigned(-50), 1e-2, "-0.5"},
        {Number::ofSigned(INT64_MIN), 1e-9, "-9223372036.854775808"},
        {Number::ofUnsigned(0), 1e-9, "0"},
        {Number::ofDecimal(0.25), 1, "0.25"},
    };
    for (const auto& [number, factor, expected] : cases) {
        std::string text;
        samples::appendMetricNumber(text, number, factor);
        EXPECT_EQ(text, expected);
    }
}

} // namespace
