/* Recordings: what is written is read, also while it is written, and damage costs what it hits. */
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "crc32c.h"
#include "exitstatus.h"
#include "process.h"
#include "recordedstory.h"
#include "recordingblock.h"
#include "recordingformat.h"
#include "recordingreader.h"
#include "recordingtimeline.h"
#include "recordingwriter.h"
#include "rows.h"
#include "streamdecoder.h"
#include "streamencoder.h"
#include "temporarydirectory.h"

/* The writer waits for no disk in this program. */
static std::atomic<int> numSyncs = 0;
extern "C" int fdatasync(int /*descriptor*/) {
    numSyncs++;
    return 0;
}

namespace {

using namespace samples;
using namespace testsupport;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

RecordingWriter writerOf(const std::string& path, const RecordingOptions& options = {}) {
    auto opened = RecordingWriter::open(path, options);
    EXPECT_TRUE(std::holds_alternative<RecordingWriter>(opened))
        << std::get<Failure>(opened).sentence;
    return std::move(std::get<RecordingWriter>(opened));
}

RecordingReader readerOf(const std::string& path) {
    auto opened = RecordingReader::open(path);
    EXPECT_TRUE(std::holds_alternative<RecordingReader>(opened))
        << std::get<Failure>(opened).sentence;
    return std::move(std::get<RecordingReader>(opened));
}

void record(const std::string& path, const Story& story, const RecordingOptions& options = {}) {
    const int before = numSyncs;
    auto writer = writerOf(path, options);
    for (const Told& told : story) {
        writer.add(told.cache, told.message);
    }
    writer.close();
    EXPECT_EQ(writer.takeProblem(), "");
    const std::int64_t length = timesOf(story.back().message).realNs - begin;
    EXPECT_GE(numSyncs - before, length / (5 * second)); /* a part is safe 5 seconds later */
    EXPECT_LE(numSyncs - before, 13 * (length / minute + 2));
}

Messages read(const std::string& path) {
    Messages messages;
    auto reader = readerOf(path);
    readOn(reader, messages);
    EXPECT_THAT(reader.damages(), IsEmpty());
    return messages;
}

TEST(Recording, AllThatIsWrittenIsRead) {
    const TemporaryDirectory directory;
    const Story story = storyOf(400);
    RecordingOptions hours;
    hours.isDirectory = true;
    forEachRow(
        std::vector<std::pair<std::string, RecordingOptions>>{{"file", {}}, {"directory", hours}},
        [&](const std::string& name, const RecordingOptions& options) {
            const std::string path = directory.file(name);
            record(path, story, options);
            EXPECT_EQ(difference(read(path), messagesOf(story)), "") << name;
            EXPECT_FALSE(std::filesystem::exists(tailPath(path)));
        });
    /* A second run goes on in the same file, with the same bytes: these are no doubles. */
    record(directory.file("file"), story);
    Messages twice = messagesOf(story);
    for (const auto& [location, messages] : messagesOf(story)) {
        twice[location].insert(twice[location].end(), messages.begin(), messages.end());
    }
    EXPECT_EQ(difference(read(directory.file("file")), twice), "");
}

/* What a caller sees who does what is due in time. */
TEST(Recording, WhatIsOlderThanFiveSecondsIsSynced) {
    struct Pace {
        double interval; /* seconds */
        int numCaches;
        double oldest; /* seconds, of what isn't synced */
        int mostSyncs; /* in a minute */
    };
    const std::vector<std::pair<std::string, Pace>> paces{{"without a pause", {0.01, 1, 4.62, 13}},
                                                          {"often", {0.2, 1, 4.62, 13}},
                                                          {"usual", {1, 1, 4, 13}},
                                                          {"usual, two caches", {1, 2, 4, 13}},
                                                          {"two seconds", {2, 1, 4, 11}},
                                                          {"about a part", {4.7, 1, 4.62, 13}},
                                                          {"seldom", {10, 1, 4.62, 7}}};
    forEachRow(paces, [](const std::string& name, const Pace& pace) {
        const TemporaryDirectory directory;
        auto writer = writerOf(directory.file("r"));
        StoryCache story(1, 3);
        std::map<std::int64_t, int> syncs; /* by minute */
        std::optional<std::int64_t> unsyncedFrom;
        std::int64_t oldest = 0;
        const auto look = [&](std::int64_t now, int before) {
            oldest = std::max(oldest, now - unsyncedFrom.value_or(now));
            syncs[(begin + now) / minute] += numSyncs - before;
            if (numSyncs != before || !unsyncedFrom) {
                unsyncedFrom = writer.nextDueNs() ? std::optional(now) : std::nullopt;
            }
        };
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(pace.numCaches); i++) {
            writer.add(i, headerOf("c" + std::to_string(i) + "~1", 0));
        }
        const auto pause = static_cast<std::int64_t>(pace.interval * second);
        for (std::int64_t next = 0; next < 4 * minute; next += pause) {
            while (writer.nextDueNs().value_or(INT64_MAX) < at(next).monotonicNs) {
                const std::int64_t now = *writer.nextDueNs() - at(0).monotonicNs;
                const int before = numSyncs;
                writer.tick(at(now));
                look(now, before);
            }
            for (int i = 0; i < pace.numCaches; i++) {
                const int before = numSyncs;
                writer.add(static_cast<std::uint32_t>(i), story.sample(next + i));
                look(next + i, before);
            }
        }
        EXPECT_LE(static_cast<double>(oldest) / second, pace.oldest + 1e-6) << name;
        syncs.erase(syncs.begin()); /* with that of the file's beginning */
        EXPECT_THAT(syncs, SizeIs(testing::Ge(3))) << name;
        for (const auto& [at, count] : syncs) {
            EXPECT_LE(count, pace.mostSyncs) << name;
        }
    });
}

