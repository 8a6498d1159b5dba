#include "recordingfile.h"

#include "crc32c.h"
#include "printable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace samples {

using namespace format;

namespace {

/* Pages that are searched for a head are read so many bytes at once. */
constexpr size_t searchSize = 262144;
/* A head is looked for at the beginning of a file as far as the largest block reaches. */
constexpr uint64_t searchLimit = alignedToBlock(sizeof(BlockHead) + maxPayload);

constexpr uint64_t pageAt(uint64_t offset) {
    return offset / blockAlignment * blockAlignment;
}

struct flock wholeFile(short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

/* Reads as many of the bytes as there are. */
size_t readAll(int descriptor, std::byte* to, size_t size, uint64_t offset) {
    size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(descriptor, to + done, size - done, static_cast<off_t>(offset + done));
        if (got > 0) {
            done += static_cast<size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

/* The block whose head the page begins with, if that is good. */
std::optional<RecordingBlock> headIn(std::span<const std::byte> page, uint64_t offset) {
    RecordingBlock block;
    BlockHead& head = block.head;
    if (page.size() < sizeof head) {
        return std::nullopt;
    }
    std::memcpy(&head, page.data(), sizeof head);
    const bool isGood = head.magic == recordingMagic && head.version == recordingVersion &&
                        head.offset == offset && head.length <= maxPayload &&
                        head.unpacked <= maxPayload && head.firstNs >= 0 &&
                        head.headSum == crc32c(page.first(offsetof(BlockHead, headSum))) &&
                        (head.type == fieldsType || head.type == messagesType);
    return isGood ? std::optional(block) : std::nullopt;
}

/* The same, if it is whole in a file of that size. */
std::optional<RecordingBlock> blockIn(std::span<const std::byte> page, uint64_t offset,
                                      uint64_t fileSize) {
    auto block = headIn(page, offset);
    const bool isWhole = block && offset + sizeof block->head + block->head.length <= fileSize;
    return isWhole ? block : std::nullopt;
}

} // namespace

Failure fileFailure(const std::string& path, const char* what, int error) {
    return {error == EACCES || error == EPERM ? ExitStatus::NoPermission : ExitStatus::Failure,
            printable(path) + " cannot be " + what + ": " + std::generic_category().message(error)};
}

void syncDirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    fsync(opened.get());
}

bool lockForWriting(int descriptor) {
    struct flock lock = wholeFile(F_WRLCK);
    return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

std::variant<RecordingFile, Failure> RecordingFile::open(const std::string& path) {
    /* Not blocking: a pipe in its place is refused rather than waited for. */
    Descriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (opened.get() < 0 || fstat(opened.get(), &status) != 0) {
        return fileFailure(path, "read", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure{ExitStatus::DamagedInput, printable(path) + " is no recording: not a file"};
    }
    return RecordingFile(path, std::move(opened));
}

uint64_t RecordingFile::size() const {
    struct stat status;
    return fstat(fd, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool RecordingFile::isBeingWritten() const {
    struct flock lock = wholeFile(F_RDLCK);
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

std::optional<Failure> RecordingFile::problem() {
    const uint64_t whole = size();
    if (whole == 0) {
        return std::nullopt;
    }
    for (uint64_t at = 0; at < std::min(whole, searchLimit); at += searchSize) {
        const auto bytes = readPages(at, searchSize);
        for (size_t page = 0; page + sizeof(BlockHead) <= bytes.size(); page += blockAlignment) {
            BlockHead head;
            std::memcpy(&head, bytes.data() + page, sizeof head);
            if (at + page == 0 && __builtin_bswap64(head.magic) == recordingMagic) {
                return Failure{ExitStatus::DamagedInput,
                               printable(name) + " was recorded on a host with another byte order"};
            }
            const bool isHead =
                head.magic == recordingMagic &&
                head.headSum == crc32c(bytes.subspan(page, offsetof(BlockHead, headSum)));
            if (isHead && head.version != recordingVersion) {
                return Failure{ExitStatus::DamagedInput,
                               printable(name) + " is a recording of format " +
                                   std::to_string(head.version) +
                                   ", which this program doesn't know: a newer release reads it"};
            }
            if (isHead) {
                return std::nullopt;
            }
        }
    }
    return Failure{ExitStatus::DamagedInput, printable(name) + " is no recording"};
}

/* As many of the bytes as there are. Valid until the next call. */
std::span<const std::byte> RecordingFile::readPages(uint64_t offset, size_t size) {
    buffer.resize(std::max(buffer.size(), size));
    reads++;
    return {buffer.data(), readAll(fd, buffer.data(), size, offset)};
}

std::optional<RecordingBlock> RecordingFile::blockAt(uint64_t offset) {
    const uint64_t whole = size();
    return blockIn(readPages(offset, sizeof(BlockHead)), offset, whole);
}

std::optional<RecordingBlock> RecordingFile::beginningAt(uint64_t offset) {
    return headIn(readPages(offset, sizeof(BlockHead)), offset);
}

std::optional<RecordingBlock> RecordingFile::blockFrom(uint64_t offset) {
    const uint64_t whole = size();
    uint64_t at = alignedToBlock(offset);
    if (auto block = blockIn(readPages(at, sizeof(BlockHead)), at, whole)) {
        return block;
    }
    for (; at < whole; at += searchSize) {
        const auto bytes = readPages(at, searchSize);
        for (size_t page = 0; page < bytes.size(); page += blockAlignment) {
            if (auto block = blockIn(bytes.subspan(page), at + page, whole)) {
                return block;
            }
        }
    }
    return std::nullopt;
}

std::optional<RecordingBlock> RecordingFile::blockBefore(uint64_t offset) {
    const uint64_t whole = size();
    uint64_t end = std::min(alignedToBlock(offset), alignedToBlock(whole));
    while (end > 0) {
        const uint64_t begin = end > searchSize ? end - searchSize : 0;
        const auto bytes = readPages(begin, static_cast<size_t>(end - begin));
        for (uint64_t page = pageAt(end - begin - 1) + blockAlignment; page > 0;) {
            page -= blockAlignment;
            if (page >= bytes.size()) {
                continue;
            }
            if (auto block = blockIn(bytes.subspan(page), begin + page, whole)) {
                return block;
            }
        }
        end = begin;
    }
    return std::nullopt;
}

/* The block so many steps back, if the head leads to it. */
std::optional<RecordingBlock> RecordingFile::backBy(const RecordingBlock& block, size_t step) {
    const uint64_t to = block.head.back.at(step);
    if (block.head.sequence <= backDistances.at(step) || to >= block.offset()) {
        return std::nullopt;
    }
    auto found = blockAt(to);
    const bool isRight =
        found && found->head.sequence + backDistances.at(step) == block.head.sequence;
    return isRight ? found : std::nullopt;
}

std::optional<RecordingBlock> RecordingFile::before(const RecordingBlock& block) {
    auto earlier = backBy(block, 0);
    const bool isNext = earlier && earlier->end() == block.offset();
    return isNext ? earlier : blockBefore(block.offset());
}

std::optional<RecordingBlock> RecordingFile::lastBlockAt(int64_t realNs) {
    auto block = blockBefore(size());
    for (size_t step = backDistances.size(); block && block->head.firstNs > realNs;) {
        if (step == 0) {
            /* The way back is damaged here, or this is the first block. */
            block = blockBefore(block->offset());
            step = backDistances.size();
            continue;
        }
        step--;
        while (auto earlier = backBy(*block, step)) {
            /* Steps lead as near to the time as they can without passing it, but the last one. */
            if (step > 0 && earlier->head.firstNs <= realNs) {
                break;
            }
            block = earlier;
            if (block->head.firstNs <= realNs) {
                return block;
            }
        }
    }
    return block;
}

std::optional<std::span<const std::byte>> RecordingFile::payload(const RecordingBlock& block) {
    const size_t length = block.head.length;
    if (block.offset() + sizeof block.head + length > size()) {
        return std::nullopt;
    }
    buffer.resize(std::max(buffer.size(), length));
    const std::span bytes(buffer.data(),
                          readAll(fd, buffer.data(), length, block.offset() + sizeof block.head));
    if (bytes.size() != length || crc32c(bytes) != block.head.payloadSum) {
        return std::nullopt;
    }
    return bytes;
}

} // namespace samples
