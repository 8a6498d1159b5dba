#include "messagesource.h"

#include "printable.h"
#include "recordingreader.h"
#include "streamencoder.h"
#include "streamfile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tvsistat {
namespace {

using samples::Descriptor;
using samples::ExitStatus;
using samples::Failure;
using samples::Message;
using samples::StreamHeader;

using Opened = std::variant<std::unique_ptr<MessageSource>, Failure>;

constexpr size_t readSize = 262144;

/* Sentences on what is wrong with a stream that has nothing more; none when it has ended well. */
std::vector<std::string> damageOf(const samples::StreamDecoder& decoder, std::string_view title) {
    if (decoder.failed()) {
        return {fmt::format("the stream {} is damaged after {} bytes: {}", title,
                            decoder.position(), decoder.problem())};
    }
    if (!decoder.hasEnded()) {
        return {fmt::format("the stream {} was cut off: its end is missing", title)};
    }
    return {};
}

/* What pipes and files with a stream have in common: there is one reader behind them. */
class StreamSource : public MessageSource {
public:
    explicit StreamSource(std::string where) : title(std::move(where)) {}
    std::optional<SourceMessage> next() final {
        auto message = nextMessage();
        if (!message) {
            return std::nullopt;
        }
        if (const auto* found = std::get_if<StreamHeader>(&*message)) {
            header = *found;
        }
        return SourceMessage{0, std::move(*message)};
    }
    std::span<const StreamHeader> caches() const final {
        return header ? std::span(&*header, 1) : std::span<const StreamHeader>();
    }
    bool isRecording() const final { return false; }
    std::vector<std::string> takeDamage() final {
        return isOver() && !std::exchange(isTold, true) ? damageOf(decoder(), title)
                                                        : std::vector<std::string>();
    }

protected:
    virtual std::optional<Message> nextMessage() = 0;
    virtual const samples::StreamDecoder& decoder() const = 0;
    bool isTold = false;

private:
    std::string title; /* "on standard input", "in FILE" */
    std::optional<StreamHeader> header;
};

class PipeSource final : public StreamSource {
public:
    PipeSource(int descriptor, Descriptor owned, std::string where)
        : StreamSource(std::move(where)), input(descriptor), closer(std::move(owned)) {}
    bool isOver() const override { return isAtEnd || bytes.failed(); }
    void recycle(samples::Sample&& sample) override { bytes.recycle(std::move(sample)); }
    int fd() const override { return input; }
    void readOn() override {
        const auto room = bytes.room(readSize);
        const ssize_t got = read(input, room.data(), room.size());
        if (got > 0) {
            bytes.filled(static_cast<size_t>(got));
        } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
            isAtEnd = true;
            bytes.finish();
        }
    }

private:
    std::optional<Message> nextMessage() override { return bytes.next(); }
    const samples::StreamDecoder& decoder() const override { return bytes; }

    int input;
    Descriptor closer;
    samples::StreamDecoder bytes;
    bool isAtEnd = false;
};

class StreamFileSource final : public StreamSource {
public:
    StreamFileSource(Descriptor file, std::string where)
        : StreamSource(std::move(where)), stream(std::move(file)) {}
    bool isOver() const override { return hasNothing; }
    void recycle(samples::Sample&& sample) override { stream.recycle(std::move(sample)); }
    bool canSeek() const override { return true; }
    std::optional<Span> span() override { return stream.span(); }
    void seek(int64_t realNs) override {
        stream.seek(realNs);
        hasNothing = false;
    }
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count) override {
        return stream.sampleBefore(realNs, count);
    }
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count) override {
        return stream.sampleAfter(realNs, count);
    }
    std::vector<Landmark> landmarks() override {
        std::vector<Landmark> all;
        for (auto& event : stream.events()) {
            all.push_back({0, std::move(event)});
        }
        return all;
    }

private:
    std::optional<Message> nextMessage() override {
        auto message = stream.next();
        hasNothing = !message;
        return message;
    }
    const samples::StreamDecoder& decoder() const override { return stream.state(); }

    samples::StreamFile stream;
    bool hasNothing = false;
};