TEST(Recording, TheOrderOfTimeHoldsAcrossCaches) {
    const TemporaryDirectory directory;
    record(directory.file("r"), storyOf(200));
    auto reader = readerOf(directory.file("r"));
    std::int64_t last = 0;
    while (const auto each = reader.next()) {
        ASSERT_GE(timesOf(each->message).realNs, last);
        last = timesOf(each->message).realNs;
    }
    const auto span = reader.span();
    ASSERT_TRUE(span);
    EXPECT_EQ(std::pair(span->firstNs, span->lastNs), std::pair(begin, begin + 200 * second));
}

/* At each moment a reader that follows has all but the last 5 seconds; so has one that begins anew,
   and one that comes after the writer was killed; and the next writer keeps it. */
TEST(Recording, IsReadWhileItIsWritten) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    const Story story = storyOf(150);
    auto writer = writerOf(path);
    std::optional<RecordingReader> follower;
    Messages followed;
    for (std::size_t i = 0; i < story.size(); i++) {
        writer.add(story[i].cache, story[i].message);
        if (!follower) {
            follower.emplace(readerOf(path));
        }
        readOn(*follower, followed);
        if (i % 29 != 0) {
            continue;
        }
        const std::int64_t now = timesOf(story[i].message).realNs;
        std::size_t known = 0;
        for (const auto& [location, messages] : followed) {
            known += messages.size();
        }
        Messages all = messagesOf(std::span(story).first(i + 1));
        for (auto& [location, messages] : all) {
            messages.resize(followed[location].size());
        }
        ASSERT_EQ(difference(followed, all), "") << "after " << i;
        ASSERT_LE(known, i + 1);
        ASSERT_TRUE(known == i + 1 || timesOf(story[known].message).realNs > now - 5 * second - 10)
            << "after " << i;
        ASSERT_EQ(difference(known == 0 ? followed : read(path), followed), "") << "after " << i;

        const std::string killed = directory.file("killed");
        std::filesystem::remove(tailPath(killed));
        put(killed, contentsOf(path));
        put(tailPath(killed), contentsOf(tailPath(path)));
        ASSERT_EQ(difference(known == 0 ? followed : read(killed), followed), "") << "after " << i;
        auto next = writerOf(killed);
        next.add(0, headerOf("prod~1f2e", 300 * second));
        next.close();
        followed["prod~1f2e"].push_back(bytesOf(headerOf("prod~1f2e", 300 * second)));
        ASSERT_EQ(difference(read(killed), followed), "") << "after " << i;
        followed["prod~1f2e"].pop_back();
        std::erase_if(followed, [](const auto& each) { return each.second.empty(); });
    }
    writer.close();
    readOn(*follower, followed);
    EXPECT_EQ(difference(followed, messagesOf(story)), "");
    EXPECT_THAT(follower->damages(), IsEmpty());
}

