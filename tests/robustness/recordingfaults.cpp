/*
 * recordingfaults TVSISTAT [--short] [--damage|--reading|--killing|--recorder] [SEED]: recordings
 * whose writer is killed, that are damaged, and that are read while they are written. What is read
 * is compared byte by byte with what was recorded: nothing but it is ever read, in its order and
 * under its header; what is lost is what a block held that was hit, or the last 5 seconds before a
 * kill; and damage is said, by exit status 10 and a sentence of `tvsistat --read`.
 *
 * Prints a line a kind of fault. Exit status 1, and the recording is kept as
 * recordingfaults.failed, when something doesn't hold.
 */
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "crc32c.h"
#include "fieldtable.h"
#include "process.h"
#include "recordedstory.h"
#include "recordingblock.h"
#include "recordingreader.h"
#include "recordingtimeline.h"
#include "recordingwriter.h"
#include "require.h"
#include "streamencoder.h"
#include "temporarydirectory.h"

using namespace samples;
using namespace testsupport;

namespace {

std::string tvsistat;
bool isShort = false;
std::mt19937 chance;

std::size_t pick(std::size_t count) {
    return chance() % count;
}

int times(int whole) {
    return isShort ? std::max(whole / 50, 4) : whole;
}

/* ---- what was recorded, and what of it is found ---- */

/* A message that isn't a header: the header that held, and itself. */
struct Moment {
    std::string header;
    std::string bytes;
    std::int64_t realNs;
};
using Moments = std::map<std::string, std::vector<Moment>>; /* by location */

bool isHeader(const Message& message) {
    return std::holds_alternative<StreamHeader>(message);
}

Moments momentsOf(std::span<const Told> story) {
    Moments moments;
    std::map<std::uint32_t, std::pair<std::string, std::string>> held;
    for (const Told& told : story) {
        if (const auto* attached = std::get_if<StreamHeader>(&told.message)) {
            held[told.cache] = {attached->location, told.bytes};
        } else {
            const auto& [location, header] = held[told.cache];
            moments[location].push_back({header, told.bytes, timesOf(told.message).realNs});
        }
    }
    return moments;
}

struct Found {
    Moments moments;
    std::vector<std::string> damages;
};

/* Refused as a whole: nothing is found, and that is said. */
Found readAll(const std::string& path) {
    Found found;
    auto opened = RecordingReader::open(path);
    if (const auto* failure = std::get_if<Failure>(&opened)) {
        require(failure->status == ExitStatus::DamagedInput, "what is refused is damaged");
        found.damages.push_back(failure->sentence);
        return found;
    }
    auto& reader = std::get<RecordingReader>(opened);
    while (const auto each = reader.next()) {
        if (isHeader(each->message)) {
            continue;
        }
        const StreamHeader& held = reader.caches()[each->cache];
        found.moments[held.location].push_back(
            {bytesOf(held), bytesOf(each->message), timesOf(each->message).realNs});
    }
    for (const RecordingDamage& each : reader.damages()) {
        found.damages.push_back(each.sentence);
    }
    return found;
}

using MayBeLost = std::function<bool(const std::string& location, std::int64_t realNs)>;

/* How many messages are lost. What is found is in the order of `all`, and what isn't may be lost.
 */
std::size_t countLost(const Found& found, const Moments& all, const MayBeLost& mayBeLost) {
    std::size_t lost = 0;
    std::size_t known = 0;
    for (const auto& [location, told] : all) {
        const auto mine = found.moments.find(location);
        std::span<const Moment> rest;
        if (mine != found.moments.end()) {
            rest = mine->second;
        }
        for (const Moment& each : told) {
            if (rest.empty() || rest[0].realNs != each.realNs) {
                require(mayBeLost(location, each.realNs), "what is lost was hit");
                lost++;
                continue;
            }
            require(rest[0].bytes == each.bytes, "what is read was recorded");
            require(rest[0].header == each.header, "it is read under its header");
            rest = rest.subspan(1);
            known++;
        }
        require(rest.empty(), "nothing is read that was not recorded");
    }
    for (const auto& [location, moments] : found.moments) {
        known -= std::min(known, moments.size());
        require(all.contains(location), "no other cache is read");
    }
    require(known == 0, "nothing is read twice");
    return lost;
}

/* What the tool says of it. */
void askTool(const std::string& path, const Found& found) {
    const Outcome tool =
        run({tvsistat, "--read", path, "-c", "--no-header", "-f", "pid", "-k", "monitor"}, {}, 60);
    require(!tool.timedOut && tool.signal == 0, "tvsistat neither hangs nor crashes");
    require((tool.status == 10) == !found.damages.empty(),
            "exit status 10 where there is damage, and nowhere else: " + tool.err);
    require(found.damages.empty() || tool.err.find(path) != std::string::npos,
            "damage gets a sentence: " + tool.err);
}

/* ---- kinds of faults ---- */

struct Tally {
    int tried = 0;
    int said = 0; /* as damage */
    int withLoss = 0;
    std::size_t mostLost = 0; /* messages */
    double mostSeconds = 0;   /* lost before a kill */

