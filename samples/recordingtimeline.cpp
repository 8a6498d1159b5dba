#include "recordingtimeline.h"

#include "printable.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <dirent.h>
#include <iterator>
#include <map>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace samples {

using namespace format;

namespace {

/* A tail that is cut and written again while it is read is read once more. */
constexpr int tailTries = 20;
constexpr auto tailPause = std::chrono::milliseconds(1);

MinuteKey keyOf(const RecordingBlock& block) {
    return {block.head.run, block.head.minute};
}

bool isMessages(const RecordingBlock& block) {
    return block.head.type == messagesType;
}

/* The nearest block with messages, itself or before it. */
std::optional<RecordingBlock> messagesUpTo(RecordingFile& file,
                                           std::optional<RecordingBlock> block) {
    while (block && !isMessages(*block)) {
        block = file.before(*block);
    }
    return block;
}

std::string minuteText(int64_t realNs) {
    const time_t seconds = realNs / 1'000'000'000;
    struct tm parts;
    std::array<char, 32> text{};
    if (localtime_r(&seconds, &parts) == nullptr ||
        strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts) == 0) {
        return "unknown time";
    }
    return text.data();
}

} // namespace

int64_t BlockGroup::firstNs() const {
    const auto moment = [](const GroupBlock& each) { return each.block.head.firstNs; };
    return moment(*std::ranges::min_element(blocks, {}, moment));
}

int64_t BlockGroup::lastNs() const {
    const auto moment = [](const GroupBlock& each) { return each.block.head.lastNs; };
    return moment(*std::ranges::max_element(blocks, {}, moment));
}

std::string tailPath(const std::string& path) {
    return path + ".tail";
}

std::optional<std::vector<std::string>> recordingFiles(const std::string& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(directory.c_str()), closedir);
    if (listing == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (const dirent* entry = readdir(listing.get())) {
        if (std::string_view(entry->d_name).ends_with(recordingSuffix)) {
            names.push_back(directory + "/" + entry->d_name);
        }
    }
    std::ranges::sort(names);
    return names;
}

/* Such names sort by time. */
std::string recordingName(int64_t realNs) {
    const time_t seconds = realNs / 1'000'000'000;
    struct tm parts {};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const size_t size = strftime(text.data(), text.size(), "%Y-%m-%dT%H-%M-%SZ", &parts);
    return std::string(text.data(), size) + std::string(recordingSuffix);
}

bool endsBefore(const std::vector<std::string>& files, size_t index, int64_t realNs) {
    const std::string& next = files[index + 1];
    return next.substr(next.rfind('/') + 1) < recordingName(realNs);
}

std::variant<RecordingTimeline, Failure> RecordingTimeline::open(const std::string& path) {
    RecordingTimeline line;
    line.path = path;
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return fileFailure(path, "read", errno);
    }
    line.isDirectory = S_ISDIR(status.st_mode);
    if (line.isDirectory) {
        if (!recordingFiles(path)) {
            return fileFailure(path, "read", errno);
        }
        line.listFiles();
        return line;
    }
    auto file = RecordingFile::open(path);
    if (auto* failure = std::get_if<Failure>(&file)) {
        return std::move(*failure);
    }
    auto& recording = std::get<RecordingFile>(file);
    if (auto problem = recording.problem()) {
        return std::move(*problem);
    }
    line.files.push_back({path, std::move(recording)});
    line.opened = 0;
    return line;
}

/* Files that have come since are appended; the others keep their index. */
void RecordingTimeline::listFiles() {
    if (!isDirectory) {
        return;
    }
    const auto names = recordingFiles(path).value_or(std::vector<std::string>());
    for (const std::string& name : names) {
        if (files.empty() || files.back().path < name) {
            files.push_back({name, std::nullopt});
        }
    }
}

