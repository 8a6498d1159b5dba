#include "temporarydirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <sys/shm.h>
#include <vector>

#include "registrydirectory.h"
#include "require.h"
#include "sharedsegment.h"

namespace testsupport {

namespace {

constexpr std::string_view prefix = "tvsi-test.";
constexpr std::string_view recordSuffix = "..LCK";

/* A process that has ended and waits to be reaped runs nothing any more. */
bool lives(pid_t pid) {
    char beginning = 0;
    const std::string program = "/proc/" + std::to_string(pid) + "/exe";
    return readlink(program.c_str(), &beginning, 1) != -1 || errno != ENOENT;
}

/* The process in the directory's name; 0 when it is another's. */
pid_t ownerOf(const std::string& name) {
    pid_t owner = 0;
    std::istringstream rest(name.starts_with(prefix) ? name.substr(prefix.size()) : "");
    rest >> owner;
    return rest.get() == '.' ? owner : 0;
}

/* The segments on the keys in a directory, as far as its owner or the recorded process created
   them. */
std::vector<standin::FoundSegment> segmentsOf(const standin::RegistryDirectory& registry,
                                              pid_t owner) {
    std::vector<standin::FoundSegment> segments;
    for (const auto& file : std::filesystem::directory_iterator(registry.locksDirectory())) {
        const std::string name = file.path().filename();
        if (!name.ends_with(recordSuffix) || !file.is_regular_file()) {
            continue;
        }
        const auto record = registry.readRecord(name.substr(0, name.size() - recordSuffix.size()));
        const auto segment = standin::findSegment(record ? static_cast<key_t>(record->key) : 0);
        if (segment && (segment->creator == owner || segment->creator == record->processId)) {
            segments.push_back(*segment);
        }
    }
    return segments;
}

void removeLeftover(const std::filesystem::path& directory, pid_t owner) {
    const auto segments = segmentsOf(standin::RegistryDirectory(directory), owner);
    const auto isInUse = [](const auto& segment) { return lives(segment.creator); };
    if (std::ranges::any_of(segments, isInUse)) {
        return;
    }
    for (const auto& segment : segments) {
        shmctl(segment.id, IPC_RMID, nullptr);
    }
    std::filesystem::remove_all(directory);
}

} // namespace

TemporaryDirectory::TemporaryDirectory() {
    static const bool isClean = (removeLeftovers(), true);
    std::string name = std::filesystem::temp_directory_path() / prefix;
    name += std::to_string(owner_) + ".XXXXXX";
    requireCall(isClean && mkdtemp(name.data()) != nullptr, "can't make the directory " + name);
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    if (owner_ == getpid()) {
        std::filesystem::remove_all(path_, ignored);
    }
}

void removeLeftovers() {
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
        const pid_t owner = ownerOf(entry.path().filename());
        if (owner <= 0 || lives(owner)) {
            continue;
        }
        try {
            removeLeftover(entry.path(), owner);
        } catch (const std::exception&) { /* another process removes it, or it is another user's */
        }
    }
}

} // namespace testsupport