TEST(Recording, AReaderBesideAWriterFindsNoGap) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    const Story story = storyOf(600);
    const Messages all = messagesOf(story);
    std::atomic<bool> isDone = false;
    auto writer = writerOf(path);
    std::thread recorder([&] {
        for (const Told& told : story) {
            writer.add(told.cache, told.message);
        }
        writer.close();
        isDone = true;
    });
    auto follower = readerOf(path);
    Messages followed;
    for (int i = 0; !isDone; i++) {
        readOn(follower, followed);
        auto fresh = readerOf(path);
        Messages anew;
        readOn(fresh, anew);
        for (const Messages* found : {&anew, &followed}) {
            for (const auto& [location, messages] : *found) {
                const auto& told = all.at(location);
                EXPECT_TRUE(messages.size() <= told.size() &&
                            std::ranges::equal(messages, std::span(told).first(messages.size())))
                    << "look " << i;
            }
        }
        EXPECT_THAT(fresh.damages(), IsEmpty());
    }
    recorder.join();
    readOn(follower, followed);
    EXPECT_EQ(difference(followed, all), "");
    EXPECT_THAT(follower.damages(), IsEmpty());
}

TEST(Recording, AnyMomentOfAWeekIsFoundWithFewReads) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("week");
    constexpr int numMinutes = 7 * 24 * 60;
    auto writer = writerOf(path);
    Message sample = StoryCache(3, 1).sample(0);
    writer.add(0, headerOf("prod~1f2e", 0));
    for (int i = 0; i < numMinutes; i++) {
        std::get<Sample>(sample).times = at(i * minute + 1);
        writer.add(0, sample);
    }
    writer.close();
    std::uint64_t most = 0;
    for (const int target : {0, 1, 2, 777, 5000, 9999, numMinutes - 2, numMinutes - 1}) {
        const std::int64_t realNs = begin + target * minute + 1;
        auto reader = readerOf(path);
        EXPECT_TRUE(reader.span());
        reader.seek(realNs - second);
        const auto header = reader.next();
        ASSERT_TRUE(header && std::holds_alternative<StreamHeader>(header->message)) << target;
        const auto found = reader.next();
        ASSERT_TRUE(found && std::holds_alternative<Sample>(found->message)) << target;
        EXPECT_EQ(timesOf(found->message).realNs, realNs);
        EXPECT_EQ(reader.sampleBefore(realNs, 2).value_or(0),
                  target == 0 ? 0 : begin + std::max(target - 2, 0) * minute + 1);
        EXPECT_EQ(reader.sampleAfter(realNs, 3),
                  begin + std::min(target + 2, numMinutes - 1) * minute + 1);
        most = std::max(most, reader.headReads());
    }
    EXPECT_LE(most, 300U);
    RecordProperty("headReads", static_cast<int>(most));
}

TEST(Recording, ASeekLeadsToTheFirstMessageThere) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    const Story story = storyOf(300);
    record(path, story);
    auto reader = readerOf(path);
    for (std::size_t from = 0; from < story.size(); from += 13) {
        /* The header that holds, and what follows. */
        Messages wanted;
        std::map<std::uint32_t, std::string> held;
        for (std::size_t i = 0; i < story.size(); i++) {
            const Told& told = story[i];
            const auto& location = told.cache == 0 ? "prod~1f2e" : "test~1f2e";
            const bool isHeader = std::holds_alternative<StreamHeader>(told.message);
            if (i < from) {
                held[told.cache] = isHeader ? told.bytes : held[told.cache];
                continue;
            }
            if (wanted[location].empty() && !isHeader) {
                wanted[location].push_back(held[told.cache]);
            }
            wanted[location].push_back(told.bytes);
        }
        reader.seek(timesOf(story[from].message).realNs);
        Messages found;
        readOn(reader, found);
        for (auto& [location, messages] : found) {
            if (messages.size() == 1 && !wanted.contains(location)) {
                messages.clear(); /* a header of a cache that says nothing more */
            }
        }
        std::erase_if(found, [](const auto& each) { return each.second.empty(); });
        ASSERT_EQ(difference(found, wanted), "") << from;
    }
}

