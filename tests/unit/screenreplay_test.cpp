/* The live screen over what was recorded: where keys lead, and what is seen there. */
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelscreen.h"
#include "recordingwriter.h"
#include "replayfeed.h"
#include "streamdecoder.h"
#include "temporarydirectory.h"

namespace {

using namespace tvsistat;
using namespace testsupport;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/* The processes of a sample: no two samples have the same rates. */
std::vector<StreamProcess> processesAt(std::int64_t second) {
    StreamProcess monitor{SHRPC_MONITOR, 99, 0, "mon", {{"numberOfFreeFrames", second * 10}}};
    return {monitor, brox(second * second), vok(201, 3 * second * second), vok(202, 7)};
}

std::string streamOf(const std::string& location, int monitor, int from, int until,
                     double phase = 0) {
    SampleStream stream(location, monitor, from + phase);
    for (int second = from; second <= until; second++) {
        stream.sample(second + phase, processesAt(second));
        if (second == 5 && monitor == 100) {
            stream.mark("slow here", 5.5);
        }
    }
    if (monitor == 100) {
        stream.lost(7, "cache prod~1f2e has gone away: its monitor (process 100) has ended",
                    until + 0.5);
    }
    return stream.bytes();
}

/* A cache that goes after 30 s, and is back after 50 s with another monitor. */
std::string deathAndReturn() {
    SampleStream failed("prod~1f2e", 0, 40);
    failed.lost(4, "Brox prod has no cache", 40);
    return streamOf("prod~1f2e", 100, 0, 30) + failed.bytes() + streamOf("prod~1f2e", 300, 50, 200);
}

class Replay : public ModelScreen {
public:
    explicit Replay(const std::vector<std::string>& files) : names(files) {}

    std::optional<samples::Failure> open() {
        auto source = openSource(names);
        if (auto* failure = std::get_if<samples::Failure>(&source)) {
            return *failure;
        }
        auto opened = openReplayFeed(request, model,
                                     std::move(std::get<std::unique_ptr<MessageSource>>(source)));
        if (auto* failure = std::get_if<samples::Failure>(&opened)) {
            return *failure;
        }
        feed = std::move(std::get<std::unique_ptr<ScreenFeed>>(opened));
        settle();
        return std::nullopt;
    }
    /* Until nothing is due any more; a replay that plays is given so many seconds. */
    void settle(double seconds = 50) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        do {
            feed->advance();
        } while (feed->nextDeadline() != noDeadline && std::chrono::steady_clock::now() < end);
    }
    /* '<' and '>' stand for Home and End. */
    Replay& type(std::string_view keys) {
        for (const char key : keys) {
            feed->obey(model.press(key == '\n'  ? keys::enter
                                   : key == '<' ? keys::home
                                   : key == '>' ? keys::end
                                                : key));
            feed->advance();
        }
        settle();
        return *this;
    }
    /* The moment in seconds of the stream. */
    double at() const {
        return static_cast<double>(model.replay->atNs - SampleStream::timesAt(0).realNs) / 1e9;
    }
    /* All but the last line, which has what was said about a key. */
    std::string seen(size_t width = 160, size_t height = 39) {
        const std::string all = text(width, height);
        return all.substr(0, all.rfind('\n', all.size() - 2));
    }
    int64_t nowNs() const override { return SampleStream::timesAt(3600).realNs; }

    std::vector<std::string> names;
    std::unique_ptr<ScreenFeed> feed;
};

