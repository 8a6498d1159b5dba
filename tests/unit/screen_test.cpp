/* The live screen without a terminal: what keys and samples make of it, read from its cells. */
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelscreen.h"
#include "sparkline.h"
#include "streamdecoder.h"

namespace {

using namespace tvsistat;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace testsupport;

class Screen : public ModelScreen {
public:
    Screen() : cache(model.addCache("Brox prod")) { request.interval = 1; }

    /* Samples a second apart, as a reader sends them. */
    Screen& take(const std::vector<std::vector<StreamProcess>>& samples, int monitor = 100) {
        SampleStream stream("prod~1f2e", monitor);
        for (const auto& processes : samples) {
            stream.sample(second++, processes);
        }
        const std::string bytes = stream.bytes();
        samples::StreamDecoder decoder;
        decoder.feed(std::as_bytes(std::span(bytes)));
        cache.showing.begin(std::get<samples::StreamHeader>(*decoder.next()));
        while (auto message = decoder.next()) {
            cache.showing.take(std::move(std::get<samples::Sample>(*message)), decoder);
            model.sampleTaken(cache);
        }
        return *this;
    }
    uint8_t lookOf(std::string_view part) {
        text();
        for (size_t y = 0; y < picture.grid.height(); y++) {
            const size_t at = picture.grid.textOf(y).find(part);
            if (at != std::string::npos) {
                return picture.grid.at(at, y).look;
            }
        }
        ADD_FAILURE() << part << " isn't there";
        return 0;
    }
    int64_t nowNs() const override { return SampleStream::timesAt(second).realNs; }
    void happens(Event::Kind kind, std::string_view sentence) {
        model.happened(cache, {kind, cache.showing.header(), SampleStream::timesAt(second),
                               samples::ExitStatus::CacheGone, sentence});
    }

