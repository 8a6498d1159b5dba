#include "segmentfacts.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <grp.h>
#include <memory>
#include <pwd.h>
#include <sys/shm.h>
#include <sys/stat.h>

namespace reader {
namespace {

constexpr uint32_t readAndWrite = 6;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string userName(uid_t id) {
    const passwd* entry = getpwuid(id); // NOLINT(concurrency-mt-unsafe): see the header
    return entry != nullptr ? entry->pw_name : std::to_string(id);
}

std::string groupName(gid_t id) {
    const group* entry = getgrgid(id); // NOLINT(concurrency-mt-unsafe): see the header
    return entry != nullptr ? entry->gr_name : std::to_string(id);
}

/* The number of a namespace file of /proc; 0 when it can't be told. */
ino_t namespaceOf(const std::string& process, const char* kind) {
    struct stat status;
    const std::string path = "/proc/" + process + "/ns/" + kind;
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

} // namespace

std::optional<SegmentFacts> segmentWithKey(int32_t key) {
    const std::unique_ptr<std::FILE, FileCloser> list(std::fopen("/proc/sysvipc/shm", "re"));
    std::array<char, 512> line;
    while (list && std::fgets(line.data(), line.size(), list.get()) != nullptr) {
        SegmentFacts found;
        int foundKey = 0;
        // NOLINTNEXTLINE(cert-err34-c): the kernel writes numbers
        const int fields = std::sscanf(line.data(), "%d %*d %o %*u %d %*d %*u %u %u", &foundKey,
                                       &found.mode, &found.creator, &found.user, &found.group);
        if (fields == 5 && foundKey == key) {
            found.mode &= 0777;
            return found;
        }
    }
    return std::nullopt;
}

int attachRefusal(int32_t key) {
    return shmget(key, 0, 0600) != -1 ? 0 : errno;
}

std::string rightsNeeded(const SegmentFacts& segment) {
    std::array<char, 16> mode;
    std::snprintf(mode.data(), mode.size(), "%04o", segment.mode);
    const std::string user = userName(segment.user);
    const std::string group = groupName(segment.group);
    const std::string text = "it belongs to user " + user + " and group " + group + " with mode " +
                             mode.data() +
                             ", and attaching needs the right to write as well: run "
                             "as " +
                             user;
    const uint32_t groupRights = segment.mode >> 3 & 7;
    if ((groupRights & readAndWrite) == readAndWrite) {
        return text + " or as a member of " + group;
    }
    return text + ", or have the server grant its group the right to write (being a member of " +
           group + " is not enough)";
}

bool sharesIpcNamespace(pid_t pid) {
    const ino_t own = namespaceOf("self", "ipc");
    const ino_t other = namespaceOf(std::to_string(pid), "ipc");
    return own == 0 || other == 0 || own == other;
}

std::string pidNamespaceHint() {
    constexpr ino_t ofTheHost = 0xEFFFFFFC;
    const ino_t own = namespaceOf("self", "pid");
    return own == 0 || own == ofTheHost
               ? ""
               : ", or it is out of sight: this program runs in a PID namespace of its own (a "
                 "container), where only its own processes are seen";
}

} // namespace reader
