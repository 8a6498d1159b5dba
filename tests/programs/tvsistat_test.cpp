/* tvsistat as its users meet it, and its parts where a run can't show the case. */
#include <climits>
#include <cstring>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "attach.h"
#include "rates.h"
#include "runningprogram.h"
#include "testcache.h"
#include "tvsierr.h"

namespace {

using statscatalogue::FieldType;
using testing::HasSubstr;
using testsupport::Outcome;

/* A cache with a Brox, three Voks and a page server; these exist in the table only. */
class Tvsistat : public testing::Test {
protected:
    Tvsistat() {
        cache.occupy(2, SHRPC_VOK, "VokA", 1, 1001);
        cache.occupy(3, SHRPC_VOK, "VokB", 2, 1002);
        cache.occupy(4, SHRPC_VOK, "other", 3, 1003);
        cache.occupy(5, SHRPC_VOK_PGSVR_MAIN, "PgsvrA", 1, 1004);
        cache.occupy(6, SHRPC_VOK_PGSVR_THD, "PgsvrAThr", 1, 1005);
        cache.occupy(7, SHRPC_VokThr, "VokBThr", 2, 1006);
        cache.entry(2).stats.u.vok.vokKind = -2;
        cache.entry(2).stats.cmn.rdbfDiskReads = 4294967295;
        cache.entry(3).stats.uTimeStats.vok.timeLastCommit = 1000000000;
        cache.entry(3).stats.u64.vok64.sessionStats[47] = -9000000000;
    }
    testsupport::Environment environment() const {
        return {{"TALVEX_GLOBAL_DIR", cache.directory()}, {"TZ", "UTC"}, {"TERM", "xterm"}};
    }
    Outcome run(std::vector<std::string> options) const {
        options.insert(options.begin(), TVSISTAT);
        return testsupport::run(options, environment());
    }
    Outcome report(std::vector<std::string> options) const {
        options.insert(options.begin(), {"--brox", "prod"});
        return run(options);
    }
    static void expectFailure(const Outcome& outcome, int status, const std::string& sentence) {
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, "tvsistat: " + sentence + "\n");
    }

    testsupport::TestCache cache;
};

std::string pidsIn(const std::string& report) {
    static const std::regex line("\n[a-z]+ +([0-9]+) ");
    return std::regex_replace(report, line, "$1 ", std::regex_constants::format_no_copy);
}

TEST_F(Tvsistat, AReportHasALineForEveryProcess) {
    for (int index = SHRPC_STATMON_IDX; index <= SHRPC_CACHE_PGSVR_IDX; ++index) {
        cache.occupy(static_cast<std::uint32_t>(20 - index), 1U << index, "", 0, 2000 + index);
    }
    const std::string self = std::to_string(getpid()) + " ";
    const std::string others = "1004 1001 1002 1003 2004 2005 2006 2007 2008 1006 2009 2010 2011 "
                               "2012 1005 ";
    for (const auto& [option, value] : {std::pair("--brox", "prod"), {"--cache", "prod~1f2e"}}) {
        const Outcome outcome = run({option, value});
        EXPECT_THAT(outcome.out,
                    testing::MatchesRegex("cache (of Brox prod|prod~1f2e)  20..-..-.. "
                                          "..:..:..\\....  17 of 64 processes in use\n[^\033]*"));
        EXPECT_EQ(pidsIn(outcome.out), self + self + others) << outcome.out;
    }
}

TEST_F(Tvsistat, ChosenFieldsStandInColumns) {
    cache.occupy(8, SHRPC_VOK, "\033[31m\\red", 0, 1007);
    const Outcome outcome = report({"--kind", "vok,SHRPC_VokThr", "--fields",
                                    "vokKind,rdbfDiskReads,timeLastCommit,sessionStats[47]"});
    EXPECT_THAT(outcome.out, HasSubstr("  9 of 64 processes in use, 5 shown\n"));
    // clang-format off
    EXPECT_EQ(outcome.out.substr(outcome.out.find('\n')),
        "\n\n"
        "kind         pid  session  name           vokKind  rdbfDiskReads       timeLastCommit  sessionStats[47]\n"
        "vok         1001        1  VokA                -2     4294967295                    -                 0\n"
        "vok         1002        2  VokB                 0              0  2001-09-09 01:46:40       -9000000000\n"
        "vok         1003        3  other                0              0                    -                 0\n"
        "vok         1007        0  \\x1b[31m\\\\red        0              0                    -                 0\n"
        "\n"
        "kind         pid  session  name           vokKind  rdbfDiskReads  sessionStats[47]\n"
        "vokthr      1006        2  VokBThr              0              0                 0\n"
        "\n");
    // clang-format on
}