/* ---- damage ---- */

/* Whether these are messages that were told, in their order; a header may come again. */
std::size_t countTold(const std::vector<std::string>& found, const std::vector<std::string>& told) {
    std::size_t next = 0;
    std::size_t count = 0;
    for (const std::string& message : found) {
        const auto place = std::find(told.begin() + static_cast<long>(next), told.end(), message);
        if (place != told.end()) {
            next = static_cast<std::size_t>(place - told.begin()) + 1;
            count++;
        } else {
            EXPECT_NE(std::find(told.begin(), told.end(), message), told.end())
                << "a message that was never recorded";
        }
    }
    return count;
}

/* Reads a recording that was changed: what is lost is told, and no more than a minute of one cache.
 * `mostBlocks`: that the change may have hit; 99: a cut, which nobody can notice. */
void expectLittleLost(const std::string& path, const Messages& all, const std::string& what,
                      std::size_t mostBlocks, bool isTail, std::int64_t soughtNs) {
    auto opened = RecordingReader::open(path);
    if (const auto* failure = std::get_if<Failure>(&opened)) {
        EXPECT_EQ(failure->status, ExitStatus::DamagedInput) << what;
        EXPECT_THAT(failure->sentence, HasSubstr(path)) << what;
        EXPECT_EQ(mostBlocks, 99U) << what << ": " << failure->sentence;
        return;
    }
    auto& reader = std::get<RecordingReader>(opened);
    Messages found;
    readOn(reader, found);
    std::size_t lost = 0;
    int cachesHit = 0;
    for (const auto& [location, told] : all) {
        const std::size_t missing = told.size() - countTold(found[location], told);
        lost += missing;
        cachesHit += missing > 0 ? 1 : 0;
    }
    const bool isSaid = !reader.damages().empty();
    const bool isCut = mostBlocks == 99;
    EXPECT_TRUE(lost == 0 || isSaid || isCut) << what << ": silently lost " << lost;
    EXPECT_TRUE(isCut || (lost <= 75 && cachesHit <= 1) || isTail) << what << ": " << lost;
    for (const RecordingDamage& damage : reader.damages()) {
        EXPECT_THAT(damage.sentence, HasSubstr(path)) << what;
    }
    /* A survey that reads all of it says so, too; and a seek doesn't mind. */
    auto other = readerOf(path);
    other.survey(RecordingReader::Check::Payloads);
    EXPECT_EQ(other.damages().empty(), !isSaid) << what;
    other.seek(soughtNs);
    other.next();
}