    /* `endNs`: of what was to be found, where it was killed. */
    void add(const Found& found, std::size_t lost, std::int64_t endNs = 0) {
        for (const auto& [location, moments] : found.moments) {
            const double missing = static_cast<double>(endNs - moments.back().realNs) / second;
            mostSeconds = endNs == 0 ? 0 : std::max(mostSeconds, missing);
        }
        tried++;
        said += found.damages.empty() ? 0 : 1;
        withLoss += lost > 0 ? 1 : 0;
        mostLost = std::max(mostLost, lost);
    }
    void print(const char* name) const {
        std::printf("%-42s %5d tried, %5d said to be damaged, %5d with loss, at most %zu messages",
                    name, tried, said, withLoss, mostLost);
        std::printf(mostSeconds > 0 ? " and %.2f s\n" : "\n", mostSeconds);
        std::fflush(stdout);
    }
};

/* Runs one case; a recording that breaks a rule is kept. */
void examine(const std::string& what, const std::string& path, const std::function<void()>& look) {
    try {
        look();
    } catch (const std::exception& error) {
        const auto overwrite = std::filesystem::copy_options::overwrite_existing |
                               std::filesystem::copy_options::recursive;
        std::error_code ignored;
        std::filesystem::copy(path, "recordingfaults.failed", overwrite, ignored);
        std::filesystem::copy(tailPath(path), tailPath("recordingfaults.failed"), overwrite,
                              ignored);
        throw std::runtime_error(what + ": " + error.what());
    }
}

RecordingWriter writerOf(const std::string& path, bool isDirectory = false) {
    RecordingOptions options;
    options.isDirectory = isDirectory;
    auto opened = RecordingWriter::open(path, options);
    require(std::holds_alternative<RecordingWriter>(opened), "the recording can be written");
    return std::move(std::get<RecordingWriter>(opened));
}

/* A number that a child counts up. */
struct Shared {
    Shared()
        : number(static_cast<std::atomic<std::size_t>*>(
              mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        require(number != MAP_FAILED, "there is memory");
    }
    ~Shared() { munmap(number, 4096); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    std::atomic<std::size_t>* number;
};

void writeAll(const std::string& path, const Story& story, std::atomic<std::size_t>& added,
              bool isDirectory = false) {
    auto writer = writerOf(path, isDirectory);
    for (const Told& told : story) {
        writer.add(told.cache, told.message);
        added++;
    }
    writer.close();
}

MayBeLost after(std::int64_t realNs) {
    return [realNs](const std::string&, std::int64_t of) { return of > realNs; };
}

/* A writer that goes as fast as the disk lets it, on a clock of its own, is killed. */
void killWriters() {
    const Story story = storyOf(400);
    const auto all = momentsOf(story);
    const TemporaryDirectory directory;
    Tally tally;
    useconds_t whole = 0;
    for (int i = -1; tally.tried < times(200); i++) {
        const std::string path = directory.file("killed" + std::to_string(i));
        const Shared added;
        const auto begun = currentTimes();
        ChildProcess writer([&] { writeAll(path, story, *added.number); });
        if (i < 0) {
            require(writer.wait(60) == 0, "the story is recorded");
            whole =
                static_cast<useconds_t>((currentTimes().monotonicNs - begun.monotonicNs) / 1000);
            continue;
        }
        usleep(static_cast<useconds_t>(pick(whole)));
        writer.send(SIGKILL);
        writer.wait();
        const std::size_t count = *added.number;
        if (access(path.c_str(), F_OK) != 0) {
            require(count == 0, "a recording is there when something was recorded");
            continue;
        }
        examine("kill " + std::to_string(i), path, [&] {
            const std::int64_t lastNs =
                count == 0 ? begin : timesOf(story[count - 1].message).realNs;
            const Found found = readAll(path);
            const std::size_t lost = countLost(found, all, after(lastNs - 5 * second));
            const auto toCome = static_cast<std::size_t>(
                std::ranges::count_if(std::span(story).subspan(count),
                                      [](const Told& told) { return !isHeader(told.message); }));
            tally.add(found, lost - std::min(lost, toCome), lastNs);
            askTool(path, found);
            /* What is there stays when it is carried on. */
            writerOf(path).close();
            const Found carriedOn = readAll(path);
            require(carriedOn.damages.empty(), "what is carried on is whole");
            require(countLost(carriedOn, all, after(lastNs - 5 * second)) == lost,
                    "what is carried on keeps what it has");
        });
        std::filesystem::remove(path);
    }
    tally.print("kill -9 of a writer in haste");
}

/* tvsistat --write, on this host's clock, is killed. */
class Recorder {
public:
    Recorder(std::string file, const Message& header) : path(std::move(file)) {
        int ends[2];
        requireCall(pipe2(ends, O_CLOEXEC) == 0, "pipe2");
        tool.emplace([&] {
            dup2(ends[0], STDIN_FILENO);
            execute({tvsistat, "--read", "-", "--write", path, "--quiet"}, {});
        });
        close(ends[0]);
        pipe = ends[1];
        send(bytesOf(header));
        deathNs = currentTimes().monotonicNs +
                  static_cast<std::int64_t>(pick(isShort ? 9'000 : 75'000)) * 1'000'000;
    }
    ~Recorder() { close(pipe); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    bool isDead() const { return !tool; }
    void send(const std::string& bytes) const {
        requireCall(::write(pipe, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                    "write to the recorder");
    }
    void killWhenDue(const Times& now) {
        if (tool && now.monotonicNs >= deathNs) {
            tool->send(SIGKILL);
            tool->wait();
            tool.reset();
            killedNs = currentTimes().realNs;
        }
    }

    std::string path;
    std::int64_t killedNs = 0;

private:
    std::optional<ChildProcess> tool;
    int pipe = -1;
    std::int64_t deathNs = 0;
};

void killRecorders() {
    /* For what stands in the pipe, and for a disk that is slow; a test's machine may be any. */
    const std::int64_t slack = (isShort ? 30 : 1) * second;
    constexpr int atOnce = 40;
    std::signal(SIGPIPE, SIG_IGN);
    Tally tally;
    for (int done = 0; done < times(200); done += atOnce) {
        const TemporaryDirectory directory;
        Story story;
        const auto tell = [&](Message message) {
            std::string bytes = bytesOf(message);
            story.push_back({0, std::move(message), std::move(bytes)});
            return story.back().bytes;
        };
        StreamHeader header = headerOf("prod~1f2e", 0);
        header.times = currentTimes();
        tell(header);
        std::deque<Recorder> recorders;
        while (recorders.size() < static_cast<std::size_t>(std::min(atOnce, times(200)))) {
            recorders.emplace_back(directory.file(std::to_string(recorders.size())),
                                   story[0].message);
        }
        StoryCache cache(static_cast<unsigned>(chance()));
        while (!std::ranges::all_of(recorders, &Recorder::isDead)) {
            Message sample = cache.sample(0);
            std::get<Sample>(sample).times = currentTimes();
            const std::string bytes = tell(std::move(sample));
            for (Recorder& each : recorders) {
                if (!each.isDead()) {
                    each.send(bytes);
                }
                each.killWhenDue(currentTimes());
            }
            usleep(200000);
        }
        const auto all = momentsOf(story);
        for (const Recorder& each : recorders) {
            examine("recorder killed", each.path, [&] {
                const Found found = readAll(each.path);
                const auto ofPipe = static_cast<std::size_t>(
                    std::ranges::count_if(all.begin()->second, [&](const Moment& moment) {
                        return moment.realNs > each.killedNs;
                    }));
                const std::size_t lost =
                    countLost(found, all, after(each.killedNs - 5 * second - slack)) - ofPipe;
                tally.add(found, lost, each.killedNs);
                askTool(each.path, found);
            });
        }
    }
    tally.print("kill -9 of tvsistat --write");
}

/* ---- damage ---- */

struct Place {
    bool isTail;
    std::uint64_t from, to;
    bool isCut = false; /* or such that nobody can notice */
};

/* A recording as a killed writer leaves it, and which message stands where. */
class Original {
public:
    explicit Original(bool isOther) : isOfAnotherCatalogue(isOther) {
        const TemporaryDirectory directory;
        const std::string path = directory.file("r");
        auto writer = writerOf(path);
        for (const Told& told : storyOf(228)) {
            writer.add(told.cache, told.message);
            if (timesOf(told.message).realNs == begin + 160 * second + 3) {
                olderTail = contentsOf(tailPath(path));
            }
        }
        main = contentsOf(path);
        tail = contentsOf(tailPath(path));
        if (isOfAnotherCatalogue) {
            renameFields();
        }
        const std::string copy = directory.file("copy");
        put(copy, main);
        put(tailPath(copy), tail);
        const Found found = readAll(copy);
        require(found.damages.empty(), "the original is good");
        all = found.moments;
        for (const auto* bytes : {&main, &tail}) {
            for (const auto& head : headsOf(*bytes)) {
                blocks.push_back({head, bytes == &tail});
            }
        }
        for (const auto& [location, moments] : all) {
            StreamHeader header;
            header.host = headerOf(location, 0).host;
            header.location = location;
            sums[location] = cacheSum(header);
        }
    }

    struct Block {
        format::BlockHead head;
        bool isTail;
        std::uint64_t end() const { return head.offset + sizeof head + head.length; }
    };

    std::vector<const Block*> hitBy(const std::vector<Place>& places) const {
        std::vector<const Block*> hit;
        for (const Block& block : blocks) {
            const bool isHit = std::ranges::any_of(places, [&](const Place& place) {
                return place.isTail == block.isTail && place.from < block.end() &&
                       place.to > block.head.offset;
            });
            const bool continuesHit = std::ranges::any_of(hit, [&](const Block* before) {
                return block.head.part > 1 && before->head.part > 0 &&
                       before->head.cache == block.head.cache;
            });
            if (isHit || continuesHit) {
                hit.push_back(&block);
            }
        }
        return hit;
    }
    MayBeLost of(const std::vector<const Block*>& hit) const {
        const auto isTable = [](const format::BlockHead& head) {
            return head.type == format::fieldsType;
        };
        const bool isTableLost =
            isOfAnotherCatalogue && std::ranges::count_if(hit, isTable, [](auto* each) {
                                        return each->head;
                                    }) == std::ranges::count_if(blocks, isTable, &Block::head);
        return [&hit, isTableLost, this](const std::string& location, std::int64_t realNs) {
            if (isTableLost) {
                return true;
            }
            return std::ranges::any_of(hit, [&](const Block* block) {
                return block->head.type == format::messagesType &&
                       block->head.cache == sums.at(location) && block->head.firstNs <= realNs &&
                       realNs <= block->head.lastNs;
            });
        };
    }

    std::string main, tail, olderTail;
    std::vector<Block> blocks;
    Moments all;

private:
    /* As if a release with one field by another name had recorded it. */
    void renameFields() {
        std::string text = FieldTable::own().text();
        text.replace(text.find("\ncommitCount "), 13, "\ncommitTally ");
        const auto table = FieldTable::from(text);
        require(table.has_value(), "the catalogue is good");
        BlockPayload packed;
        encodeTable(*table, packed);
        for (std::string* bytes : {&main, &tail, &olderTail}) {
            for (auto head : headsOf(*bytes)) {
                if (head.type == format::fieldsType) {
                    const std::uint64_t room = format::alignedToBlock(sizeof head + head.length);
                    head.length = static_cast<std::uint32_t>(packed.bytes.size());
                    head.unpacked = packed.unpacked;
                    head.payloadSum = crc32c(packed.bytes);
                    require(format::alignedToBlock(sizeof head + head.length) == room, "it fits");
                    std::memcpy(bytes->data() + head.offset + sizeof head, packed.bytes.data(),
                                packed.bytes.size());
                }
                head.fields = table->sum();
                sign(head);
                std::memcpy(bytes->data() + head.offset, &head, sizeof head);
            }
        }
    }

    bool isOfAnotherCatalogue;
    std::map<std::string, std::uint32_t> sums;
};

/* Changes a recording's bytes, and says where. */
using Change =
    std::function<std::vector<Place>(const Original&, std::string& main, std::string& tail)>;

std::vector<Place> flip(std::string& bytes, bool isTail, std::uint64_t from, std::uint64_t to) {
    const std::uint64_t place = from + pick(to - from);
    bytes[place] = static_cast<char>(static_cast<unsigned char>(bytes[place]) ^ 1U << pick(8));
    return {{isTail, place, place + 1}};
}

std::vector<Place> overwrite(std::string& bytes, bool isTail, std::uint64_t at, std::size_t size) {
    const std::size_t end = std::min<std::size_t>(at + size, bytes.size());
    const auto how = pick(3); /* zeros, ones, noise */
    for (std::size_t i = at; i < end; i++) {
        bytes[i] = static_cast<char>(how == 0 ? 0 : how == 1 ? 0xFF : chance());
    }
    return {{isTail, at, end}};
}

std::vector<Place> cut(std::string& bytes, bool isTail, std::size_t size) {
    const std::size_t before = bytes.size();
    bytes.resize(size);
    return {{isTail, size, before, true}};
}

/* One of the two files, by size. */
Change anywhere(const std::function<std::vector<Place>(std::string&, bool isTail)>& change) {
    return [change](const Original&, std::string& main, std::string& tail) {
        const bool isTail = pick(main.size() + tail.size()) >= main.size();
        return change(isTail ? tail : main, isTail);
    };
}

Change sector(std::size_t size) {
    return anywhere([size](std::string& bytes, bool isTail) {
        return overwrite(bytes, isTail, pick((bytes.size() + size - 1) / size) * size, size);
    });
}

/* A bit, or a sector, of a block's head or of a catalogue. */
Change aimed(uint32_t type, bool atHead) {
    return [=](const Original& original, std::string& main, std::string& tail) {
        std::vector<const Original::Block*> targets;
        for (const auto& block : original.blocks) {
            if (type == 0 || block.head.type == type) {
                targets.push_back(&block);
            }
        }
        const auto& block = *targets[pick(targets.size())];
        std::string& bytes = block.isTail ? tail : main;
        const std::uint64_t at = block.head.offset;
        return pick(3) == 0
                   ? overwrite(bytes, block.isTail, at, 512)
                   : flip(bytes, block.isTail, at, atHead ? at + sizeof block.head : block.end());
    };
}

std::vector<Place> aimAtTail(const Original& original, std::string& main, std::string& tail) {
    const std::vector<Place> whole{{true, 0, tail.size(), true}};
    switch (pick(6)) {
    case 0:
        return flip(tail, true, 0, tail.size());
    case 1:
        return overwrite(tail, true, pick(tail.size() / 512) * 512, 512);
    case 2:
        return cut(tail, true, pick(tail.size()));
    case 3: /* of an hour ago: its minute is in the file */
        tail = original.olderTail;
        return whole;
    case 4: /* parts in another order */
        tail = tail.substr(tail.size() / 8192 * 4096) + tail.substr(0, tail.size() / 8192 * 4096);
        return whole;
    default: /* the last minute is in neither */
        const auto& last = original.blocks[original.blocks.size() / 2];
        auto places = cut(main, false, last.isTail ? main.size() : last.head.offset);
        tail.clear();
        places.push_back(whole[0]);
        return places;
    }
}

void damage() {
    const std::pair<const char*, std::pair<int, Change>> kinds[] = {
        {"a bit", {1000, anywhere([](std::string& bytes, bool isTail) {
                       return flip(bytes, isTail, 0, bytes.size());
                   })}},
        {"a sector of 512 bytes", {500, sector(512)}},
        {"a sector of 4 KiB", {500, sector(4096)}},
        {"cut off", {1000, anywhere([](std::string& bytes, bool isTail) {
                         return cut(bytes, isTail, pick(bytes.size()));
                     })}},
        {"aimed at the heads of blocks", {100, aimed(0, true)}},
        {"aimed at the catalogues", {100, aimed(format::fieldsType, false)}},
        {"aimed at the tail", {100, aimAtTail}},
    };
    const Original originals[] = {Original(false), Original(true)};
    const TemporaryDirectory directory;
    const std::string path = directory.file("r");
    for (const auto& [name, kind] : kinds) {
        const auto& [count, change] = kind;
        Tally tally;
        for (int i = 0; i < times(count); i++) {
            const Original& original = originals[i % 2];
            std::string main = original.main;
            std::string tail = original.tail;
            const auto places = change(original, main, tail);
            put(path, main);
            put(tailPath(path), tail);
            examine(std::string(name) + " " + std::to_string(i), path, [&] {
                const Found found = readAll(path);
                const auto hit = original.hitBy(places);
                const std::size_t lost = countLost(found, original.all, original.of(hit));
                require(hit.empty() || places[0].isCut || !found.damages.empty(),
                        "damage is said, but what is cut off");
                tally.add(found, lost);
                askTool(path, found);
                /* The same in another order: survey all of it, then begin in the middle. */
                auto opened = RecordingReader::open(path);
                if (auto* reader = std::get_if<RecordingReader>(&opened)) {
                    reader->survey(RecordingReader::Check::Payloads);
                    require(reader->damages().empty() == found.damages.empty(),
                            "a survey finds the same damage");
                    reader->seek(begin + static_cast<std::int64_t>(pick(230)) * second);
                    while (const auto each = reader->next()) {
                        const auto& told = original.all.at(reader->caches()[each->cache].location);
                        require(isHeader(each->message) ||
                                    std::ranges::find(told, bytesOf(each->message),
                                                      &Moment::bytes) != told.end(),
                                "what is read behind a seek was recorded");
                    }
                }
            });
        }
        tally.print(name);
    }
}

/* ---- reading beside a writer ---- */

void readBesideWriter() {
    Tally tally;
    const int wanted = times(1000);
    for (int round = 0; tally.tried < wanted; round++) {
        const bool isDirectory = round % 8 == 7; /* goes on into a second hour */
        const Story story = storyOf(isDirectory ? 2600 : 600, static_cast<unsigned>(round) + 1);
        const auto all = momentsOf(story);
        const TemporaryDirectory directory;
        const std::string path = directory.file("r");
        const Shared added;
        ChildProcess writer([&] { writeAll(path, story, *added.number, isDirectory); });
        while (*added.number == 0) {
            usleep(100);
        }
        std::optional<RecordingReader> follower;
        while (*added.number < story.size() && tally.tried < wanted) {
            examine("read beside a writer", path, [&] {
                const std::size_t count = *added.number;
                const std::int64_t lastNs = timesOf(story[count - 1].message).realNs;
                const Found found = readAll(path);
                require(found.damages.empty(),
                        "no damage: " + (found.damages.empty() ? "" : found.damages[0]));
                /* Without a gap: what is missing of a cache is at its end. */
                std::map<std::string, std::int64_t> missingFrom;
                countLost(found, all, [&](const std::string& location, std::int64_t realNs) {
                    missingFrom.try_emplace(location, realNs);
                    return realNs > lastNs - 5 * second;
                });
                for (const auto& [location, moments] : found.moments) {
                    const auto missing = missingFrom.find(location);
                    require(missing == missingFrom.end() || moments.back().realNs < missing->second,
                            "no gap");
                }
                if (tally.tried % 20 == 0) {
                    askTool(path, found);
                }
                tally.add(found, 0);
            });
        }
        if (tally.tried == wanted) {
            break;
        }
        require(writer.wait(60) == 0, "the story is recorded");
        require(countLost(readAll(path), all, after(INT64_MAX)) == 0, "all of it is there");
    }
    tally.print("read while it is written");
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const std::pair<std::string, void (*)()> parts[] = {{"--damage", damage},
                                                        {"--reading", readBesideWriter},
                                                        {"--killing", killWriters},
                                                        {"--recorder", killRecorders}};
    std::string only;
    for (const auto& [name, run] : parts) {
        only = std::erase(words, name) > 0 ? name : only;
    }
    isShort = std::erase(words, "--short") > 0;
    if (words.empty() || words.size() > 2) {
        std::fprintf(stderr, "usage: recordingfaults TVSISTAT [--short] [--PART] [SEED]\n");
        return 2;
    }
    tvsistat = words[0];
    chance.seed(words.size() > 1 ? static_cast<unsigned>(std::stoul(words[1])) : 1);
    try {
        for (const auto& [name, run] : parts) {
            if (only.empty() || only == name) {
                run();
            }
        }
    } catch (const std::exception& error) {
        std::printf("does not hold: %s\n", error.what());
        return 1;
    }
    return 0;
}
