#include "registrylookup.h"

#include "printable.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace reader {
namespace {

std::string registryFile(const std::string& name) {
    char path[4097];
    NetInfoLocalLockFileName(name.c_str(), path, sizeof path);
    return path;
}

BoolType lookAtMonitor(int /*count*/, const char* name, NetInfoResultEnum result,
                       NetInfoSType* record, void* userData) {
    auto& scan = *static_cast<MonitorScan*>(userData);
    if (!std::string_view(name).starts_with(scan.prefix)) {
        return FALSE;
    }
    const std::string file = registryFile(name);
    if (result == NIRES_ERROR && readRefusal(file) == EACCES) {
        scan.refusedFile = file;
    } else if (result == NIRES_STALE) {
        scan.endedPid = record->processId;
    } else if ((result & NIRES_usableMask) != 0 && record->kind == NI_SHRPCMON) {
        scan.running = name;
        scan.version = record->version;
    }
    return FALSE;
}

} // namespace

void waitForHostId() {
    uint64_t hostId = 0;
    if (!NetInfoLocalGetUniqueHostId(&hostId, nullptr, FALSE)) {
        NetInfoLocalSetHostIdRounds(1);
    }
}

std::string registryDirectory() {
    return std::string(HostGetGlobalTalvexDir()) + "locks/";
}

std::string whereSearched() {
    BoolType hasOverride = FALSE;
    const std::string directory = samples::printable(HostGetGlobalTalvexDir(&hasOverride));
    const char* variable = secure_getenv("TALVEX_GLOBAL_DIR");
    const bool isSet = variable != nullptr && *variable != '\0';
    return directory + "locks/ was searched (" +
           (hasOverride ? "TALVEX_GLOBAL_DIR says so"
            : isSet     ? "TALVEX_GLOBAL_DIR names no directory that exists"
                        : "TALVEX_GLOBAL_DIR is not set") +
           ")";
}

int readRefusal(const std::string& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd == -1) {
        return errno;
    }
    close(fd);
    return 0;
}

RegistryFile::RegistryFile(const std::string& name)
    : result(NetInfoFindLocal(name.c_str(), &record, nullptr)), file(registryFile(name)) {}

MonitorScan scanMonitorsOf(const std::string& brox) {
    MonitorScan scan;
    scan.prefix = brox + "~";
    NetInfoLocalForeach(nullptr, lookAtMonitor, &scan, nullptr, nullptr);
    return scan;
}

} // namespace reader