    ScreenCache& cache;
    double second = 0;
};

TEST(Sparkline, ShowsEachValueAsABarAndGapsAsBlanks) {
    const std::optional<double> none;
    const std::tuple<std::vector<std::optional<double>>, Floor, std::u32string, std::u32string>
        cases[] = {{{0, 5, none, 10}, Floor::Zero, U"▁▅ █", U".= #"},
                   {{100, 101}, Floor::Zero, U"██", U"##"},
                   {{100, 101}, Floor::Smallest, U"▁█", U".#"},
                   {{7, 7}, Floor::Smallest, U"▁▁", U".."},
                   {{none}, Floor::Zero, U" ", U" "}};
    for (const auto& [values, floor, bars, ascii] : cases) {
        EXPECT_EQ(sparkline(values, floor, true), bars);
        EXPECT_EQ(sparkline(values, floor, false), ascii);
    }
}

TEST(Screen, HasHeaderHeadlinesAndTheTableOfAView) {
    Screen screen;
    screen.take({{brox(10), vok(201, 5), vok(202, 7)}, {brox(40), vok(201, 5), vok(202, 19)}});
    EXPECT_EQ(screen.line("Brox"), "prod~1f2e  Brox prod  up 3m29s  3 of 64 slots  every 1 s"
                                   "                18:20:09");
    EXPECT_THAT(screen.line("aborts"), HasSubstr("commits       30/s"));
    EXPECT_THAT(screen.text(), AllOf(HasSubstr("[1 Voks]"), HasSubstr("2 shown"),
                                     Not(HasSubstr("brox")), HasSubstr("q quit")));
    EXPECT_THAT(screen.line("Vok202"), HasSubstr("vok   202     2  Vok202       12"));
    screen.press("2");
    EXPECT_THAT(screen.text(), AllOf(HasSubstr("[2 Brox]"), HasSubstr("brox  101     0  prod")));
    /* What has changed is bold, zero is dim; what is selected is reversed. */
    screen.press("1j");
    EXPECT_EQ(screen.lookOf("12 "), boldLook | reverseLook);
    EXPECT_EQ(screen.lookOf("0        0"), dimLook);
}

TEST(Screen, SaysWhatItNeedsWhenItIsTooSmallAndFitsEverySizeElse) {
    Screen screen;
    screen.take({{brox(10), vok(201, 5)}, {brox(40), vok(201, 9)}});
    EXPECT_THAT(screen.text(39, 9), HasSubstr("The screen has 39 x 9 characters"));
    EXPECT_THAT(screen.text(40, 9), HasSubstr("has 40 x 9"));
    EXPECT_THAT(screen.text(0, 0), "");
    for (const std::string_view typed : {"", "?", "\033c", "\033\n", "5"}) {
        screen.press(typed);
        for (size_t width = 40; width < 170; width += 13) {
            for (size_t height = 10; height < 60; height += 7) {
                EXPECT_THAT(screen.text(width, height), Not(HasSubstr("The screen has")));
            }
        }
    }
    EXPECT_THAT(screen.text(119, 39), Not(HasSubstr("events")));
    EXPECT_THAT(screen.text(119, 40), HasSubstr("events"));
}

TEST(Screen, HasADetailBesideTheTableOrInItsPlace) {
    Screen screen;
    screen.take({{vok(201, 5)}, {vok(201, 9)}, {vok(201, 11)}});
    EXPECT_THAT(screen.text(119), Not(HasSubstr("commitCount")));
    EXPECT_THAT(screen.text(120, 24),
                AllOf(HasSubstr("|vok 201 session 1 Vok201"), HasSubstr("Vok201        2")));
    screen.press("\\commitcount\n");
    EXPECT_THAT(screen.line("commitCount ", 120), HasSubstr("11       2/s"));
    screen.press("\n");
    EXPECT_THAT(screen.text(), AllOf(HasSubstr("1-5 of 5"), HasSubstr("commits th"),
                                     Not(HasSubstr("Vok201        2"))));
    screen.press("\033");
    EXPECT_THAT(screen.text(), HasSubstr("\\commitcount"));
    screen.press("\033");
    EXPECT_THAT(screen.text(), Not(HasSubstr("\\commitcount")));
}

TEST(Screen, FiltersAndSortsRows) {
    Screen screen;
    screen.take(
        {{vok(201, 5), vok(202, 7), vok(203, 0)}, {vok(201, 6), vok(202, 17), vok(203, 0)}});
    const auto rows = [&screen] {
        std::string pids;
        screen.model.refresh();
        for (const auto& row : screen.model.table.allRows()) {
            pids += std::to_string(row.record().pid % 10);
        }
        return pids;
    };
    const std::pair<std::string_view, std::string_view> steps[] = {
        {">>>>", "213"}, /* pid, session, name, commits: the greatest first */
        {"r", "312"},    {"rz", "21"},    {"z/Vok20[13]\n", "13"},
        {"/(\n", "13"}, /* doesn't compile: the one before holds */
        {"\033", "213"}, {"<<<<", "123"},
    };
    for (const auto& [typed, pids] : steps) {
        screen.press(typed);
        EXPECT_EQ(rows(), pids) << typed;
        if (typed == "/(\n") {
            EXPECT_THAT(screen.text(), HasSubstr("does not compile"));
        }
    }
    /* The mouse: a row, then a title, then the title again. */
    screen.text();
    screen.model.chooseRow(2);
    EXPECT_EQ(screen.model.selectedRow()->record().pid, 203);
    screen.model.chooseTitle(0, screen.picture.titles.at(4).column);
    EXPECT_EQ(rows(), "213");
    EXPECT_EQ(screen.model.selectedRow()->record().pid, 203) << "the selected process is followed";
    screen.model.chooseTitle(0, screen.picture.titles.at(4).column);
    EXPECT_EQ(rows(), "312");
    EXPECT_EQ(screen.model.selectedRow()->record().pid, 203) << "and so it is when it moves";
}

TEST(Screen, ColumnsAreChosenAndNumbersShownInOtherWays) {
    Screen screen;
    screen.take({{vok(201, 5000000)}, {vok(201, 5123456)}});
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("123k"));
    screen.press("t");
    EXPECT_THAT(screen.text(), HasSubstr("growth"));
    screen.press("t");
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("5.12M"));
    screen.press("u");
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("5123456"));
    screen.press("c");
    EXPECT_THAT(screen.text(), HasSubstr("[ ] otPageOps"));
    screen.press(" \n");
    EXPECT_THAT(screen.text(100), HasSubstr("commits"));
    screen.press("llllllll");
    EXPECT_THAT(screen.text(60), HasSubstr("otOps"));
    screen.press("cd\n");
    EXPECT_THAT(screen.text(200), Not(HasSubstr("otOps  ")));
}

TEST(Screen, APauseKeepsThePictureWhileSamplesGoOn) {
    Screen screen;
    screen.take({{vok(201, 5)}, {vok(201, 9)}});
    screen.press(" ");
    screen.take({{vok(201, 19)}, {vok(201, 39)}});
    EXPECT_THAT(screen.text(), HasSubstr("PAUSED +2 behind"));
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("Vok201        4"));
    screen.press("t"); /* works on what is held */
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("Vok201        4"));
    screen.press("tt ");
    EXPECT_THAT(screen.text(), Not(HasSubstr("PAUSED")));
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("Vok201       20"));
    screen.press("  ");
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("Vok201       20")) << "nothing came in between";
}

