#include "discovery.h"

#include "printable.h"
#include "readerprocess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <rapidjson/document.h>
#include <sys/mman.h>
#include <unistd.h>

namespace samples {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/* Far more than the caches of any host; a line has about 300 bytes. */
constexpr size_t maxListingBytes = size_t{4} << 20;

/* The value of a key; null when there is none. */
const rapidjson::Value* memberOf(const rapidjson::Value& object, const char* key) {
    return object.HasMember(key) ? &object[key] : nullptr;
}

std::string textIn(const rapidjson::Value& object, const char* key) {
    const auto* value = memberOf(object, key);
    return value != nullptr && value->IsString()
               ? bytesOfUtf8({value->GetString(), value->GetStringLength()})
               : std::string();
}

int64_t numberIn(const rapidjson::Value& object, const char* key) {
    const auto* value = memberOf(object, key);
    return value != nullptr && value->IsInt64() ? value->GetInt64() : 0;
}

/* True when the line has told what it must. */
bool parseLine(std::string_view line, CacheListing& listing) {
    rapidjson::Document object;
    object.Parse(line.data(), line.size());
    if (object.HasParseError() || !object.IsObject()) {
        return false;
    }
    const auto* readable = memberOf(object, "readable");
    if (readable == nullptr || !readable->IsBool()) {
        return false;
    }
    listing = {textIn(object, "brox"),
               textIn(object, "location"),
               static_cast<int32_t>(numberIn(object, "pid")),
               textIn(object, "user"),
               numberIn(object, "started"),
               textIn(object, "version"),
               readable->GetBool(),
               textIn(object, "refusal")};
    return !listing.location.empty();
}

/* All that comes until the end of the output; nothing when that is too late or too much, or nobody
 * wants it any more. */
std::optional<std::string> readAll(int fd, steady_clock::time_point deadline,
                                   const std::function<bool()>& isUnwanted) {
    constexpr int64_t longestMs = 20; /* until the question whether it is wanted */
    std::string all;
    std::array<char, 16384> piece;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()).count();
        pollfd readable{fd, POLLIN, 0};
        if (left <= 0 || all.size() > maxListingBytes || isUnwanted()) {
            return std::nullopt;
        }
        if (poll(&readable, 1, static_cast<int>(std::min(left + 1, longestMs))) <= 0) {
            continue;
        }
        const ssize_t count = read(fd, piece.data(), piece.size());
        if (count == 0) {
            return all;
        }
        if (count > 0) {
            all.append(piece.data(), static_cast<size_t>(count));
        } else if (errno != EINTR && errno != EAGAIN) {
            return std::nullopt;
        }
    }
}

/* The last line of what the reader wrote to its standard error, without its name: the library's own
 * lines, however many, and the reader's warnings come before it. */
std::string complaintIn(int file) {
    std::array<char, 8192> text; /* holds a sentence with a file's name */
    const off_t size = lseek(file, 0, SEEK_END);
    const off_t start = std::max<off_t>(size - static_cast<off_t>(text.size()), 0);
    const ssize_t count = pread(file, text.data(), text.size(), start);
    std::string_view line(text.data(), count > 0 ? static_cast<size_t>(count) : 0);
    while (line.ends_with('\n')) {
        line.remove_suffix(1);
    }
    line.remove_prefix(line.rfind('\n') + 1); /* none: the whole */
    constexpr std::string_view name = "tvsi-reader: ";
    return line.starts_with(name) ? std::string(line.substr(name.size())) : std::string();
}

/* Its status, which it ends with right after its output. */
ExitStatus endOf(ReaderProcess& reader, steady_clock::time_point deadline) {
    while (steady_clock::now() < deadline) {
        if (const auto end = reader.reap()) {
            return exitStatusOf(*end).value_or(ExitStatus::Failure);
        }
        poll(nullptr, 0, 1);
    }
    return ExitStatus::Failure;
}

} // namespace

std::variant<CacheListings, Failure> parseListing(std::string_view lines) {
    CacheListings listings;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        if (!parseLine(line, listings.emplace_back())) {
            return Failure{ExitStatus::Failure,
                           "tvsi-reader lists a cache in an unknown way: is it "
                           "of another release?"};
        }
    }
    return listings;
}

std::variant<CacheListings, Failure> listCaches(milliseconds limit,
                                                const std::function<bool()>& isUnwanted) {
    const auto deadline = steady_clock::now() + limit;
    const Descriptor errors(memfd_create("errors", MFD_CLOEXEC));
    auto started = ReaderProcess::start({"--list"}, errors.get());
    if (auto* failure = std::get_if<Failure>(&started)) {
        return std::move(*failure);
    }
    auto& reader = std::get<ReaderProcess>(started);
    const auto lines = readAll(reader.fd(), deadline, isUnwanted);
    if (!lines) {
        return Failure{ExitStatus::Failure, "the caches of this host could not be listed in time"};
    }
    const ExitStatus status = endOf(reader, deadline);
    if (status == ExitStatus::Ok) {
        return parseListing(*lines);
    }
    std::string sentence = complaintIn(errors.get());
    return Failure{status, sentence.empty() ? "tvsi-reader --list has failed without a word"
                                            : std::move(sentence)};
}

} // namespace samples
