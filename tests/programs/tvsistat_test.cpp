/* tvsistat as its users meet it. tvsistat.transcript holds what it prints of streams made by hand,
   to the letter; the tests below it are about living and dying caches. */
#include <chrono>
#include <fstream>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "numbertext.h"
#include "optiontable.h"
#include "runningprogram.h"
#include "samplestream.h"
#include "temporarydirectory.h"
#include "testcache.h"
#include "timetext.h"

namespace {

using samples::ProcessState;
using testing::HasSubstr;
using testsupport::Environment;
using testsupport::eventually;
using testsupport::Outcome;
using testsupport::RunningProgram;
using testsupport::SampleStream;
using testsupport::StreamProcess;

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string contentsOf(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/* ---- what is printed of a stream ---- */

/* Processes that have gone on for `step` times two seconds. */
std::vector<StreamProcess> processesAfter(std::int64_t step) {
    return {
        {SHRPC_MONITOR, 100, 0, "shrpcmonitor", {{"numberOfFreeFrames", 4242}}},
        {SHRPC_BROX, 101, 0, "prod", {{"totalCommits", 14661 + 18 * step}}},
        {SHRPC_VOK,
         2469,
         5,
         "Vok1",
         {{"commitCount", 0xFFFFFFFD + 6 * step},
          {"vokKind", -2},
          {"timeWaitingForCommit", 70000 * step},
          {"timeLastCommit", 1794853180 + step},
          {"memoryFootPrintKb", 123456},
          {"localPageCacheHits", 3 * step},
          {"localPageCacheMisses", step},
          {"sessionStats[3]", 9007199254740993 * step}}},
        {SHRPC_VOK, 2470, 6, "h\xc3\xb6\xff\"\\", {{"commitCount", 12}}, ProcessState::Stopped},
        {SHRPC_VokThr, 2470, 6, "t1", {{"progressCount", 100 + step}}},
        {SHRPC_VokThr, 2470, 6, "t2", {}, ProcessState::Unknown, 0},
    };
}

std::string streamNamed(const std::string& name) {
    const auto living = processesAfter(0);
    auto dead = processesAfter(1);
    dead[0].state = ProcessState::Stopped;
    dead[1].state = ProcessState::Zombie;
    dead[3].state = ProcessState::Ended;
    dead.push_back({24, 7, 0, "to\t\"rn\"", {}});
    SampleStream stream;
    if (name == "two") {
        return stream.sample(0, living).sample(2, processesAfter(1)).end().bytes();
    }
    if (name == "five") {
        for (int step = 0; step < 5; step++) {
            stream.sample(step * 0.5, processesAfter(step));
        }
        return stream.end().bytes();
    }
    if (name == "dead") {
        return stream.sample(0, dead).end().bytes();
    }
    if (name == "dying") {
        return stream.sample(0, living).sample(2, dead).sample(4, dead).end().bytes();
    }
    if (name == "lost") {
        return stream.notice("odd\n").sample(0, living).lost(7, "cache prod~1f2e is gone").bytes();
    }
    if (name == "again") {
        return streamNamed("lost") + streamNamed("two");
    }
    if (name == "restarted") {
        return streamNamed("two") + SampleStream("prod~1f2e", 200).sample(0, living).end().bytes();
    }
    if (name == "cut") {
        return streamNamed("two").substr(0, 9000);
    }
    if (name == "open") {
        return stream.sample(0, living).bytes();
    }
    if (name == "later") {
        return stream.sample(2, processesAfter(1)).sample(3, processesAfter(2)).end().bytes();
    }
    if (name == "other") {
        return SampleStream("test~2")
            .sample(0.25, {{SHRPC_MONITOR, 300, 0, "shrpcmonitor", {}}})
            .sample(2, {{SHRPC_MONITOR, 300, 0, "shrpcmonitor", {}}})
            .end()
            .bytes();
    }
    if (name == "gauges") {
        double second = 0;
        for (const int frames : {7, 1, 2, 4, 9}) {
            stream.sample(second, {{SHRPC_MONITOR, 100, 0, "m", {{"numberOfFreeFrames", frames}}}});
            second += 0.5;
        }
        return stream.end().bytes();
    }
    return name == "text" ? "This is no stream.\n" : "";
}

/* Runs "OPTION... < STREAM", the stream "two" unless one is named. A word "@NAME" is a file with a
   stream. */
Outcome runOnStream(const std::string& line, const testsupport::TemporaryDirectory& directory) {
    const size_t redirection = line.find(" < ");
    const bool isNamed = redirection != std::string::npos;
    const std::string file = directory.file("stream");
    std::ofstream(file) << streamNamed(isNamed ? line.substr(redirection + 3) : "two");
    std::vector<std::string> command = {"sh", "-c", "exec \"$0\" \"$@\" <" + file, TVSISTAT};
    for (const std::string& word : wordsOf(line.substr(0, redirection))) {
        command.push_back(word);
        if (word.starts_with('@')) {
            command.back() = directory.file(word.substr(1));
            std::ofstream(command.back()) << streamNamed(word.substr(1));
        }
    }
    return testsupport::run(
        command, {{"TZ", "CET-1"}, {"TERM", "xterm"}, {"XDG_CONFIG_HOME", directory.path()}});
}

/* What a transcript says of a run: its output, its errors behind "! ", its status behind "= ". */
std::string transcriptOf(const std::string& line, const Outcome& outcome, const std::string& home) {
    std::string text = "$ " + line + "\n" + outcome.out;
    std::istringstream errors(outcome.err);
    for (std::string error; std::getline(errors, error);) {
        text += "! " + error + "\n";
    }
    text += outcome.status == 0 ? "" : "= " + std::to_string(outcome.status) + "\n";
    const std::pair<std::string, std::string> visible[] = {
        {"\r", "\\r"}, {"\033", "\\e"}, {home, "HOME"}};
    for (const auto& [from, to] : visible) {
        for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

TEST(TvsistatTranscript, IsWhatItPrints) {
    const testsupport::TemporaryDirectory directory;
    std::filesystem::create_directory(directory.file("tvsistat"));
    std::ofstream(directory.file("tvsistat/config")) << contentsOf(TRANSCRIPTS "/tvsistat.config");
    const std::string expected = contentsOf(TRANSCRIPTS "/tvsistat.transcript");
    std::string actual;
    std::istringstream lines(expected);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("$ ")) {
            line.erase(0, 2);
            actual += transcriptOf(line, runOnStream(line, directory), directory.path());
        } else if (line.starts_with("## ")) {
            actual += line + "\n";
        }
    }
    if (actual == expected) {
        return;
    }
    /* The new one lies beside the test, for a look at the whole difference. */
    std::ofstream("tvsistat.transcript.new") << actual;
    std::istringstream actualLines(actual), expectedLines(expected);
    std::string actualLine, expectedLine, command;
    while (std::getline(expectedLines, expectedLine) && std::getline(actualLines, actualLine) &&
           actualLine == expectedLine) {
        command = actualLine.starts_with("$ ") ? actualLine : command;
    }
    EXPECT_EQ(actualLine, expectedLine) << command << "\nsee tvsistat.transcript.new";
    FAIL();
}

TEST(TvsistatTranscript, OfAStreamThatIsCutAnywhereIsShownWhatCame) {
    const testsupport::TemporaryDirectory directory;
    const std::string file = directory.file("stream");
    SampleStream stream;
    const std::string sample = stream.sample(0, {{SHRPC_APP, 7, 0, "a", {}}}).bytes();
    const std::string whole = stream.end().bytes();
    std::ofstream(file) << whole;
    const Outcome outcome = testsupport::run(
        {"bash", "-c",
         "for i in $(seq 0 " + std::to_string(whole.size()) + "); do n=$(head -c $i " + file +
             " | { \"$0\" --read - -f pid --no-header 2>/dev/null; echo $?; }); echo $n; done | "
             "uniq -c",
         TVSISTAT},
        {}, 200);
    const size_t rest = whole.size() - sample.size();
    const std::string nothing = std::to_string(sample.size()), some = std::to_string(rest);
    EXPECT_EQ(wordsOf(outcome.out),
              (std::vector<std::string>{nothing, "10", some, "7", "10", "1", "7", "0"}));
}

TEST(TvsistatTranscript, ASpeedIsKept) {
    const testsupport::TemporaryDirectory directory;
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome =
        runOnStream("--read @five --speed 5 -n Vok1 -f pid --no-header", directory);
    EXPECT_EQ(outcome.out, "2469\n2469\n2469\n2469\n2469\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400));
}

TEST(TvsistatTranscript, NoLineIsWiderThanItsWidth) {
    const testsupport::TemporaryDirectory directory;
    for (int width = 20; width < 200; width += 9) {
        for (const std::string options : {"", "-I * --sum", "-t -I time*"}) {
            const std::string line =
                "--read - -w " + std::to_string(width) + " " + options + " < dead";
            std::istringstream output(runOnStream(line, directory).out);
            for (std::string text; std::getline(output, text);) {
                EXPECT_LE(text.size(), width) << text;
            }
        }
    }
}

TEST(TvsistatHelp, FitsAndHasEachOptionOfTheTable) {
    for (const size_t width : {48U, 80U, 100U}) {
        const std::string help = tvsistat::helpText(width);
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), width) << line;
        }
        std::istringstream table(tvsistat::optionTableText());
        for (std::string line; std::getline(table, line);) {
            std::istringstream cells(line);
            std::string section, letter, name;
            std::getline(std::getline(std::getline(cells, section, '\t'), letter, '\t'), name,
                         '\t');
            const bool isOption = !section.starts_with('='); /* else a kind, a group or a column */
            EXPECT_THAT(help, HasSubstr((isOption ? "--" : "") + name)) << section;
            EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 5) << line;
        }
    }
}