/* One file is open at a time. Null when it can't be read, which is noted. */
RecordingFile* RecordingTimeline::open(size_t index) {
    if (index >= files.size()) {
        return nullptr;
    }
    if (opened != index) {
        if (opened < files.size() && files[opened].main) {
            closedReads += files[opened].main->headReads();
            files[opened].main.reset();
        }
        opened = index;
        tail = {};
    }
    File& file = files[index];
    if (!file.main) {
        auto result = RecordingFile::open(file.path);
        auto* recording = std::get_if<RecordingFile>(&result);
        const auto* failure = std::get_if<Failure>(&result);
        std::optional<Failure> problem;
        if (recording != nullptr) {
            problem = recording->problem();
            failure = problem ? &*problem : nullptr;
        }
        if (failure != nullptr) {
            /* One that has been unlinked since it was listed was too old to be kept. */
            if (access(file.path.c_str(), F_OK) == 0) {
                note(file.path, 0, failure->sentence);
            }
            return nullptr;
        }
        file.main = std::move(*recording);
    }
    return &*file.main;
}

void RecordingTimeline::note(const std::string& where, uint64_t offset, const std::string& what) {
    const bool isKnown = std::ranges::any_of(
        found, [&](const auto& each) { return each.path == where && each.offset == offset; });
    if (!isKnown) {
        found.push_back({where, offset, printable(where) + what});
    }
}

/* The file's blocks of the first minute at group.begin or behind it. True when nothing follows them
 * in the file. */
bool RecordingTimeline::collect(RecordingFile& file, BlockGroup& group) {
    group.end = group.begin;
    while (const auto block = file.blockFrom(group.end)) {
        const bool isFirst = group.blocks.empty();
        if (isMessages(*block) && !isFirst && keyOf(*block) != group.key) {
            return false;
        }
        if (block->offset() > group.end) {
            note(file.path(), group.end,
                 " is damaged from byte " + std::to_string(group.end) + " to " +
                     std::to_string(block->offset()));
        }
        if (isMessages(*block)) {
            group.begin = isFirst ? block->offset() : group.begin;
            group.key = keyOf(*block);
            group.blocks.push_back({*block, nullptr});
        } else if (!file.payload(*block)) {
            note(file.path(), block->offset(),
                 " is damaged: the catalogue at byte " + std::to_string(block->offset()) +
                     " can't be read");
        }
        group.end = block->end();
    }
    return true;
}

std::optional<BlockGroup> RecordingTimeline::groupFrom(size_t index, uint64_t offset) {
    RecordingFile* const file = open(index);
    if (file == nullptr) {
        return std::nullopt;
    }
    BlockGroup before{index, offset, offset, {}, {}};
    if (!collect(*file, before)) {
        return before;
    }
    /* First the tail, and then the file to its end: so what leaves the one meanwhile is found in
     * the other. */
    readTail(index);
    BlockGroup group{index, offset, offset, {}, {}};
    const bool isAtEnd = collect(*file, group);
    if (group.blocks.empty() && !tail.minutes.empty()) {
        noteEnd(*file, group.end);
        return tailGroup(tail.minutes.front(), index, group.end);
    }
    if (group.blocks.empty()) {
        noteEnd(*file, group.end);
        return std::nullopt;
    }
    const auto rest = tail.find(group.key);
    if (isAtEnd && rest != tail.minutes.end()) {
        const std::vector<GroupBlock> inFile = group.blocks;
        std::ranges::copy_if(rest->blocks, std::back_inserter(group.blocks),
                             [&](const GroupBlock& part) {
                                 return std::ranges::none_of(inFile, [&](const GroupBlock& each) {
                                     return each.block.head.cache == part.block.head.cache;
                                 });
                             });
    }
    return group;
}

/* What is behind the last whole block of a file that nobody writes. */
void RecordingTimeline::noteEnd(RecordingFile& file, uint64_t offset) {
    if (offset >= file.size() || file.isBeingWritten() || file.blockFrom(offset)) {
        return;
    }
    /* A writer that was killed while it moved a minute from the tail has lost nothing. */
    const auto beginning = file.beginningAt(offset);
    if (beginning && isMessages(*beginning) && tail.find(keyOf(*beginning)) != tail.minutes.end()) {
        return;
    }
    note(file.path(), offset,
         " is cut off or damaged from byte " + std::to_string(offset) + " to its end");
}

