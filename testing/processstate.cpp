#include "processstate.h"

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

ProcessState restingState() {
    usleep(5000);
    return processState();
}

ProcessState stateAfterFirstThread() {
    std::thread([] {}).join();
    return restingState();
}

ProcessState processStateSince(const ProcessState& then) {
    for (int i = 0; i < 1000 && processState().threads > then.threads; ++i) {
        usleep(1000);
    }
    return processState();
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