TEST(TvsistatNumbers, TakeSixCharactersAtMost) {
    using Case = std::tuple<void (*)(std::string&, double), double, const char*>;
    const Case cases[] = {
        {tvsistat::appendShort, 0, "0"},
        {tvsistat::appendShort, 0.004, "0"},
        {tvsistat::appendShort, 0.25, "0.25"},
        {tvsistat::appendShort, 0.999, "1"},
        {tvsistat::appendShort, 9.14, "9.1"},
        {tvsistat::appendShort, 9999.94, "9999.9"},
        {tvsistat::appendShort, 12345, "12345"},
        {tvsistat::appendShort, 12345.6, "12.3k"},
        {tvsistat::appendShort, 99999, "99999"},
        {tvsistat::appendShort, 100000, "100k"},
        {tvsistat::appendShort, 999499, "999k"},
        {tvsistat::appendShort, 999999, "1.00M"},
        {tvsistat::appendShort, 1.8e19, "18.0E"},
        {tvsistat::appendShort, -1234.5, "-1235"},
        {tvsistat::appendShort, -1234567, "-1.23M"},
        {tvsistat::appendShort, -9e18, "-9.00E"},
        {tvsistat::appendShortBytes, 1023, "1023"},
        {tvsistat::appendShortBytes, 1024, "1.00Ki"},
        {tvsistat::appendShortBytes, 1023.0 * 1024, "1.00Mi"},
        {tvsistat::appendShortBytes, 123456.0 * 1024, "121Mi"},
        {tvsistat::appendShortBytes, -12345678, "-12Mi"},
        {tvsistat::appendShortSeconds, 0.25, "0.3s"},
        {tvsistat::appendShortSeconds, 59.9, "60s"},
        {tvsistat::appendShortSeconds, 605, "10m05s"},
        {tvsistat::appendShortSeconds, 86399, "23h59m"},
        {tvsistat::appendShortSeconds, 90000, "1d01h"},
        {tvsistat::appendShortSeconds, 1e9, "11574d"},
        {tvsistat::appendShortSeconds, -3, "-3"},
    };
    for (const auto& [append, value, text] : cases) {
        std::string shown;
        append(shown, value);
        EXPECT_EQ(shown, text) << value;
        EXPECT_LE(shown.size(), 6U);
    }
    std::string shown;
    tvsistat::TimeText(true).appendShort(shown, INT64_MAX, 0);
    EXPECT_EQ(shown, "9.22E") << "no moment";
    shown.clear();
    constexpr std::int64_t moment = 1794853207; /* and what a day later is still of the year */
    tvsistat::TimeText(true).appendShort(shown, moment, moment * 1000000000);
    tvsistat::TimeText(true).appendShort(shown, moment, (moment + 86400) * 1000000000);
    EXPECT_EQ(shown, "18:20:072026-11-16");
    shown.clear();
    tvsistat::appendJson(shown, samples::Number::ofUnsigned(1ULL << 53));
    EXPECT_EQ(shown, "9007199254740992") << "every program reads that exactly";
}

