/*
 * The host-wide directory as server processes use it: the host id file and the registry files
 * "NAME..LCK" in "locks/".
 *
 * A RegistryDirectory removes the files that it wrote or adopted, and "locks/" if it created it
 * and nothing else is left in it; a forked copy removes nothing.
 */
#ifndef STANDIN_REGISTRYDIRECTORY_H
#define STANDIN_REGISTRYDIRECTORY_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "netinfolayout.h"
#include "tvsi.h"

namespace standin {

inline constexpr std::uint32_t noKey = 0xFFFFFFFFU;
inline constexpr const char* serverVersion = TVSI_INTERFACE_VERSION;

/* The two forms of a registry file's header. */
enum class HeaderForm { bytes48, bytes52 };

/* The contents of one registry file. Texts too long for their header field are cut. */
struct RegistryRecord {
    std::uint16_t port = 0; /* network byte order */
    std::uint32_t key = noKey;
    pid_t processId = 0;
    NetInfoEnum kind = NI_UNKNOWN;
    std::int64_t creationTime = 0; /* seconds since the epoch */
    std::string creator;
    std::string version = serverVersion;
    std::string logFile;
    std::string productDirectory;
    std::string commandLine;
    std::string configFile1;
    std::string configFile2;
    std::string executablePath;
    HeaderForm form = HeaderForm::bytes52;
    bool withStrings = true; /* false: the file ends with the header */
};

/* The file's bytes. */
std::string encode(const RegistryRecord& record);
/* The other way, in the 52-byte form; nothing when the bytes are no such record. */
std::optional<RegistryRecord> decode(std::string_view bytes);

/* A record as this process would write it: its executable, user and command line, the time now. */
RegistryRecord recordOfThisProcess(NetInfoEnum kind);
/* The same for the monitor of the cache with segment key `key`, recorded as process `monitor`. */
RegistryRecord monitorRecord(pid_t monitor, key_t key);
RegistryRecord broxRecord(pid_t brox);

/* "NAME~HEX", the name of the cache that serves the Brox on the host. */
std::string cacheName(std::string_view brox, std::uint64_t hostId);

class RegistryDirectory {
public:
    /* Makes "locks/" in the existing directory `globalDirectory` when it is not there. Throws
       std::system_error. */
    explicit RegistryDirectory(std::filesystem::path globalDirectory);
    RegistryDirectory(const RegistryDirectory&) = delete;
    RegistryDirectory& operator=(const RegistryDirectory&) = delete;
    ~RegistryDirectory();

    const std::filesystem::path& globalDirectory() const { return globalDirectory_; }
    const std::filesystem::path& locksDirectory() const { return locksDirectory_; }
    std::filesystem::path hostIdFile() const;
    std::filesystem::path recordFile(std::string_view name) const;

    /* The writers replace a file whole, so that no reader sees half of one. */
    void writeHostId(std::uint64_t hostId);
    void writeHostIdBytes(std::string_view bytes);
    void writeRecord(std::string_view name, const RegistryRecord& record);
    void writeRaw(std::string_view name, std::string_view bytes);
    /* A file that another process writes on behalf of this object, which will remove it. */
    void adopt(const std::filesystem::path& file);

    /* The host id, or nothing when there is no such file or it is shorter than 8 bytes. */
    std::optional<std::uint64_t> readHostId() const;
    std::optional<RegistryRecord> readRecord(std::string_view name) const;
    void removeRecord(std::string_view name);
    /* What the destructor does, now. */
    void removeAll();

private:
    void writeFile(const std::filesystem::path& file, std::string_view bytes);

    std::filesystem::path globalDirectory_;
    std::filesystem::path locksDirectory_;
    bool createdLocks_ = false;
    pid_t owner_; /* the process that cleans up */
    std::vector<std::filesystem::path> files_;
};

} // namespace standin

#endif
