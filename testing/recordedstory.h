/* What a test of recordings records: the messages of two caches, by chance and always the same
   ones, to be compared byte by byte with what is read. */
#ifndef TESTING_RECORDEDSTORY_H
#define TESTING_RECORDEDSTORY_H

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "recordingformat.h"
#include "recordingreader.h"
#include "sample.h"

namespace testsupport {

inline constexpr std::int64_t second = 1'000'000'000;
inline constexpr std::int64_t minute = 60 * second;
inline constexpr std::int64_t begin = 1'794'853'207 * second; /* 7 seconds into a minute */

samples::Times at(std::int64_t ns);

/* A message as its bytes, to be compared and kept. */
std::string bytesOf(const samples::Message& message);

samples::StreamHeader headerOf(const std::string& location, std::int64_t ns, int monitorPid = 100);

/* A cache whose processes come, go and change, by chance, and always the same way. */
class StoryCache {
public:
    explicit StoryCache(unsigned seed, std::size_t count = 6);
    samples::Message sample(std::int64_t ns);

private:
    std::size_t pick(std::size_t count) { return random() % count; }
    bool chance(std::size_t oneOf) { return pick(oneOf) == 0; }
    void appear();
    void move(TvsiResultSType& process);

    std::mt19937 random;
    std::uint64_t sequence = 0;
    std::vector<TvsiResultSType> processes;
};

/* What is recorded: by the second, a sample of each of two caches, and all that may happen. */
struct Told {
    std::uint32_t cache;
    samples::Message message;
    std::string bytes;
};
using Story = std::vector<Told>;
Story storyOf(int seconds, unsigned seed = 1);

using Messages = std::map<std::string, std::vector<std::string>>; /* by location */
Messages messagesOf(std::span<const Told> story);
/* What is left to be read, appended. */
void readOn(samples::RecordingReader& reader, Messages& messages);
/* Where two tellings differ first, in words; empty when they are equal. */
std::string difference(const Messages& one, const Messages& other);

std::string contentsOf(const std::string& path);
void put(const std::string& path, const std::string& bytes);

/* The heads of a file's blocks, and one made good after a change. */
std::vector<samples::format::BlockHead> headsOf(const std::string& bytes);
void sign(samples::format::BlockHead& head);

} // namespace testsupport

#endif