TEST(TvsistatNumbers, InFullAreThoseOfTheCLibrary) {
    const auto check = [](std::uint64_t bits) {
        const auto number = static_cast<std::int64_t>(bits);
        std::string shown;
        tvsistat::appendInteger(shown, bits);
        tvsistat::appendInteger(shown, number);
        EXPECT_EQ(shown, std::to_string(bits) + std::to_string(number));
    };
    for (std::uint64_t power = 1; power < UINT64_MAX / 10; power *= 10) {
        for (const std::uint64_t bits : {power - 1, power, power + 1, 9 * power, 10 * power - 1}) {
            check(bits);
            check(-bits);
        }
    }
    for (int shift = 0; shift < 64; ++shift) {
        check(1ULL << shift);
        check((1ULL << shift) - 1);
    }
    std::string fixed;
    for (const double value : {0.0, -0.0001, 0.0005, 1.25, -99.9996, 12345678.0, 1e12 - 0.001}) {
        tvsistat::appendDecimal(fixed, value, 3);
        fixed += ' ';
    }
    tvsistat::appendDecimal(fixed, 1e300, 3);
    EXPECT_EQ(fixed, "0 0 0.001 1.25 -100 12345678 999999999999.999 1e+300");

    constexpr time_t step = 86399; /* each day once, up to what 64 bits of nanoseconds hold */
    for (time_t seconds = -5 * step; seconds < INT64_MAX / 1000000000; seconds += step) {
        std::string shown;
        tvsistat::TimeText(true).append(shown, seconds * 1000000000, 0);
        char text[64];
        struct tm parts {};
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &parts));
        ASSERT_EQ(shown, text);
    }
}