TEST(Recording, DamageCostsTheMinuteThatItLiesIn) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    const Story story = storyOf(240);
    std::string good;
    std::string goodTail;
    { /* as a killed writer leaves it */
        auto writer = writerOf(path);
        for (const Told& told : story) {
            writer.add(told.cache, told.message);
        }
        good = contentsOf(path);
        goodTail = contentsOf(tailPath(path));
    }
    ASSERT_GT(goodTail.size(), 0U);
    put(path, good);
    put(tailPath(path), goodTail);
    const Messages all = read(path);
    std::mt19937 random(11);
    const auto pick = [&](std::size_t count) { return random() % count; };
    using Change = std::function<void(std::string&)>;
    struct Row {
        const char* name;
        std::size_t mostBlocks; /* that it may hit */
        Change change;
    };
    const auto flip = [&](std::size_t from, std::size_t step) {
        return [&, from, step](std::string& bytes) {
            const std::size_t page = pick((bytes.size() + step - 1) / step) * step;
            char& hit = bytes[std::min(page + pick(from), bytes.size() - 1)];
            hit = static_cast<char>(static_cast<unsigned char>(hit) ^ 1U << pick(8));
        };
    };
    const auto overwrite = [&](char with) {
        return [&, with](std::string& bytes) {
            const std::size_t sector = pick(bytes.size() / 512) * 512;
            for (std::size_t i = 0; i < 512; i++) {
                bytes[sector + i] = with != 'r' ? with : static_cast<char>(random());
            }
        };
    };
    const Row rows[] = {{"flip", 1, flip(4096, 4096)},
                        {"flip in a page's first bytes", 1, flip(160, 4096)},
                        {"flip in the first block", 1, flip(4096, SIZE_MAX / 2)},
                        {"zeros", 1, overwrite('\0')},
                        {"noise", 1, overwrite('r')},
                        {"cut", 99, [&](std::string& bytes) { bytes.resize(pick(bytes.size())); }},
                        {"doubled page", 1, [&](std::string& bytes) {
                             const std::size_t pages = bytes.size() / 4096;
                             bytes.replace(pick(pages) * 4096, 4096,
                                           good.substr(pick(good.size() / 4096) * 4096, 4096));
                         }}};
    for (const Row& row : rows) {
        for (int i = 0; i < 80; i++) {
            const bool isTail = i % 4 == 3;
            std::string main = good;
            std::string tail = goodTail;
            row.change(isTail ? tail : main);
            put(path, main);
            put(tailPath(path), tail);
            const std::int64_t sought = begin + static_cast<std::int64_t>(pick(240)) * second;
            expectLittleLost(path, all, std::string(row.name) + " " + std::to_string(i),
                             row.mostBlocks, isTail, sought);
        }
    }
}

/* ---- what is no recording, or another one ---- */

TEST(Recording, WhatIsNoRecordingIsRefusedWithASentence) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    record(path, storyOf(3));
    const std::string good = contentsOf(path);
    const auto changed = [&](auto change) {
        std::string bytes = good;
        format::BlockHead head = headsOf(bytes)[0];
        change(head);
        std::memcpy(bytes.data(), &head, sizeof head);
        return bytes;
    };
    put(directory.file("text"), std::string(9000, 'x'));
    put(directory.file("newer"), changed([](auto& head) {
            head.version = 2;
            sign(head);
        }));
    put(directory.file("swapped"),
        changed([](auto& head) { head.magic = __builtin_bswap64(head.magic); }));
    mkfifo(directory.file("pipe").c_str(), 0600);
    std::filesystem::create_symlink(path, directory.file("link"));
    forEachRow(
        std::vector<std::tuple<const char*, ExitStatus, const char*, const char*>>{
            {"none", ExitStatus::Failure, "No such file", ""},
            {"text", ExitStatus::DamagedInput, "is no recording", "is no recording"},
            {"pipe", ExitStatus::DamagedInput, "not a file", "is not a file"},
            {"newer", ExitStatus::DamagedInput, "format 2, which", "format 2, which"},
            {"swapped", ExitStatus::DamagedInput, "another byte order", "another byte order"},
            {"link", ExitStatus::Ok, "", "is a symbolic link"}},
        [&](const char* name, ExitStatus status, const char* reading, const char* writing) {
            const auto opened = RecordingReader::open(directory.file(name));
            const auto* failure = std::get_if<Failure>(&opened);
            EXPECT_EQ(failure != nullptr ? failure->status : ExitStatus::Ok, status) << name;
            EXPECT_THAT(failure != nullptr ? failure->sentence : "", HasSubstr(reading));
            if (status != ExitStatus::Ok && std::string_view("pipe") != name) {
                for (const char* option : {"--read", "--info"}) {
                    const auto tool = testsupport::run({TVSISTAT, option, directory.file(name)});
                    EXPECT_EQ(tool.status, static_cast<int>(status)) << name;
                    EXPECT_THAT(tool.err, HasSubstr(reading)) << name;
                }
            }
            if (*writing != '\0') {
                const auto begun = RecordingWriter::open(directory.file(name), {});
                ASSERT_TRUE(std::holds_alternative<Failure>(begun)) << name;
                EXPECT_THAT(std::get<Failure>(begun).sentence, HasSubstr(writing));
            }
        });
    const auto writer = writerOf(path);
    const auto rival = RecordingWriter::open(path, {});
    ASSERT_TRUE(std::holds_alternative<Failure>(rival));
    EXPECT_THAT(std::get<Failure>(rival).sentence, HasSubstr("another program"));
}

