#include "thinning.h"

#include "printable.h"
#include "recordingfile.h"
#include "recordingtimeline.h"
#include "recordingwriter.h"
#include "streamfile.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace samples {
namespace {

constexpr int64_t secondNs = 1'000'000'000;
constexpr std::string_view unfinishedSuffix = ".thin";

std::string unfinishedPath(const std::string& path) {
    return path + std::string(unfinishedSuffix);
}

uint64_t sizeOf(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool isSameFile(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_size == other.st_size;
}

/* The messages of caches that are recorded in the same minute, in the order of time. */
void addInOrder(std::vector<CacheMessages> caches, SampleThinner& thinner) {
    std::vector<size_t> places(caches.size());
    for (;;) {
        size_t first = caches.size();
        int64_t firstNs = 0;
        for (size_t i = 0; i < caches.size(); i++) {
            if (places[i] == caches[i].messages.size()) {
                continue;
            }
            const int64_t realNs = timesOf(caches[i].messages[places[i]].message).realNs;
            if (first == caches.size() || realNs < firstNs) {
                first = i;
                firstNs = realNs;
            }
        }
        if (first == caches.size()) {
            return;
        }
        thinner.add(caches[first].cache, std::move(caches[first].messages[places[first]++]));
    }
}

/* A file of a directory, held so that nobody else writes it. */
class ThinnedFile {
public:
    ThinnedFile(std::string name, int64_t step) : path(std::move(name)), stepNs(step) {}
    ThinnedFile(const ThinnedFile&) = delete;
    ThinnedFile& operator=(const ThinnedFile&) = delete;
    ~ThinnedFile() {
        if (isUnfinished) {
            unlink(unfinishedPath(path).c_str());
        }
    }

    /* True: it is another file now. Otherwise it was left, because somebody writes it or it was
     * stopped, or there is a failure or a fault. */
    bool thin(const std::function<bool()>& isStopped);

    std::optional<Failure> failure; /* nothing can be written */
    std::string fault;              /* a sentence on what is wrong with the file */

private:
    bool hold();
    bool rewrite(const std::function<bool()>& isStopped);
    bool replace();

    const std::string path;
    const int64_t stepNs;
    Descriptor held;
    struct stat before = {};
    bool isUnfinished = false;
};

/* What is in the tail of a writer that was killed is brought into the file first. */
bool ThinnedFile::hold() {
    if (sizeOf(tailPath(path)) > 0) {
        auto opened = RecordingWriter::open(path, {});
        if (const auto* problem = std::get_if<Failure>(&opened)) {
            fault = problem->sentence;
            return false;
        }
    }
    held = Descriptor(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat now;
    if (held.get() < 0 && errno == ENOENT) {
        return false; /* it was too old to be kept */
    }
    if (held.get() < 0 || fstat(held.get(), &before) != 0) {
        failure = fileFailure(path, "written", errno);
        return false;
    }
    /* Also that it hasn't been replaced since it was opened. */
    return lockForWriting(held.get()) && stat(path.c_str(), &now) == 0 && isSameFile(before, now) &&
           sizeOf(tailPath(path)) == 0;
}

bool ThinnedFile::thin(const std::function<bool()>& isStopped) {
    return hold() && rewrite(isStopped) && replace();
}

bool ThinnedFile::rewrite(const std::function<bool()>& isStopped) {
    auto opened = RecordingTimeline::open(path);
    if (const auto* problem = std::get_if<Failure>(&opened)) {
        fault = problem->sentence;
        return false;
    }
    auto& line = std::get<RecordingTimeline>(opened);
    RecordingOptions options;
    options.isReadableByGroup = (before.st_mode & S_IRGRP) != 0;
    options.thinnedNs = stepNs;
    unlink(unfinishedPath(path).c_str());
    auto created = RecordingWriter::open(unfinishedPath(path), options);
    if (auto* problem = std::get_if<Failure>(&created)) {
        failure = std::move(*problem);
        return false;
    }
    isUnfinished = true;
    auto& writer = std::get<RecordingWriter>(created);
    SampleThinner thinner(stepNs, [&](uint32_t cache, const BlockMessage& message) {
        if (message.isCarried) {
            writer.carry(cache, std::get<StreamHeader>(message.message));
        } else {
            writer.add(cache, message.message);
        }
    });
    uint64_t end = 0;
    bool isKnown = true;
    for (auto group = line.first(); group && isKnown; group = line.next(*group)) {
        addInOrder(line.load(*group), thinner);
        isKnown = line.isKnown(*group);
        end = group->end;
        if (isStopped()) {
            return false;
        }
    }
    thinner.flush();
    writer.close();
    const std::string problem = writer.takeProblem();
    if (!problem.empty()) {
        failure = Failure{ExitStatus::Failure, problem};
    } else if (!line.damages().empty()) {
        fault = line.damages().front().sentence;
    } else if (!isKnown) {
        fault =
            printable(path) + " has fields that this release doesn't know: a newer one thins it";
    } else if (end != static_cast<uint64_t>(before.st_size)) {
        fault = printable(path) + " is cut off or damaged from byte " + std::to_string(end) +
                " to its end";
    }
    return problem.empty() && fault.empty();
}

/* The new file has the owner of the old one. */
bool ThinnedFile::replace() {
    const std::string made = unfinishedPath(path);
    struct stat now;
    if (stat(made.c_str(), &now) != 0 ||
        ((now.st_uid != before.st_uid || now.st_gid != before.st_gid) &&
         lchown(made.c_str(), before.st_uid, before.st_gid) != 0)) {
        failure = fileFailure(made, "given to the owner of the file", errno);
        return false;
    }
    if (stat(path.c_str(), &now) != 0 || !isSameFile(before, now)) {
        return false; /* it was too old to be kept */
    }
    if (rename(made.c_str(), path.c_str()) != 0) {
        failure = fileFailure(path, "replaced", errno);
        return false;
    }
    isUnfinished = false;
    syncDirectoryOf(path);
    return true;
}

/* How far a file of a directory is to be thinned at that time; 0: it isn't. */
int64_t stepFor(const std::vector<std::string>& files, size_t index,
                std::span<const ThinningRule> rules, int64_t nowNs) {
    int64_t stepNs = 0;
    for (const ThinningRule& rule : rules) {
        stepNs = endsBefore(files, index, nowNs - rule.ageNs) ? rule.stepNs : stepNs;
    }
    auto opened = stepNs != 0 ? RecordingFile::open(files[index]) : Failure();
    auto* file = std::get_if<RecordingFile>(&opened);
    const auto first = file != nullptr ? file->blockFrom(0) : std::nullopt;
    const bool isNew = first ? first->head.thinnedSeconds < stepNs / secondNs
                             : file != nullptr && sizeOf(tailPath(files[index])) > 0;
    return isNew ? stepNs : 0;
}

} // namespace

/* ---- the samples ---- */

void SampleThinner::add(uint32_t cache, BlockMessage message) {
    const int64_t realNs = timesOf(message.message).realNs;
    Cache& own = caches.try_emplace(cache, none).first->second;
    const auto* header = std::get_if<StreamHeader>(&message.message);
    if (message.isCarried && own.header == *header) {
        return;
    }
    own.header = header != nullptr ? *header : own.header;
    if (message.isCarried) {
        flush(cache, own);
        sink(cache, message);
        return;
    }
    if (realNs / stepNs != interval) {
        flush();
        interval = realNs / stepNs;
    }
    if (auto* sample = std::get_if<Sample>(&message.message)) {
        passOn(cache, own.behind);
        own.averages.add(*sample);
        own.numSamples++;
        own.last = std::move(message);
    } else if (std::holds_alternative<Notice>(message.message) ||
               std::holds_alternative<Mark>(message.message)) {
        own.behind.push_back(std::move(message));
        if (!own.last) {
            passOn(cache, own.behind);
        }
    } else {
        flush(cache, own);
        sink(cache, message);
    }
}

void SampleThinner::passOn(uint32_t number, std::vector<BlockMessage>& messages) const {
    for (const BlockMessage& message : messages) {
        sink(number, message);
    }
    messages.clear();
}

void SampleThinner::flush(uint32_t number, Cache& cache) {
    if (cache.last) {
        if (cache.numSamples > 1) {
            cache.averages.applyTo(std::get<Sample>(cache.last->message));
        }
        sink(number, *cache.last);
        cache.last.reset();
        cache.averages.clear();
        cache.numSamples = 0;
    }
    passOn(number, cache.behind);
}

void SampleThinner::flush() {
    for (auto& [number, cache] : caches) {
        flush(number, cache);
    }
}

/* ---- directories ---- */

void removeUnfinishedThinning(const std::string& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(directory.c_str()), closedir);
    while (const dirent* entry = listing ? readdir(listing.get()) : nullptr) {
        const std::string_view name = entry->d_name;
        if (!name.ends_with(std::string(recordingSuffix) + std::string(unfinishedSuffix))) {
            continue;
        }
        const std::string path = directory + "/" + entry->d_name;
        auto thinned = RecordingFile::open(path.substr(0, path.size() - unfinishedSuffix.size()));
        const auto* file = std::get_if<RecordingFile>(&thinned);
        if (file == nullptr || !file->isBeingWritten()) {
            unlink(path.c_str());
        }
    }
}

ThinningOutcome thinDirectory(const std::string& directory, std::span<const ThinningRule> rules,
                              int64_t nowNs, const std::function<bool()>& isStopped) {
    ThinningOutcome outcome;
    const auto files = recordingFiles(directory);
    if (!files) {
        outcome.failure = fileFailure(directory, "read", errno);
        return outcome;
    }
    removeUnfinishedThinning(directory);
    outcome.numFiles = static_cast<unsigned>(files->size());
    for (size_t i = 0; i + 1 < files->size() && !outcome.failure && !isStopped(); i++) {
        const std::string& path = (*files)[i];
        const int64_t stepNs = stepFor(*files, i, rules, nowNs);
        if (stepNs == 0) {
            continue;
        }
        const uint64_t bytes = sizeOf(path);
        ThinnedFile file(path, stepNs);
        if (file.thin(isStopped)) {
            outcome.numThinned++;
            outcome.bytesBefore += bytes;
            outcome.bytesAfter += sizeOf(path);
        } else if (!file.fault.empty()) {
            outcome.leftAsTheyAre.push_back(file.fault);
        }
        outcome.failure = std::move(file.failure);
    }
    return outcome;
}

} // namespace samples
