#include "support/processstate.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/shm.h>
#include <thread>
#include <unistd.h>

namespace testsupport {

static std::size_t entriesOf(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

ProcessState processState() {
    ProcessState state;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        ++state.mappings;
        state.sharedMemory += std::size_t{line.find("/SYSV") != std::string::npos};
    }
    maps.close();
    state.descriptors = entriesOf("/proc/self/fd") - 1;
    state.threads = entriesOf("/proc/self/task");
    return state;
}

ProcessState settledState() {
#ifdef __SANITIZE_THREAD__
    constexpr std::size_t ownThreads = 2;
#else
    constexpr std::size_t ownThreads = 1;
#endif
    for (int i = 0; i < 1000 && processState().threads > ownThreads; ++i) {
        usleep(1000);
    }
    return processState();
}

ProcessState stateAfterFirstThread() {
    std::thread([] {}).join();
    return settledState();
}

std::size_t attachments(int segmentId) {
    shmid_ds status{};
    return shmctl(segmentId, IPC_STAT, &status) == -1 ? 0 : status.shm_nattch;
}

std::ostream& operator<<(std::ostream& out, const ProcessState& state) {
    return out << "{mappings " << state.mappings << ", shared memory " << state.sharedMemory
               << ", descriptors " << state.descriptors << ", threads " << state.threads << "}";
}

} // namespace testsupport
