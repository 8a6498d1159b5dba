/* Thinning: what becomes of samples, and of the directory that holds them. */
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "computation.h"
#include "process.h"
#include "recordedstory.h"
#include "recordingreader.h"
#include "recordingtimeline.h"
#include "recordingwriter.h"
#include "temporarydirectory.h"
#include "thinning.h"

/* Nothing waits for a disk in this program. */
extern "C" int fdatasync(int /*descriptor*/) {
    return 0;
}

namespace {

namespace fs = std::filesystem;
using namespace samples;
using namespace testsupport;
using statscatalogue::Meaning;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t hour = 60 * minute;
constexpr int samplesOfFirstHour = 2393; /* until the clock is at a whole hour */
const std::vector<ThinningRule> aMinute{{minute, hour}};
const std::vector<ThinningRule> tenMinutes{{minute, hour}, {10 * minute, 2 * hour}};

bool goesOn() {
    return false;
}

/* A directory with the hour that ends 2393 seconds after `begin`, and a moment of the next one. */
class Thinning : public testing::Test {
protected:
    Thinning() {
        RecordingOptions options;
        options.isDirectory = true;
        options.isReadableByGroup = true;
        auto writer = std::get<RecordingWriter>(RecordingWriter::open(path, options));
        const auto tell = [&](Message message) { writer.add(0, message); };
        tell(headerOf("prod~1f2e", 0));
        for (int i = 0; i < samplesOfFirstHour + 3; i++) {
            tell(cache.sample(i * second + 2));
            if (i % 500 == 20) {
                tell(Notice{"two\nlines\n", at(i * second + 4)});
                tell(Mark{"since here", at(i * second + 5)});
            }
            if (i == 1700) {
                tell(Lost{7, "its monitor ended", at(i * second + 6)});
                tell(headerOf("prod~1f2e", i * second + 7, 200));
            }
        }
        writer.close();
        const auto files = recordingFiles(path).value();
        EXPECT_THAT(files, SizeIs(2));
        file = files[0];
        fs::copy(path, original);
    }
    ThinningOutcome thin(const std::vector<ThinningRule>& rules, std::int64_t age = 3 * hour) {
        return thinDirectory(path, rules, begin + samplesOfFirstHour * second + age, goesOn);
    }
    void restore() {
        fs::remove_all(path);
        fs::copy(original, path);
    }

    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    const std::string original = directory.file("original");
    StoryCache cache{5};
    std::string file;
};

std::vector<Message> read(const std::string& path) {
    auto reader = std::get<RecordingReader>(RecordingReader::open(path));
    std::vector<Message> messages;
    while (auto each = reader.next()) {
        messages.push_back(std::move(each->message));
    }
    EXPECT_THAT(reader.damages(), IsEmpty());
    return messages;
}

/* All of it, as bytes. */
std::string tellingOf(const std::string& path) {
    std::string telling;
    for (const Message& message : read(path)) {
        telling += bytesOf(message);
        const auto* sample = std::get_if<Sample>(&message);
        for (std::size_t i = 0; sample != nullptr && i < sample->records().size(); i++) {
            const Record& record = sample->records()[i];
            telling += std::to_string(record.merged) + "of" + std::to_string(sample->merged);
            telling.append(reinterpret_cast<const char*>(record.blocks), record.blocksSize());
        }
    }
    return telling;
}

std::uint64_t valueAt(const std::byte* from, const Figure& figure) {
    return statscatalogue::read(from + figure.packedOffset, figure.field->type).bits;
}

/* What a gauge of a process has been over an interval. */
struct Course {
    std::int64_t first, least, greatest;
    double sum = 0; /* of what it was more than the first time */
    unsigned count = 0;
};
using Identity = std::tuple<std::string, std::uint32_t, int, int, std::int64_t, std::uint32_t>;
Identity identityOf(const Record& record) {
    std::uint32_t slot = 0;
    if (record.kind != nullptr) {
        std::memcpy(&slot, record.blocks + offsetof(ShrPcCommonStatSType, cacheSlotIndex),
                    sizeof slot);
    }
    return {std::string(record.name), record.statType,  record.pid,
            record.session,           record.startedNs, slot};
}

/* The samples of an interval, and what they amount to. */
class Interval {
public:
    void add(const Sample& sample) {
        last = &sample;
        numSamples++;
        std::map<Identity, int> here;
        for (const Record& record : sample.records()) {
            const Identity identity = identityOf(record);
            twins[identity] = std::max(++here[identity], twins[identity]);
            for (const Figure& figure : gaugesOf(record)) {
                add(identity, figure, static_cast<std::int64_t>(valueAt(record.blocks, figure)));
            }
        }
    }
    bool endsWith(const Sample& summary) const {
        return last != nullptr && last->times == summary.times;
    }
    /* It is the last sample, with the averages of the gauges of those processes that can be told
       from all others. Returns how many of them have moved. */
    int expect(const Sample& summary, int tolerance) const {
        EXPECT_TRUE(endsWith(summary));
        EXPECT_EQ(summary.merged == 0 ? 1 : summary.merged, numSamples);
        EXPECT_EQ(summary.records().size(), last->records().size());
        int numMoved = 0;
        for (std::size_t i = 0; i < std::min(summary.records().size(), last->records().size());
             i++) {
            const Record& record = summary.records()[i];
            const Record& of = last->records()[i];
            EXPECT_EQ(identityOf(record), identityOf(of));
            EXPECT_EQ(std::pair(record.state, record.uid), std::pair(of.state, of.uid));
            if (record.kind != nullptr && summary.merged != 0) {
                numMoved += expect(record, of, tolerance);
            }
        }
        return numMoved;
    }

private:
    static std::vector<Figure> figuresIn(const Record& record) {
        auto figures = record.kind == nullptr ? std::vector<Figure>() : figuresOf(*record.kind, {});
        std::erase_if(figures, [](const Figure& figure) { return figure.field == nullptr; });
        return figures;
    }
    static std::vector<Figure> gaugesOf(const Record& record) {
        auto figures = figuresIn(record);
        std::erase_if(figures,
                      [](const Figure& figure) { return figure.meaning != Meaning::Gauge; });
        return figures;
    }

