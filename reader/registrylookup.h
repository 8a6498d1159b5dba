/*
 * The registry looked at once more, after the library has looked, for what its answer leaves out:
 * which file may not be read, which process has ended, which version was met.
 */
#ifndef REGISTRYLOOKUP_H
#define REGISTRYLOOKUP_H

#include "netinfolocal.h"

#include <cerrno>
#include <string>

namespace reader {

/* Waits once for a host id file that is being written. The library would do so at each record, and
 * a directory of many would take minutes; after this it doesn't. To be called before all else. */
void waitForHostId();

/* With a slash at its end. */
std::string registryDirectory();

/* The directory where caches are looked for and what decides it: "/opt/talvex/locks/ was searched
 * (TALVEX_GLOBAL_DIR is not set)". */
std::string whereSearched();

/* The errno with which a file refuses to be read; 0 when it doesn't. Never waits. */
int readRefusal(const std::string& file);

/* The registry file of a process, and what the library makes of it. */
struct RegistryFile {
    NetInfoSType record;
    NetInfoResultEnum result;
    std::string file;

    explicit RegistryFile(const std::string& name);

    bool isUsable() const { return (result & NIRES_usableMask) != 0; }
    bool isOfMonitor() const { return isUsable() && record.kind == NI_SHRPCMON; }
    bool isRefused() const { return result == NIRES_ERROR && readRefusal(file) == EACCES; }
    std::string process() const { return "process " + std::to_string(record.processId); }
};

/* What the registry has of the cache monitors of a Brox. Of several, each thing is one's. */
struct MonitorScan {
    std::string prefix;      /* "prod~" */
    std::string refusedFile; /* may not be read */
    std::string running;     /* location of one whose monitor runs, of whatever version */
    std::string version;     /* of that one */
    int32_t endedPid = 0;    /* process of one that has ended */
};

MonitorScan scanMonitorsOf(const std::string& brox);

} // namespace reader

#endif