TEST_F(Tvsistat, RatesFollowTheFirstReport) {
    const auto count = [](const std::string& text, const std::string& part) {
        const std::regex pattern(part);
        return std::distance(std::sregex_iterator(text.begin(), text.end(), pattern), {});
    };
    const std::string fields = "commitCount,vokKind";
    const Outcome rates = report({"--kind", "vok", "--fields", fields, "0.05", "3"});
    EXPECT_EQ(count(rates.out, "name   commitCount  vokKind\n"), 1) << rates.out;
    EXPECT_EQ(count(rates.out, "commitCount/s  vokKind\n"), 2);
    EXPECT_EQ(count(rates.out, ", rates over 0\\."), 2);
    EXPECT_EQ(count(rates.out, " 0\\.0       -2\n"), 2);
    const Outcome totals = report({"--fields", fields, "--totals", "0.05", "2"});
    EXPECT_EQ(count(totals.out, "name +commitCount  vokKind\n"), 2);
}

TEST_F(Tvsistat, OptionsChooseProcesses) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--kind", "VOKTHR,Monitor"}, std::to_string(getpid()) + " 1006 "},
        {{"--kind", "vok,SHRPC_VOK,vok"}, "1001 1002 1003 "},
        {{"--pid", "1005"}, "1005 "},
        {{"--session", "1"}, "1004 1001 "},
        {{"--name", "^Vok"}, "1001 1002 "},
        {{"--name", "B$|ER", "--ignore-case"}, "1002 1003 "},
        {{"--fields", "vokKind"}, "1001 1002 1003 1006 "},
    };
    for (const auto& [options, pids] : cases) {
        EXPECT_EQ(pidsIn(report(options).out), pids) << options[1];
    }
}

TEST_F(Tvsistat, WrongArgumentsAreExplained) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--kind", "voks"}, "--kind: there is no kind 'voks'; did you mean 'vok'?"},
        {{"--kind", "system"}, "--kind: processes of kind system cannot be selected"},
        {{"--pid", "0"}, "--pid: '0' is not a number from 1 to 2147483647"},
        {{"--fields", "comitCount"},
         "--fields: there is no field 'comitCount'; did you mean 'commitCount'?"},
        {{"--fields", "xyz"},
         "--fields: there is no field 'xyz'; tvsistat --list-fields shows all names"},
        {{"--fields", "vokKind", "--kind", "brox"},
         "--fields: none of the chosen kinds has a field 'vokKind', which is one of: vok, vokthr"},
        {{"--fields", "sessionStats[48]"},
         "--fields: 'sessionStats' has 48 elements, numbered from 0"},
        {{"--fields", "vokKind[1]"}, "--fields: 'vokKind' has 1 element, numbered from 0"},
        {{"--fields", "vokKind["}, "--fields: 'vokKind[' is neither a name nor name[number]"},
        {{"nan"}, "interval: 'nan' is not a number from 0.01 to 86400"},
    };
    for (const auto& [options, sentence] : cases) {
        expectFailure(report(options), 2, sentence + " (see tvsistat --help)");
    }
    expectFailure(run({}), 2,
                  "a cache is needed: --brox NAME or --cache LOCATION (see tvsistat --help)");
}

TEST_F(Tvsistat, EachFailureHasItsSentenceAndStatus) {
    expectFailure(run({"--brox", "nobody"}), 3, "there is no cache of Brox nobody on this host");
    expectFailure(report({"--name", "(a"}), 6,
                  "the regular expression '(a' does not compile: Unmatched ( or \\(");
    expectFailure(report({"--name", "nobody", "0.01", "2"}), 8,
                  "no process was selected in cache of Brox prod");
    cache.header().compatibilityLevel = 1;
    expectFailure(report({}), 5,
                  "cache of Brox prod belongs to another version of Talvex: use the tvsistat of "
                  "the server's own installation");
    cache.header().compatibilityLevel = 0x79B315DA;
    cache.segment().setInitDone(false);
    expectFailure(report({}), 1,
                  "cache of Brox prod did not finish its start within 2 seconds: try again, or "
                  "see whether its monitor has died");
    cache.segment().setInitDone();
    cache.entry(1).inUse = 0;
    expectFailure(report({}), 7,
                  "cache of Brox prod has gone away: its monitor or its Brox has ended");
    cache.recordCache("gone~1", 0x7FFFFFF1);
    expectFailure(run({"--cache", "gone~1"}), 3,
                  "cache gone~1 is not running: its memory segment is gone");
    cache.recordCache("stale~1", cache.segment().key(), INT_MAX);
    expectFailure(run({"--cache", "stale~1"}), 3,
                  "cache stale~1 is not running: its monitor has ended");
}