class RecordingSource final : public MessageSource {
public:
    explicit RecordingSource(samples::RecordingReader opened) : reader(std::move(opened)) {}
    /* That a watch had taken all that it was to take is nothing that its view has shown. */
    std::optional<SourceMessage> next() override {
        std::optional<samples::RecordedMessage> found;
        do {
            found = reader.next();
        } while (found && std::holds_alternative<samples::End>(found->message));
        hasNothing = !found;
        return found ? std::optional(
                           SourceMessage{found->cache, std::move(found->message), found->isCarried})
                     : std::nullopt;
    }
    bool isOver() const override { return hasNothing; }
    void recycle(samples::Sample&&) override {}
    std::span<const StreamHeader> caches() const override { return reader.caches(); }
    bool isRecording() const override { return true; }
    std::vector<std::string> takeDamage() override {
        std::vector<std::string> sentences;
        for (const auto& damage : reader.damages().subspan(numTold)) {
            sentences.push_back(damage.sentence);
        }
        numTold += sentences.size();
        return sentences;
    }
    bool canSeek() const override { return true; }
    std::optional<Span> span() override { return reader.span(); }
    void seek(int64_t realNs) override {
        reader.seek(realNs);
        hasNothing = false;
    }
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count) override {
        return reader.sampleBefore(realNs, count);
    }
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count) override {
        return reader.sampleAfter(realNs, count);
    }
    std::vector<Landmark> landmarks() override {
        std::vector<Landmark> all;
        for (auto& [cache, event] : reader.survey(samples::RecordingReader::Check::Heads).events) {
            all.push_back({cache, std::move(event)});
        }
        return all;
    }

private:
    samples::RecordingReader reader;
    size_t numTold = 0;
    bool hasNothing = false;
};

bool isSameCache(const StreamHeader& one, const StreamHeader& other) {
    return one.host == other.host && one.location == other.location &&
           (!one.location.empty() || one.brox == other.brox);
}

/* What tells a cache's messages apart: of samples the time on both clocks, of others everything. */
std::string identityOf(const Message& message) {
    samples::StreamEncoder encoder;
    if (std::holds_alternative<samples::Sample>(message)) {
        encoder.add(samples::End{timesOf(message)});
    } else {
        encoder.add(message);
    }
    return {reinterpret_cast<const char*>(encoder.bytes().data()), encoder.bytes().size()};
}

/* Several sources that never wait, as one time line. */
class MergedSource final : public MessageSource {
public:
    explicit MergedSource(std::vector<std::unique_ptr<MessageSource>> sources) {
        for (auto& source : sources) {
            parts.push_back({std::move(source), {}, {}, {}});
        }
    }
    std::optional<SourceMessage> next() override;
    bool isOver() const override { return hasNothing; }
    void recycle(samples::Sample&& sample) override { last->source->recycle(std::move(sample)); }
    std::span<const StreamHeader> caches() const override { return known; }
    bool isRecording() const override { return true; }
    std::vector<std::string> takeDamage() override {
        std::vector<std::string> all;
        for (Part& part : parts) {
            std::ranges::move(part.source->takeDamage(), std::back_inserter(all));
        }
        return all;
    }
    bool canSeek() const override { return true; }
    std::optional<Span> span() override {
        std::optional<Span> all;
        for (const Part& part : parts) {
            if (const auto own = part.source->span()) {
                all = all ? Span{std::min(all->firstNs, own->firstNs),
                                 std::max(all->lastNs, own->lastNs)}
                          : *own;
            }
        }
        return all;
    }
    void seek(int64_t realNs) override {
        for (Part& part : parts) {
            part.source->seek(realNs);
            part.ahead.reset();
            part.isAttached.clear();
        }
        told.assign(known.size(), {});
        hasNothing = false;
    }
    std::optional<int64_t> sampleBefore(int64_t realNs, size_t count) override {
        std::optional<int64_t> at = realNs;
        std::optional<int64_t> found;
        for (; count > 0 && at; count--) {
            at = most([&](auto& source) { return source.sampleBefore(*at, 1); }, std::greater());
            found = at ? at : found;
        }
        return found;
    }
    std::optional<int64_t> sampleAfter(int64_t realNs, size_t count) override {
        std::optional<int64_t> at = realNs;
        std::optional<int64_t> found;
        for (; count > 0 && at; count--) {
            at = most([&](auto& source) { return source.sampleAfter(*at, 1); }, std::less());
            found = at ? at : found;
            at = at ? std::optional(*at + 1) : at;
        }
        return found;
    }
    std::vector<Landmark> landmarks() override;

private:
    struct Part {
        std::unique_ptr<MessageSource> source;
        std::optional<SourceMessage> ahead;
        std::vector<size_t> caches;   /* by the source's: place in `known` */
        std::vector<bool> isAttached; /* by place in `known`: a header without its loss or end */
    };
    /* What was handed out of a cache at one moment. */
    struct Told {
        int64_t realNs = INT64_MIN;
        std::vector<std::pair<const Part*, std::string>> messages; /* by what tells them apart */
    };

