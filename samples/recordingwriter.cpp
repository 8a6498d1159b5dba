#include "recordingwriter.h"

#include "crc32c.h"
#include "printable.h"
#include "readerprocess.h"
#include "recordingblock.h"
#include "recordingtimeline.h"
#include "streamfile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace samples {

using namespace format;

namespace {

constexpr int64_t secondNs = 1'000'000'000;
constexpr int64_t minuteNs = 60 * secondNs;
/* A minute has 13 syncs: those of so many parts, and its own. A part is synced when its first
 * message is a thirteenth of a minute old, which leaves the disk 0.38 of 5 seconds; or before, when
 * no sample is expected until then. */
constexpr uint32_t partsOfMinute = 12;
constexpr int64_t partNs = minuteNs / (partsOfMinute + 1);
constexpr int64_t retryNs = 5 * secondNs;
constexpr int64_t hourNs = 3600 * secondNs;
/* A minute of so many bytes ends early; while nothing can be written it may take so many more. */
constexpr size_t largestMinute = size_t{32} << 20;
/* A file of a directory that is bounded takes such a part of it at most. */
constexpr uint64_t filesOfDirectory = 8;

int writeAll(int descriptor, std::span<const std::byte> bytes, uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t done =
            pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (done < 0 && errno != EINTR) {
            return errno;
        }
        const size_t count = done < 0 ? 0 : static_cast<size_t>(done);
        bytes = bytes.subspan(count);
        offset += count;
    }
    return 0;
}