TEST(Screen, ACacheThatGoesKeepsItsLastValuesAndRatesBeginAnewWhenItIsBack) {
    Screen screen;
    screen.take({{brox(10), vok(201, 5)}, {brox(40), vok(201, 9)}});
    screen.happens(Event::Kind::Gone,
                   "cache prod~1f2e has gone away: its monitor (process 100) has ended");
    EXPECT_THAT(screen.line("GONE"), "GONE since 18:20:09: its monitor ended; it is looked for");
    EXPECT_THAT(screen.line("Vok201"), HasSubstr("Vok201        4"));
    EXPECT_EQ(screen.lookOf("Vok201  ") & dimLook, dimLook);
    screen.model.tick(SampleStream::timesAt(5).monotonicNs);
    screen.second = 6;
    screen.take({{brox(10), vok(201, 5)}}, 300);
    screen.happens(Event::Kind::Back, "cache prod~1f2e is back: monitor 300");
    EXPECT_THAT(screen.text(80, 40),
                AllOf(Not(HasSubstr("GONE since")), HasSubstr("18:20:09  GONE: cache prod~1f2e")));
    EXPECT_THAT(screen.line("is back", 100, 40), HasSubstr("is back: monitor 300"));
    screen.press("e"); /* the chosen event is seen as a whole, also where it is wider */
    EXPECT_THAT(screen.text(40), HasSubstr("is back: monit\n          or 300\n"));
    screen.press("\033");
    screen.take({{brox(40), vok(201, 9)}}, 300);
    EXPECT_THAT(screen.line("aborts", 131), testing::ContainsRegex("30/s +#     #"));
}

TEST(Screen, ABroxThatIsDeadIsToldAndItsFiguresAreMarked) {
    Screen screen;
    const auto dead = samples::ProcessState::Ended;
    screen.take({{brox(10)}, {brox(10, dead), vok(201, 5)}});
    EXPECT_EQ(screen.line("!"), "! its Brox (pid 101) has ended; its figures stand still");
    EXPECT_THAT(screen.line("aborts"), HasSubstr("commits        0/s="));
    screen.press("2");
    EXPECT_THAT(screen.line("101 "), HasSubstr("DEAD"));
    EXPECT_EQ(screen.lookOf("DEAD") & alarmLook, alarmLook);
    for (const auto& [state, sentence] : {std::pair(samples::ProcessState::Stopped, "is stopped"),
                                          {samples::ProcessState::Zombie, "was not reaped"}}) {
        Screen other;
        other.take({{brox(10)}, {brox(10, state), vok(201, 5)}});
        EXPECT_THAT(other.line("!"), HasSubstr(sentence));
        EXPECT_THAT(other.line("aborts"), HasSubstr("commits        0/s=")) << sentence;
    }
}

TEST(Screen, NamesOfAnyBytesTakeTheCellsThatTheyShow) {
    Screen screen;
    auto odd = vok(201, 5);
    odd.name = "a\033[2J\xE4\xB8\xAD\n";
    screen.take({{odd}, {odd}});
    EXPECT_THAT(screen.line("201 "), HasSubstr("a\\x1b[2J\\xe4\\xb8\\xad\\x0a"));
}

TEST(Screen, AsksForTheFileOfARecordingAndTheTextOfAMark) {
    Screen screen;
    screen.model.fileToRecord = "x";
    EXPECT_EQ(screen.press("wy\n"), ScreenModel::Wish::Record);
    EXPECT_EQ(screen.model.answer, "xy");
    EXPECT_EQ(screen.press("w\033"), ScreenModel::Wish::Nothing);
    EXPECT_EQ(screen.press("mq\n"), ScreenModel::Wish::Mark);
    EXPECT_EQ(screen.model.answer, "q");
    screen.model.recordedTo = "xy";
    EXPECT_THAT(screen.text(), HasSubstr("REC"));
    EXPECT_EQ(screen.press("w"), ScreenModel::Wish::Record) << "ends it without a question";
}

TEST(Screen, TheIntervalChangesInSteps) {
    Screen screen;
    EXPECT_EQ(screen.press("+"), ScreenModel::Wish::Interval);
    EXPECT_EQ(screen.model.interval(), 2);
    screen.press("---");
    EXPECT_EQ(screen.model.interval(), 0.2);
    screen.press("-----");
    EXPECT_THAT(screen.text(), HasSubstr("the interval is the shortest already"));
    EXPECT_EQ(screen.press("q"), ScreenModel::Wish::Quit);
    EXPECT_EQ(screen.press("?q"), ScreenModel::Wish::Nothing) << "closes the help";
}

TEST(ScreenKeys, EachHasOneMeaningAndStandsInTheManual) {
    std::ifstream file(MANUAL);
    std::ostringstream page;
    page << file.rdbuf();
    std::string list;
    std::set<Key> all;
    for (const KeyEntry& entry : keyTable()) {
        for (const Key key : entry.keys) {
            EXPECT_TRUE(key == keys::none || all.insert(key).second) << entry.text;
        }
        const bool isMark = entry.text.find_first_of("?[]") == 0; /* else punctuation */
        const std::string text =
            (isMark ? "\\&" : "") + std::string(entry.text == "\\" ? "\\e" : entry.text);
        list += ".It Ic \"" + text + "\"\n";
        list += static_cast<char>(std::toupper(entry.sentence[0]));
        list += std::string(entry.sentence.substr(1)) + ".\n";
    }
    EXPECT_NE(page.str().find(list), std::string::npos) << "the manual should say:\n" << list;
}

} // namespace