    /* Of the times that the sources answer, the one that comes first. */
    template <class Ask, class IsFirst> std::optional<int64_t> most(Ask ask, IsFirst isFirst) {
        std::optional<int64_t> found;
        for (const Part& part : parts) {
            const std::optional<int64_t> answer = ask(*part.source);
            if (answer && (!found || isFirst(*answer, *found))) {
                found = answer;
            }
        }
        return found;
    }
    size_t place(const StreamHeader& header);
    size_t place(Part& part, const SourceMessage& message);
    bool isAttachedElsewhere(const Part& part, size_t cache) const;
    bool isSuperfluous(Part& part, const SourceMessage& message);
    bool isDouble(const Part& part, const SourceMessage& message);

    std::vector<Part> parts;
    std::vector<StreamHeader> known;
    std::vector<Told> told; /* by place in `known` */
    Part* last = nullptr;   /* whose message was handed out last */
    bool hasNothing = false;
};

size_t MergedSource::place(const StreamHeader& header) {
    const auto found = std::ranges::find_if(
        known, [&](const StreamHeader& other) { return isSameCache(header, other); });
    const auto place = static_cast<size_t>(found - known.begin());
    if (found == known.end()) {
        known.push_back(header);
        told.emplace_back();
    }
    return place;
}

/* The place in `known` of the cache that a message is about. */
size_t MergedSource::place(Part& part, const SourceMessage& message) {
    part.caches.resize(std::max(part.caches.size(), message.cache + 1));
    size_t& found = part.caches[message.cache];
    if (const auto* header = std::get_if<StreamHeader>(&message.message)) {
        found = place(*header);
    }
    return found;
}

/* Whether another source has the cache, too, at this moment. */
bool MergedSource::isAttachedElsewhere(const Part& part, size_t cache) const {
    return std::ranges::any_of(parts, [&](const Part& other) {
        return &other != &part && other.ahead && cache < other.isAttached.size() &&
               other.isAttached[cache];
    });
}

/* Whether the message says nothing new: it is in another source, too, or tells that one reader of
 * several has begun or ended. */
bool MergedSource::isSuperfluous(Part& part, const SourceMessage& message) {
    const bool isElsewhere = isAttachedElsewhere(part, message.cache);
    part.isAttached.resize(known.size());
    if (const auto* header = std::get_if<StreamHeader>(&message.message)) {
        StreamHeader& before = known[message.cache];
        const bool isSameMonitor = header->monitorPid == before.monitorPid &&
                                   header->monitorStartedNs == before.monitorStartedNs;
        part.isAttached[message.cache] = header->monitorPid != 0;
        if (isElsewhere && (isSameMonitor || header->monitorPid == 0)) {
            return true;
        }
        before = *header;
    } else if (std::holds_alternative<samples::Lost>(message.message) ||
               std::holds_alternative<samples::End>(message.message)) {
        part.isAttached[message.cache] = false;
        if (isElsewhere) {
            return true;
        }
    }
    return isDouble(part, message);
}