/* No writer makes such parts: what they continue isn't there, or they are without end. */
TEST(Recording, APartThatContinuesNothingIsDamaged) {
    StoryCache cache(7, 12);
    BlockEncoder encoder;
    BlockPayload parts[2];
    encoder.add(headerOf("prod~1f2e", 0));
    for (BlockPayload& part : parts) {
        encoder.add(cache.sample(1));
        encoder.makePart(part);
        encoder.partIsWritten();
    }
    std::string text = FieldTable::own().text();
    for (std::size_t at = 0; (at = text.find("kind ", at)) != std::string::npos; at++) {
        text.insert(text.find('\n', at), "Foreign");
    }
    const auto foreign = FieldTable::from(text);
    ASSERT_TRUE(foreign);
    std::vector<BlockMessage> messages;
    ASSERT_TRUE(decodeBlock(parts[0].bytes, parts[0].unpacked, *foreign, messages));
    EXPECT_FALSE(decodeBlock(parts[1].bytes, parts[1].unpacked, FieldTable::own(), messages));

    constexpr std::uint32_t numChunks = 3;
    std::vector<std::uint32_t> empty(1 + numChunks * numBlockSections);
    empty[0] = numChunks;
    EXPECT_FALSE(decodeChunks(std::as_bytes(std::span(empty)), FieldTable::own(), messages));
    EXPECT_THAT(messages, SizeIs(2)) << "nothing stays of what is refused";
}