class ScreenReplays : public testing::Test {
protected:
    std::string file(const std::string& name, const std::string& content) {
        const std::string path = directory.file(name);
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    /* The same as a recording. */
    std::string recording(const std::string& name, const std::string& content) {
        const std::string path = directory.file(name);
        auto opened = samples::RecordingWriter::open(path, {});
        auto& writer = std::get<samples::RecordingWriter>(opened);
        samples::StreamDecoder decoder;
        decoder.feed(std::as_bytes(std::span(content)));
        while (const auto message = decoder.next()) {
            writer.add(0, *message);
        }
        return path;
    }
    TemporaryDirectory directory;
};

TEST_F(ScreenReplays, APictureDependsOnItsMomentAlone) {
    for (const std::string& path :
         {file("stream", deathAndReturn()), recording("recording", deathAndReturn())}) {
        Replay screen({path});
        ASSERT_FALSE(screen.open());
        EXPECT_EQ(screen.at(), 1) << "the first sample that has rates";
        std::map<double, std::string> played;
        for (screen.type("<"); !screen.model.replay->isAtEnd; screen.type("]")) {
            played[screen.at()] = screen.seen();
        }
        EXPECT_EQ(played.size(), 31U + 151U - 1U);
        EXPECT_NE(played[70], played[71]);
        const std::pair<std::string_view, double> moves[] = {
            {"{", 140},          {"[", 139},  {"[[[", 136},
            {"}", 196},          {"<", 0},    {"]", 1},
            {"}", 61},           {"{", 1},    {"}}}", 181},
            {"{{[[", 59},        {"[[[", 56}, {"b18:20:37\n", 30},
            {"b18:21:20\n", 73}, {"{", 13},   {"]]]][[", 15},
        };
        screen.type(">");
        EXPECT_EQ(screen.at(), 200);
        for (const auto& [keys, moment] : moves) {
            screen.type(keys);
            EXPECT_EQ(screen.at(), moment) << keys;
            EXPECT_EQ(screen.seen(), played[moment]) << keys;
        }
    }
}

TEST_F(ScreenReplays, EventsAndMarksArePlacesToJumpTo) {
    Replay screen({recording("r", deathAndReturn())});
    ASSERT_FALSE(screen.open());
    screen.type("<n");
    EXPECT_EQ(screen.at(), 5.5);
    EXPECT_THAT(screen.text(), HasSubstr("mark: slow here"));
    screen.type("n");
    EXPECT_THAT(screen.text(100, 40),
                AllOf(HasSubstr("GONE since 18:20:37: its monitor ended\n"),
                      HasSubstr("* 18:20:37  GONE: cache prod~1f2e has gone away"),
                      HasSubstr("  18:20:57  cache prod~1f2e is back: monitor 300; it was 100: "
                                "rates begin anew")));
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("177"));
    EXPECT_EQ(screen.model.events.size(), 4U) << "an attempt to attach it is no event";
    screen.type("n");
    EXPECT_EQ(screen.at(), 50);
    EXPECT_THAT(screen.text(), Not(HasSubstr("GONE since")));
    screen.type("n");
    EXPECT_THAT(screen.text(), HasSubstr("no event or mark comes later"));
    screen.type("NN");
    EXPECT_EQ(screen.at(), 5.5);
    screen.type("eG\n");
    EXPECT_EQ(screen.at(), 50);
    EXPECT_THAT(screen.line("stands"), testing::ContainsRegex("[+]m=+x=+[+]-+ 18:23:27"));
    screen.type("<n}");
    EXPECT_EQ(screen.at(), 66) << "between samples, the next one";
}

TEST_F(ScreenReplays, ACacheThatIsAwayIsShownAsItWentBesideOneThatIsThere) {
    Replay screen({file("a", streamOf("prod~1f2e", 100, 0, 30)),
                   file("b", streamOf("demo~2", 400, 0, 400, 0.25))});
    ASSERT_FALSE(screen.open());
    EXPECT_THAT(screen.text(), HasSubstr("1 of 2 caches"));
    EXPECT_THAT(screen.line("caches"), HasSubstr("demo~2"));
    screen.type(">B");
    EXPECT_THAT(screen.text(), AllOf(HasSubstr("prod~1f2e"), HasSubstr("2 of 2 caches"),
                                     HasSubstr("GONE since 18:20:37: its monitor ended\n")));
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("177"));
    screen.type("[");
    EXPECT_EQ(screen.at(), 30) << "a step is a sample of the cache that is shown";
    screen.type("B]");
    EXPECT_EQ(screen.at(), 30.25);
    screen.type("]");
    EXPECT_EQ(screen.at(), 31.25);
}

