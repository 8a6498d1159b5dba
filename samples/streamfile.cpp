#include "streamfile.h"

#include "streamformat.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <sys/stat.h>
#include <unistd.h>

namespace samples {

using namespace format;

namespace {

constexpr size_t readSize = 262144;

/* Reads all of it, or fails. */
bool readAll(int descriptor, std::span<std::byte> into, uint64_t from) {
    while (!into.empty()) {
        const ssize_t got = pread(descriptor, into.data(), into.size(), static_cast<off_t>(from));
        if (got == 0 || (got < 0 && errno != EINTR)) {
            return false;
        }
        if (got > 0) {
            into = into.subspan(static_cast<size_t>(got));
            from += static_cast<uint64_t>(got);
        }
    }
    return true;
}

uint64_t sizeOf(int descriptor) {
    struct stat status;
    return fstat(descriptor, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

} // namespace

const Times& timesOf(const Message& message) {
    return std::visit([](const auto& which) -> const Times& { return which.times; }, message);
}

std::optional<StreamEvent> eventOf(const Message& message) {
    using Kind = StreamEvent::Kind;
    const Times& times = timesOf(message);
    if (const auto* header = std::get_if<StreamHeader>(&message)) {
        return StreamEvent{Kind::Attached, times, "", header->monitorPid};
    }
    if (const auto* lost = std::get_if<Lost>(&message)) {
        return StreamEvent{Kind::Lost, times, lost->sentence};
    }
    if (std::holds_alternative<End>(message)) {
        return StreamEvent{Kind::Ended, times, ""};
    }
    if (const auto* mark = std::get_if<Mark>(&message)) {
        return StreamEvent{Kind::Mark, times, mark->text};
    }
    return std::nullopt;
}

bool StreamFile::isOne(int descriptor) {
    uint32_t type = 0;
    return readAll(descriptor, std::as_writable_bytes(std::span(&type, 1)), 0) &&
           (type == headerType || __builtin_bswap32(type) == headerType);
}

std::optional<Message> StreamFile::next() {
    for (;;) {
        auto message = decoder.next();
        if (message || decoder.failed() || isAtEnd) {
            return message;
        }
        const auto room = decoder.room(readSize);
        const ssize_t got = pread(file.get(), room.data(), room.size(), static_cast<off_t>(readAt));
        if (got > 0) {
            decoder.filled(static_cast<size_t>(got));
            readAt += static_cast<uint64_t>(got);
        } else if (got == 0 || errno != EINTR) {
            isAtEnd = true;
            decoder.finish();
        }
    }
}

/* Calls visit(offset, head) for each whole message until it returns false. Stops where there is no
 * message: next() knows what is wrong there. */
template <class Visit> void StreamFile::walk(Visit visit) const {
    const uint64_t size = sizeOf(file.get());
    MessageHead head;
    for (uint64_t at = 0; size - at >= sizeof head; at += sizeof head + head.length) {
        if (!readAll(file.get(), std::as_writable_bytes(std::span(&head, 1)), at) ||
            !isMessageType(head.type) || head.length > size - at - sizeof head ||
            !visit(at, head)) {
            return;
        }
    }
}

bool StreamFile::readInto(StreamDecoder& into, uint64_t from, uint64_t size) const {
    const auto room = into.room(size).first(size);
    if (!readAll(file.get(), room, from)) {
        return false;
    }
    into.filled(size);
    return true;
}

std::optional<StreamFile::Span> StreamFile::span() const {
    std::optional<StreamFile::Span> found;
    walk([&](uint64_t, const MessageHead& head) {
        found = {found ? found->firstNs : head.realNs, head.realNs};
        return true;
    });
    return found;
}

void StreamFile::seek(int64_t realNs) {
    struct Place {
        uint64_t at = 0;
        uint64_t size = 0;
    };
    Place target;
    Place header; /* the last one before the target */
    bool isHeader = false;
    walk([&](uint64_t at, const MessageHead& head) {
        target = {at, sizeof head + head.length};
        isHeader = head.type == headerType;
        if (head.realNs >= realNs) {
            return false;
        }
        header = isHeader ? target : header;
        return true;
    });
    isAtEnd = false;
    readAt = target.at;
    const bool needsHeader = !isHeader && target.at > 0;
    decoder = StreamDecoder(target.at - (needsHeader ? header.size : 0));
    if (needsHeader) {
        readInto(decoder, header.at, header.size);
    }
}

std::optional<int64_t> StreamFile::sampleBefore(int64_t realNs, size_t count) const {
    std::deque<int64_t> found;
    walk([&](uint64_t, const MessageHead& head) {
        if (head.type == sampleType && head.realNs < realNs) {
            found.push_back(head.realNs);
            if (found.size() > count) {
                found.pop_front();
            }
        }
        return head.realNs < realNs;
    });
    return found.empty() ? std::nullopt : std::optional(found.front());
}

std::optional<int64_t> StreamFile::sampleAfter(int64_t realNs, size_t count) const {
    std::optional<int64_t> found;
    walk([&](uint64_t, const MessageHead& head) {
        if (head.type == sampleType && head.realNs >= realNs && count > 0) {
            found = head.realNs;
            count--;
        }
        return count > 0;
    });
    return found;
}

std::vector<StreamEvent> StreamFile::events() const {
    std::vector<StreamEvent> events;
    StreamDecoder others; /* a stream without its samples is one, too */
    walk([&](uint64_t at, const MessageHead& head) {
        if (head.type == sampleType) {
            return true;
        }
        if (!readInto(others, at, sizeof head + head.length)) {
            return false;
        }
        const auto message = others.next();
        if (!message) {
            return false;
        }
        if (auto event = eventOf(*message)) {
            events.push_back(std::move(*event));
        }
        return true;
    });
    return events;
}

} // namespace samples