bool MergedSource::isDouble(const Part& part, const SourceMessage& message) {
    Told& before = told[message.cache];
    const int64_t realNs = timesOf(message.message).realNs;
    if (before.realNs != realNs) {
        before = {realNs, {}};
    }
    std::string identity = identityOf(message.message);
    const bool isThere = std::ranges::any_of(before.messages, [&](const auto& each) {
        return each.first != &part && each.second == identity;
    });
    if (!isThere) {
        before.messages.emplace_back(&part, std::move(identity));
    }
    return isThere;
}

std::optional<SourceMessage> MergedSource::next() {
    for (;;) {
        last = nullptr;
        for (Part& part : parts) {
            if (!part.ahead) {
                part.ahead = part.source->next();
            }
            const auto moment = [](const Part& of) { return timesOf(of.ahead->message).realNs; };
            if (part.ahead && (last == nullptr || moment(part) < moment(*last))) {
                last = &part;
            }
        }
        hasNothing = last == nullptr;
        if (hasNothing) {
            last = &parts[0];
            return std::nullopt;
        }
        SourceMessage message = std::move(*last->ahead);
        last->ahead.reset();
        message.cache = place(*last, message);
        if (!isSuperfluous(*last, message)) {
            return message;
        }
        if (auto* sample = std::get_if<samples::Sample>(&message.message)) {
            last->source->recycle(std::move(*sample));
        }
    }
}

std::vector<Landmark> MergedSource::landmarks() {
    std::vector<Landmark> all;
    for (Part& part : parts) {
        std::vector<Landmark> own = part.source->landmarks();
        if (!part.ahead && part.source->caches().empty()) {
            part.ahead = part.source->next(); /* with it the source knows its cache */
        }
        for (Landmark& landmark : own) {
            if (landmark.cache < part.source->caches().size()) {
                landmark.cache = place(part.source->caches()[landmark.cache]);
                all.push_back(std::move(landmark));
            }
        }
    }
    std::ranges::stable_sort(all, {}, [](const Landmark& each) { return each.event.times.realNs; });
    return all;
}

/* ---- opening ---- */

Failure cannotOpen(const std::string& name, int error) {
    return {error == EACCES ? ExitStatus::NoPermission : ExitStatus::Failure,
            fmt::format("{} cannot be read: {}", samples::printable(name),
                        std::generic_category().message(error))};
}

Opened openOne(const std::string& name) {
    Descriptor file(open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status;
    if (file.get() < 0 || fstat(file.get(), &status) != 0) {
        return cannotOpen(name, errno);
    }
    const std::string where = "in " + samples::printable(name);
    const int descriptor = file.get();
    if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || S_ISCHR(status.st_mode)) {
        return std::make_unique<PipeSource>(descriptor, std::move(file), where);
    }
    if (S_ISREG(status.st_mode) && samples::StreamFile::isOne(descriptor)) {
        return std::make_unique<StreamFileSource>(std::move(file), where);
    }
    auto opened = samples::RecordingReader::open(name);
    if (auto* failure = std::get_if<Failure>(&opened)) {
        return std::move(*failure);
    }
    return std::make_unique<RecordingSource>(std::move(std::get<samples::RecordingReader>(opened)));
}

} // namespace

std::unique_ptr<MessageSource> openStream(Descriptor descriptor) {
    const int input = descriptor.get();
    return std::make_unique<PipeSource>(input, std::move(descriptor), "on standard input");
}

Opened openSource(std::span<const std::string> names) {
    if (names.size() == 1 && names[0] == "-") {
        return std::make_unique<PipeSource>(STDIN_FILENO, Descriptor(), "on standard input");
    }
    std::vector<std::unique_ptr<MessageSource>> sources;
    for (const std::string& name : names) {
        auto opened = openOne(name);
        if (std::holds_alternative<Failure>(opened)) {
            return opened;
        }
        sources.push_back(std::move(std::get<std::unique_ptr<MessageSource>>(opened)));
        if (names.size() > 1 && !sources.back()->canSeek()) {
            return Failure{ExitStatus::Usage,
                           fmt::format("--read: '{}' is a pipe, which is read alone: put its "
                                       "stream into a file to read it with others",
                                       samples::printable(name))};
        }
    }
    if (sources.size() == 1) {
        return std::move(sources[0]);
    }
    return std::make_unique<MergedSource>(std::move(sources));
}

} // namespace tvsistat