uint64_t sizeOf(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

/* A file that is appended to, block by block. What a failed write leaves is cut off. */
struct Output {
    Descriptor file;
    std::string path;
    uint64_t end = 0;

    std::optional<Failure> open(const std::string& name, mode_t mode);
    int append(std::span<const std::byte> bytes);
};

std::optional<Failure> Output::open(const std::string& name, mode_t mode) {
    const bool isNew = access(name.c_str(), F_OK) != 0;
    file = Descriptor(::open(
        name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode));
    struct stat status;
    if (file.get() < 0 && errno == ELOOP) {
        return Failure{ExitStatus::Failure,
                       printable(name) + " is a symbolic link: name the file that it leads to"};
    }
    if (file.get() < 0 || fstat(file.get(), &status) != 0) {
        return fileFailure(name, "written", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure{ExitStatus::Failure, printable(name) + " is not a file"};
    }
    path = name;
    end = static_cast<uint64_t>(status.st_size);
    if (isNew) {
        syncDirectoryOf(name);
    }
    return std::nullopt;
}

int Output::append(std::span<const std::byte> bytes) {
    int error = writeAll(file.get(), bytes, end);
    if (error == 0 && fdatasync(file.get()) != 0) {
        error = errno;
    }
    if (error == 0) {
        end += bytes.size();
    } else if (ftruncate(file.get(), static_cast<off_t>(end)) != 0) {
        /* Readers find the next block behind what is left of this one. */
        end = alignedToBlock(end + bytes.size());
    }
    return error;
}

} // namespace

class RecordingWriter::State {
public:
    State(std::string at, const RecordingOptions& wanted) : path(std::move(at)), options(wanted) {}

    std::optional<Failure> open();
    void add(uint32_t number, const Message& message);
    void carry(uint32_t number, const StreamHeader& header);
    void advance(const Times& now);
    std::optional<int64_t> nextDueNs() const;
    void close();

    const std::string path;
    std::string problem;
    bool isFailing = false;
    uint64_t written = 0;
    uint64_t samplesAdded = 0;

private:
    struct Cache {
        BlockEncoder encoder;
        bool hasHeader = false;
        uint32_t parts = 0; /* in the tail */
        /* Monotonic: its last sample, and when the next one is expected, as far behind it as it was
         * behind the one before. Nothing: unknown. */
        std::optional<int64_t> sampledNs;
        std::optional<int64_t> nextSampleNs;

        void expectNext(const Message& message);
    };

    bool isThinned() const { return options.thinnedNs != 0; }
    int64_t periodNs() const { return isThinned() ? hourNs : minuteNs; }
    mode_t mode() const { return options.isReadableByGroup ? 0640 : 0600; }
    std::optional<Failure> openDirectory();
    std::optional<Failure> openFile(const std::string& name);
    std::optional<Failure> continueFile();
    void recoverTail();
    int openFileAt(int64_t realNs);
    void appendBlock(uint64_t fileEnd, BlockHead head, const BlockContents& contents,
                     const BlockPayload& packed);
    void appendTable(int64_t realNs);
    int appendToMain();
    bool partIsComplete() const;
    int writePart();
    int writeMinute();
    void endMinute();
    void tell(int error);
    void dropOldFiles(int64_t realNs) const;
    size_t memory() const;

    RecordingOptions options;
    Descriptor directory; /* its lock */
    Output main;          /* none while a directory's next file isn't begun */
    Output tail;
    std::deque<uint64_t> offsets;      /* of the last blocks in the file, the last one first */
    uint64_t sequence = 0;             /* of the last block in the file */
    int numTables = 0;                 /* catalogues written to the file by this program */
    int64_t tableNs = 0;               /* real time of the last one */
    std::optional<int64_t> newTableNs; /* of one about to be written */
    int64_t fileNs = 0;                /* real time at which a directory's file begins */

    std::map<uint32_t, Cache> caches;
    uint64_t run = 0;
    uint32_t minute = 1;
    uint32_t numParts = 0;             /* written of the minute */
    int64_t minuteBegin = 0;           /* wall minute, since the epoch, of the minute under way */
    std::optional<Times> firstOfPart;  /* nothing: the part is empty */
    bool hasMinute = false;            /* the minute holds something */
    std::optional<int64_t> retryAtNs;  /* monotonic; while nothing can be written */
    BlockPayload payload;              /* scratch */
    std::vector<std::byte> blocks;     /* about to be written */
    std::vector<uint64_t> blockPlaces; /* offsets of these */
};

std::optional<Failure> RecordingWriter::State::open() {
    /* A file that reaches its limit is an error like a full disk, not the end of the program. */
    std::signal(SIGXFSZ, SIG_IGN);
    if (getrandom(&run, sizeof run, 0) != sizeof run) {
        run = static_cast<uint64_t>(getpid()) << 32 ^ static_cast<uint64_t>(std::time(nullptr));
    }
    return options.isDirectory ? openDirectory() : openFile(path);
}

std::optional<Failure> RecordingWriter::State::openDirectory() {
    struct stat status;
    if (lstat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
        return Failure{ExitStatus::Failure, printable(path) + " is not a directory"};
    }
    if (mkdir(path.c_str(), options.isReadableByGroup ? 0750 : 0700) != 0 && errno != EEXIST) {
        return fileFailure(path, "made", errno);
    }
    directory = Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (directory.get() < 0) {
        return fileFailure(path, "written", errno);
    }
    if (flock(directory.get(), LOCK_EX | LOCK_NB) != 0) {
        return Failure{ExitStatus::Failure,
                       printable(path) + " is being recorded to by another program"};
    }
    /* What is left in the tail of the last file is brought in safety, whether it is carried on or
     * not. */
    const auto files = recordingFiles(path).value_or(std::vector<std::string>());
    if (!files.empty()) {
        if (const auto failure = openFile(files.back())) {
            problem = failure->sentence + "; a new file is begun";
            main = Output();
            tail = Output();
            return std::nullopt;
        }
        const auto first = RecordingFile(main.path, main.file.get()).blockFrom(0);
        fileNs = first ? first->head.firstNs : 0;
    }
    return std::nullopt;
}

std::optional<Failure> RecordingWriter::State::openFile(const std::string& name) {
    if (auto failure = main.open(name, mode())) {
        return failure;
    }
    if (!lockForWriting(main.file.get())) {
        main.file = Descriptor();
        return Failure{ExitStatus::Failure,
                       printable(name) + " is being recorded to by another program"};
    }
    offsets.clear();
    sequence = 0;
    numTables = 0;
    return continueFile();
}

/* Goes on behind the last whole block: what follows it was being written when the writer died. */
std::optional<Failure> RecordingWriter::State::continueFile() {
    RecordingFile file(main.path, main.file.get());
    if (auto fault = file.problem()) {
        return fault;
    }
    auto block = file.blockBefore(main.end);
    const uint64_t end = block ? block->end() : 0;
    if (block) {
        sequence = block->head.sequence;
    }
    while (block && offsets.size() < backDistances.back()) {
        offsets.push_back(block->offset());
        const uint64_t before = block->head.back[0];
        block = before < block->offset() ? file.blockAt(before) : std::nullopt;
    }
    if (end != main.end) {
        if (ftruncate(main.file.get(), static_cast<off_t>(end)) != 0) {
            return fileFailure(main.path, "written", errno);
        }
        main.end = end;
    }
    if (isThinned()) {
        return std::nullopt;
    }
    if (auto failure = tail.open(tailPath(main.path), mode())) {
        return failure;
    }
    if (tail.end > 0) {
        recoverTail();
    }
    return std::nullopt;
}

/* A minute that was under way when its writer died becomes a block like others. */
void RecordingWriter::State::recoverTail() {
    auto opened = RecordingTimeline::open(main.path);
    auto* line = std::get_if<RecordingTimeline>(&opened);
    std::vector<BlockGroup> groups; /* the last one first */
    const auto isInTail = [](const BlockGroup& group) {
        return std::ranges::any_of(group.blocks, &GroupBlock::isInTail);
    };
    for (auto group = line != nullptr ? line->last() : std::nullopt; group && isInTail(*group);
         group = line->previous(*group)) {
        groups.push_back(*group);
    }
    blocks.clear();
    blockPlaces.clear();
    for (auto group = groups.rbegin(); group != groups.rend(); group++) {
        for (const CacheMessages& cache : line->load(*group)) {
            BlockEncoder encoder;
            for (const BlockMessage& message : cache.messages) {
                message.isCarried ? encoder.carry(std::get<StreamHeader>(message.message))
                                  : encoder.add(message.message);
            }
            if (!cache.isInTail || encoder.minute().isEmpty()) {
                continue;
            }
            if (blockPlaces.empty()) {
                appendTable(encoder.minute().firstNs);
            }
            encoder.makeMinute(payload);
            BlockHead head{};
            head.run = group->key.run;
            head.minute = group->key.minute;
            head.cache = cache.cache;
            appendBlock(main.end, head, encoder.minute(), payload);
        }
    }
    if (!blocks.empty()) {
        if (const int error = appendToMain(); error != 0) {
            tell(error);
            return; /* the tail stays */
        }
    }
    if (ftruncate(tail.file.get(), 0) == 0) {
        tail.end = 0;
    }
}

/* A directory's file for that time: the one at hand, or a new one. */
int RecordingWriter::State::openFileAt(int64_t realNs) {
    const bool isFull = options.mostBytes > 0 && main.end > options.mostBytes / filesOfDirectory;
    if (!options.isDirectory ||
        (main.file.get() >= 0 && realNs / hourNs <= fileNs / hourNs && !isFull)) {
        return 0;
    }
    const auto files = recordingFiles(path).value_or(std::vector<std::string>());
    std::string name = path + "/" + recordingName(realNs);
    if (!files.empty() && name <= files.back()) {
        name = files.back(); /* the clock was set back */
    }
    if (tail.file.get() >= 0) {
        unlink(tail.path.c_str());
    }
    tail = Output();
    main = Output();
    errno = 0;
    if (openFile(name)) {
        main = Output();
        return errno != 0 ? errno : EIO;
    }
    fileNs = realNs;
    dropOldFiles(realNs);
    return 0;
}

void RecordingWriter::State::dropOldFiles(int64_t realNs) const {
    if (options.keepNs == 0 && options.mostBytes == 0) {
        return;
    }
    const auto files = recordingFiles(path).value_or(std::vector<std::string>());
    uint64_t bytes = 0;
    for (const std::string& file : files) {
        bytes += sizeOf(file) + sizeOf(tailPath(file));
    }
    for (size_t i = 0; i + 1 < files.size() && files[i] != main.path; i++) {
        const bool isOld = options.keepNs > 0 && endsBefore(files, i, realNs - options.keepNs);
        const bool isTooMuch = options.mostBytes > 0 && bytes > options.mostBytes;
        if (!isOld && !isTooMuch) {
            break;
        }
        bytes -= std::min(bytes, sizeOf(files[i]) + sizeOf(tailPath(files[i])));
        unlink(tailPath(files[i]).c_str());
        unlink(files[i].c_str());
    }
}

size_t RecordingWriter::State::memory() const {
    size_t size = 0;
    for (const auto& [number, cache] : caches) {
        size += cache.encoder.size();
    }
    return size;
}

void RecordingWriter::State::add(uint32_t number, const Message& message) {
    const Times& times = timesOf(message);
    advance(times);
    Cache& cache = caches[number];
    cache.hasHeader = cache.hasHeader || std::holds_alternative<StreamHeader>(message);
    if (!cache.hasHeader) {
        return;
    }
    if (!hasMinute) {
        minuteBegin = times.realNs / periodNs();
        hasMinute = true;
    }
    if (!firstOfPart) {
        firstOfPart = times;
    }
    cache.encoder.add(message);
    const bool isSample = std::holds_alternative<Sample>(message);
    samplesAdded += isSample ? 1U : 0U;
    cache.expectNext(message);
    if (retryAtNs) {
        return;
    }
    if (memory() > largestMinute || cache.encoder.isFull()) {
        endMinute();
    } else if (isSample && !isThinned() && partIsComplete()) {
        const int error = writePart();
        tell(error);
    }
}

void RecordingWriter::State::Cache::expectNext(const Message& message) {
    if (std::holds_alternative<Notice>(message) || std::holds_alternative<Mark>(message)) {
        return;
    }
    const int64_t nowNs = timesOf(message).monotonicNs;
    nextSampleNs.reset();
    if (!std::holds_alternative<Sample>(message)) {
        sampledNs.reset(); /* it begins or ends */
    } else if (const auto before = std::exchange(sampledNs, nowNs); before && *before < nowNs) {
        nextSampleNs = nowNs + (nowNs - *before);
    }
}

/* No sample is expected before the part is due, so that waiting would only make it older. What was
 * expected and didn't come doesn't make more parts than a minute has. */
bool RecordingWriter::State::partIsComplete() const {
    const int64_t intoMinuteNs = firstOfPart->realNs - minuteBegin * minuteNs;
    if (numParts >= partsOfMinute || intoMinuteNs < numParts * partNs) {
        return false;
    }
    const int64_t dueNs = firstOfPart->monotonicNs + partNs;
    return std::ranges::all_of(caches, [&](const auto& entry) {
        const Cache& cache = entry.second;
        return cache.nextSampleNs ? *cache.nextSampleNs >= dueNs : !cache.sampledNs;
    });
}

void RecordingWriter::State::carry(uint32_t number, const StreamHeader& header) {
    Cache& cache = caches[number];
    if (cache.encoder.minute().isEmpty()) {
        cache.encoder.carry(header);
        cache.hasHeader = true;
    } else if (cache.encoder.header() != header) {
        endMinute(); /* a block carries one */
        cache.encoder.carry(header);
    }
}

void RecordingWriter::State::advance(const Times& now) {
    if (!hasMinute) {
        return;
    }
    if (retryAtNs) {
        const int64_t leftNs = *retryAtNs - now.monotonicNs;
        if (leftNs > 0 && leftNs <= retryNs) {
            return;
        }
        retryAtNs.reset();
        endMinute();
    } else if (now.realNs / periodNs() != minuteBegin) {
        endMinute();
    } else if (firstOfPart && !isThinned()) {
        const int64_t passedNs = now.monotonicNs - firstOfPart->monotonicNs;
        if (passedNs >= partNs || passedNs < 0) {
            const int error = writePart();
            tell(error);
        }
    }
    if (isFailing && !retryAtNs) {
        retryAtNs = now.monotonicNs + retryNs;
    }
}

std::optional<int64_t> RecordingWriter::State::nextDueNs() const {
    if (retryAtNs) {
        return retryAtNs;
    }
    return firstOfPart ? std::optional(firstOfPart->monotonicNs + partNs) : std::nullopt;
}

/* Appends to `blocks`, which will stand at the file's end, a block of what `head` names. */
void RecordingWriter::State::appendBlock(uint64_t fileEnd, BlockHead head,
                                         const BlockContents& contents,
                                         const BlockPayload& packed) {
    head.magic = recordingMagic;
    head.version = recordingVersion;
    head.type = head.type != 0 ? head.type : messagesType;
    head.thinnedSeconds = static_cast<uint16_t>(options.thinnedNs / secondNs);
    head.offset = fileEnd + blocks.size();
    head.firstNs = contents.firstNs;
    head.lastNs = contents.lastNs;
    head.fields = FieldTable::own().sum();
    head.numSamples = contents.numSamples;
    head.numOthers = contents.numOthers;
    head.numValues = contents.numValues;
    head.longestPauseNs = contents.longestPauseNs;
    head.unpacked = packed.unpacked;
    head.length = static_cast<uint32_t>(packed.bytes.size());
    head.payloadSum = crc32c(packed.bytes);
    if (head.part == 0) {
        head.sequence = sequence + blockPlaces.size() + 1;
        for (size_t i = 0; i < backDistances.size(); i++) {
            const uint64_t distance = backDistances[i];
            if (distance <= blockPlaces.size()) {
                head.back[i] = blockPlaces[blockPlaces.size() - distance];
            } else if (distance - blockPlaces.size() <= offsets.size()) {
                head.back[i] = offsets[distance - blockPlaces.size() - 1];
            }
        }
        blockPlaces.push_back(head.offset);
    } else {
        head.sequence = head.part;
    }
    const auto bytes = std::as_bytes(std::span(&head, 1));
    head.headSum = crc32c(bytes.first(offsetof(BlockHead, headSum)));
    const size_t at = blocks.size();
    blocks.resize(at + alignedToBlock(sizeof head + head.length));
    std::memcpy(blocks.data() + at, &head, sizeof head);
    std::ranges::copy(packed.bytes, blocks.begin() + static_cast<std::ptrdiff_t>(at + sizeof head));
}

/* The catalogue heads each file, comes again with the next minute, so that damage at one place
 * doesn't take both, and then every hour. */
void RecordingWriter::State::appendTable(int64_t realNs) {
    newTableNs.reset();
    if (numTables > 1 && realNs - tableNs < hourNs && realNs >= tableNs) {
        return;
    }
    newTableNs = realNs;
    BlockPayload table;
    encodeTable(FieldTable::own(), table);
    BlockHead head{};
    head.type = fieldsType;
    head.run = run;
    BlockContents contents;
    contents.firstNs = contents.lastNs = realNs;
    appendBlock(main.end, head, contents, table);
}

int RecordingWriter::State::appendToMain() {
    const int error = main.append(blocks);
    if (error != 0) {
        return error;
    }
    written += blocks.size();
    sequence += blockPlaces.size();
    if (const auto at = std::exchange(newTableNs, std::nullopt)) {
        tableNs = *at;
        numTables++;
    }
    for (const uint64_t place : blockPlaces) {
        offsets.push_front(place);
    }
    offsets.resize(std::min<size_t>(offsets.size(), backDistances.back()));
    return 0;
}

int RecordingWriter::State::writePart() {
    blocks.clear();
    const auto hasPart = [](auto& entry) { return !entry.second.encoder.part().isEmpty(); };
    const auto first = std::ranges::find_if(caches, hasPart);
    if (first == caches.end()) {
        return 0;
    }
    if (const int error = openFileAt(first->second.encoder.part().firstNs); error != 0) {
        return error;
    }
    if (main.end == 0) { /* the parts need a catalogue, too */
        blockPlaces.clear();
        appendTable(first->second.encoder.part().firstNs);
        if (const int error = appendToMain(); error != 0) {
            return error;
        }
        blocks.clear();
    }
    for (auto& entry : caches) {
        Cache& cache = entry.second;
        if (!hasPart(entry)) {
            continue;
        }
        cache.encoder.makePart(payload);
        BlockHead head{};
        head.run = run;
        head.minute = minute;
        head.part = cache.parts + 1;
        head.cache = cacheSum(cache.encoder.header());
        appendBlock(tail.end, head, cache.encoder.part(), payload);
    }
    if (const int error = tail.append(blocks); error != 0) {
        return error;
    }
    written += blocks.size();
    numParts++;
    for (auto& entry : caches) {
        if (hasPart(entry)) {
            entry.second.parts++;
            entry.second.encoder.partIsWritten();
        }
    }
    firstOfPart.reset();
    return 0;
}

int RecordingWriter::State::writeMinute() {
    blocks.clear();
    blockPlaces.clear();
    int64_t firstNs = INT64_MAX;
    int64_t lastNs = 0;
    for (const auto& [number, cache] : caches) {
        if (!cache.encoder.minute().isEmpty()) {
            firstNs = std::min(firstNs, cache.encoder.minute().firstNs);
            lastNs = std::max(lastNs, cache.encoder.minute().lastNs);
        }
    }
    if (firstNs == INT64_MAX) {
        return 0;
    }
    /* A minute whose parts are in a file's tail goes into that file. */
    if (main.file.get() < 0 || tail.end == 0) {
        if (const int error = openFileAt(firstNs); error != 0) {
            return error;
        }
    }
    appendTable(firstNs);
    for (auto& [number, cache] : caches) {
        if (cache.encoder.minute().isEmpty()) {
            continue;
        }
        cache.encoder.makeMinute(payload);
        BlockHead head{};
        head.run = run;
        head.minute = minute;
        head.cache = cacheSum(cache.encoder.header());
        appendBlock(main.end, head, cache.encoder.minute(), payload);
    }
    if (const int error = appendToMain(); error != 0) {
        return error;
    }
    if (tail.file.get() >= 0 && ftruncate(tail.file.get(), 0) == 0) {
        tail.end = 0;
    }
    dropOldFiles(lastNs);
    return 0;
}

void RecordingWriter::State::endMinute() {
    const int error = writeMinute();
    tell(error);
    const bool isFull =
        std::ranges::any_of(caches, [](auto& each) { return each.second.encoder.isFull(); });
    if (error != 0 && memory() < 2 * largestMinute && !isFull) {
        return; /* once more later */
    }
    for (auto& [number, cache] : caches) {
        cache.encoder.clear();
        cache.parts = 0;
    }
    minute++;
    numParts = 0;
    hasMinute = false;
    firstOfPart.reset();
    retryAtNs.reset();
}

void RecordingWriter::State::tell(int error) {
    if (error != 0 && !isFailing) {
        problem = printable(path) +
                  " cannot be written: " + std::generic_category().message(error) +
                  "; recording waits until it can";
    } else if (error == 0 && isFailing) {
        problem = printable(path) + " can be written again; recording goes on";
    }
    isFailing = error != 0;
}

void RecordingWriter::State::close() {
    if (hasMinute) {
        endMinute();
    }
    if (tail.file.get() >= 0 && tail.end == 0) {
        unlink(tail.path.c_str());
    }
    caches.clear();
    tail = Output();
    main = Output();
    directory = Descriptor();
}

/* ---- what others see ---- */

std::variant<RecordingWriter, Failure> RecordingWriter::open(const std::string& path,
                                                             const RecordingOptions& options) {
    auto state = std::make_unique<State>(path, options);
    if (auto failure = state->open()) {
        return std::move(*failure);
    }
    return RecordingWriter(std::move(state));
}

RecordingWriter::RecordingWriter(std::unique_ptr<State> opened) : state(std::move(opened)) {}
RecordingWriter::RecordingWriter(RecordingWriter&&) noexcept = default;

RecordingWriter& RecordingWriter::operator=(RecordingWriter&& other) noexcept {
    std::swap(state, other.state);
    return *this;
}

RecordingWriter::~RecordingWriter() {
    close();
}

void RecordingWriter::add(uint32_t cache, const Message& message) {
    state->add(cache, message);
}

void RecordingWriter::carry(uint32_t cache, const StreamHeader& header) {
    state->carry(cache, header);
}

void RecordingWriter::tick(const Times& now) {
    state->advance(now);
}

std::optional<int64_t> RecordingWriter::nextDueNs() const {
    return state->nextDueNs();
}

void RecordingWriter::close() {
    if (state) {
        state->close();
    }
}

std::string RecordingWriter::takeProblem() {
    return std::exchange(state->problem, {});
}

bool RecordingWriter::isFailing() const {
    return state->isFailing;
}

const std::string& RecordingWriter::path() const {
    return state->path;
}

uint64_t RecordingWriter::bytesWritten() const {
    return state->written;
}

uint64_t RecordingWriter::numSamples() const {
    return state->samplesAdded;
}

} // namespace samples