TEST_F(ScreenReplays, PlaysToTheEndAndStaysThere) {
    Replay screen({recording("r", deathAndReturn())});
    screen.request.speed = 300;
    ASSERT_FALSE(screen.open());
    screen.settle();
    EXPECT_EQ(screen.at(), 200);
    EXPECT_THAT(screen.text(),
                AllOf(HasSubstr("this is the end of what was recorded"), HasSubstr("at its end")));
    screen.type("p");
    EXPECT_THAT(screen.text(), HasSubstr("Home goes to the beginning"));
    screen.type("]");
    EXPECT_EQ(screen.at(), 200);
    screen.type("<[");
    EXPECT_THAT(screen.text(), HasSubstr("there is no earlier sample"));
    screen.type("XXXXXX p");
    EXPECT_FALSE(screen.model.replay->isPlaying) << "Space plays, too";
    EXPECT_EQ(screen.model.replay->speed, 1);
    EXPECT_THAT(screen.line("stands"), HasSubstr("stands x1"));
    EXPECT_THAT(screen.type("xx").line("stands"), HasSubstr("stands x5"));
}

TEST_F(ScreenReplays, KeysThatMakeNoSenseSaySo) {
    Replay screen({recording("r", deathAndReturn())});
    ASSERT_FALSE(screen.open());
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"w", "recorded already"},
        {"m", "marks are set while"},
        {"bnever\n", "'never' is no time"},
        {"b18:00\n", "before what was recorded"},
        {"-", "every sample that was recorded"},
        {"N", ""},
        {"N", "no event or mark is earlier"},
    };
    for (const auto& [keys, sentence] : cases) {
        EXPECT_THAT(screen.type(keys).text(), HasSubstr(sentence)) << keys;
    }
    Replay live({});
    EXPECT_EQ(live.model.press('['), ScreenModel::Wish::Nothing);
    EXPECT_THAT(live.text(), HasSubstr("tvsistat -i --read FILE"));
}

TEST_F(ScreenReplays, AnIntervalThinsAndARangeLimits) {
    Replay screen({recording("r", deathAndReturn())});
    screen.request.interval = 10;
    ASSERT_FALSE(screen.open());
    /* From 18:20:07.042: cells of ten seconds begin at :10. */
    screen.type("b18:22:40\n");
    const std::string whole = screen.seen();
    EXPECT_THAT(screen.text(), AllOf(HasSubstr("every 10 s"), HasSubstr("18:22:40")));
    screen.type("[]");
    EXPECT_EQ(screen.seen(), whole);
    EXPECT_THAT(screen.line("freeFrms"), HasSubstr("1485")) << "an average over 144 to 153";
    screen.type("---");
    EXPECT_THAT(screen.line("freeFrms"), HasSubstr("1530"));

    Replay part({recording("s", deathAndReturn())});
    part.request.start = GivenMoment::parse("18:21:30");
    part.request.end = GivenMoment::parse("18:22:00");
    ASSERT_FALSE(part.open());
    EXPECT_NEAR(part.at(), 83, 0.001);
    EXPECT_THAT(part.line("commits"), HasSubstr("commits      165/s #####"))
        << "what comes before makes the rates";
    part.type(">");
    EXPECT_EQ(part.at(), 112);
    part.type("]}");
    EXPECT_EQ(part.at(), 112);
    part.type("{{");
    EXPECT_EQ(part.at(), 83);
}

TEST_F(ScreenReplays, DamageIsAnEventAndTheStatus) {
    const std::string path = recording("r", deathAndReturn());
    std::fstream bytes(path, std::ios::in | std::ios::out | std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(bytes), {}};
    const size_t block = content.find("TVRM"); /* the first one of messages */
    ASSERT_NE(block, std::string::npos);
    bytes.seekp(static_cast<std::streamoff>(block + 200));
    bytes.write("spoiled", 7);
    bytes.close();
    Replay screen({path});
    ASSERT_FALSE(screen.open());
    screen.type("<>").type("{").type("{");
    EXPECT_EQ(screen.feed->status(), samples::ExitStatus::DamagedInput);
    EXPECT_THAT(screen.type("e").text(200), HasSubstr("/r is damaged"));
}

TEST_F(ScreenReplays, WhatCantBeShownIsRefused) {
    Replay other({file("s", deathAndReturn())});
    other.request.targets = {{true, "nobody"}};
    const auto failure = other.open();
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->sentence,
                "Brox nobody is not in the recording, which has cache prod~1f2e");
    Replay empty({file("e", SampleStream().bytes())});
    EXPECT_THAT(empty.open()->sentence, "nothing was recorded");
}

} // namespace