    void add(const Identity& identity, const Figure& figure, std::int64_t value) {
        const auto isLess = [&](std::int64_t one, std::int64_t other) {
            return figure.field->type == statscatalogue::FieldType::U64
                       ? static_cast<std::uint64_t>(one) < static_cast<std::uint64_t>(other)
                       : one < other;
        };
        Course& course =
            courses.try_emplace({identity, figure.packedOffset}, Course{value, value, value})
                .first->second;
        course.least = std::min(course.least, value, isLess);
        course.greatest = std::max(course.greatest, value, isLess);
        course.sum += static_cast<double>(value) - static_cast<double>(course.first);
        course.count++;
    }

    int expect(const Record& record, const Record& of, int tolerance) const {
        int numMoved = 0;
        for (const Figure& figure : figuresIn(record)) {
            if (figure.meaning != Meaning::Gauge) {
                EXPECT_EQ(valueAt(record.blocks, figure), valueAt(of.blocks, figure));
            } else if (twins.at(identityOf(of)) == 1) {
                const Course& course = courses.at({identityOf(of), figure.packedOffset});
                expect(record, figure, course, tolerance);
                numMoved += course.least != course.greatest ? 1 : 0;
            }
        }
        return numMoved;
    }
    static void expect(const Record& record, const Figure& figure, const Course& course,
                       int tolerance) {
        const samples::Process process{&record, nullptr};
        const auto average = static_cast<std::int64_t>(valueAt(record.blocks, figure));
        constexpr std::int64_t exact = std::int64_t{1} << 50; /* of doubles */
        if (course.least > -exact && course.greatest < exact) {
            EXPECT_NEAR(static_cast<double>(average - course.first), course.sum / course.count,
                        tolerance + 0.51);
        }
        EXPECT_EQ(minimumOf(figure, {&process, 1}).asSigned(), course.least);
        EXPECT_EQ(maximumOf(figure, {&process, 1}).asSigned(), course.greatest);
        EXPECT_EQ(record.merged, course.count);
    }