/* The group that a block of the file belongs to. */
std::optional<BlockGroup> RecordingTimeline::groupWith(size_t index, const RecordingBlock& block) {
    RecordingFile* const file = open(index);
    RecordingBlock first = block;
    for (auto before = messagesUpTo(*file, file->before(first));
         before && keyOf(*before) == keyOf(block);
         before = messagesUpTo(*file, file->before(first))) {
        first = *before;
    }
    return groupFrom(index, first.offset());
}

std::vector<RecordingTimeline::TailMinute>::const_iterator
RecordingTimeline::Tail::find(const MinuteKey& key) const {
    return std::ranges::find(minutes, key, &TailMinute::key);
}

BlockGroup RecordingTimeline::tailGroup(const TailMinute& minute, size_t index,
                                        uint64_t offset) const {
    return {index, offset, offset, minute.key, minute.blocks};
}

RecordingTimeline::Tail RecordingTimeline::readTailOnce(RecordingFile& from) const {
    Tail read;
    std::map<std::pair<MinuteKey, uint32_t>, uint32_t> lastParts;
    for (uint64_t offset = 0; offset < from.size();) {
        const auto block = from.blockFrom(offset);
        if (!block) {
            read.isTorn = true;
            break;
        }
        const auto payload = from.payload(*block);
        uint32_t& lastPart = lastParts[{keyOf(*block), block->head.cache}];
        /* What is missing before it may be of another cache. */
        read.isTorn = read.isTorn || block->offset() != offset;
        const bool isNext = isMessages(*block) && payload && block->head.part == lastPart + 1;
        offset = block->end();
        if (!isNext) {
            read.isTorn = true;
            continue;
        }
        lastPart++;
        if (read.minutes.empty() || read.minutes.back().key != keyOf(*block)) {
            read.minutes.push_back({keyOf(*block), {}});
        }
        read.minutes.back().blocks.push_back(
            {*block,
             std::make_shared<const std::vector<std::byte>>(payload->begin(), payload->end())});
    }
    return read;
}

/* What the file has by now is taken from there. */
void RecordingTimeline::dropWhatIsIn(RecordingFile& main, Tail& read) const {
    std::set<std::pair<MinuteKey, uint32_t>> isThere;
    for (auto block = messagesUpTo(main, main.blockBefore(main.size()));
         block && read.find(keyOf(*block)) != read.minutes.end();
         block = messagesUpTo(main, main.before(*block))) {
        if (main.payload(*block)) {
            isThere.insert({keyOf(*block), block->head.cache});
        }
    }
    for (TailMinute& minute : read.minutes) {
        std::erase_if(minute.blocks, [&](const GroupBlock& part) {
            return isThere.contains({minute.key, part.block.head.cache});
        });
    }
    std::erase_if(read.minutes, [](const TailMinute& minute) { return minute.blocks.empty(); });
}

void RecordingTimeline::readTail(size_t index) {
    RecordingFile* const main = open(index);
    const std::string name = tailPath(files[index].path);
    for (int i = 0; i < tailTries; i++) {
        const bool isWritten = main->isBeingWritten(); /* before it is read: it may end meanwhile */
        auto result = RecordingFile::open(name);
        auto* from = std::get_if<RecordingFile>(&result);
        tail = {};
        if (from == nullptr) {
            return;
        }
        tail = readTailOnce(*from);
        closedReads += from->headReads();
        const bool isTorn = tail.isTorn;
        dropWhatIsIn(*main, tail);
        if (!isTorn) {
            return;
        }
        if (!isWritten) {
            note(name, 0, " is damaged: part of the last minute can't be read");
            return;
        }
        std::this_thread::sleep_for(tailPause);
    }
}

std::optional<BlockGroup> RecordingTimeline::first() {
    listFiles();
    for (size_t index = 0; index < files.size(); index++) {
        if (auto group = groupFrom(index, 0)) {
            return group;
        }
    }
    return std::nullopt;
}