TEST(TvsistatParts, AnAttachFailureIsToldByTheLibrarysText) {
    using tvsistat::ExitStatus;
    const std::tuple<const char*, ExitStatus, const char*> cases[] = {
        {"shmat() failed with EPERM Operation not permitted", ExitStatus::NoPermission,
         "no permission to read cache p: run as the server's user or as a member of its group"},
        {"name EACCES is odd\n lines\033\n", ExitStatus::Failure,
         "cache p cannot be attached: name EACCES is odd lines\\x1b"},
        {"", ExitStatus::Failure,
         "cache p cannot be attached: its memory segment is not laid out as this version expects"},
    };
    for (const auto& [text, status, sentence] : cases) {
        const auto failure =
            tvsistat::attachFailure({false, "p"}, TVSI_ERR_CACHE_ATTACH_FAILED, text);
        EXPECT_EQ(failure.status, status) << text;
        EXPECT_EQ(failure.sentence, sentence);
    }
}

TEST_F(Tvsistat, EndsWithItsCacheOrAtASignal) {
    for (const int signal : {SIGINT, SIGTERM, 0}) {
        testsupport::RunningProgram running(
            {TVSISTAT, "--brox", "prod", signal == 0 ? "0.02" : "86400"}, environment());
        ASSERT_TRUE(running.hasWritten("pgsvrthr")) << running.err();
        running.send(signal);
        cache.entry(1).inUse = signal != 0;
        EXPECT_EQ(running.wait(), signal == 0 ? 7 : 0);
        EXPECT_EQ(running.err().empty(), signal != 0);
    }
}

TEST_F(Tvsistat, OutputThatCannotBeWrittenEndsIt) {
    const auto shell = [&](const std::string& script) {
        return testsupport::run({"bash", "-c", script, TVSISTAT}, environment());
    };
    expectFailure(shell("\"$0\" --brox prod >/dev/full"), 9,
                  "standard output cannot be written: No space left on device");
    const Outcome left = shell("\"$0\" --brox prod 0.01 | read -r line; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(left.status, 9);
    EXPECT_EQ(left.err, "") << "a reader that left wants to hear nothing";
}

TEST_F(Tvsistat, PrintsItsFieldsItsHelpAndItsVersion) {
    EXPECT_THAT(run({"--list-fields", "vokthr"}).out,
                HasSubstr("\nu.vokthr, ShrPcVokThrStatType\n"
                          "  field                                 type    meaning    offset\n"
                          "  vokKind                               i32     state         152\n"
                          "\nu64.vokthr64, ShrPcVokThrStat64Type\n"));
    const std::string all = run({"--list-fields"}).out;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 658 + 20 * 2 + 19);
    EXPECT_THAT(all, HasSubstr("\nu.vokPgsvr, ShrPcVokPgsvrStatSType, of pgsvr, pgsvrthr\n"));
    EXPECT_EQ(run({"--version"}).out, "tvsistat 3.7.5.1\n");
}

TEST(TvsistatParts, RatesAreGrowthPerSecond) {
    using Row = std::tuple<FieldType, std::uint64_t, std::uint64_t, double, std::optional<double>>;
    const Row cases[] = {
        {FieldType::U32, 10, 30, 4, 5},
        {FieldType::U32, 0xFFFFFFFF, 1, 2, 1}, // it has wrapped around
        {FieldType::U32, 30, 10, 1, {}},
        {FieldType::I32, 0x7FFFFFFF, 0xFFFFFFFF80000000, 1, 1},
        {FieldType::I64, 0, 1, 0, {}},
    };
    for (const auto& [type, before, now, seconds, rate] : cases) {
        EXPECT_EQ(tvsistat::ratePerSecond(type, {now, true}, {before, true}, seconds), rate)
            << before << " to " << now;
    }
}

TEST(TvsistatParts, AProcessIsTheSameWhenAllOfItsIdentityIs) {
    const auto process = [](int pid, int session, std::uint32_t kind, const char* name) {
        TvsiResultSType record{};
        record.stats.processId = pid;
        record.stats.sessionId = session;
        record.statType = kind;
        std::strcpy(record.olvName, name);
        return record;
    };
    const std::array before = {process(1, 0, 1, "a"), process(2, 1, 8, "t"), process(2, 1, 8, "t")};
    const std::array now = {before[1],
                            before[1],
                            before[1],
                            process(3, 0, 1, "a"),
                            process(1, 1, 1, "a"),
                            process(1, 0, 2, "a"),
                            process(1, 0, 1, "b"),
                            before[0]};
    tvsistat::ProcessMatcher matcher;
    const auto matches = matcher.match(now, before);
    EXPECT_THAT(std::vector(matches.begin(), matches.end()),
                testing::ElementsAre(&before[1], &before[2], nullptr, nullptr, nullptr, nullptr,
                                     nullptr, &before[0]));
}

} // namespace