/* The same bytes by a catalogue in which fields have other names, and a bit another kind. */
TEST(Recording, ACatalogueOfAnotherReleaseIsReadByItsNames) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    StoryCache cache(7, 12);
    const Message sample = cache.sample(1);
    auto writer = writerOf(path);
    writer.add(0, headerOf("prod~1f2e", 0));
    writer.add(0, sample);
    writer.close();

    /* Two neighbours of a kind change names; another one has a name that nobody knows. */
    std::string text = FieldTable::own().text();
    const std::size_t vok = text.find("\n", text.find("kind 8 ")) + 1;
    std::vector<std::string> lines;
    std::size_t end = vok;
    while (lines.size() < 20) {
        const std::size_t next = text.find('\n', end) + 1;
        lines.push_back(text.substr(end, next - end));
        end = next;
    }
    const auto typeOf = [](const std::string& line) { return line.substr(line.find(' ')); };
    std::size_t swapped = 0;
    while (typeOf(lines[swapped]) != typeOf(lines[swapped + 1])) {
        swapped++;
    }
    const auto nameOf = [](const std::string& line) { return line.substr(0, line.find(' ')); };
    const std::string names[] = {nameOf(lines[swapped]), nameOf(lines[swapped + 1]),
                                 nameOf(lines[19])};
    std::swap(lines[swapped], lines[swapped + 1]);
    lines[19] = "unheardOf" + typeOf(lines[19]);
    std::string joined;
    for (const std::string& line : lines) {
        joined += line;
    }
    text.replace(vok, end - vok, joined);
    const std::string kind = "kind 1 monitor\n";
    const auto other =
        FieldTable::from(text.replace(text.find(kind), kind.size(), "kind 1 newcomer\n"));
    ASSERT_TRUE(other);
    const auto shown = [&](const std::string& fields) {
        return testsupport::run({TVSISTAT, "--read", path, "-c", "--no-header", "--total", "-f",
                                 "pid,kind," + fields, "-k", "vok,monitor"});
    };
    const auto inOrder = shown(names[0] + "," + names[1]);

    std::string bytes = contentsOf(path);
    auto heads = headsOf(bytes);
    ASSERT_THAT(heads, SizeIs(2));
    BlockPayload table;
    encodeTable(*other, table);
    heads[0].length = static_cast<std::uint32_t>(table.bytes.size());
    heads[0].unpacked = table.unpacked;
    heads[0].payloadSum = crc32c(table.bytes);
    ASSERT_LE(sizeof heads[0] + table.bytes.size(), heads[1].offset);
    std::memcpy(bytes.data() + sizeof heads[0], table.bytes.data(), table.bytes.size());
    for (auto& head : heads) {
        head.fields = other->sum();
        sign(head);
        std::memcpy(bytes.data() + head.offset, &head, sizeof head);
    }
    put(path, bytes);

    auto reader = readerOf(path);
    reader.next();
    const auto read = reader.next();
    ASSERT_TRUE(read && reader.damages().empty());
    const auto records = std::get<Sample>(read->message).records();
    const auto originals = std::get<Sample>(sample).records();
    ASSERT_EQ(records.size(), originals.size());
    int voks = 0;
    int newcomers = 0;
    for (std::size_t i = 0; i < records.size(); i++) {
        EXPECT_EQ(records[i].name, originals[i].name);
        if (originals[i].statType == SHRPC_MONITOR) {
            newcomers++;
            EXPECT_EQ(records[i].kind, nullptr);
            EXPECT_EQ(records[i].statType, 0U); /* not the kind that has this bit here */
        }
        if (records[i].statType != SHRPC_VOK) {
            continue;
        }
        voks++;
        const auto value = [&](const Record& of, const std::string& name) {
            const auto place = findField(*of.kind, name).value();
            std::uint64_t number = 0;
            std::memcpy(&number, of.blocks + place.packedOffset, widthOf(place.field->type));
            return number;
        };
        EXPECT_EQ(value(records[i], names[0]), value(originals[i], names[1]));
        EXPECT_EQ(value(records[i], names[1]), value(originals[i], names[0]));
        EXPECT_EQ(value(records[i], names[2]), 0U);
    }
    EXPECT_GT(voks, 0);
    EXPECT_GT(newcomers, 0);

    const auto swappedBack = shown(names[1] + "," + names[0]);
    EXPECT_EQ(std::pair(swappedBack.status, swappedBack.err), std::pair(0, std::string()));
    EXPECT_EQ(std::ranges::count(swappedBack.out, '\n'), voks);
    std::string voksOnly;
    std::istringstream rows(inOrder.out);
    for (std::string row; std::getline(rows, row);) {
        voksOnly += row.find(",vok,") != std::string::npos ? row + '\n' : "";
    }
    EXPECT_EQ(swappedBack.out, voksOnly);
    EXPECT_THAT(inOrder.out, HasSubstr(",monitor,"));
    EXPECT_EQ(shown("unheardOf").status, static_cast<int>(ExitStatus::Usage));
}

TEST(Recording, ASurveyFindsGapsAndEvents) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    auto writer = writerOf(path);
    StoryCache cache(9);
    writer.add(0, headerOf("prod~1f2e", 0));
    /* 20 samples, a pause within a minute, a pause over some, then one every 30 seconds. */
    std::vector<std::int64_t> moments;
    const auto pause = [&](int count, std::int64_t first, std::int64_t distance) {
        for (int i = 0; i < count; i++) {
            moments.push_back((first + i * distance) * second);
        }
    };
    pause(20, 1, 1);
    pause(90, 40, 1);
    pause(60, 400, 1);
    pause(9, 489, 30);
    for (const std::int64_t moment : moments) {
        writer.add(0, cache.sample(moment));
    }
    writer.add(0, Mark{"here", at(1000 * second)});
    writer.add(0, Lost{7, "gone", at(1001 * second)});
    writer.close();
    auto reader = readerOf(path);
    const RecordingSurvey survey = reader.survey(RecordingReader::Check::Heads);
    EXPECT_EQ(survey.numSamples, moments.size());
    ASSERT_THAT(survey.caches, SizeIs(1));
    EXPECT_EQ(survey.caches[0].lastNs, begin + 1001 * second);
    EXPECT_GT(survey.numValues, moments.size());
    EXPECT_EQ(survey.numBytes, std::filesystem::file_size(path));
    std::vector<std::pair<std::int64_t, std::int64_t>> gaps;
    for (const RecordingGap& gap : survey.gaps) {
        gaps.emplace_back((gap.fromNs - begin) / second, (gap.untilNs - begin) / second);
    }
    EXPECT_THAT(gaps,
                testing::ElementsAre(std::pair(20, 40), std::pair(129, 400), std::pair(459, 489)));
    std::string events;
    for (const RecordedEvent& each : survey.events) {
        events += std::to_string(static_cast<int>(each.event.kind)) + each.event.text + ' ';
    }
    EXPECT_EQ(events, "0 3here 1gone ");
}