/* The last group of one file. */
std::optional<BlockGroup> RecordingTimeline::lastOf(size_t index) {
    RecordingFile* const file = open(index);
    if (file == nullptr) {
        return std::nullopt;
    }
    readTail(index);
    const auto end = file->blockBefore(file->size());
    const auto block = messagesUpTo(*file, end);
    if (!tail.minutes.empty() && (!block || keyOf(*block) != tail.minutes.back().key)) {
        return tailGroup(tail.minutes.back(), index, end ? end->end() : 0);
    }
    return block ? groupWith(index, *block) : std::nullopt;
}

std::optional<BlockGroup> RecordingTimeline::last() {
    listFiles();
    for (size_t index = files.size(); index-- > 0;) {
        if (auto group = lastOf(index)) {
            return group;
        }
    }
    return std::nullopt;
}

std::optional<BlockGroup> RecordingTimeline::next(const BlockGroup& group) {
    /* A file that is listed before this one is looked at is begun when this one is whole. */
    listFiles();
    auto after = groupFrom(group.file, group.end);
    const auto known = tail.find(group.key);
    if (after && after->isInTail() && known != tail.minutes.end()) {
        const auto parts =
            static_cast<size_t>(std::ranges::count_if(group.blocks, &GroupBlock::isInTail));
        const auto later = known->blocks.size() > parts ? known : std::next(known);
        after = later != tail.minutes.end()
                    ? std::optional(tailGroup(*later, group.file, after->end))
                    : std::nullopt;
    }
    for (size_t index = group.file + 1; !after && index < files.size(); index++) {
        after = groupFrom(index, 0);
    }
    return after;
}

std::optional<BlockGroup> RecordingTimeline::previous(const BlockGroup& group) {
    RecordingFile* const file = open(group.file);
    if (group.isInTail()) {
        const auto known = tail.find(group.key);
        if (known != tail.minutes.end() && known != tail.minutes.begin()) {
            return tailGroup(*std::prev(known), group.file, group.end);
        }
    }
    if (file != nullptr) {
        const auto block =
            messagesUpTo(*file, group.isInTail() ? file->blockBefore(group.begin)
                                                 : file->before(group.blocks.front().block));
        if (block) {
            return groupWith(group.file, *block);
        }
    }
    for (size_t index = group.file; index-- > 0;) {
        if (auto before = lastOf(index)) {
            return before;
        }
    }
    return std::nullopt;
}

bool RecordingTimeline::hasBlocks(size_t index) {
    RecordingFile* const file = open(index);
    return file != nullptr && file->blockFrom(0);
}

/* The last file that begins at the time or before it; one that can't be read counts as the one
 * before it. */
size_t RecordingTimeline::fileAt(int64_t realNs) {
    size_t low = 0;
    size_t high = files.size();
    while (high - low > 1) {
        const size_t middle = low + (high - low) / 2;
        size_t usable = middle;
        while (usable > low && !hasBlocks(usable)) {
            usable--;
        }
        const bool isLater = usable > low && open(usable)->blockFrom(0)->head.firstNs > realNs;
        (isLater ? high : low) = middle;
    }
    while (low > 0 && low < files.size() && !hasBlocks(low)) {
        low--;
    }
    return low;
}

std::optional<BlockGroup> RecordingTimeline::at(int64_t realNs) {
    listFiles();
    for (size_t index = fileAt(realNs); index < files.size(); index++) {
        RecordingFile* const file = open(index);
        if (file == nullptr) {
            continue;
        }
        const auto block = messagesUpTo(*file, file->lastBlockAt(realNs));
        auto group = block ? groupWith(index, *block) : groupFrom(index, 0);
        if (!group) {
            continue;
        }
        /* The minute under way may begin before that time, too. */
        while (!group->isInTail() || group->firstNs() <= realNs) {
            auto later = file->blockFrom(group->end) ? std::nullopt : next(*group);
            if (!later || later->file != index || later->firstNs() > realNs) {
                break;
            }
            group = std::move(later);
        }
        return group;
    }
    return std::nullopt;
}