    const Sample* last = nullptr;
    unsigned numSamples = 0;
    std::map<std::pair<Identity, std::size_t>, Course> courses;
    std::map<Identity, int> twins;
};

/* Each sample of a thinned file is its interval. */
void expectIntervals(const std::vector<Message>& thinned, const std::vector<Message>& whole,
                     std::int64_t step, int tolerance) {
    std::size_t at = 0;
    int numMoved = 0;
    for (const Message& message : thinned) {
        const auto* summary = std::get_if<Sample>(&message);
        if (summary == nullptr) {
            continue;
        }
        Interval interval;
        for (; at < whole.size() && !interval.endsWith(*summary); at++) {
            if (const auto* sample = std::get_if<Sample>(&whole[at])) {
                ASSERT_EQ(sample->times.realNs / step, summary->times.realNs / step);
                interval.add(*sample);
            }
        }
        ASSERT_TRUE(interval.endsWith(*summary));
        numMoved += interval.expect(*summary, tolerance);
    }
    EXPECT_GT(numMoved, 10);
}

std::string eventsOf(const std::vector<Message>& messages) {
    std::string events;
    for (const Message& message : messages) {
        events += std::holds_alternative<Sample>(message) ? "" : bytesOf(message);
    }
    return events;
}

TEST_F(Thinning, KeepsOfEachIntervalWhatItAmountsTo) {
    const auto whole = read(file);
    const auto size = fs::file_size(file);
    const std::string next = contentsOf(recordingFiles(path).value()[1]);
    EXPECT_EQ(thin(aMinute).numThinned, 1U);
    const auto minutes = read(file);
    EXPECT_EQ(eventsOf(minutes), eventsOf(whole));
    expectIntervals(minutes, whole, minute, 0);
    EXPECT_LT(fs::file_size(file) * 4, size);
    EXPECT_EQ(contentsOf(recordingFiles(path).value()[1]), next);
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);

    /* Further, as it is older; and from the beginning it would be the same but for rounding. */
    EXPECT_EQ(thin(aMinute).numThinned, 0U);
    EXPECT_EQ(thin(tenMinutes, hour + second).numThinned, 0U);
    const ThinningOutcome further = thin(tenMinutes);
    EXPECT_EQ(std::pair(further.numThinned, further.bytesAfter),
              std::pair(1U, fs::file_size(file)));
    const auto tens = read(file);
    EXPECT_EQ(eventsOf(tens), eventsOf(whole));
    expectIntervals(tens, whole, 10 * minute, 1);
    EXPECT_THAT(run({TVSISTAT, "--info", path}).out,
                HasSubstr("\nthinned  to a sample in 10m00s: "));
}