TEST(TvsistatConfiguration, IsOnlyReadWhenNobodyElseCanHaveWrittenIt) {
    const testsupport::TemporaryDirectory directory;
    const std::string file = directory.file("tvsistat/config");
    std::filesystem::create_directory(directory.file("tvsistat"));
    std::ofstream(file) << "bogus\n";
    EXPECT_EQ(runOnStream("--check", directory).err,
              "tvsistat: " + file +
                  ", line 1: there is no option '--bogus' (see tvsistat --help)\n");
    chmod(file.c_str(), 0622);
    const Outcome writable = runOnStream("--check", directory);
    EXPECT_EQ(writable.status, 0);
    EXPECT_EQ(writable.err,
              "tvsistat: " + file + " is not read: others may write it (chmod go-w)\n");
    std::filesystem::remove(file);
    mkfifo(file.c_str(), 0600);
    EXPECT_THAT(runOnStream("--check", directory).err, HasSubstr("it is no regular file"));
}

/* ---- caches ---- */

/* A cache with a Brox, three Voks and a page server; these exist in the table only. */
class TvsistatCache : public testing::Test {
protected:
    TvsistatCache() {
        cache.occupy(2, SHRPC_VOK, "VokA", 1, 1001);
        cache.occupy(3, SHRPC_VOK, "VokB", 2, 1002);
        cache.occupy(4, SHRPC_VOK_PGSVR_MAIN, "PgsvrA", 1, 1003);
    }
    Environment environment() const { return {{"TALVEX_GLOBAL_DIR", cache.directory()}}; }
    Outcome run(const std::string& options) const {
        std::vector<std::string> command = wordsOf(options);
        command.insert(command.begin(), TVSISTAT);
        return testsupport::run(command, environment());
    }
    std::unique_ptr<RunningProgram> start(const std::string& options) const {
        std::vector<std::string> command = wordsOf(options);
        command.insert(command.begin(), TVSISTAT);
        return std::make_unique<RunningProgram>(command, environment());
    }
    void expectFailure(const std::string& options, int status, const std::string& sentence) const {
        const Outcome outcome = run(options);
        EXPECT_EQ(outcome.status, status) << options;
        EXPECT_THAT(outcome.err, HasSubstr(sentence)) << options;
    }
    void setAlive(bool isAlive) { cache.entry(1).inUse = isAlive; }