/* The catalogue that a block was made by; it is in the file more than once. */
const FieldTable* RecordingTimeline::tableOf(RecordingFile& file, const RecordingBlock& block) {
    const uint32_t sum = block.head.fields;
    if (sum == FieldTable::own().sum()) {
        return &FieldTable::own();
    }
    const auto known = std::ranges::find(tables, sum, &FieldTable::sum);
    if (known != tables.end()) {
        return &*known;
    }
    for (auto each = file.blockFrom(0); each; each = file.blockFrom(each->end())) {
        if (each->head.type != fieldsType || each->head.fields != sum) {
            continue;
        }
        const auto payload = file.payload(*each);
        auto table = payload ? decodeTable(*payload, each->head.unpacked) : std::nullopt;
        if (table && table->sum() == sum) {
            tables.push_back(std::move(*table));
            return &tables.back();
        }
    }
    return nullptr;
}

std::optional<std::span<const std::byte>> RecordingTimeline::payloadOf(RecordingFile& file,
                                                                       const GroupBlock& block) {
    return block.isInTail() ? std::optional(std::span<const std::byte>(*block.payload))
                            : file.payload(block.block);
}

std::vector<CacheMessages> RecordingTimeline::load(const BlockGroup& group) {
    std::vector<CacheMessages> caches;
    std::map<uint32_t, uint32_t> lastParts;
    RecordingFile* const file = open(group.file);
    if (file == nullptr) {
        return caches;
    }
    for (const GroupBlock& each : group.blocks) {
        const BlockHead& head = each.block.head;
        const std::string where = each.isInTail() ? tailPath(file->path()) : file->path();
        const auto lose = [&](const char* why) {
            note(where, head.offset,
                 " is damaged: the minute " + minuteText(head.firstNs) + " at byte " +
                     std::to_string(head.offset) + why);
        };
        const FieldTable* table = tableOf(*file, each.block);
        if (table == nullptr) {
            lose(" has lost its catalogue");
            continue;
        }
        auto cache = std::ranges::find(caches, head.cache, &CacheMessages::cache);
        if (cache == caches.end()) {
            caches.push_back({head.cache, false, {}});
            cache = std::prev(caches.end());
        }
        cache->isInTail = cache->isInTail || each.isInTail();
        /* A part continues the one before it; a whole minute continues nothing. */
        uint32_t& lastPart = lastParts[head.cache];
        if (head.part > 1 && head.part != lastPart + 1) {
            lose(" has lost a part that others continue");
            continue;
        }
        std::vector<BlockMessage> messages;
        messages.swap(head.part > 1 ? cache->messages : messages);
        const auto payload = payloadOf(*file, each);
        const bool isGood = payload && decodeBlock(*payload, head.unpacked, *table, messages);
        std::ranges::move(messages, std::back_inserter(cache->messages));
        if (!isGood) {
            lose(" can't be read");
            continue;
        }
        lastPart = head.part;
    }
    for (CacheMessages& cache : caches) {
        disownForeignKinds(cache.messages);
    }
    return caches;
}

void RecordingTimeline::dropDamaged(BlockGroup& group) {
    RecordingFile* const file = open(group.file);
    const auto isDamaged = [&](const GroupBlock& each) {
        return file == nullptr || !payloadOf(*file, each) || tableOf(*file, each.block) == nullptr;
    };
    if (std::ranges::any_of(group.blocks, isDamaged)) {
        load(group); /* says it */
        std::erase_if(group.blocks, isDamaged);
    }
}

bool RecordingTimeline::isKnown(const BlockGroup& group) {
    RecordingFile* const file = open(group.file);
    return file == nullptr || std::ranges::all_of(group.blocks, [&](const GroupBlock& each) {
               const FieldTable* const table = tableOf(*file, each.block);
               return table == nullptr || table->isKnown();
           });
}

uint64_t RecordingTimeline::headReads() const {
    uint64_t reads = closedReads;
    for (const File& file : files) {
        reads += file.main ? file.main->headReads() : 0;
    }
    return reads;
}

std::pair<uint64_t, uint64_t> RecordingTimeline::sizes() {
    listFiles();
    uint64_t bytes = 0;
    for (const File& file : files) {
        for (const std::string& each : {file.path, tailPath(file.path)}) {
            struct stat status;
            if (stat(each.c_str(), &status) == 0) {
                bytes += static_cast<uint64_t>(status.st_size);
            }
        }
    }
    return {bytes, files.size()};
}

} // namespace samples