/* The lines of a program, without the first. */
std::vector<std::string> linesOf(std::vector<std::string> options) {
    options.insert(options.begin(), {TVSISTAT, "-j", "--delta", "-R"});
    const auto outcome = run(options);
    EXPECT_EQ(outcome.err, "");
    std::istringstream text(outcome.out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(Thinning, IsSeenAsAnIntervalOfTheOriginalIs) {
    const std::string whole = original + "/" + fs::path(file).filename().string();
    thin(aMinute);
    auto thinned =
        linesOf({file, "--end", "2026-11-16T18:48:00Z", "--start", "2026-11-16T18:20:30Z"});
    ASSERT_GT(thinned.size(), 20U);
    const auto timeAt = thinned[0].find("\"time\":\"") + 8;
    const std::string start = thinned[0].substr(timeAt, thinned[0].find('"', timeAt) - timeAt);
    auto asked =
        linesOf({whole, "--interval", "1m", "--start", start, "--end", "2026-11-16T18:48:00Z"});
    /* The first one begins otherwise: one is an interval's, the other one a sample. The second one
       grows from it. */
    for (auto* lines : {&thinned, &asked}) {
        lines->erase(lines->begin(), lines->begin() + 2);
    }
    EXPECT_THAT(asked[0], HasSubstr("\"samples\":60,"));
    EXPECT_THAT(asked[0], HasSubstr("\"minimums\":{\""));
    EXPECT_TRUE(thinned == asked);
}

TEST_F(Thinning, LeavesAloneWhatItMust) {
    EXPECT_EQ(thin(aMinute, hour - second).numThinned, 0U); /* too young */
    {
        auto writer = std::get<RecordingWriter>(RecordingWriter::open(file, {}));
        EXPECT_EQ(thin(aMinute).numThinned, 0U);
    }
    std::string bytes = contentsOf(file);
    bytes[headsOf(bytes)[5].offset + 200] ^= 1;
    put(file, bytes);
    const ThinningOutcome damaged = thin(aMinute);
    EXPECT_EQ(damaged.numThinned, 0U);
    ASSERT_THAT(damaged.leftAsTheyAre, SizeIs(1));
    EXPECT_THAT(damaged.leftAsTheyAre[0], HasSubstr(file + " is damaged"));
    EXPECT_EQ(contentsOf(file), bytes);
    const auto told = run({TVSISTAT, "--thin", "1m:1s", path});
    EXPECT_EQ(told.status, static_cast<int>(ExitStatus::DamagedInput));
    EXPECT_THAT(told.err, HasSubstr("it is left as it is"));
    EXPECT_EQ(told.out, path + ": 0 of 2 files thinned, of 0 bytes, now 0\n");
    EXPECT_FALSE(fs::exists(file + ".thin"));
    restore();
    fs::resize_file(file, fs::file_size(file) - 4096);
    ASSERT_THAT(thin(aMinute).leftAsTheyAre, SizeIs(1));
    EXPECT_TRUE(thinDirectory(path + "x", aMinute, 0, goesOn).failure);
}

/* What a killed writer has left in the tail belongs to the file. */
TEST_F(Thinning, BringsInWhatAKilledWriterLeft) {
    const std::string killed = path + "/" + recordingName(begin - hour);
    {
        auto writer = std::get<RecordingWriter>(RecordingWriter::open(killed, {}));
        writer.add(0, headerOf("prod~1f2e", 0));
        for (int i = 0; i < 30; i++) {
            writer.add(0, cache.sample(i * second));
        }
        fs::copy(killed, killed + "x");
        fs::copy(tailPath(killed), killed + "y");
    }
    fs::rename(killed + "x", killed);
    fs::rename(killed + "y", tailPath(killed));
    EXPECT_THAT(read(killed), SizeIs(testing::Gt(20U)));
    EXPECT_EQ(thin(aMinute).numThinned, 2U);
    EXPECT_FALSE(fs::exists(tailPath(killed)));
    EXPECT_THAT(read(killed), SizeIs(2));
}

/* At whatever moment it is killed, there is the old file or the new one. */
TEST_F(Thinning, OutlivesBeingKilled) {
    const std::string before = tellingOf(file);
    const auto begun = std::chrono::steady_clock::now();
    ASSERT_EQ(thin(aMinute).numThinned, 1U);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begun;
    const std::string after = tellingOf(file);
    ASSERT_NE(before, after);
    int numUnfinished = 0;
    for (int i = 0; i < 12; i++) {
        restore();
        const pid_t child = fork();
        if (child == 0) {
            thin(aMinute);
            _exit(0);
        }
        usleep(static_cast<useconds_t>(took.count() * (i + 1) / 12));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        numUnfinished += fs::exists(file + ".thin") ? 1 : 0;
        const std::string left = tellingOf(file);
        EXPECT_TRUE(left == before || left == after) << "killed at " << i;
        thin(aMinute);
        EXPECT_TRUE(tellingOf(file) == after) << "killed at " << i;
        EXPECT_FALSE(fs::exists(file + ".thin"));
    }
    EXPECT_GT(numUnfinished, 0);
    const ThinningOutcome stopped =
        thinDirectory(path, tenMinutes, begin + 9 * hour, [] { return true; });
    EXPECT_EQ(stopped.numThinned, 0U);
    EXPECT_TRUE(tellingOf(file) == after && !fs::exists(file + ".thin"));
}

} // namespace