    testsupport::TestCache cache;
};

/* How often a text occurs in another. */
size_t countOf(const std::string& part, const std::string& text) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        count++;
    }
    return count;
}

bool hasChildren(pid_t pid) {
    const std::string task = std::to_string(pid);
    return !contentsOf("/proc/" + task + "/task/" + task + "/children").empty();
}

TEST_F(TvsistatCache, IsNamedInManyWaysAndCountsOnce) {
    const std::string fields = " --no-header -f cache,pid -k vok";
    const std::string once = "prod~1f2e  1001\nprod~1f2e  1002\n";
    for (const std::string name : {"", "all", "prod", "prod~1f2e", "prod prod~1f2e all",
                                   "--brox prod --cache prod~1f2e", "--brox=prod prod"}) {
        EXPECT_EQ(run(name + fields).out, once) << name;
    }
    EXPECT_EQ(run("prod 0.02 2" + fields).out, once + once);
    EXPECT_EQ(run("0.02 2" + fields).out, once + once);
    EXPECT_EQ(run("prod -1 20ms" + fields).out, once);
    expectFailure("2 0.5", 3, "Brox 2");
    expectFailure("--brox=all", 3, "Brox all");
    expectFailure("host!none~1", 3, "none~1");
}

TEST_F(TvsistatCache, EachFailureHasItsStatus) {
    expectFailure("nobody", 3, "there is no");
    expectFailure("prod -n nobody", 8, "no process was selected");
    expectFailure("prod nobody", 11, "there is no");
    expectFailure("nobody~1 nobody", 3, "nobody~1");
    cache.header().compatibilityLevel = 1;
    expectFailure("prod", 5, "another version");
    cache.header().compatibilityLevel = 0x79B315DA;
    setAlive(false);
    expectFailure("prod", 7, "gone");
}

TEST_F(TvsistatCache, ADeathEndsTheReportsUnlessItIsFollowed) {
    for (const bool follows : {false, true}) {
        const auto running =
            start(std::string("prod 0.05 -j -f commitCount -k vok") + (follows ? " -F" : ""));
        ASSERT_TRUE(running->hasWritten("\"interval\":0.")) << running->err();
        setAlive(false);
        ASSERT_TRUE(running->hasWritten("\"event\":\"gone\""));
        setAlive(true);
        if (!follows) {
            EXPECT_EQ(running->wait(), 7);
            EXPECT_THAT(running->err(), HasSubstr("gone"));
            continue;
        }
        ASSERT_TRUE(running->hasWritten("\"event\":\"back\""));
        const std::string before = running->out();
        EXPECT_TRUE(eventually([&] {
            return countOf("\"sample\"", running->out()) > countOf("\"sample\"", before) + 2;
        }));
        running->send(SIGINT);
        EXPECT_EQ(running->wait(), 0);
        EXPECT_EQ(running->err(), "");
    }
}

TEST_F(TvsistatCache, AWaitEndsWhenTheCacheComesOrTimeIsUp) {
    setAlive(false);
    expectFailure("prod -W 0.3", 7, "waiting for it");
    const auto running = start("prod -W 0 -k vok -f pid --no-header");
    ASSERT_TRUE(eventually([&] { return running->err().ends_with("waiting for it\n"); }));
    setAlive(true);
    EXPECT_EQ(running->wait(), 0);
    EXPECT_THAT(running->out(), testing::EndsWith("1001\n1002\n"));
}