/* ---- tvsistat --info ---- */

TEST(Recording, ItsInfoSaysWhatItHolds) {
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    {
        auto writer = writerOf(path);
        StoryCache cache(9);
        StreamHeader attempt = headerOf("", 0);
        attempt.brox = "prod";
        writer.add(0, attempt);
        writer.add(0, Lost{7, "it isn't there", at(1)});
        writer.add(0, headerOf("prod~1f2e", 2));
        for (const int moment : {1, 2, 3, 4, 5, 60, 61, 62, 63, 120}) {
            writer.add(0, cache.sample(moment * second));
        }
    }
    std::string bytes = contentsOf(path);
    const auto info = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {TVSISTAT, "--info", path, "--utc"});
        return testsupport::run(options);
    };
    auto good = info({});
    EXPECT_EQ(std::pair(good.status, good.err), std::pair(0, std::string()));
    for (const std::string& line : std::vector<std::string>{
             "file     " + path, "span     2026-11-16T18:20:07Z to 2026-11-16T18:22:07Z (2m00s)",
             "attempt  prod on h\\xf6st: not attached, 2026-11-16T18:20:07Z to ",
             "cache    prod~1f2e on h\\xf6st: 10 samples, 2026-11-16T18:20:07Z to ",
             "thinned  none",
             "gap      prod~1f2e on h\\xf6st: 2026-11-16T18:20:12Z to 2026-11-16T18:21:07Z (55s)",
             "size     " + std::to_string(bytes.size()) + " bytes in 1 file\n", "damage   none"}) {
        EXPECT_THAT("\n" + good.out, HasSubstr("\n" + line));
    }
    good = info({"-j"});
    for (const char* part :
         {R"("first":"2026-11-16T18:20:07.000Z","last":"2026-11-16T18:22:07.000Z","caches":[{)",
          R"("samples":0,"first":"2026-11-16T18:20:07.000Z",)",
          R"("cache":"prod~1f2e","brox":"prod","host":"h\\xf6st","samples":10,)", R"("thinned":[])",
          R"("until":"2026-11-16T18:21:07.000Z","seconds":55})", R"("damages":[]})"}) {
        EXPECT_THAT(good.out, HasSubstr(part));
    }
    const auto heads = headsOf(bytes);
    bytes[std::ranges::find(heads, format::messagesType, &format::BlockHead::type)->offset + 200] ^=
        1;
    put(path, bytes);
    const auto bad = info({"-j"});
    EXPECT_EQ(bad.status, static_cast<int>(ExitStatus::DamagedInput));
    EXPECT_THAT(bad.err, HasSubstr(path + " is damaged"));
    EXPECT_THAT(bad.out, HasSubstr(R"("damages":[{"file":")" + path + R"(","offset":)"));
    EXPECT_THAT(bad.out, HasSubstr(R"("samples":5,)"));
    EXPECT_THAT(info({}).out, HasSubstr(": at least 5 samples, "));
    EXPECT_EQ(info({"-c"}).status, static_cast<int>(ExitStatus::Usage));
}

TEST(Recording, TheChecksumIsCastagnolis) {
    const std::string text = "123456789";
    for (const auto& sum : {crc32c, crc32cByTable}) {
        EXPECT_EQ(sum(std::as_bytes(std::span(text)), 0), 0xE3069283U);
        EXPECT_EQ(sum(std::as_bytes(std::span(text)).subspan(4),
                      sum(std::as_bytes(std::span(text)).first(4), 0)),
                  0xE3069283U);
    }
}

} // namespace