TEST_F(TvsistatCache, ASignalEndsItWithItsReader) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto running = start("prod 86400");
        ASSERT_TRUE(running->hasWritten("pgsvr")) << running->err();
        EXPECT_TRUE(hasChildren(running->pid()));
        running->send(signal);
        EXPECT_EQ(running->wait(5), 0);
    }
    cache.segment().setInitDone(false); /* it waits for the end of the start */
    const auto early = start("prod 86400");
    ASSERT_TRUE(eventually([&] { return hasChildren(early->pid()); }));
    usleep(100000);
    early->send(SIGTERM);
    EXPECT_EQ(early->wait(1), -SIGTERM) << "nothing was reported yet";
}

TEST_F(TvsistatCache, AReaderThatIsKilledOrHangsIsNoRiddle) {
    for (const int signal : {SIGKILL, SIGSTOP}) {
        const auto running = start("prod 0.05");
        ASSERT_TRUE(running->hasWritten("pgsvr")) << running->err();
        const std::string task = std::to_string(running->pid());
        kill(std::stoi(contentsOf("/proc/" + task + "/task/" + task + "/children")), signal);
        EXPECT_EQ(running->wait(), 1);
        EXPECT_THAT(running->err(), HasSubstr(signal == SIGKILL ? "by signal 9" : "sign of life"));
    }
}

TEST_F(TvsistatCache, ABrokenSegmentIsToldAndKeepsNobodyWaiting) {
    standin::setLockName(cache.segment().checkpointLock(), "Nonsense");
    const auto start = std::chrono::steady_clock::now();
    expectFailure("prod 1", 1, "the segment is damaged, or not the server's\n");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(TvsistatCache, OutputThatCannotBeWrittenEndsIt) {
    const auto shell = [&](const std::string& script) {
        return testsupport::run({"bash", "-c", script, TVSISTAT}, environment());
    };
    const Outcome full = shell("\"$0\" prod >/dev/full");
    EXPECT_EQ(full.status, 9);
    EXPECT_EQ(full.err, "tvsistat: standard output cannot be written: No space left on device\n");
    for (const std::string interval : {"0.01", "3600"}) {
        const Outcome left =
            shell("\"$0\" prod " + interval + " | read -r line; exit ${PIPESTATUS[0]}");
        EXPECT_EQ(left.status, 9);
        EXPECT_EQ(left.err, "") << "whoever left wants to hear nothing";
    }
}

TEST_F(TvsistatCache, TheCachesOfTheHostAreListed) {
    EXPECT_THAT(run("-l").out, testing::MatchesRegex("brox  cache +monitor +user .*\n"
                                                     "prod  prod~1f2e +[0-9]+ .* yes\n"));
    EXPECT_THAT(run("-l -j").out,
                testing::StartsWith("{\"brox\":\"prod\",\"cache\":\"prod~1f2e\",\"monitor\":"));
    const std::string far(60, 'h');
    cache.recordCache("second!" + far + "~1", 0);
    for (const int width : {20, 40, 60, 80, 250}) {
        const std::string list = run("-l -w " + std::to_string(width)).out;
        std::istringstream lines(list);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), width) << line;
        }
        EXPECT_THAT(list, testing::ContainsRegex("prod~1f2e .*(yes|left out: .*version)"));
        EXPECT_EQ(countOf("left out: version", list), width < 250 ? 1 : 0) << list;
    }
    EXPECT_THAT(run("-l -w 80").out, HasSubstr("~1: no: its\n  monitor has recorded"));
    std::filesystem::remove_all(cache.directory() / "locks");
    expectFailure("", 3, "TALVEX_GLOBAL_DIR");
    expectFailure("-l", 3, "TALVEX_GLOBAL_DIR");
    EXPECT_EQ(run("-l").out, "");
}

} // namespace
